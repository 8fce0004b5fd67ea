#pragma once

#include "connection/ListingObject.h"

class QUrl;

namespace Norvik::Cloud::Api {

class FSFtpInfo;

// A listing record of a network storage.
class ListingObjectFSFtp : public ListingObject
{
public:
    // An entry found below the base folder url: the name is the entry's path relative to it,
    // without a leading "/"; folders end in "/".
    ListingObjectFSFtp(const FSFtpInfo& info, const QUrl& url);
    // An object that was just written, named as the caller named it.
    ListingObjectFSFtp(const QString& name, quint64 size, const QDateTime& lastModified, bool isFolder);
    ~ListingObjectFSFtp() override;
};

} // namespace Norvik::Cloud::Api
