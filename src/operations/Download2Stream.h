#pragma once

#include "engine/IOperation.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QMutex>
#include <QString>
#include <QUuid>
#include <QVariant>

class QIODevice;

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// Writes a whole object into the caller's device, in one job.
//
// The connection writes into the device on a job thread: the caller keeps the device alive and
// leaves it alone until the operation has ended. Nothing here checks the count of bytes
// written against the object's size.
class Download2Stream : public IOperation
{
    Q_OBJECT

public:
    Download2Stream(const QMap<QString, QVariant>& config, const QString& path, QIODevice* device,
                    QObject* parent);
    ~Download2Stream() override;

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

    const QString m_path;
    QIODevice* const m_device;
    QMutex m_mutex;
    QMap<QString, QVariant> m_metaData;
    // The device's entry in StreamManager while the job is out.
    QUuid m_streamId;
    int m_stage = StageIdle;
};

} // namespace Operation

// Job "Download2Stream": downloads the object into the device registered under "OutStreamId".
// A device that is not registered gives a failure without error keys.
QJsonDocument download2Stream(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
