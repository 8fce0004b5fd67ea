#pragma once

#include "engine/IOperation.h"

#include <QMutex>

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// Proves that a configuration works. On success the operation's cloudConfig() is the
// configuration as the storage completed it (a region found, for instance); it then also holds
// the job's own "type", "id" and "task_id" keys.
class CheckConfig : public IOperation
{
    Q_OBJECT

public:
    explicit CheckConfig(const QMap<QString, QVariant>& config, QObject* parent = nullptr);
    ~CheckConfig() override;

    QJsonDocument makeJob() override;
    void resultJob(const QJsonDocument& result) override;

private:
    enum Stage
    {
        StageIdle = 0,
        StageSent = 1,
        StageDone = 2,
    };

    QJsonDocument checkConfig();
    void checkConfigResult(const QJsonObject& result);

    QMutex m_mutex;
    int m_stage = StageIdle;
};

} // namespace Operation

// Job "CheckConfig": answers with the whole job as a configuration map, as the connection left
// it.
QJsonDocument checkConfig(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
