#pragma once

#include "info/InfoBase.h"

#include <QMap>
#include <QUrl>

namespace Norvik::Cloud::Info {

class BackBlaze : public Base
{
public:
    BackBlaze();
    ~BackBlaze() override;

    // The host that accounts are authorised at; it hands out the account's own API host.
    QUrl defaultEndpoint() const;
    // Bucket types a new bucket may have: the service's value to its display name.
    QMap<QString, QString> containerAccessType() const;
};

} // namespace Norvik::Cloud::Info
