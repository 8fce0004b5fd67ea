#include "openstack/OpenStackRecords.h"

#include "connection/JsonCount.h"

namespace Norvik::Cloud::Api {

namespace {

QString withLeadingSlash(const QString& name)
{
    return name.startsWith(QLatin1Char('/')) ? name : QLatin1Char('/') + name;
}

} // namespace

ListingObjectOpenStack::ListingObjectOpenStack(const QJsonObject& entry)
{
    if (entry.contains(QStringLiteral("subdir"))) {
        setName(withLeadingSlash(entry.value(QStringLiteral("subdir")).toString()));
        setSize(0);
        setIsFolder(true);
        return;
    }
    setName(withLeadingSlash(entry.value(QStringLiteral("name")).toString()));
    setSize(jsonCount(entry.value(QStringLiteral("bytes"))));
    setEtag(entry.value(QStringLiteral("hash")).toString().toUtf8());
    QDateTime modified =
        QDateTime::fromString(entry.value(QStringLiteral("last_modified")).toString(), Qt::ISODateWithMs);
    if (modified.isValid()) {
        modified.setTimeSpec(Qt::UTC);
        setLastModified(modified);
    }
    setIsFolder(false);
}

ListingObjectOpenStack::ListingObjectOpenStack(const QString& path, quint64 size,
                                               const CloudHttp::CloudHttpPrivate::HeaderMap& headers)
{
    setName(withLeadingSlash(path));
    setSize(size);
    setEtag(headers.value("etag"));
    setIsFolder(false);
}

MultipartListPartObjectOpenStack::MultipartListPartObjectOpenStack(quint64 size, quint64 partNumber,
                                                                   const QByteArray& eTag)
{
    setSize(size);
    setPartNumber(partNumber);
    setEtag(eTag);
}

} // namespace Norvik::Cloud::Api
