#pragma once

#include "connection/IConnection.h"

namespace Norvik::Cloud::Api {

// A connection to a cloud service, which, unlike a folder or a file server, has containers of
// its own to create and list. Job functions reach it by dynamic_cast from IConnection.
class ICloud : public IConnection
{
public:
    using IConnection::IConnection;
    ~ICloud() override;

    virtual bool createContainers(const QJsonObject& params) = 0;
    virtual bool removeContainers(const QString& container) = 0;
    // An array of container objects.
    virtual QJsonDocument containers() = 0;
};

} // namespace Norvik::Cloud::Api
