#pragma once

#include "engine/IOperationSimple.h"

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation::Amazon {

// Reads a bucket's lifecycle policy; an empty document when it has none.
class LoadLifecyclePolicy : public IOperationSimple
{
    Q_OBJECT

public:
    explicit LoadLifecyclePolicy(const QMap<QString, QVariant>& config, QObject* parent = nullptr);
    ~LoadLifecyclePolicy() override;

    const QByteArray& data() const { return m_data; }

protected:
    QJsonDocument execJob() override;
    void execResult(const QJsonObject& result) override;

private:
    QByteArray m_data;
};

} // namespace Operation::Amazon

namespace Amazon {
// Job "Amazon_LifecyclePolicy_Load"; Amazon S3 only, UnsupportedOperation elsewhere.
QJsonDocument loadLifecyclePolicy(Api::IConnection* connection, const QJsonObject& job);
} // namespace Amazon

} // namespace Norvik::Cloud
