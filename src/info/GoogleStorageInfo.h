#pragma once

#include "info/InfoBase.h"

#include <QMap>
#include <QUrl>

namespace Norvik::Cloud::Info {

class GoogleStorage : public Base
{
public:
    // The product's OAuth client of the installed-application flow. Both are set when the
    // library is built (NORVIK_GOOGLE_CLIENT_ID, NORVIK_GOOGLE_CLIENT_SECRET) and are empty
    // otherwise, in which case that flow cannot authorise.
    static const QString ClientID;
    static const QString ClientSecret;

    GoogleStorage();
    ~GoogleStorage() override;

    QUrl defaultEndpoint() const;
    // Locations a new bucket may be given: the location constraint to its display name.
    QMap<QString, QString> regions() const;
    // Storage classes a new bucket may be given: the class to its display name.
    QMap<QString, QString> storageType() const;
};

} // namespace Norvik::Cloud::Info
