#include "storage/ListingObjectFSFtp.h"

#include "storage/FSFtpInfo.h"

#include <QUrl>

namespace Norvik::Cloud::Api {

ListingObjectFSFtp::ListingObjectFSFtp(const FSFtpInfo& info, const QUrl& url)
{
    QString name = info.path();
    const QString base = url.path(QUrl::FullyDecoded);
    if (name.startsWith(base))
        name.remove(0, base.size());
    if (name.startsWith(QLatin1Char('/')))
        name.remove(0, 1);
    setName(name);
    if (info.lastModified().isValid())
        setLastModified(info.lastModified());
    setSize(info.size());
    setIsFolder(info.isFolder());
}

ListingObjectFSFtp::ListingObjectFSFtp(const QString& name, quint64 size, const QDateTime& lastModified,
                                       bool isFolder)
{
    setName(name);
    setLastModified(lastModified);
    setSize(size);
    setIsFolder(isFolder);
}

ListingObjectFSFtp::~ListingObjectFSFtp() = default;

} // namespace Norvik::Cloud::Api
