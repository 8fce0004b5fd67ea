#include "storage/ListingObjectFileSystem.h"

#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace Norvik::Cloud::Api {

ListingObjectFileSystem::ListingObjectFileSystem(const QFileInfo& info, const QUrl& root)
{
    QString name = info.filePath();
    const QString rootPath = root.toLocalFile();
    if (name.startsWith(rootPath, Qt::CaseSensitive))
        name.remove(rootPath, Qt::CaseSensitive);
    if (info.isDir())
        name += QDir::separator();
    setName(name);
    setSize(static_cast<quint64>(info.size()));
    setLastModified(info.lastModified().toUTC());
    setIsFolder(info.isDir());
}

ListingObjectFileSystem::ListingObjectFileSystem(const QString& name, unsigned long long size,
                                                 const QDateTime& modified, bool folder)
    : ListingObject(name, modified, size, QByteArray(), QByteArray(), folder)
{
}

ListingObjectFileSystem::~ListingObjectFileSystem() = default;

} // namespace Norvik::Cloud::Api
