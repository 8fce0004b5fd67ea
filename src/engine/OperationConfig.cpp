#include "engine/OperationConfig.h"

namespace Norvik::Cloud::OperationConfig {

const QString ContainerName = QStringLiteral("ContainerName");
const QString ChunkSize = QStringLiteral("ChunkSize");

} // namespace Norvik::Cloud::OperationConfig
