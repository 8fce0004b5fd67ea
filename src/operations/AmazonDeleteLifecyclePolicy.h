#pragma once

#include "engine/IOperationSimple.h"

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation::Amazon {

// Removes a bucket's lifecycle policy; a bucket without one counts as done.
class DeleteLifecyclePolicy : public IOperationSimple
{
    Q_OBJECT

public:
    explicit DeleteLifecyclePolicy(const QMap<QString, QVariant>& config, QObject* parent = nullptr);
    ~DeleteLifecyclePolicy() override;

protected:
    QJsonDocument execJob() override;
    void execResult(const QJsonObject& result) override;
};

} // namespace Operation::Amazon

namespace Amazon {
// Job "Amazon_LifecyclePolicy_Delete"; Amazon S3 only, UnsupportedOperation elsewhere.
QJsonDocument deleteLifecyclePolicy(Api::IConnection* connection, const QJsonObject& job);
} // namespace Amazon

} // namespace Norvik::Cloud
