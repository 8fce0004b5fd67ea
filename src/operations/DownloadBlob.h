#pragma once

#include "engine/IOperation.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QMutex>
#include <QString>
#include <QUuid>
#include <QVariant>

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// Brings a range of an object into memory, in one job.
//
// The range is given as ranges are everywhere in this library: position is the first offset
// and size the count of bytes less one, so (0, 9) asks for ten bytes. The bytes wait in a
// MemoryManager reservation between the job and its result, so every blob download is bounded
// by the memory budget: while the budget is used up the operation waits, and a range larger
// than the whole budget never starts.
class DownloadBlob : public IOperation
{
    Q_OBJECT

public:
    DownloadBlob(const QMap<QString, QVariant>& config, const QString& path, unsigned long long position,
                 unsigned long long size, QObject* parent);
    ~DownloadBlob() override;

    QJsonDocument makeJob() override;
    void resultJob(const QJsonDocument& result) override;

    // The object's metadata map (keys of CloudFileMetaData), after success.
    const QMap<QString, QVariant>& metaData() const { return m_metaData; }
    // The bytes delivered. After a failure it holds the reservation's filler, so look at the
    // state first.
    const QByteArray& data() const { return m_data; }

private:
    enum Stage
    {
        StageIdle = 0,   // nothing sent
        StageSent = 1,   // the job is out
        StageResult = 2, // the result has arrived; later results are ignored
    };

    QJsonDocument execJob();
    void execResult(const QJsonObject& result);
    // Removes the reservation, giving the budget back exactly what it was charged; held is
    // what the entry holds now.
    void releaseReservation(const QByteArray& held);

    const QString m_path;
    const unsigned long long m_position;
    const unsigned long long m_size;
    // The reservation of the job that is out; given back by the destructor when the operation
    // goes before its result.
    QUuid m_memoryId;
    QByteArray m_data;
    QMap<QString, QVariant> m_metaData;
    QMutex m_mutex;
    int m_stage = StageIdle;
};

} // namespace Operation

// Job "DownloadBlob": downloads the range into the reservation named by "memory_id". Without a
// reservation (a null id, or one that is gone when the bytes arrive) the result is a failure
// without error keys.
QJsonDocument downloadBlob(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
