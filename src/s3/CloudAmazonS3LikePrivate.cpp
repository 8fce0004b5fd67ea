#include "s3/CloudAmazonS3LikePrivate.h"

#include "info/Config.h"
#include "info/InfoFactory.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikNetwork/ClientHttp.h>

#include <QBuffer>
#include <QIODevice>
#include <QLocale>
#include <QMessageAuthenticationCode>
#include <QSet>
#include <QStringList>

#include <algorithm>

namespace Norvik::Cloud::Api {

namespace {

// SHA-256 of no data, in lower-case hexadecimal.
const QByteArray EmptySha256 =
    QByteArrayLiteral("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");

QString formatDate(const QDateTime& dateTime, const QString& format)
{
    return QLocale(QLocale::English).toString(dateTime, format);
}

QByteArray shortDate(const QDateTime& dateTime)
{
    return formatDate(dateTime, QStringLiteral("yyyyMMdd")).toUtf8();
}

QByteArray hmacSha256(const QByteArray& key, const QByteArray& message)
{
    return QMessageAuthenticationCode::hash(message, key, QCryptographicHash::Sha256);
}

// The lowered keys joined by ";": the signed headers of version 4.
QByteArray signedHeaderList(const CloudAmazonS3LikePrivate::HeaderMap& headers)
{
    QByteArrayList keys;
    keys.reserve(headers.size());
    for (auto it = headers.cbegin(); it != headers.cend(); ++it)
        keys.append(it.key().toLower());
    return keys.join(';');
}

// The sub-resources that version 2 signs; no other query item is part of the string to sign.
const QSet<QString>& subResources()
{
    static const QSet<QString> names{
        QStringLiteral("acl"),        QStringLiteral("lifecycle"),      QStringLiteral("location"),
        QStringLiteral("logging"),    QStringLiteral("notification"),   QStringLiteral("partNumber"),
        QStringLiteral("policy"),     QStringLiteral("requestPayment"), QStringLiteral("torrent"),
        QStringLiteral("uploadId"),   QStringLiteral("uploads"),        QStringLiteral("versionId"),
        QStringLiteral("versioning"), QStringLiteral("versions"),
    };
    return names;
}

QString toHexUTF8(QChar unit)
{
    // The unit alone is converted: half of a surrogate pair becomes whatever the UTF-8 codec
    // makes of a lone surrogate, never the code point of the pair.
    const QByteArray bytes = QString(unit).toUtf8();
    QString out;
    out.reserve(bytes.size() * 3);
    for (const char byte : bytes) {
        out += QLatin1Char('%');
        out += QString::number(static_cast<uchar>(byte), 16).rightJustified(2, QLatin1Char('0')).toUpper();
    }
    return out;
}

} // namespace

CloudAmazonS3LikePrivate::CloudAmazonS3LikePrivate(Type type)
    : m_info(Info::InfoFactory::create(type).dynamicCast<Info::AmazonS3Like>())
{
    if (!m_info)
        m_info = QSharedPointer<Info::AmazonS3Like>::create(type);
    m_signature = m_info->defaultSignature();
    m_region = m_info->defaultRegion();
    client()->setVerifyHost(m_info->verifyHostOnSslCheck());
}

CloudAmazonS3LikePrivate::~CloudAmazonS3LikePrivate() = default;

bool CloudAmazonS3LikePrivate::setConfig(const QMap<QString, QVariant>& config)
{
    namespace Keys = ::Norvik::Cloud::Config::AmazonS3Like;
    CloudHttpPrivate::setConfig(config);
    if (!config.contains(Keys::AccessKey) || !config.contains(Keys::SecretKey))
        return false;
    m_accessKey = config.value(Keys::AccessKey).toByteArray();
    m_secretKey = config.value(Keys::SecretKey).toByteArray();
    m_securityToken = config.value(Keys::SecurityToken).toByteArray();
    if (config.contains(Keys::Region))
        m_region = config.value(Keys::Region).toString();
    if (config.contains(Keys::Signature::Key))
        m_signature = config.value(Keys::Signature::Key).toString() == Keys::Signature::Value::V4
                          ? Info::AmazonS3Like::V4
                          : Info::AmazonS3Like::V2;
    return true;
}

QString CloudAmazonS3LikePrivate::defaultRegion() const
{
    return m_info->defaultRegion();
}

// --- Encoding -----------------------------------------------------------------------------

QString CloudAmazonS3LikePrivate::uriEncode(const QString& text, bool encodeSlash)
{
    QString out;
    out.reserve(text.size() * 3);
    for (const QChar unit : text) {
        const ushort code = unit.unicode();
        const bool unreserved = (code >= 'A' && code <= 'Z') || (code >= 'a' && code <= 'z') ||
                                (code >= '0' && code <= '9') || code == '_' || code == '-' || code == '~' ||
                                code == '.';
        if (unreserved)
            out += unit;
        else if (code == '/')
            out += encodeSlash ? QStringLiteral("%2F") : QStringLiteral("/");
        else
            out += toHexUTF8(unit);
    }
    return out;
}

QUrlQuery CloudAmazonS3LikePrivate::urlQueryEncode(const QUrlQuery& query, bool encodeSlash)
{
    QUrlQuery encoded;
    const auto items = query.queryItems(QUrl::FullyDecoded);
    for (const auto& item : items)
        encoded.addQueryItem(uriEncode(item.first, encodeSlash), uriEncode(item.second, encodeSlash));
    return encoded;
}

// --- Dispatch -----------------------------------------------------------------------------

QPair<QUrl, CloudAmazonS3LikePrivate::HeaderMap>
CloudAmazonS3LikePrivate::signature(RequestType type, const QString& bucket, QString path,
                                    const QUrlQuery& query, HeaderMap& headers, bool useRegion,
                                    QSharedPointer<QIODevice> body, long long size)
{
    // A retry comes back with the map of the failed attempt; its signature must not be signed in.
    headers.remove("Authorization");
    if (!m_securityToken.isEmpty())
        headers.insert("x-amz-security-token", m_securityToken);

    switch (m_signature) {
    case Info::AmazonS3Like::V4:
        return signatureAws4(type, requestEndpoint(bucket, useRegion), bucket, path, query, headers,
                             useRegion, currentDateTimeUtc(), body, size);
    case Info::AmazonS3Like::V2:
        return signatureAws2(type, requestEndpoint(bucket, useRegion), bucket, path, query, headers);
    }
    return {};
}

QString CloudAmazonS3LikePrivate::signUrl(const QString& bucket, const QString& path, bool https,
                                          const QDateTime& expires)
{
    if (bucket.isEmpty() || path.isEmpty() || expires <= currentDateTimeUtc())
        return QString();
    switch (m_signature) {
    case Info::AmazonS3Like::V2:
        return signUrlAws2(bucket, path, https, expires);
    case Info::AmazonS3Like::V4:
        return signUrlAws4(bucket, path, https, expires);
    }
    return QString();
}

// --- Version 2 ----------------------------------------------------------------------------

QPair<QUrl, CloudAmazonS3LikePrivate::HeaderMap>
CloudAmazonS3LikePrivate::signatureAws2(RequestType type, const QUrl& url, const QString& bucket,
                                        const QString& path, const QUrlQuery& query, HeaderMap& headers)
{
    headers.insert("User-Agent", userAgent().toUtf8());
    headers.insert("Host", url.host(QUrl::FullyDecoded).toUtf8());
    // The date travels as "x-amz-date", so the date line of the string to sign stays empty
    // and no "Date" header is sent.
    headers.insert("x-amz-date",
                   QStringLiteral("%1 GMT")
                       .arg(formatDate(currentDateTimeUtc(), QStringLiteral("ddd, dd MMM yyyy hh:mm:ss")))
                       .toUtf8());

    QUrl requestUrl = url.resolved(QUrl(QString(QLatin1Char('.') + uriEncode(path, false))));
    requestUrl.setQuery(urlQueryEncode(query, false));

    const QString resource = bucket.isEmpty() ? path : QStringLiteral("/%1%2").arg(bucket, path);
    headers.insert("Authorization", headerAws2(type, resource, query, headers, QByteArray(), bucket));
    return qMakePair(requestUrl, headers);
}

QByteArray CloudAmazonS3LikePrivate::headerAws2(RequestType type, const QString& resource,
                                                const QUrlQuery& query, const HeaderMap& headers,
                                                const QByteArray& contentMd5, const QString&)
{
    const QByteArray stringToSign = string2signAws2(type, resource, query, headers, contentMd5);
    NorvikDebug("NKC").debug() << "String To Sign:";
    NorvikDebug("NKC").debug() << stringToSign;
    NorvikDebug("NKC").debug() << "String To Sign: end";
    const QByteArray hash = signatureAws2Hash(stringToSign);
    NorvikDebug("NKC").debug() << "Signature:" << hash;
    return QByteArrayLiteral("AWS ") + m_accessKey + ':' + hash;
}

QByteArray CloudAmazonS3LikePrivate::string2signAws2(RequestType type, const QString& resource,
                                                     const QUrlQuery& query, const HeaderMap& headers,
                                                     const QByteArray& contentMd5) const
{
    QByteArray text = requestType2String(type).toUtf8();
    text += '\n';
    if (!contentMd5.isEmpty())
        text += contentMd5.toBase64();
    text += '\n';
    text += headers.value("Content-Type");
    text += '\n';
    // The date line: empty for header-signed requests, which carry "x-amz-date" instead.
    text += query.queryItemValue(QStringLiteral("Expires"), QUrl::FullyDecoded).toUtf8();
    text += '\n';
    // Keys as they stand: no lowering, no folding of repeated values.
    for (auto it = headers.cbegin(); it != headers.cend(); ++it) {
        if (it.key().startsWith("x-amz-")) {
            text += it.key();
            text += ':';
            text += it.value();
            text += '\n';
        }
    }
    text += uriEncode(resource, false).toUtf8();

    // Sub-resources in the query's own order, not sorted. An item without a value keeps its
    // "=" unless it is the last one.
    QString subResource;
    const auto items = query.queryItems(QUrl::FullyDecoded);
    for (const auto& item : items) {
        if (subResources().contains(item.first))
            subResource += item.first + QLatin1Char('=') + uriEncode(item.second, true) + QLatin1Char('&');
    }
    subResource.chop(1);
    if (subResource.endsWith(QLatin1Char('=')))
        subResource.chop(1);
    if (!subResource.isEmpty()) {
        text += '?';
        text += subResource.toUtf8();
    }
    return text;
}

QByteArray CloudAmazonS3LikePrivate::signatureAws2Hash(const QByteArray& stringToSign) const
{
    return QMessageAuthenticationCode::hash(stringToSign, m_secretKey, QCryptographicHash::Sha1).toBase64();
}

QString CloudAmazonS3LikePrivate::signUrlAws2(const QString& bucket, const QString& path, bool https,
                                              const QDateTime& expires)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("AWSAccessKeyId"), QString::fromUtf8(m_accessKey));
    query.addQueryItem(QStringLiteral("Expires"), QString::number(expires.toSecsSinceEpoch()));

    const QByteArray stringToSign =
        string2signAws2(GET, QStringLiteral("/%1%2").arg(bucket, path), query, HeaderMap(), QByteArray());
    NorvikDebug("NKC").debug() << "begin stringToSign";
    NorvikDebug("NKC").debug() << stringToSign;
    NorvikDebug("NKC").debug() << "end stringToSign";
    query.addQueryItem(QStringLiteral("Signature"),
                       uriEncode(QString::fromLatin1(signatureAws2Hash(stringToSign)), true));

    // The bucket stands in the path even when the endpoint's host already names it.
    const QUrl endpointUrl = requestEndpoint(bucket, true);
    QUrl url;
    url.setScheme(https ? QStringLiteral("https") : QStringLiteral("http"));
    url.setHost(endpointUrl.host());
    url.setPort(endpointUrl.port());
    url.setPath(QStringLiteral("/%1%2").arg(bucket, uriEncode(path, false)), QUrl::TolerantMode);
    url.setQuery(query);
    return url.toString(QUrl::FullyEncoded);
}

// --- Version 4 ----------------------------------------------------------------------------

void CloudAmazonS3LikePrivate::digestRest(QIODevice* device,
                                          std::initializer_list<Core::Hash::Digest*> digests)
{
    if (!device || !device->isOpen())
        return;
    const qint64 position = device->pos();

    // Parts held in memory are hashed where they lie, without a copy.
    if (const auto* buffer = qobject_cast<const QBuffer*>(device)) {
        const QByteArray& data = buffer->data();
        if (position < data.size()) {
            for (Core::Hash::Digest* digest : digests)
                digest->addData(data.constData() + position, data.size() - position);
        }
        return;
    }

    constexpr qint64 blockSize = 1 << 20;
    QByteArray block(static_cast<int>(blockSize), Qt::Uninitialized);
    for (;;) {
        const qint64 got = device->read(block.data(), blockSize);
        if (got <= 0)
            break;
        for (Core::Hash::Digest* digest : digests)
            digest->addData(block.constData(), got);
    }
    device->seek(position);
}

QByteArray CloudAmazonS3LikePrivate::digestOfRest(QIODevice* device, Core::Hash::Algorithm algorithm)
{
    Core::Hash::Digest digest(algorithm);
    digestRest(device, {&digest});
    return digest.result();
}

QPair<QUrl, CloudAmazonS3LikePrivate::HeaderMap> CloudAmazonS3LikePrivate::signatureAws4(
    RequestType type, const QUrl& url, const QString& bucket, const QString& path, const QUrlQuery& query,
    HeaderMap& headers, bool useRegion, const QDateTime& now, QSharedPointer<QIODevice> body, long long size)
{
    headers.insert("User-Agent", userAgent().toUtf8());
    headers.insert("Host", url.host(QUrl::FullyDecoded).toUtf8());

    const QString resource =
        !bucket.isEmpty() && usePathStyle(bucket) ? QStringLiteral("/%1%2").arg(bucket, path) : path;

    // The payload is always hashed for real; a caller's own value is signed as it stands.
    if (!headers.contains("x-amz-content-sha256")) {
        const bool hasBody = (type == PUT || type == POST) && size != 0;
        headers.insert("x-amz-content-sha256",
                       hasBody ? digestOfRest(body.data(), Core::Hash::Algorithm::Sha256).toHex()
                               : EmptySha256);
    }
    headers.insert("x-amz-date", signatureAws4DateFormat(now).toUtf8());

    const QString signingRegion = useRegion ? m_region : m_info->defaultRegion();
    headers.insert("Authorization", headerAws4(type, resource, query, headers, signingRegion, bucket, now));

    QUrl requestUrl = url.resolved(QUrl(uriEncode(resource, false)));
    requestUrl.setQuery(urlQueryEncode(query, false));
    return qMakePair(requestUrl, headers);
}

QString CloudAmazonS3LikePrivate::signatureAws4DateFormat(const QDateTime& dateTime) const
{
    QString text = dateTime.toString(Qt::ISODate);
    text.remove(QLatin1Char('-'));
    text.remove(QLatin1Char(':'));
    return text;
}

QByteArray CloudAmazonS3LikePrivate::headerAws4(RequestType type, const QString& resource,
                                                const QUrlQuery& query, const HeaderMap& headers,
                                                const QString& region, const QString&, const QDateTime& date)
{
    // A blank follows the credential's comma but not the signed headers' one: services
    // accept both, and this is the form that is sent.
    QByteArray value = QByteArrayLiteral("AWS4-HMAC-SHA256 Credential=");
    value += m_accessKey + '/' + shortDate(date) + '/' + region.toUtf8() + "/s3/aws4_request, ";
    value += "SignedHeaders=" + signedHeaderList(headers);
    value += ",Signature=" + signatureAws4Hash(type, resource, query, headers, region, false, date);
    NorvikDebug("NKC").debug() << "Auth Header";
    NorvikDebug("NKC").debug() << value;
    NorvikDebug("NKC").debug() << "EndAuthHeader";
    return value;
}

QByteArray CloudAmazonS3LikePrivate::canonicalRequestAws4(RequestType type, const QString& resource,
                                                          const QUrlQuery& query, const HeaderMap& headers,
                                                          bool signedUrl) const
{
    QByteArray text = requestType2String(type).toUtf8() + '\n';
    text += uriEncode(resource, false).toUtf8() + '\n';

    // Sorted as decoded UTF-16 text, before any encoding.
    auto items = query.queryItems(QUrl::FullyDecoded);
    std::sort(items.begin(), items.end());
    QStringList pairs;
    pairs.reserve(items.size());
    for (const auto& item : items)
        pairs.append(uriEncode(item.first, true) + QLatin1Char('=') + uriEncode(item.second, true));
    text += pairs.join(QLatin1Char('&')).toUtf8() + '\n';

    // Every header is signed, in the map's order of the keys as they stand, not of the
    // lowered keys.
    HeaderMap signedHeaders = headers;
    if (signedUrl)
        signedHeaders.remove("x-amz-content-sha256");
    for (auto it = signedHeaders.cbegin(); it != signedHeaders.cend(); ++it)
        text += it.key().toLower() + ':' + it.value().trimmed() + '\n';
    text += '\n';
    text += signedHeaderList(signedHeaders) + '\n';
    text += signedUrl ? QByteArrayLiteral("UNSIGNED-PAYLOAD") : headers.value("x-amz-content-sha256");
    return text;
}

QByteArray CloudAmazonS3LikePrivate::string2signAws4(RequestType type, const QString& resource,
                                                     const QUrlQuery& query, const HeaderMap& headers,
                                                     const QString& region, bool signedUrl,
                                                     const QDateTime& date) const
{
    const QByteArray canonicalRequest = canonicalRequestAws4(type, resource, query, headers, signedUrl);
    NorvikDebug("NKC").debug() << "CanonicalReq:";
    NorvikDebug("NKC").debug() << canonicalRequest;
    NorvikDebug("NKC").debug() << "EndCanonicalReq";

    // The date-time line repeats the header's very text, whatever its form.
    QByteArray text = QByteArrayLiteral("AWS4-HMAC-SHA256\n");
    text += signedUrl ? query.queryItemValue(QStringLiteral("X-Amz-Date"), QUrl::FullyDecoded).toUtf8()
                      : headers.value("x-amz-date");
    text += '\n';
    text += shortDate(date) + '/' + region.toUtf8() + "/s3/aws4_request\n";
    text += Core::Hash::Digest::hash(canonicalRequest, Core::Hash::Algorithm::Sha256).toHex();
    NorvikDebug("NKC").debug() << "StringToSign:";
    NorvikDebug("NKC").debug() << text;
    NorvikDebug("NKC").debug() << "EndStringToSign";
    return text;
}

QByteArray CloudAmazonS3LikePrivate::signatureAws4Hash(RequestType type, const QString& resource,
                                                       const QUrlQuery& query, const HeaderMap& headers,
                                                       const QString& region, bool signedUrl,
                                                       const QDateTime& date) const
{
    QByteArray key = hmacSha256(QByteArrayLiteral("AWS4") + m_secretKey, shortDate(date));
    key = hmacSha256(key, region.toUtf8());
    key = hmacSha256(key, QByteArrayLiteral("s3"));
    key = hmacSha256(key, QByteArrayLiteral("aws4_request"));
    return hmacSha256(key, string2signAws4(type, resource, query, headers, region, signedUrl, date)).toHex();
}

QUrlQuery CloudAmazonS3LikePrivate::queryAws4ForSignUrl(const QDateTime& expires,
                                                        const HeaderMap& headers) const
{
    return queryAws4ForSignUrl(expires, headers, currentDateTimeUtc());
}

QUrlQuery CloudAmazonS3LikePrivate::queryAws4ForSignUrl(const QDateTime& expires, const HeaderMap& headers,
                                                        const QDateTime& now) const
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("X-Amz-Algorithm"), QStringLiteral("AWS4-HMAC-SHA256"));
    query.addQueryItem(QStringLiteral("X-Amz-Credential"),
                       QStringLiteral("%1/%2/%3/s3/aws4_request")
                           .arg(QString::fromUtf8(m_accessKey), QString::fromUtf8(shortDate(now)), m_region));
    query.addQueryItem(QStringLiteral("X-Amz-Date"), formatDate(now, QStringLiteral("yyyyMMdd'T'HHmmss'Z'")));
    query.addQueryItem(QStringLiteral("X-Amz-Expires"), QString::number(now.secsTo(expires)));
    query.addQueryItem(QStringLiteral("X-Amz-SignedHeaders"), QString::fromUtf8(signedHeaderList(headers)));
    return query;
}

QString CloudAmazonS3LikePrivate::signUrlAws4(const QString& bucket, const QString& path, bool https,
                                              const QDateTime& expires)
{
    const QUrl endpointUrl = requestEndpoint(bucket, true);
    QString host = endpointUrl.host();
    if (endpointUrl.port() != -1)
        host += QStringLiteral(":%1").arg(endpointUrl.port());
    const HeaderMap headers{{"Host", host.toUtf8()}};

    const QString resource =
        host.contains(bucket, Qt::CaseInsensitive) ? path : QStringLiteral("/%1%2").arg(bucket, path);

    // One instant for the query's date and the signing key's date, so that a signature made
    // across midnight still matches its own query.
    const QDateTime now = currentDateTimeUtc();
    QUrlQuery query = queryAws4ForSignUrl(expires, headers, now);
    query.addQueryItem(
        QStringLiteral("X-Amz-Signature"),
        QString::fromLatin1(signatureAws4Hash(GET, resource, query, headers, m_region, true, now)));

    QUrl url;
    url.setScheme(https ? QStringLiteral("https") : QStringLiteral("http"));
    url.setHost(endpointUrl.host());
    url.setPort(endpointUrl.port());
    url.setPath(uriEncode(resource, false), QUrl::TolerantMode);
    url.setQuery(query);
    return url.toString(QUrl::FullyEncoded);
}

// --- Endpoints ----------------------------------------------------------------------------

QString CloudAmazonS3LikePrivate::userAgent() const
{
    return m_info->userAgent();
}

bool CloudAmazonS3LikePrivate::usePathStyle(const QString& bucket) const
{
    if (bucket.isEmpty())
        return false;
    if (m_usePathStyle)
        return true;
    // Names that cannot be a host label go into the path. A name of digits alone begins
    // with a digit, so the first test covers it too.
    return bucket.at(0).isDigit() || bucket.endsWith(QLatin1Char('.')) || bucket != bucket.toLower();
}

QUrl CloudAmazonS3LikePrivate::requestEndpoint(const QString& bucket, bool useRegion)
{
    if (m_info->supportRegions())
        return requestEndpointSupportRegions(bucket, useRegion);
    if (bucket.isEmpty())
        return endpoint();
    // The field, not the virtual test: a path-style service keeps the endpoint's port and path.
    if (m_usePathStyle)
        return endpoint().resolved(QUrl(QStringLiteral("./%1/").arg(bucket)));
    QUrl url(QStringLiteral("//%1.%2").arg(bucket, endpoint().host()));
    url.setScheme(endpoint().scheme());
    return url;
}

QUrl CloudAmazonS3LikePrivate::requestEndpointSupportRegions(const QString& bucket, bool useRegion)
{
    const Info::RegionMap regions = m_info->regions(false);
    const QString host = endpoint().host();
    const QString chosenRegion = useRegion ? m_region : m_info->defaultRegion();
    const bool pathStyle = usePathStyle(bucket);

    QUrl url;
    if (!bucket.isEmpty() && !pathStyle)
        url = QUrl(QStringLiteral("//%1.%2.%3").arg(bucket, regions.value(chosenRegion).second, host));
    else if (useRegion)
        url = QUrl(QStringLiteral("//%1.%2").arg(regions.value(m_region).second, host));
    else
        url = QUrl(QStringLiteral("//s3.%1").arg(host));
    url.setScheme(endpoint().scheme());

    // With version 4 the bucket goes into the signed resource instead.
    if (pathStyle && m_signature == Info::AmazonS3Like::V2)
        url = url.resolved(QUrl(QStringLiteral("./%1/").arg(bucket)));
    return url;
}

} // namespace Norvik::Cloud::Api
