#include "azure/CloudAzureBlobPrivate.h"

#include "azure/AzureMetaData.h"

#include "connection/Exception.h"
#include "info/Config.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikCore/Version.h>
#include <NorvikNetwork/Retry.h>

#include <QBuffer>
#include <QLocale>
#include <QMessageAuthenticationCode>

namespace Norvik::Cloud::Api {

const QByteArray CloudAzureBlobPrivate::AzureApiVersion = QByteArrayLiteral("2017-04-17");
const QString CloudAzureBlobPrivate::ClassName = QStringLiteral("CloudAzureBlob");

namespace {

// Shared-access URLs are signed in an older service version than requests: the string to
// sign below has that version's layout.
const QString SasServiceVersion = QStringLiteral("2015-04-05");

QByteArray hmacSha256(const QByteArray& base64Key, const QByteArray& message)
{
    return QMessageAuthenticationCode::hash(message, QByteArray::fromBase64(base64Key),
                                            QCryptographicHash::Sha256)
        .toBase64();
}

// The items of a query as the caller meant them, in the order added.
QList<QPair<QString, QString>> decodedItems(const QUrlQuery& query)
{
    return query.queryItems(QUrl::FullyDecoded);
}

// The query text of a URL: every key and value percent-encoded but the unreserved characters,
// so that "+", "/" and "=" of block ids and "&" of a prefix arrive as they were.
QString encodedQuery(const QUrlQuery& query)
{
    QStringList items;
    for (const auto& item : decodedItems(query))
        items << QString::fromLatin1(QUrl::toPercentEncoding(item.first) + '=' +
                                     QUrl::toPercentEncoding(item.second));
    return items.join(QLatin1Char('&'));
}

void logOperationFailure(const char* label, const Exception::Operation& e)
{
    NorvikDebug("NKC").warning() << label << e.message();
    NorvikDebug("NKC").infoH() << e.data();
}

QSharedPointer<QIODevice> readOnlyBuffer(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

} // namespace

CloudAzureBlobPrivate::CloudAzureBlobPrivate() = default;

CloudAzureBlobPrivate::~CloudAzureBlobPrivate() = default;

bool CloudAzureBlobPrivate::setConfig(const QMap<QString, QVariant>& config)
{
    namespace Key = Norvik::Cloud::Config::AzureBlob;
    if (!config.contains(Key::Username) || !config.contains(Key::Password))
        return false;
    m_username = config.value(Key::Username).toByteArray();
    m_password = config.value(Key::Password).toByteArray();

    m_storageClass = StorageClass::Default;
    if (config.contains(Key::StorageClass::Key)) {
        const QString value = config.value(Key::StorageClass::Key).toString();
        if (value == Key::StorageClass::Value::Hot)
            m_storageClass = StorageClass::Hot;
        else if (value == Key::StorageClass::Value::Cool)
            m_storageClass = StorageClass::Cool;
        else if (value == Key::StorageClass::Value::Archive)
            m_storageClass = StorageClass::Archive;
    }
    return CloudHttpPrivate::setConfig(config);
}

CloudAzureBlobPrivate::HeaderMap CloudAzureBlobPrivate::header(const QMap<QString, QVariant>& metaData) const
{
    return AzureMetaData::header(metaData);
}

QMap<QString, QVariant> CloudAzureBlobPrivate::metaDataFromHeader(const HeaderMap& headers) const
{
    return AzureMetaData::fromHeader(headers);
}

QString CloudAzureBlobPrivate::userAgent() const
{
    static const QString text = [] {
        const QVersionNumber version = Core::Version::number();
        return QStringLiteral("APN/1.0 Norvik/1.0 Backup/%1.%2 Norvik.Base.HttpUtil.Client %1.%2.%3 "
                              "(https://www.norvik.example/backup)")
            .arg(version.majorVersion())
            .arg(version.minorVersion())
            .arg(version.microVersion());
    }();
    return text;
}

// --- Encoding ---------------------------------------------------------------------------

QString CloudAzureBlobPrivate::encod(QChar c)
{
    static const QString kept = QStringLiteral(";/:@&=+$,-_.!~*'()");
    if ((c.isLetterOrNumber() && c.unicode() < 129) || kept.contains(c))
        return QString(c);
    QString escaped;
    for (const char byte : QString(c).toUtf8())
        escaped += QStringLiteral("%%1").arg(uchar(byte), 2, 16, QLatin1Char('0')).toUpper();
    return escaped;
}

QString CloudAzureBlobPrivate::toUTF8String(const QString& text)
{
    QString encoded;
    // Units one at a time, as the service's own tools do: a lone half of a surrogate pair
    // becomes the replacement character's bytes rather than vanishing.
    for (const QChar c : text)
        encoded += encod(c);
    return encoded.replace(QLatin1Char('#'), QLatin1String("%23"));
}

// --- Signing ----------------------------------------------------------------------------

QUrl CloudAzureBlobPrivate::requestUrl(const QString& encodedPath, const QUrlQuery& query) const
{
    QUrl url;
    url.setScheme(endpoint().scheme());
    url.setHost(m_username.isEmpty()
                    ? endpoint().host()
                    : QStringLiteral("%1.%2").arg(QString::fromUtf8(m_username), endpoint().host()));
    // The port is kept: emulators and private stacks listen on their own.
    url.setPort(endpoint().port());
    url.setPath(encodedPath.isEmpty() ? QStringLiteral("/") : encodedPath, QUrl::TolerantMode);
    const QString text = encodedQuery(query);
    if (!text.isEmpty())
        url.setQuery(text, QUrl::TolerantMode);
    return url;
}

QPair<QUrl, CloudAzureBlobPrivate::HeaderMap>
CloudAzureBlobPrivate::signature(RequestType type, const QString& container, QString path,
                                 const QUrlQuery& query, HeaderMap& headers)
{
    const QString date =
        QLocale(QLocale::English)
            .toString(QDateTime::currentDateTimeUtc(), QStringLiteral("ddd, dd MMM yyyy HH:mm:ss")) +
        QLatin1String(" GMT");
    headers.insert("User-Agent", userAgent().toUtf8());
    if (!headers.contains("x-ms-version"))
        headers.insert("x-ms-version", AzureApiVersion);
    headers.insert("x-ms-date", date.toUtf8());

    if (!container.isEmpty())
        path.prepend(QLatin1Char('/') + container);

    QByteArray canonicalHeaders;
    for (auto it = headers.cbegin(); it != headers.cend(); ++it) {
        if (it.key().startsWith("x-ms-"))
            canonicalHeaders += it.key() + ':' + it.value() + '\n';
    }

    path = toUTF8String(path);
    QByteArray canonicalResource = '/' + m_username + path.toUtf8();
    for (const auto& item : decodedItems(query))
        canonicalResource += '\n' + item.first.toUtf8() + ':' + item.second.toUtf8();

    // The date travels in "x-ms-date" only, so the six conditional lines stay empty.
    QByteArray stringToSign = requestType2String(type).toUtf8() + '\n';
    for (const char* name :
         {"Content-Encoding", "Content-Language", "Content-Length", "Content-MD5", "Content-Type"})
        stringToSign += headers.value(name) + '\n';
    stringToSign += QByteArray(6, '\n');
    stringToSign += canonicalHeaders + canonicalResource;
    NorvikDebug("NKC").debug() << "String to Sign\n" << stringToSign << "\n End String to Sign";

    headers.insert("Authorization", authHeader(container, stringToSign));
    return qMakePair(requestUrl(path, query), headers);
}

QByteArray CloudAzureBlobPrivate::authHeader(const QString&, const QByteArray& stringToSign)
{
    return "SharedKey " + m_username + ':' + hmacSha256(m_password, stringToSign);
}

QPair<QUrl, CloudAzureBlobPrivate::HeaderMap>
CloudAzureBlobPrivate::signatureSas(RequestType, const QString& container, QString path,
                                    const QUrlQuery& query, HeaderMap& headers, const QString& sasToken)
{
    headers.insert("User-Agent", userAgent().toUtf8());
    if (!headers.contains("x-ms-version"))
        headers.insert("x-ms-version", AzureApiVersion);

    QUrlQuery withToken = query;
    const QString token = sasToken.startsWith(QLatin1Char('?')) ? sasToken.mid(1) : sasToken;
    for (const auto& item : QUrlQuery(token).queryItems(QUrl::FullyDecoded))
        withToken.addQueryItem(item.first,
                               QString(item.second).replace(QLatin1Char('%'), QLatin1String("%25")));

    if (!container.isEmpty())
        path.prepend(QLatin1Char('/') + container);
    return qMakePair(requestUrl(toUTF8String(path), withToken), headers);
}

QString CloudAzureBlobPrivate::signUrl(const QString& container, const QString& path, bool useHttps,
                                       const QDateTime& expires)
{
    if (container.isEmpty() || path.isEmpty() || expires <= QDateTime::currentDateTimeUtc())
        return QString();

    // Read permission on one blob until the expiry; no start time, identifier, address or
    // protocol restriction, no response header overrides.
    const QString expiry = expires.toUTC().toString(Qt::ISODate);
    const QString resource =
        QStringLiteral("/blob/%1/%2%3").arg(QString::fromUtf8(m_username), container, path);
    const QStringList lines = {
        QStringLiteral("r"), QString(), expiry,    resource,  QString(), QString(), QString(),
        SasServiceVersion,   QString(), QString(), QString(), QString(), QString()};
    const QString stringToSign = lines.join(QLatin1Char('\n'));
    NorvikDebug("NKC").debug() << "begin of string to sign" << stringToSign << "end of string to sign";
    const QByteArray signature = hmacSha256(m_password, stringToSign.toUtf8());

    QUrl url;
    url.setScheme(useHttps ? QStringLiteral("https") : QStringLiteral("http"));
    url.setHost(QStringLiteral("%1.%2").arg(QString::fromUtf8(m_username), endpoint().host()));
    url.setPort(endpoint().port());
    url.setPath(QStringLiteral("/%1%2").arg(container, path));
    const QString query =
        QStringLiteral("sv=%1&sr=b&sp=r&se=%2&sig=%3")
            .arg(SasServiceVersion, QString::fromLatin1(QUrl::toPercentEncoding(expiry)),
                 QString::fromLatin1(QUrl::toPercentEncoding(QString::fromLatin1(signature))));
    url.setQuery(query, QUrl::StrictMode);
    return url.toString(QUrl::FullyEncoded);
}

// --- Verbs ------------------------------------------------------------------------------

CloudAzureBlobPrivate::Response CloudAzureBlobPrivate::request(RequestType type, const QString& container,
                                                               const QString& path, const QUrlQuery& query,
                                                               HeaderMap& headers, const char* rejectedLabel,
                                                               const Transfer& transfer)
{
    // The transport has its own loop for single attempts; this one starts again with a new
    // date and signature when the service or the network needs time.
    Network::Utility::Retry retry(ClassName, 20000, 0);
    while (retry) {
        try {
            const QPair<QUrl, HeaderMap> signedRequest = signature(type, container, path, query, headers);
            // The transport adds what it needs to its own copy, so that the next attempt signs
            // exactly what the caller gave.
            HeaderMap sent = signedRequest.second;
            return transfer(signedRequest.first, sent);
        } catch (const Exception::SignatureDoesNotMatch& e) {
            // A clock step or a race of the date: signing again may cure it.
            logOperationFailure(rejectedLabel, e);
            retry.retry();
            if (!retry)
                throw Exception::SignatureDoesNotMatch(e);
        } catch (const Exception::TemporarilyUnavailable& e) {
            logOperationFailure("Exception (TemporarilyUnavailable):", e);
            retry.specialRetry();
            if (!retry)
                throw Exception::TemporarilyUnavailable(e);
        } catch (const Exception::SslConnectionError& e) {
            NorvikDebug("NKC").warning() << "Exception (SslConnectionError):" << e.message();
            retry.specialRetry();
            if (!retry)
                throw Exception::SslConnectionError(e);
        } catch (const Exception::ConnectionError& e) {
            NorvikDebug("NKC").warning() << "Exception (ConnectionError):" << e.message();
            retry.specialRetry();
            if (!retry)
                throw Exception::ConnectionError(e);
        } catch (const Exception::HostNotResolved& e) {
            NorvikDebug("NKC").warning() << "Exception (HostNotResolved):" << e.message();
            retry.specialRetry();
            if (!retry)
                throw Exception::HostNotResolved(e);
        } catch (const Exception::NetworkTimeout& e) {
            NorvikDebug("NKC").warning() << "Exception (NetworkTimeout):" << e.message();
            retry.specialRetry();
            if (!retry)
                throw Exception::NetworkTimeout(e);
        } catch (const Exception::AzureBlob::RefreshSasToken& e) {
            NorvikDebug("NKC").warning() << "Exception (AzureBlob::RefreshSasToken):" << e.message();
            retry.specialRetry();
            if (!retry)
                throw Exception::AzureBlob::RefreshSasToken(e);
        }
    }
    throw Exception::Operation(0, QByteArray(), retry.message(), false);
}

// Only the byte-array GET names a rejected signature as such in its log line; the other verbs
// keep the label they have always written, which log readers search for.
CloudAzureBlobPrivate::Response CloudAzureBlobPrivate::get(const QString& container, QString path,
                                                           const QUrlQuery& query, HeaderMap& headers,
                                                           QByteArray& out, const QUuid& id)
{
    return request(GET, container, path, query, headers,
                   "Exception (SignatureDoesNotMatch):", [&](const QUrl& url, HeaderMap& sent) {
                       // An error document of a failed attempt landed in out too.
                       out.clear();
                       return CloudHttpPrivate::get(url, sent, out, id);
                   });
}

CloudAzureBlobPrivate::Response CloudAzureBlobPrivate::get(const QString& container, QString path,
                                                           const QUrlQuery& query, HeaderMap& headers,
                                                           QIODevice* out, const QUuid& id)
{
    return request(GET, container, path, query, headers,
                   "Exception (TemporarilyUnavailable):", [&](const QUrl& url, HeaderMap& sent) {
                       return CloudHttpPrivate::get(url, sent, out, id);
                   });
}

CloudAzureBlobPrivate::Response CloudAzureBlobPrivate::put(const QString& container, QString path,
                                                           const QUrlQuery& query, HeaderMap& headers,
                                                           const QByteArray& data, const QUuid& id)
{
    return put(container, path, query, headers, readOnlyBuffer(data), data.size(), id);
}

CloudAzureBlobPrivate::Response CloudAzureBlobPrivate::put(const QString& container, QString path,
                                                           const QUrlQuery& query, HeaderMap& headers,
                                                           QSharedPointer<QIODevice> data, qint64 size,
                                                           const QUuid& id)
{
    // The length enters the string to sign; an empty body signs an empty length.
    if (size != 0)
        headers.insert("Content-Length", QByteArray::number(size));
    return request(PUT, container, path, query, headers,
                   "Exception (TemporarilyUnavailable):", [&](const QUrl& url, HeaderMap& sent) {
                       return CloudHttpPrivate::put(url, sent, data, size, id);
                   });
}

CloudAzureBlobPrivate::Response CloudAzureBlobPrivate::post(const QString& container, QString path,
                                                            const QUrlQuery& query, HeaderMap& headers,
                                                            const QByteArray& data, const QUuid& id)
{
    return request(POST, container, path, query, headers,
                   "Exception (TemporarilyUnavailable):", [&](const QUrl& url, HeaderMap& sent) {
                       return CloudHttpPrivate::post(url, sent, data, id);
                   });
}

CloudAzureBlobPrivate::Response CloudAzureBlobPrivate::delete_(const QString& container, QString path,
                                                               const QUrlQuery& query, HeaderMap& headers)
{
    return request(DELETE, container, path, query, headers, "Exception (TemporarilyUnavailable):",
                   [&](const QUrl& url, HeaderMap& sent) { return CloudHttpPrivate::delete_(url, sent); });
}

CloudAzureBlobPrivate::Response CloudAzureBlobPrivate::head(const QString& container, QString path,
                                                            const QUrlQuery& query, HeaderMap& headers)
{
    return request(HEAD, container, path, query, headers, "Exception (TemporarilyUnavailable):",
                   [&](const QUrl& url, HeaderMap& sent) { return CloudHttpPrivate::head(url, sent); });
}

} // namespace Norvik::Cloud::Api
