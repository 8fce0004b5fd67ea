#pragma once

#include "engine/IOperationSimple.h"

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation::Amazon {

// Replaces a bucket's lifecycle policy by the caller's document.
class SaveLifecyclePolicy : public IOperationSimple
{
    Q_OBJECT

public:
    SaveLifecyclePolicy(const QMap<QString, QVariant>& config, const QByteArray& policy,
                        QObject* parent = nullptr);
    ~SaveLifecyclePolicy() override;

    const QByteArray& policyData() const { return m_policy; }

protected:
    QJsonDocument execJob() override;
    void execResult(const QJsonObject& result) override;

private:
    const QByteArray m_policy;
};

} // namespace Operation::Amazon

namespace Amazon {
// Job "Amazon_LifecyclePolicy_Save"; Amazon S3 only, UnsupportedOperation elsewhere.
QJsonDocument saveLifecyclePolicy(Api::IConnection* connection, const QJsonObject& job);
} // namespace Amazon

} // namespace Norvik::Cloud
