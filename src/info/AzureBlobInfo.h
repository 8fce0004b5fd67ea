#pragma once

#include "info/InfoBase.h"

#include <QMap>
#include <QStringList>
#include <QUrl>

namespace Norvik::Cloud::Info {

class AzureBlob : public Base
{
public:
    AzureBlob();
    ~AzureBlob() override;

    // The blob service host of the public cloud; the account name is put in front of it.
    QUrl defaultEndpoint() const;
    // Public access levels of a new container: the value of "x-ms-blob-public-access" (empty
    // for a private container) to its display name.
    QMap<QString, QString> accessType() const;
    // The account types a configuration may name, in the order to offer them.
    QStringList accountTypes() const;
    // The blob service host of each national cloud, by account type. The public cloud uses
    // defaultEndpoint(), and Azure Stack has no public host.
    QMap<QString, QUrl> accountTypeEndpoint() const;
};

} // namespace Norvik::Cloud::Info
