#include "info/S3LikeRegionListUpdater.h"

#include <NorvikCore/GlobalConfig.h>
#include <NorvikCore/NorvikDebug.h>
#include <NorvikNetwork/HttpRequest.h>

#include <QDomDocument>
#include <QDomElement>
#include <QEventLoop>
#include <QFile>
#include <QMutexLocker>
#include <QUrl>
#include <QXmlInputSource>
#include <QXmlSimpleReader>

namespace Norvik::Cloud::Info {

namespace {

// The download address: the product's web service configured in the global configuration,
// with the list's path below whatever path the base address has.
QString downloadUrl(const QString& path)
{
    QUrl url = Core::GlobalConfig::instance().regionListBaseUrl();
    QString basePath = url.path();
    while (basePath.endsWith(QLatin1Char('/')))
        basePath.chop(1);
    url.setPath(basePath + path);
    return url.toString();
}

class AmazonS3RegionListUpdater : public S3LikeRegionListUpdater
{
public:
    AmazonS3RegionListUpdater()
        : S3LikeRegionListUpdater(downloadUrl(QStringLiteral("/AmazonS3Regions.xml")),
                                  QStringLiteral(":regions.s3.xml"))
    {
    }
};

class WasabiRegionListUpdater : public S3LikeRegionListUpdater
{
public:
    WasabiRegionListUpdater()
        : S3LikeRegionListUpdater(downloadUrl(QStringLiteral("/WasabiRegions.xml")),
                                  QStringLiteral(":regions.wasabi.xml"))
    {
    }
};

} // namespace

S3LikeRegionListUpdater& S3LikeRegionListUpdater::instance(Type type)
{
    if (type == AmazonS3) {
        static AmazonS3RegionListUpdater amazon;
        return amazon;
    }
    static WasabiRegionListUpdater wasabi;
    return wasabi;
}

S3LikeRegionListUpdater::S3LikeRegionListUpdater(const QString& url, const QString& resourceName)
    : m_url(url)
{
    QFile file(resourceName);
    if (!file.open(QIODevice::ReadOnly)) {
        NorvikDebug("NKC").error() << "Error on open default regions resource file:" << resourceName;
        return;
    }
    if (!parse(file.readAll(), m_defaultRegions))
        NorvikDebug("NKC").error() << "Error on parse default regions resource file:" << resourceName;
}

S3LikeRegionListUpdater::~S3LikeRegionListUpdater() = default;

bool S3LikeRegionListUpdater::parse(const QByteArray& xml, RegionMap& out)
{
    out.clear();
    QXmlInputSource source;
    source.setData(xml);
    QXmlSimpleReader reader;
    QDomDocument document;
    if (!document.setContent(&source, &reader))
        return false;

    const QDomElement regionList = document.documentElement();
    if (regionList.tagName() != QLatin1String("RegionList"))
        return false;
    const QDomElement regions = regionList.firstChildElement(QStringLiteral("Regions"));
    if (regions.isNull())
        return false;

    for (QDomElement region = regions.firstChildElement(QStringLiteral("Region")); !region.isNull();
         region = region.nextSiblingElement(QStringLiteral("Region"))) {
        const QString displayName = region.firstChildElement(QStringLiteral("DisplayName")).text();
        const QString id = region.firstChildElement(QStringLiteral("Endpoint")).text();
        if (id.isEmpty())
            continue;
        const QString prefix =
            id == QLatin1String("us-east-1") ? QStringLiteral("s3") : QStringLiteral("s3.%1").arg(id);
        out.insert(id, qMakePair(displayName, prefix));
    }
    return true;
}

bool S3LikeRegionListUpdater::load()
{
    Network::HttpRequest request(QUrl(m_url), nullptr, nullptr);
    if (!request.isFinished()) {
        // The job thread that asks has no event loop of its own.
        QEventLoop loop;
        QObject::connect(&request, &Network::HttpRequest::finished, &loop, &QEventLoop::quit);
        QObject::connect(&request, &Network::HttpRequest::error, &loop, &QEventLoop::quit);
        loop.exec();
    }

    if (request.hasError()) {
        NorvikDebug("NKC").error() << "S3LikeRegionListUpdater::load:" << request.errorMessage();
        return false;
    }
    if (request.status() >= 300) {
        NorvikDebug("NKC").error() << "S3LikeRegionListUpdater::load: HTTP status" << request.status()
                                   << "url:" << m_url;
        return false;
    }
    const QByteArray data = request.data();
    if (data.isEmpty()) {
        NorvikDebug("NKC").error() << "S3LikeRegionListUpdater::load: response is empty";
        return false;
    }
    if (!parse(data, m_regions)) {
        NorvikDebug("NKC").error() << "S3LikeRegionListUpdater::load: the region list is not readable, url:"
                                   << m_url;
        return false;
    }
    return true;
}

bool S3LikeRegionListUpdater::reload()
{
    QMutexLocker lock(&m_mutex);
    m_regions.clear();
    return load();
}

const RegionMap& S3LikeRegionListUpdater::regions() const
{
    QMutexLocker lock(&m_mutex);
    return m_regions;
}

const RegionMap& S3LikeRegionListUpdater::defaultRegions() const
{
    QMutexLocker lock(&m_mutex);
    return m_defaultRegions;
}

RegionMap S3LikeRegionListUpdater::currentRegions(bool update)
{
    QMutexLocker lock(&m_mutex);
    if (!m_regions.isEmpty())
        return m_regions;
    // The whole decision runs under the lock: a thread that asked during another's download
    // finds the fetched list afterwards instead of fetching it again.
    if (update) {
        m_regions.clear();
        if (load() && !m_regions.isEmpty())
            return m_regions;
    }
    return m_defaultRegions;
}

} // namespace Norvik::Cloud::Info
