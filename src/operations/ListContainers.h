#pragma once

#include "engine/IOperation.h"

#include <QJsonArray>
#include <QMutex>

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// The containers (buckets) of a cloud account. Storages without containers of their own (local
// folders, file servers) fail with UnsupportedOperation.
class ListContainers : public IOperation
{
    Q_OBJECT

public:
    explicit ListContainers(const QMap<QString, QVariant>& config, QObject* parent = nullptr);
    ~ListContainers() override;

    QJsonDocument makeJob() override;
    void resultJob(const QJsonDocument& result) override;

    // One object per container, as the service describes it.
    QJsonArray data() const;

private:
    enum Stage
    {
        StageIdle = 0,
        StageSent = 1,
        StageDone = 2,
    };

    QMutex m_mutex;
    int m_stage = StageIdle;
    mutable QMutex m_resultMutex;
    QJsonArray m_data;
};

} // namespace Operation

// Job "list_containers".
QJsonDocument listContainers(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
