#pragma once

#include "engine/IOperation.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QMutex>
#include <QUuid>
#include <QVariant>

#include <atomic>

class QIODevice;

namespace Norvik::Cloud::Operation {

// A download into the caller's device that survives interruption.
//
// One job at a time: after each, the operation compares how far the device has moved with what
// it expected, and when bytes are missing, or the job failed in a way worth another try, it
// asks for the remainder only, from exactly where the device stands. The device's position is
// the one record of progress, so a download is never split beforehand. Between tries the task
// thread waits 2, 4, 6... seconds; the number of tries is Core::GlobalConfig::retryCount().
//
// position is the first offset in the object and size the number of bytes wanted; size 0 means
// the object's own length. With useRange the first job is a ranged one, otherwise a whole-object
// download; every retry is ranged.
class DownloadAuto2Stream : public IOperation
{
    Q_OBJECT

public:
    DownloadAuto2Stream(const QMap<QString, QVariant>& config, const QString& path, QIODevice* device,
                        unsigned long long position, unsigned long long size, bool useRange, QObject* parent);
    ~DownloadAuto2Stream() override;

    QJsonDocument makeJob() override;
    void resultJob(const QJsonDocument& result) override;

    // The object's metadata map (keys of CloudFileMetaData), after success.
    QMap<QString, QVariant> metaData() const;
    // Tries after the first job; read from any thread.
    unsigned int retries() const { return m_retries.load(); }

private:
    enum Stage
    {
        StageFirst = 0,
        StageSent = 1,
        StageRetryDue = 2,
        StageFinished = 3,
    };

    QJsonDocument execJob();
    QJsonDocument retryJob();
    QJsonDocument rangeJob(unsigned long long position, unsigned long long size);
    void execResult(const QJsonObject& result);
    void retryOrFail(const QJsonObject& result);
    void fail(const QJsonObject& result, const QString& reason);

    const QString m_path;
    QIODevice* const m_device;
    const unsigned long long m_position;
    const unsigned long long m_size;
    const long long m_start;
    const bool m_useRange;
    mutable QMutex m_mutex;
    QMap<QString, QVariant> m_metaData;
    QUuid m_streamId;
    int m_stage = StageFirst;
    std::atomic<unsigned int> m_retries{0};
};

} // namespace Norvik::Cloud::Operation
