#include "google/CloudGoogleStoragePrivate.h"

#include "google/GoogleMetaData.h"

#include "connection/Exception.h"
#include "info/Config.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikNetwork/Retry.h>

#include <QBuffer>
#include <QLocale>
#include <QMessageAuthenticationCode>
#include <QSet>

namespace Norvik::Cloud::Api {

const QString CloudGoogleStoragePrivate::ClassName = QStringLiteral("GoogleStorage");

namespace {

namespace Key = Norvik::Cloud::Config::GoogleStorage;

// The query keys that name a sub-resource and so enter the signed resource; all others (such
// as "uploadId" and "partNumber") do not.
const QSet<QString>& subResources()
{
    static const QSet<QString> keys = {
        QStringLiteral("acl"),
        QStringLiteral("lifecycle"),
        QStringLiteral("location"),
        QStringLiteral("logging"),
        QStringLiteral("notification"),
        QStringLiteral("policy"),
        QStringLiteral("requestPayment"),
        QStringLiteral("torrent"),
        QStringLiteral("uploads"),
        QStringLiteral("versionId"),
        QStringLiteral("versioning"),
        QStringLiteral("versions"),
    };
    return keys;
}

QByteArray hmacSha1(const QByteArray& key, const QByteArray& message)
{
    return QMessageAuthenticationCode::hash(message, key, QCryptographicHash::Sha1).toBase64();
}

// The query text of a URL: keys and values percent-encoded but the unreserved characters; a key
// without a value is written alone, as the service writes "?uploads".
QString encodedQuery(const QUrlQuery& query)
{
    QStringList items;
    for (const auto& item : query.queryItems(QUrl::FullyDecoded)) {
        QByteArray text = QUrl::toPercentEncoding(item.first);
        if (!item.second.isEmpty())
            text += '=' + QUrl::toPercentEncoding(item.second);
        items << QString::fromLatin1(text);
    }
    return items.join(QLatin1Char('&'));
}

// Which keys a type needs, for the log line of a refused configuration.
bool missingKeys(const QMap<QString, QVariant>& config, const QStringList& keys, const char* label)
{
    QStringList missing;
    for (const QString& key : keys) {
        if (!config.contains(key))
            missing << key;
    }
    if (missing.isEmpty())
        return false;
    NorvikDebug("NKC").error() << label << missing.join(QLatin1String(" or "));
    return true;
}

QSharedPointer<QIODevice> readOnlyBuffer(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

} // namespace

CloudGoogleStoragePrivate::CloudGoogleStoragePrivate() = default;

CloudGoogleStoragePrivate::~CloudGoogleStoragePrivate() = default;

bool CloudGoogleStoragePrivate::setConfig(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty() || !config.contains(Key::AuthType))
        return false;
    const int configured = config.value(Key::AuthType).toInt();
    int type = NotConfigured;
    switch (configured) {
    case Key::Auth_AccessAndSecretKey::Key: {
        namespace K = Key::Auth_AccessAndSecretKey;
        if (missingKeys(config, {K::AccessKey, K::SecretKey},
                        "Autorization type: AccessAndSecretKey, don't set:"))
            return false;
        m_accessKey = config.value(K::AccessKey).toByteArray();
        m_secretKey = config.value(K::SecretKey).toByteArray();
        type = AccessAndSecretKey;
        break;
    }
    case Key::Auth_ServiceAccount::Key: {
        namespace K = Key::Auth_ServiceAccount;
        if (missingKeys(config, {K::PrivateKey, K::ProjectId, K::ServiceAccount},
                        "Autorization type: ServiceAccount, don't set:"))
            return false;
        m_privateKey = QByteArray::fromBase64(config.value(K::PrivateKey).toByteArray());
        m_projectId = config.value(K::ProjectId).toByteArray();
        m_serviceAccount = config.value(K::ServiceAccount).toByteArray();
        type = ServiceAccount;
        break;
    }
    case Key::Auth_InstalledApplication::Key: {
        namespace K = Key::Auth_InstalledApplication;
        const bool hasCode = !config.value(K::InitCode).isNull();
        const bool hasToken = !config.value(K::RefreshToken).isNull();
        if (!config.contains(K::ProjectId) || (!hasCode && !hasToken)) {
            NorvikDebug("NKC").error()
                << "Autorization type: InstalledApplication, don't set:"
                << QStringList{K::ProjectId, K::InitCode, K::RefreshToken}.join(QLatin1String(" or "));
            return false;
        }
        m_projectId = config.value(K::ProjectId).toByteArray();
        // A new one-time code wins over a stored refresh token: it is what the user just gave.
        if (hasCode)
            m_initCode = config.value(K::InitCode).toByteArray();
        else
            m_refreshToken = config.value(K::RefreshToken).toByteArray();
        type = InstalledApplication;
        break;
    }
    default:
        NorvikDebug("NKC").error() << "Unknown autorization type:" << configured;
        return false;
    }
    m_authType = type;
    return CloudHttpPrivate::setConfig(config);
}

CloudGoogleStoragePrivate::HeaderMap
CloudGoogleStoragePrivate::header(const QMap<QString, QVariant>& metaData) const
{
    return GoogleMetaData::header(metaData);
}

QMap<QString, QVariant> CloudGoogleStoragePrivate::metaDataFromHeader(const HeaderMap& headers) const
{
    return GoogleMetaData::fromHeader(headers);
}

// --- Signing ----------------------------------------------------------------------------

QString CloudGoogleStoragePrivate::uriEncode(const QString& text, bool encodeSlash)
{
    QString encoded;
    for (const QChar c : text) {
        const ushort u = c.unicode();
        if ((u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z') || (u >= '0' && u <= '9') || u == '_' ||
            u == '-' || u == '~' || u == '.' || u == ':') {
            encoded += c;
        } else if (u == '/') {
            encoded += encodeSlash ? QStringLiteral("%2F") : QStringLiteral("/");
        } else {
            // A lone half of a surrogate pair becomes the replacement character's bytes.
            for (const char byte : QString(c).toUtf8())
                encoded += QStringLiteral("%%1").arg(uchar(byte), 2, 16, QLatin1Char('0')).toUpper();
        }
    }
    return encoded;
}

QString CloudGoogleStoragePrivate::httpDate(const QDateTime& utc)
{
    return QStringLiteral("%1 GMT").arg(
        QLocale(QLocale::English).toString(utc, QStringLiteral("ddd, dd MMM yyyy hh:mm:ss")));
}

QPair<QUrl, CloudGoogleStoragePrivate::HeaderMap>
CloudGoogleStoragePrivate::signature(RequestType type, const QString& container, QString path,
                                     const QUrlQuery& query, HeaderMap& headers)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QString date = httpDate(now);
    headers.insert("x-goog-api-version", "1");
    if (!headers.contains("Content-Type"))
        headers.insert("Content-Type", "application/x-www-form-urlencoded");
    if (!container.isEmpty())
        path = QStringLiteral("/%1%2").arg(container, path);
    path = uriEncode(path, false);

    if (m_authType != AccessAndSecretKey)
        setAuthorizationHeader(container, headers);
    // The date first: it enters the signature below.
    headers.insert("Date", date.toUtf8());
    if (m_authType == AccessAndSecretKey) {
        QString subResource;
        for (const auto& item : query.queryItems(QUrl::FullyDecoded)) {
            if (subResources().contains(item.first))
                subResource +=
                    item.first + QLatin1Char('=') + uriEncode(item.second, true) + QLatin1Char('&');
        }
        subResource.chop(1);
        // A last sub-resource without a value is signed by its key alone ("?uploads"); earlier
        // ones keep their "=".
        if (subResource.endsWith(QLatin1Char('=')))
            subResource.chop(1);
        const QString resource = subResource.isEmpty() ? path : path + QLatin1Char('?') + subResource;
        headers.insert("Authorization",
                       "GOOG1 " + m_accessKey + ':' +
                           accessAndSecretKeyAutorization(type, headers, resource, QByteArray(), date));
    }

    QUrl url = endpoint();
    url.setPath(path.isEmpty() ? QStringLiteral("/") : path, QUrl::TolerantMode);
    const QString text = encodedQuery(query);
    if (!text.isEmpty())
        url.setQuery(text, QUrl::TolerantMode);
    return qMakePair(url, headers);
}

QByteArray CloudGoogleStoragePrivate::accessAndSecretKeyAutorization(RequestType type,
                                                                     const HeaderMap& headers,
                                                                     const QString& resource,
                                                                     const QByteArray& contentMd5,
                                                                     const QString& date) const
{
    if (m_authType != AccessAndSecretKey)
        return QByteArray();
    QByteArray stringToSign = requestType2String(type).toUtf8() + '\n' + contentMd5 + '\n' +
                              headers.value("Content-Type") + '\n' + date.toUtf8() + '\n';
    for (auto it = headers.cbegin(); it != headers.cend(); ++it) {
        if (it.key().startsWith("x-goog-"))
            stringToSign += it.key().toLower() + ':' + it.value() + '\n';
    }
    stringToSign += resource.toUtf8();
    NorvikDebug("NKC").debug() << "signature:\n" << stringToSign << "\nend signature";
    return hmacSha1(m_secretKey, stringToSign);
}

void CloudGoogleStoragePrivate::setAuthorizationHeader(const QString&, HeaderMap& headers)
{
    if (m_authType == ServiceAccount)
        headers.insert("Authorization", accessTokenServiceAutorization());
    else if (m_authType == InstalledApplication)
        headers.insert("Authorization", accessTokenInstallApplicationAutorization());
    else
        return;
    headers.insert("x-goog-project-id", m_projectId);
}

QString CloudGoogleStoragePrivate::signUrl(const QString& container, const QString& path, bool useHttps,
                                           const QDateTime& expires)
{
    if (container.isEmpty() || path.isEmpty() || expires <= QDateTime::currentDateTimeUtc())
        return QString();
    const QByteArray seconds = QByteArray::number(expires.toMSecsSinceEpoch() / 1000);
    const QByteArray stringToSign = "GET\n\n\n" + seconds + "\n/" + container.toUtf8() + path.toUtf8();
    NorvikDebug("NKC").debug() << "begin of string to sign" << stringToSign << "end of string to sign";

    QByteArray accessId;
    QByteArray signature;
    if (m_authType == AccessAndSecretKey) {
        accessId = m_accessKey;
        signature = hmacSha1(m_secretKey, stringToSign);
    } else if (m_authType == ServiceAccount) {
        accessId = m_serviceAccount;
        signature = signWithRsaSha256(stringToSign, m_privateKey).toBase64();
    } else {
        return QString();
    }

    QUrl url;
    url.setScheme(useHttps ? QStringLiteral("https") : QStringLiteral("http"));
    url.setHost(endpoint().host());
    url.setPort(endpoint().port());
    url.setPath(QStringLiteral("/%1%2").arg(container, path));
    url.setQuery(QStringLiteral("GoogleAccessId=%1&Expires=%2&Signature=%3")
                     .arg(QString::fromLatin1(QUrl::toPercentEncoding(QString::fromUtf8(accessId))),
                          QString::fromLatin1(seconds),
                          QString::fromLatin1(QUrl::toPercentEncoding(QString::fromLatin1(signature)))),
                 QUrl::StrictMode);
    return url.toString(QUrl::FullyEncoded);
}

// --- Verbs ------------------------------------------------------------------------------

CloudGoogleStoragePrivate::Response
CloudGoogleStoragePrivate::request(RequestType type, const QString& container, const QString& path,
                                   const QUrlQuery& query, HeaderMap& headers, const Transfer& transfer)
{
    // The transport repeats single attempts; this loop signs again (a new date, a fresh token)
    // when the service or the network needs time. A refused token update is not caught: the
    // job sees it at once.
    Network::Utility::Retry retry(ClassName, 20000, 0);
    while (retry) {
        try {
            const QPair<QUrl, HeaderMap> signedRequest = signature(type, container, path, query, headers);
            HeaderMap sent = signedRequest.second;
            return transfer(signedRequest.first, sent);
        } catch (const Exception::SignatureDoesNotMatch& e) {
            NorvikDebug("NKC").warning() << "Exception (TemporarilyUnavailable):" << e.message();
            NorvikDebug("NKC").infoH() << e.data();
            retry.retry();
            if (!retry)
                throw Exception::SignatureDoesNotMatch(e);
        } catch (const Exception::TemporarilyUnavailable& e) {
            NorvikDebug("NKC").warning() << "Exception (TemporarilyUnavailable):" << e.message();
            NorvikDebug("NKC").infoH() << e.data();
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
        }
    }
    throw Exception::Operation(0, QByteArray(), retry.message(), false);
}

CloudGoogleStoragePrivate::Response CloudGoogleStoragePrivate::get(const QString& container, QString path,
                                                                   const QUrlQuery& query, HeaderMap& headers,
                                                                   QByteArray& out, const QUuid& id)
{
    return request(GET, container, path, query, headers, [&](const QUrl& url, HeaderMap& sent) {
        // An error document of a failed attempt landed in out too.
        out.clear();
        return CloudHttpPrivate::get(url, sent, out, id);
    });
}

CloudGoogleStoragePrivate::Response CloudGoogleStoragePrivate::get(const QString& container, QString path,
                                                                   const QUrlQuery& query, HeaderMap& headers,
                                                                   QIODevice* out, const QUuid& id)
{
    return request(GET, container, path, query, headers, [&](const QUrl& url, HeaderMap& sent) {
        return CloudHttpPrivate::get(url, sent, out, id);
    });
}

CloudGoogleStoragePrivate::Response CloudGoogleStoragePrivate::put(const QString& container, QString path,
                                                                   const QUrlQuery& query, HeaderMap& headers,
                                                                   const QByteArray& data, const QUuid& id)
{
    return put(container, path, query, headers, readOnlyBuffer(data), data.size(), id);
}

CloudGoogleStoragePrivate::Response CloudGoogleStoragePrivate::put(const QString& container, QString path,
                                                                   const QUrlQuery& query, HeaderMap& headers,
                                                                   QSharedPointer<QIODevice> data,
                                                                   qint64 size, const QUuid& id)
{
    return request(PUT, container, path, query, headers, [&](const QUrl& url, HeaderMap& sent) {
        return CloudHttpPrivate::put(url, sent, data, size, id);
    });
}

CloudGoogleStoragePrivate::Response CloudGoogleStoragePrivate::post(const QString& container, QString path,
                                                                    const QUrlQuery& query,
                                                                    HeaderMap& headers,
                                                                    const QByteArray& data, const QUuid& id)
{
    return request(POST, container, path, query, headers, [&](const QUrl& url, HeaderMap& sent) {
        return CloudHttpPrivate::post(url, sent, data, id);
    });
}

CloudGoogleStoragePrivate::Response CloudGoogleStoragePrivate::delete_(const QString& container, QString path,
                                                                       const QUrlQuery& query,
                                                                       HeaderMap& headers)
{
    return request(DELETE, container, path, query, headers,
                   [&](const QUrl& url, HeaderMap& sent) { return CloudHttpPrivate::delete_(url, sent); });
}

CloudGoogleStoragePrivate::Response CloudGoogleStoragePrivate::head(const QString& container, QString path,
                                                                    const QUrlQuery& query,
                                                                    HeaderMap& headers)
{
    return request(HEAD, container, path, query, headers,
                   [&](const QUrl& url, HeaderMap& sent) { return CloudHttpPrivate::head(url, sent); });
}

} // namespace Norvik::Cloud::Api
