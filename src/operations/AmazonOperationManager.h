#pragma once

#include <QByteArray>
#include <QMap>
#include <QSharedPointer>
#include <QString>
#include <QVariant>

namespace Norvik::Cloud {

class IOperation;

// The entry to the operations that only Amazon S3 has: a bucket's lifecycle policy. Each
// function checks its input, makes the operation, registers it with the OperationManager and
// returns it unstarted (call exec()); on bad input it returns null and logs why.
class AmazonOperationManager
{
public:
    AmazonOperationManager();

    QSharedPointer<IOperation> loadLifecyclePolicy(const QMap<QString, QVariant>& config);
    // The policy document is the caller's XML; it must not be empty.
    QSharedPointer<IOperation> saveLifecyclePolicy(const QMap<QString, QVariant>& config,
                                                   const QByteArray& policy);
    QSharedPointer<IOperation> deleteLifecyclePolicy(const QMap<QString, QVariant>& config);
};

} // namespace Norvik::Cloud
