#pragma once

#include "engine/IOperationSimple.h"

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// Creates a container (a bucket). params is read by the connection with the ContainerParams
// class of its family; storages without containers of their own fail with
// UnsupportedOperation.
class CreateContainer : public IOperationSimple
{
    Q_OBJECT

public:
    CreateContainer(const QMap<QString, QVariant>& config, const QJsonObject& params,
                    QObject* parent = nullptr);
    ~CreateContainer() override;

    const QJsonObject& paramsObject() const { return m_params; }

protected:
    QJsonDocument execJob() override;
    void execResult(const QJsonObject& result) override;

private:
    const QJsonObject m_params;
};

} // namespace Operation

// Job "create_container": "status" tells whether the service made the container.
QJsonDocument createContainer(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
