#pragma once

#include "engine/IOperationSimple.h"

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// Deletes one object, named by the listing object that a listing gave for it.
class DeleteOnce : public IOperationSimple
{
    Q_OBJECT

public:
    DeleteOnce(const QMap<QString, QVariant>& config, const QJsonObject& object, QObject* parent = nullptr);
    ~DeleteOnce() override;

    const QJsonObject& cloudObject() const { return m_object; }

protected:
    QJsonDocument execJob() override;
    void execResult(const QJsonObject& result) override;

private:
    const QJsonObject m_object;
};

} // namespace Operation

// Job "delete_once": "status" tells whether the storage removed the object.
QJsonDocument deleteOnce(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
