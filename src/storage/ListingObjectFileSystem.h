#pragma once

#include "connection/ListingObject.h"

class QFileInfo;
class QUrl;

namespace Norvik::Cloud::Api {

// A listing record of the file system storage.
class ListingObjectFileSystem : public ListingObject
{
public:
    // An entry found below root. The name is made relative by removing the root's local path
    // (every occurrence of it, as the storage has always done); folders end in a separator.
    ListingObjectFileSystem(const QFileInfo& info, const QUrl& root);
    // An object that was just written, named as the caller named it.
    ListingObjectFileSystem(const QString& name, unsigned long long size, const QDateTime& modified,
                            bool folder);
    ~ListingObjectFileSystem() override;
};

} // namespace Norvik::Cloud::Api
