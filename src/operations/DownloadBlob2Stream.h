#pragma once

#include "engine/IOperation.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QMutex>
#include <QUrl>
#include <QUuid>
#include <QVariant>

class QIODevice;

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// Writes a range of an object into the caller's device, in one job.
//
// position is the first offset and size the count of bytes less one. The connection writes
// into the device on a job thread: the caller keeps the device alive and leaves it alone until
// the operation has ended. The path is parsed as a URL, so it goes through URL normalisation
// here (a percent sign may change the name), unlike in Download2Stream.
class DownloadBlob2Stream : public IOperation
{
    Q_OBJECT

public:
    DownloadBlob2Stream(const QMap<QString, QVariant>& config, const QString& path,
                        unsigned long long position, unsigned long long size, QIODevice* device,
                        QObject* parent);
    ~DownloadBlob2Stream() override;

    QJsonDocument makeJob() override;
    void resultJob(const QJsonDocument& result) override;

    // The object's metadata map (keys of CloudFileMetaData), after success.
    const QMap<QString, QVariant>& metaData() const { return m_metaData; }

private:
    enum Stage
    {
        StageIdle = 0,
        StageSent = 1,
        StageResult = 2,
    };

    QJsonDocument execJob();
    void execResult(const QJsonObject& result);

    const QUrl m_path;
    const unsigned long long m_position;
    const unsigned long long m_size;
    QIODevice* const m_device;
    QMutex m_mutex;
    QMap<QString, QVariant> m_metaData;
    // The device's entry in StreamManager while the job is out.
    QUuid m_streamId;
    int m_stage = StageIdle;
};

} // namespace Operation

// Job "DownloadBlob2Stream": downloads the range into the device registered under
// "OutStreamId". A device that is not registered gives a failure without error keys.
QJsonDocument downloadBlob2Stream(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
