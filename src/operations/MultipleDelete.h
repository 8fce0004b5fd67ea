#pragma once

#include "engine/IOperationSimple.h"

#include <QJsonArray>

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// Deletes several objects with one request. The operation completes also when the service
// refused some of them: data() then names them. Storages without a batch delete fail with
// UnsupportedOperation; cutting a long list into batches the service accepts is the caller's
// part.
class MultipleDelete : public IOperationSimple
{
    Q_OBJECT

public:
    MultipleDelete(const QMap<QString, QVariant>& config, const QJsonArray& objects,
                   QObject* parent = nullptr);
    ~MultipleDelete() override;

    const QJsonArray& cloudObjects() const { return m_objects; }
    // The delete error objects of the objects that stayed; empty when all went.
    QJsonArray data() const;

protected:
    QJsonDocument execJob() override;
    void execResult(const QJsonObject& result) override;

private:
    const QJsonArray m_objects;
    mutable QMutex m_resultMutex;
    QJsonArray m_failures;
};

} // namespace Operation

// Job "multiple_delete": answers with the delete error objects of the objects that stayed.
QJsonDocument multipleDelete(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
