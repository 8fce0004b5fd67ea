#include "operations/AmazonOperationManager.h"

#include "engine/OperationManager.h"
#include "operations/AmazonDeleteLifecyclePolicy.h"
#include "operations/AmazonLoadLifecyclePolicy.h"
#include "operations/AmazonSaveLifecyclePolicy.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud {

namespace {

const char* const ClassName = "AmazonOperationManager";

QSharedPointer<IOperation> refuse(const char* name, const QMap<QString, QVariant>& config)
{
    NorvikDebug("NKC").warning() << ClassName << ":" << name << "input params is not valide";
    NorvikDebug("NKC").debug() << "cloudConfig"
                               << ":" << config;
    return {};
}

QSharedPointer<IOperation> registered(IOperation* operation)
{
    const QSharedPointer<IOperation> shared(operation);
    OperationManager::instance().registerOperation(shared);
    return shared;
}

} // namespace

AmazonOperationManager::AmazonOperationManager() = default;

QSharedPointer<IOperation> AmazonOperationManager::loadLifecyclePolicy(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty())
        return refuse("loadLifecyclePolicy", config);
    return registered(new Operation::Amazon::LoadLifecyclePolicy(config, nullptr));
}

QSharedPointer<IOperation> AmazonOperationManager::saveLifecyclePolicy(const QMap<QString, QVariant>& config,
                                                                       const QByteArray& policy)
{
    if (config.isEmpty() || policy.isEmpty())
        return refuse("saveLifecyclePolicy", config);
    return registered(new Operation::Amazon::SaveLifecyclePolicy(config, policy, nullptr));
}

QSharedPointer<IOperation>
AmazonOperationManager::deleteLifecyclePolicy(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty())
        return refuse("deleteLifecyclePolicy", config);
    return registered(new Operation::Amazon::DeleteLifecyclePolicy(config, nullptr));
}

} // namespace Norvik::Cloud
