#include "s3/CloudAmazonS3.h"

#include "s3/AmazonS3Answers.h"
#include "s3/CloudAmazonS3Private.h"

#include "connection/CloudPrivateFactory.h"
#include "connection/Exception.h"
#include "info/AmazonS3Info.h"
#include "info/Config.h"
#include "operations/ArchiveOption.h"
#include "operations/ContainerParams.h"

#include <NorvikCore/NorvikDebug.h>

#include <QCryptographicHash>
#include <QDomDocument>
#include <QJsonArray>
#include <QJsonDocument>
#include <QUrlQuery>
#include <QXmlStreamWriter>

namespace Norvik::Cloud::Api {

namespace {

using HeaderMap = CloudAmazonS3LikePrivate::HeaderMap;

QUrlQuery subresource(const QString& name)
{
    QUrlQuery query;
    query.addQueryItem(name, QString());
    return query;
}

QString objectKey(const QString& path)
{
    return path.startsWith(QLatin1Char('/')) ? path : QLatin1Char('/') + path;
}

QByteArray restoreRequest(ArchiveAmazonS3Option::Tier tier, unsigned long long days)
{
    QByteArray body;
    QXmlStreamWriter writer(&body);
    writer.writeStartElement(QStringLiteral("RestoreRequest"));
    writer.writeDefaultNamespace(QStringLiteral("http://s3.amazonaws.com/doc/2006-03-01/"));
    writer.writeTextElement(QStringLiteral("Days"), QString::number(days));
    writer.writeStartElement(QStringLiteral("GlacierJobParameters"));
    writer.writeTextElement(QStringLiteral("Tier"), ArchiveAmazonS3Option::tierName(tier));
    writer.writeEndElement();
    writer.writeEndElement();
    return body;
}

} // namespace

CloudAmazonS3::CloudAmazonS3()
    : CloudAmazonS3(Type::AmazonS3)
{
}

CloudAmazonS3::CloudAmazonS3(Type type)
    : CloudAmazonS3(type, CloudPrivateFactory::instance().createAmazonS3(type))
{
}

CloudAmazonS3::CloudAmazonS3(Type type, CloudAmazonS3Private* d)
    : CloudAmazonS3Like(type, d)
{
    useSsl = true;
}

CloudAmazonS3::~CloudAmazonS3() = default;

CloudAmazonS3Private* CloudAmazonS3::amazon() const
{
    return dynamic_cast<CloudAmazonS3Private*>(d.get());
}

bool CloudAmazonS3::setConfig(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty()) {
        NorvikDebug("NKC").debug() << "Cloud config is empty";
        return false;
    }
    CloudAmazonS3Private* const p = amazon();
    if (!p)
        return false;
    return p->setConfig(config) && CloudHttp::setConfig(config);
}

void CloudAmazonS3::checkConfig(const QString& bucket, QMap<QString, QVariant>& config)
{
    const QString& accelerate = ::Norvik::Cloud::Config::AmazonS3::UseAccelerate;
    CloudAmazonS3Like::checkConfig(bucket, config);
    if (d->signature() == Info::AmazonS3Like::V4 && config.value(accelerate).toBool()) {
        const CloudAmazonS3Private* const p = amazon();
        config.insert(accelerate, p && p->checkS3AccelerateConfig() ? checkAccelerate(bucket) : true);
    }
    if (!setConfig(config))
        throw Exception::InvalidArgument(QByteArray(), tr("The storage configuration is incomplete"),
                                         ::Norvik::Cloud::Config::Id);
}

bool CloudAmazonS3::delete_(const QString& bucket, const QJsonObject& object)
{
    return CloudAmazonS3Like::delete_(bucket, object);
}

QJsonArray CloudAmazonS3::delete_(const QString& bucket, const QJsonArray& objects)
{
    return deleteMultiple(bucket, objects);
}

bool CloudAmazonS3::createContainers(const QJsonObject& params)
{
    const ContainerParams::AmazonS3 container(params);
    if (!container.isValid()) {
        NorvikDebug("NKC").warning() << "Don't valide input params";
        NorvikDebug("NKC").debug() << "params:" << QJsonDocument(params).toJson(QJsonDocument::Compact);
        return false;
    }
    const QString region = container.region();
    if (!Info::AmazonS3().regions(false).contains(region) && region != d->defaultRegion()) {
        NorvikDebug("NKC").warning() << "region not valide" << region;
        return false;
    }

    QByteArray body;
    if (region != QLatin1String("us-east-1")) {
        QXmlStreamWriter writer(&body);
        writer.writeStartDocument();
        writer.writeStartElement(QStringLiteral("CreateBucketConfiguration"));
        writer.writeTextElement(QStringLiteral("LocationConstraint"), region);
        writer.writeEndElement();
        writer.writeEndDocument();
    }
    d->setRegion(region);
    HeaderMap headers;
    d->put(container.name(), QStringLiteral("/"), QUrlQuery(), headers, true, body);
    return true;
}

QUrl CloudAmazonS3::defaultEndpoint() const
{
    return CloudAmazonS3Like::defaultEndpoint();
}

// --- Archive --------------------------------------------------------------------------------

void CloudAmazonS3::prepareForDownload(const QString& bucket, const QString& path, const QJsonObject& options)
{
    const ArchiveAmazonS3Option option(options);
    // A tier outside the three would send a request without one: refused like a broken option.
    if (!option.isValid() || ArchiveAmazonS3Option::tierName(option.tier()).isEmpty())
        throw Exception::InvalidData(QJsonDocument(options).toJson(QJsonDocument::Compact));

    ArchiveAmazonS3Option::Tier tier = option.tier();
    for (int round = 0; round < 2; ++round) {
        const QByteArray body = restoreRequest(tier, option.days());
        NorvikDebug("NKC").debug() << "prepareForDownload:"
                                   << "container:" << bucket << "path:" << path << "content:" << body;
        HeaderMap headers{
            {"Content-MD5", QCryptographicHash::hash(body, QCryptographicHash::Md5).toBase64()},
            {"Content-Type", "application/xml"},
            {"Content-Length", QByteArray::number(body.size())},
        };
        try {
            d->post(bucket, objectKey(path), subresource(QStringLiteral("restore")), headers, true, body);
            return;
        } catch (const Exception::ArchiveInvalidTier&) {
            NorvikDebug("NKC").warning()
                << "Exception: ArchiveInvalidTier, current tier:" << ArchiveAmazonS3Option::tierName(tier);
            if (tier != ArchiveAmazonS3Option::Expedited)
                throw;
            NorvikDebug("NKC").infoH() << "Change tier or STANDARD, and to go retry...";
            tier = ArchiveAmazonS3Option::Standard;
        }
    }
}

bool CloudAmazonS3::checkReadyForDownload(const QString& bucket, const QString& path)
{
    HeaderMap headers;
    const HeaderMap response = d->head(bucket, objectKey(path), QUrlQuery(), headers, true).second;
    const QByteArray storageClass = response.value("x-amz-storage-class");
    if (storageClass != "GLACIER" && storageClass != "DEEP_ARCHIVE")
        return true;
    return AmazonS3Answers::restoreFinished(response.value("x-amz-restore"));
}

void CloudAmazonS3::finalizeDownloaded(const QString&, const QString&) {}

// --- Lifecycle and acceleration -------------------------------------------------------------

QByteArray CloudAmazonS3::loadLifecyclePolicy(const QString& bucket)
{
    NorvikFullDebug trace(Q_FUNC_INFO);
    try {
        HeaderMap headers;
        QByteArray body;
        d->get(bucket, QStringLiteral("/"), subresource(QStringLiteral("lifecycle")), headers, true, body);
        return body;
    } catch (const Exception::NoSuchLifecycleConfiguration& e) {
        NorvikDebug("NKC").infoH() << e.message();
        return QDomDocument().toByteArray();
    }
}

bool CloudAmazonS3::saveLifecyclePolicy(const QString& bucket, const QByteArray& xml)
{
    NorvikFullDebug trace(Q_FUNC_INFO);
    HeaderMap headers;
    d->put(bucket, QStringLiteral("/"), subresource(QStringLiteral("lifecycle")), headers, true, xml);
    return true;
}

bool CloudAmazonS3::deleteLifecyclePolicy(const QString& bucket)
{
    NorvikFullDebug trace(Q_FUNC_INFO);
    try {
        HeaderMap headers;
        d->delete_(bucket, QStringLiteral("/"), subresource(QStringLiteral("lifecycle")), headers, true);
    } catch (const Exception::NoContent&) {
    }
    return true;
}

bool CloudAmazonS3::checkAccelerate(const QString& bucket)
{
    HeaderMap headers;
    QByteArray body;
    // Asked of the bucket's regular host: the accelerate host refuses every request of a
    // bucket without acceleration, this one included.
    CloudAmazonS3Private* const p = amazon();
    const bool accelerate = p && p->useAccelerate();
    if (p)
        p->setUseAccelerate(false);
    try {
        d->get(bucket, QStringLiteral("/"), subresource(QStringLiteral("accelerate")), headers, true, body);
    } catch (...) {
        if (p)
            p->setUseAccelerate(accelerate);
        throw;
    }
    if (p)
        p->setUseAccelerate(accelerate);
    const std::optional<bool> enabled = AmazonS3Answers::accelerationEnabled(body);
    if (!enabled) {
        QDomDocument document;
        QString message;
        document.setContent(body, &message);
        NorvikDebug("NKC").warning() << "Error on parce content:" << message;
        NorvikDebug("NKC").infoH() << body;
        throw Exception::InvalidData(body);
    }
    return *enabled;
}

} // namespace Norvik::Cloud::Api
