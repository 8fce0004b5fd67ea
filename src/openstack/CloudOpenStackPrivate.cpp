#include "openstack/CloudOpenStackPrivate.h"

#include "openstack/OpenStackMetaData.h"

#include "connection/Exception.h"
#include "info/Config.h"
#include "info/InfoFactory.h"
#include "info/OpenStackInfo.h"

#include <NorvikCore/NorvikDebug.h>

#include <QJsonObject>
#include <QJsonParseError>
#include <QMessageAuthenticationCode>

namespace Norvik::Cloud::Api {

namespace {

namespace Keys = Norvik::Cloud::Config::OpenStack;

const QString SegmentPrefix = QStringLiteral("~segments");
const QByteArray AuthTokenHeader = QByteArrayLiteral("X-Auth-Token");
// Lifetimes when the service names none, or none that can be read.
constexpr int DefaultV1Lifetime = 86400;
constexpr int DefaultKeystoneLifetime = 1800;

QUrl withSlash(const QString& address)
{
    return QUrl(address.endsWith(QLatin1Char('/')) ? address : address + QLatin1Char('/'));
}

QString joined(const QString& first, const QString& second)
{
    return QStringLiteral("%1 %2 %3")
        .arg(first, QCoreApplication::translate("CloudOpenStackPrivate", "or"), second);
}

} // namespace

CloudOpenStackPrivate::CloudOpenStackPrivate() = default;

CloudOpenStackPrivate::~CloudOpenStackPrivate() = default;

// --- Configuration --------------------------------------------------------------------------

bool CloudOpenStackPrivate::setConfig(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty())
        return false;
    if (!config.contains(Keys::Username) || !config.contains(Keys::ApiKey)) {
        NorvikDebug("NKC").error() << "Init OpenStack cloud, don't set:"
                                   << joined(Keys::Username, Keys::ApiKey);
        return false;
    }
    m_username = config.value(Keys::Username).toByteArray();
    m_apiKey = config.value(Keys::ApiKey).toByteArray();
    if (config.contains(Keys::UseInternalUrl))
        m_useInternalUrl = config.value(Keys::UseInternalUrl).toBool();
    m_authType = AuthV1;

    if (config.contains(Keys::AuthType)) {
        const int type = config.value(Keys::AuthType).toInt();
        if (type != AuthV1 && type != AuthKeystoneV2 && type != AuthKeystoneV3) {
            NorvikDebug("NKC").error() << "Init OpenStack cloud: unknown Keystone version:" << type;
            return false;
        }
        m_authType = type;
    }

    if (m_authType == AuthKeystoneV2) {
        namespace V2 = Keys::Auth_Keystore_V2;
        const char* const invalid = "Init OpenStack cloud: invalid Keystone V2 conig, don't set:";
        if (config.contains(V2::TenantId))
            m_tenantId = config.value(V2::TenantId).toByteArray();
        else if (config.contains(V2::TenantName))
            m_tenantName = config.value(V2::TenantName).toByteArray();
        else {
            NorvikDebug("NKC").error() << invalid << joined(V2::TenantId, V2::TenantName);
            return false;
        }
        if (!config.contains(V2::Region)) {
            NorvikDebug("NKC").error() << invalid << V2::Region;
            return false;
        }
        m_region = config.value(V2::Region).toString();
    } else if (m_authType == AuthKeystoneV3) {
        namespace V3 = Keys::Auth_Keystore_V3;
        const char* const invalid = "Init OpenStack cloud: invalid Keystone V3 conig, don't set:";
        if (config.contains(V3::DomainId))
            m_domainId = config.value(V3::DomainId).toByteArray();
        else if (config.contains(V3::DomainName))
            m_domainName = config.value(V3::DomainName).toByteArray();
        else {
            NorvikDebug("NKC").error() << invalid << joined(V3::DomainId, V3::DomainName);
            return false;
        }
        if (!config.contains(V3::Region)) {
            NorvikDebug("NKC").error() << invalid << V3::Region;
            return false;
        }
        m_region = config.value(V3::Region).toString();
        if (config.value(V3::UseScope::Key).toBool()) {
            m_useScope = true;
            if (config.contains(V3::UseScope::ProjectId))
                m_projectId = config.value(V3::UseScope::ProjectId).toByteArray();
            else if (config.contains(V3::UseScope::ProjectName))
                m_projectName = config.value(V3::UseScope::ProjectName).toByteArray();
            else {
                NorvikDebug("NKC").error()
                    << "Init OpenStack cloud: invalid Keystone V3 conig, UseScope, don't set:"
                    << joined(V3::UseScope::ProjectId, V3::UseScope::ProjectName);
                return false;
            }
        }
    }
    return CloudHttpPrivate::setConfig(config);
}

// --- Tokens ---------------------------------------------------------------------------------

bool CloudOpenStackPrivate::checkConfig(const QString& container)
{
    return !authToken(container).isNull();
}

QByteArray CloudOpenStackPrivate::authToken(const QString&)
{
    switch (m_authType) {
    case AuthV1:
        return authTokenV1();
    case AuthKeystoneV2:
        return authTokenKeystoneV2();
    case AuthKeystoneV3:
        return authTokenKeystoneV3();
    default:
        NorvikDebug("NKC").error() << "Don't set AuthType";
        throw Exception::InvalidAutorizationAccount(QByteArray(), tr("Don't set AuthType"));
    }
}

bool CloudOpenStackPrivate::tokenIsFresh() const
{
    // No margin: a token that runs out on the way is rejected and renewed by the verbs.
    if (!m_authToken.isEmpty() && m_tokenExpires > currentDateTimeUtc() && !m_storageUrl.isEmpty())
        return true;
    NorvikDebug("NKC").infoH() << "Refresh OpenStack token";
    return false;
}

QByteArray CloudOpenStackPrivate::authTokenV1()
{
    if (tokenIsFresh())
        return m_authToken;

    HeaderMap headers{
        {"Content-Type", "application/json"},
        {"X-Auth-User", m_username},
        {"X-Auth-Key", m_apiKey},
    };
    try {
        QByteArray body;
        const HeaderMap answer = CloudHttpPrivate::get(endpoint(), headers, body, QUuid()).second;
        for (const char* name : {"x-auth-token", "x-storage-token", "x-subject-token"}) {
            const QByteArray token = answer.value(name);
            if (!token.isEmpty()) {
                m_authToken = token;
                break;
            }
        }
        int lifetime = DefaultV1Lifetime;
        bool readable = false;
        const int stated = answer.value("x-auth-token-expires").toInt(&readable);
        if (readable)
            lifetime = stated;
        m_tokenExpires = currentDateTimeUtc().addSecs(lifetime);
        const QByteArray storage = answer.value("x-storage-url");
        m_storageUrl = storage.isEmpty() ? QUrl() : withSlash(QString::fromUtf8(storage));
    } catch (const Exception::AutorizationResult& result) {
        // An answer without a body: the token and address come through the exception, and
        // the expiry stays, so that such a service is asked again at each token test.
        m_storageUrl = result.endpoint();
        m_authToken = result.token();
    }
    if (m_authToken.isEmpty() || m_storageUrl.isEmpty()) {
        const QString text =
            tr("OpenStack Auth V1, don't init AuthToken or RequestEnpoint, please check config");
        NorvikDebug("NKC").error() << text;
        throw Exception::InvalidAutorizationAccount(QByteArray(), text);
    }
    return m_authToken;
}

void CloudOpenStackPrivate::selectRegion(const QString& failure)
{
    if (m_region.isEmpty())
        return;
    const auto found = m_regionEndpoints.constFind(m_region);
    if (found == m_regionEndpoints.cend()) {
        const QString text = QStringLiteral("%1 %2").arg(failure, m_region);
        NorvikDebug("NKC").error() << text;
        throw Exception::InvalidAutorizationAccount(QByteArray(), text);
    }
    m_storageUrl = *found;
}

QByteArray CloudOpenStackPrivate::authTokenKeystoneV2()
{
    if (tokenIsFresh())
        return m_authToken;

    if (m_tenantId.isEmpty() && m_tenantName.isEmpty()) {
        const QString text = tr("OpenStack Auth V2 (keystone V2), don't set params: ") +
                             Keys::Auth_Keystore_V2::TenantId + tr(" or ") +
                             Keys::Auth_Keystore_V2::TenantName;
        NorvikDebug("NKC").error() << text;
        throw Exception::InvalidAutorizationAccount(QByteArray(), text);
    }
    QJsonObject auth{
        {QStringLiteral("passwordCredentials"),
         QJsonObject{{QStringLiteral("username"), QString::fromUtf8(m_username)},
                     {QStringLiteral("password"), QString::fromUtf8(m_apiKey)}}},
    };
    if (!m_tenantId.isEmpty())
        auth.insert(QStringLiteral("tenantId"), QString::fromUtf8(m_tenantId));
    else
        auth.insert(QStringLiteral("tenantName"), QString::fromUtf8(m_tenantName));

    HeaderMap headers{{"Content-Type", "application/json"}};
    const QByteArray answer =
        CloudHttpPrivate::post(endpoint().resolved(QUrl(QStringLiteral("./tokens"))), headers,
                               QJsonDocument(QJsonObject{{QStringLiteral("auth"), auth}}).toJson(), QUuid())
            .first;

    QDateTime expires;
    const QMap<QString, QUrl> endpoints = catalogueV2(answer, m_useInternalUrl, m_authToken, expires);
    if (!expires.isValid()) {
        NorvikDebug("NKC").infoH() << "OpenStack token expires is not valid. set default timeout";
        expires = currentDateTimeUtc().addSecs(DefaultKeystoneLifetime);
    }
    m_tokenExpires = expires;
    for (auto it = endpoints.cbegin(); it != endpoints.cend(); ++it)
        m_regionEndpoints.insert(it.key(), it.value());
    selectRegion(tr("OpenStack Auth V2 (keystone V2), don't init RequestEnpoint, for selected region:"));
    if (m_authToken.isEmpty()) {
        const QString text = tr("OpenStack Auth V2 (keystone V2), don't init AuthToken, please check config");
        NorvikDebug("NKC").error() << text;
        throw Exception::InvalidAutorizationAccount(QByteArray(), text);
    }
    m_storageUrl = withSlash(m_storageUrl.toString(QUrl::FullyEncoded));
    return m_authToken;
}

QByteArray CloudOpenStackPrivate::authTokenKeystoneV3()
{
    if (tokenIsFresh())
        return m_authToken;

    namespace V3 = Keys::Auth_Keystore_V3;
    const auto missing = [](const QString& first, const QString& second) {
        const QString text =
            tr("OpenStack Auth V3 (keystone V3), don't set params: ") + first + tr(" or ") + second;
        NorvikDebug("NKC").error() << text;
        throw Exception::InvalidAutorizationAccount(QByteArray(), text);
    };
    if (m_domainId.isEmpty() && m_domainName.isEmpty())
        missing(V3::DomainId, V3::DomainName);
    if (m_useScope && m_projectId.isEmpty() && m_projectName.isEmpty())
        missing(V3::UseScope::ProjectId, V3::UseScope::ProjectName);

    const QJsonObject domain = m_domainId.isEmpty()
                                   ? QJsonObject{{QStringLiteral("name"), QString::fromUtf8(m_domainName)}}
                                   : QJsonObject{{QStringLiteral("id"), QString::fromUtf8(m_domainId)}};
    QJsonObject auth{
        {QStringLiteral("identity"),
         QJsonObject{
             {QStringLiteral("methods"), QJsonArray{QStringLiteral("password")}},
             {QStringLiteral("password"),
              QJsonObject{{QStringLiteral("user"),
                           QJsonObject{{QStringLiteral("name"), QString::fromUtf8(m_username)},
                                       {QStringLiteral("password"), QString::fromUtf8(m_apiKey)},
                                       {QStringLiteral("domain"), domain}}}}},
         }},
    };
    if (m_useScope) {
        QJsonObject project{{QStringLiteral("domain"), domain}};
        if (!m_projectId.isEmpty())
            project.insert(QStringLiteral("id"), QString::fromUtf8(m_projectId));
        else
            project.insert(QStringLiteral("name"), QString::fromUtf8(m_projectName));
        auth.insert(QStringLiteral("scope"), QJsonObject{{QStringLiteral("project"), project}});
    }

    HeaderMap headers{{"Content-Type", "application/json"}};
    const Response answer =
        CloudHttpPrivate::post(endpoint().resolved(QUrl(QStringLiteral("./auth/tokens"))), headers,
                               QJsonDocument(QJsonObject{{QStringLiteral("auth"), auth}}).toJson(), QUuid());

    QDateTime expires;
    const QMap<QString, QUrl> endpoints = catalogueV3(answer.first, m_useInternalUrl, expires);
    m_authToken = answer.second.value("x-subject-token");
    if (!expires.isValid()) {
        NorvikDebug("NKC").infoH() << "OpenStack token expires is not valid. set default timeout";
        expires = currentDateTimeUtc().addSecs(DefaultKeystoneLifetime);
    }
    m_tokenExpires = expires;
    for (auto it = endpoints.cbegin(); it != endpoints.cend(); ++it)
        m_regionEndpoints.insert(it.key(), it.value());
    selectRegion(tr("OpenStack Auth V3 (keystone V3), don't init RequestEnpoint, for selected region:"));
    if (m_authToken.isEmpty()) {
        const QString text = tr(
            "OpenStack Auth V3 (keystone V3), don't init AuthToken or RequestEnpoint, please check config");
        NorvikDebug("NKC").error() << text;
        throw Exception::InvalidAutorizationAccount(QByteArray(), text);
    }
    m_storageUrl = withSlash(m_storageUrl.toString(QUrl::FullyEncoded));
    return m_authToken;
}

// --- Requests -------------------------------------------------------------------------------

QPair<QUrl, CloudOpenStackPrivate::HeaderMap>
CloudOpenStackPrivate::signature(RequestType, const QString& container, QString path, const QUrlQuery& query,
                                 HeaderMap& headers)
{
    headers.insert(AuthTokenHeader, authToken(container));
    if (!path.startsWith(QLatin1Char('/')))
        path.prepend(QLatin1Char('/'));
    const QString relative = container.isEmpty() ? path : QStringLiteral("/%1%2").arg(container, path);
    // Appended to the storage address, whose path names the account. Not resolved as a
    // relative reference: that would fold "." and ".." segments of object names.
    QUrl url = QUrl::fromEncoded(m_storageUrl.toEncoded() + relative.mid(1).toUtf8(), QUrl::TolerantMode);
    url.setQuery(query);
    return qMakePair(url, headers);
}

template <class Transfer>
CloudOpenStackPrivate::Response CloudOpenStackPrivate::request(RequestType type, const QString& container,
                                                               const QString& path, const QUrlQuery& query,
                                                               HeaderMap& headers, const Transfer& transfer)
{
    // The transport repeats failed transfers by itself; this loop only renews the token, once.
    // A second rejection ends in an empty answer and no exception, by design of this family's
    // callers, which read empty answers as they come.
    for (int tries = 2; tries > 0; --tries) {
        try {
            const QPair<QUrl, HeaderMap> signedRequest = signature(type, container, path, query, headers);
            return transfer(signedRequest.first, headers);
        } catch (const Exception::InvalidAutorizationAccount&) {
            NorvikDebug("NKC").infoH() << "OpenStack: token expired";
            m_authToken.clear();
        }
    }
    return Response();
}

CloudOpenStackPrivate::Response CloudOpenStackPrivate::get(const QString& container, const QString& path,
                                                           const QUrlQuery& query, HeaderMap& headers,
                                                           QByteArray& out, const QUuid& id)
{
    return request(GET, container, path, query, headers, [&](const QUrl& url, HeaderMap& h) {
        out.clear();
        return CloudHttpPrivate::get(url, h, out, id);
    });
}

CloudOpenStackPrivate::Response CloudOpenStackPrivate::get(const QString& container, const QString& path,
                                                           const QUrlQuery& query, HeaderMap& headers,
                                                           QIODevice* out, const QUuid& id)
{
    return request(GET, container, path, query, headers,
                   [&](const QUrl& url, HeaderMap& h) { return CloudHttpPrivate::get(url, h, out, id); });
}

CloudOpenStackPrivate::Response CloudOpenStackPrivate::put(const QString& container, const QString& path,
                                                           const QUrlQuery& query, HeaderMap& headers,
                                                           const QByteArray& data, const QUuid& id)
{
    return request(PUT, container, path, query, headers,
                   [&](const QUrl& url, HeaderMap& h) { return CloudHttpPrivate::put(url, h, data, id); });
}

CloudOpenStackPrivate::Response CloudOpenStackPrivate::put(const QString& container, const QString& path,
                                                           const QUrlQuery& query, HeaderMap& headers,
                                                           QSharedPointer<QIODevice> data, long long size,
                                                           const QUuid& id)
{
    return request(PUT, container, path, query, headers, [&](const QUrl& url, HeaderMap& h) {
        return CloudHttpPrivate::put(url, h, data, size, id);
    });
}

CloudOpenStackPrivate::Response CloudOpenStackPrivate::post(const QString& container, const QString& path,
                                                            const QUrlQuery& query, HeaderMap& headers,
                                                            const QByteArray& data, const QUuid& id)
{
    return request(POST, container, path, query, headers,
                   [&](const QUrl& url, HeaderMap& h) { return CloudHttpPrivate::post(url, h, data, id); });
}

CloudOpenStackPrivate::Response CloudOpenStackPrivate::delete_(const QString& container, const QString& path,
                                                               const QUrlQuery& query, HeaderMap& headers)
{
    return request(DELETE, container, path, query, headers,
                   [&](const QUrl& url, HeaderMap& h) { return CloudHttpPrivate::delete_(url, h); });
}

CloudOpenStackPrivate::Response CloudOpenStackPrivate::head(const QString& container, const QString& path,
                                                            const QUrlQuery& query, HeaderMap& headers)
{
    return request(HEAD, container, path, query, headers,
                   [&](const QUrl& url, HeaderMap& h) { return CloudHttpPrivate::head(url, h); });
}

// --- Containers, temporary URLs, metadata ---------------------------------------------------

QJsonArray CloudOpenStackPrivate::containers(const QString& region)
{
    QByteArray body;
    HeaderMap headers;
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("format"), QStringLiteral("json"));
    try {
        get(QString(), QStringLiteral("/"), query, headers, body);
    } catch (const Exception::NoContent&) {
        return QJsonArray(); // an account without containers
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray()) {
        NorvikDebug("NKC").error() << "Error on pare request result. In not json:" << error.errorString();
        throw Exception::InvalidData(body);
    }
    QJsonArray result;
    for (const QJsonValue& value : document.array()) {
        const QJsonObject entry = value.toObject();
        result.append(QJsonObject{
            {QStringLiteral("Name"), entry.value(QStringLiteral("name"))},
            {QStringLiteral("Count"), entry.value(QStringLiteral("count"))},
            {QStringLiteral("Bytes"), entry.value(QStringLiteral("bytes"))},
            {QStringLiteral("Region"), region},
        });
    }
    return result;
}

QJsonDocument CloudOpenStackPrivate::containers()
{
    authToken(QString());
    if (m_regionEndpoints.isEmpty())
        return QJsonDocument(containers(m_region));

    QJsonArray all;
    const QMap<QString, QUrl> regions = m_regionEndpoints;
    for (auto it = regions.cbegin(); it != regions.cend(); ++it) {
        m_storageUrl = it.value();
        for (const QJsonValue& value : containers(it.key()))
            all.append(value);
    }
    // The address now is that of the last region: the next request authorises anew and takes
    // the configured one.
    m_storageUrl.clear();
    return QJsonDocument(all);
}

QString CloudOpenStackPrivate::signUrl(const QString& container, const QString& path, bool useHttps,
                                       const QDateTime& expires)
{
    if (container.isEmpty() || path.isEmpty() || expires <= QDateTime::currentDateTimeUtc() ||
        !checkConfig(container))
        return QString();

    HeaderMap headers{{AuthTokenHeader, m_authToken}};
    const HeaderMap account = CloudHttpPrivate::head(m_storageUrl, headers).second;
    QByteArray key = account.value("x-account-meta-temp-url-key-2");
    if (account.contains("x-account-meta-temp-url-key"))
        key = account.value("x-account-meta-temp-url-key");
    if (key.isEmpty()) {
        const auto info = Info::InfoFactory::create(Type::Openstack).dynamicCast<Info::OpenStack>();
        if (!info || !info->needToSetAccountTempUrlKeyIfMissing())
            return QString();
        key = QUuid::createUuid().toByteArray(QUuid::WithoutBraces);
        HeaderMap setKey{{AuthTokenHeader, m_authToken}, {"X-Account-Meta-Temp-Url-Key", key}};
        try {
            CloudHttpPrivate::post(m_storageUrl, setKey, QByteArray(), QUuid());
        } catch (const Exception::NoContent&) {
            // Swift answers 204: the key is set.
        }
    }

    QString fullPath = m_storageUrl.path() + container;
    fullPath += path.startsWith(QLatin1Char('/')) ? path : QLatin1Char('/') + path;
    const QString expiresSeconds = QString::number(expires.toMSecsSinceEpoch() / 1000);
    const QByteArray toSign =
        QStringLiteral("%1\n%2\n%3").arg(QStringLiteral("GET"), expiresSeconds, fullPath).toUtf8();
    const QByteArray sig = QMessageAuthenticationCode::hash(toSign, key, QCryptographicHash::Sha1).toHex();

    QUrl url = m_storageUrl;
    url.setScheme(useHttps ? QStringLiteral("https") : QStringLiteral("http"));
    url.setPath(fullPath);
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("temp_url_sig"), QString::fromLatin1(sig));
    query.addQueryItem(QStringLiteral("temp_url_expires"), expiresSeconds);
    query.addQueryItem(QStringLiteral("inline"), QString());
    url.setQuery(query);
    return url.toString(QUrl::FullyEncoded);
}

CloudOpenStackPrivate::HeaderMap CloudOpenStackPrivate::header(const QMap<QString, QVariant>& metaData) const
{
    return OpenStackMetaData::header(metaData);
}

QMap<QString, QVariant> CloudOpenStackPrivate::metaDataFromHeader(const HeaderMap& headers) const
{
    return OpenStackMetaData::fromHeader(headers);
}

// --- Segments -------------------------------------------------------------------------------

void CloudOpenStackPrivate::setSegmentPrefix(const QString& prefix)
{
    QString value = prefix;
    if (!value.startsWith(QLatin1Char('/')))
        value.prepend(QLatin1Char('/'));
    if (!value.endsWith(QLatin1Char('/')))
        value.append(QLatin1Char('/'));
    m_segmentPrefix = value;
}

QString CloudOpenStackPrivate::segmentPath(const QString& path) const
{
    if (!m_segmentPrefix.isEmpty()) {
        QString inner = path;
        if (inner.startsWith(m_segmentPrefix))
            inner.remove(0, m_segmentPrefix.size());
        if (!inner.startsWith(QLatin1Char('/')))
            inner.prepend(QLatin1Char('/'));
        return QStringLiteral("%1%2").arg(m_segmentPrefix, SegmentPrefix) + inner + QLatin1Char('/');
    }
    const int cut = path.lastIndexOf(QLatin1Char('/'));
    const QString name = path.mid(cut + 1);
    return path.left(cut + 1) + QStringLiteral("%1/%2/").arg(SegmentPrefix, name);
}

QString CloudOpenStackPrivate::segmentUploadPath(const QString& path, quint64 partNumber) const
{
    const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    return segmentPath(path) + QStringLiteral("%1_%2").arg(name).arg(partNumber);
}

// --- Errors ---------------------------------------------------------------------------------

void CloudOpenStackPrivate::exceptionFactory(const HeaderMap& requestHeaders,
                                             const HeaderMap& responseHeaders, int status,
                                             const QByteArray& body)
{
    switch (status) {
    case 204:
        exceptionNoContent(requestHeaders, responseHeaders, status, body);
        break;
    case 400:
    case 404:
        exceptionNotFound(requestHeaders, responseHeaders, status, body);
        break;
    case 401:
        exceptionUnauthorized(requestHeaders, responseHeaders, status, body);
        break;
    case 403:
        exceptionForbidden(requestHeaders, responseHeaders, status, body);
        break;
    default:
        break;
    }
    const QMap<QString, QString> map = parceError(body, responseHeaders);
    if (!map.isEmpty())
        throw Exception::Operation(status, body, map.value(QStringLiteral("p")), true);
    CloudHttpPrivate::exceptionFactory(requestHeaders, responseHeaders, status, body);
}

void CloudOpenStackPrivate::exceptionNoContent(const HeaderMap& requestHeaders,
                                               const HeaderMap& responseHeaders, int, const QByteArray&)
{
    // Only the legacy exchange sends a request without a token.
    if (!requestHeaders.contains(AuthTokenHeader))
        throw Exception::AutorizationResult(responseHeaders);
    throw Exception::NoContent();
}

namespace {

// The text of an answer that no handler knows, after logging it.
QString unhandled(const char* handler, const QMap<QString, QString>& map, const QByteArray& body)
{
    NorvikDebug("NKC").warning() << handler << "Unhandled runtime exception, please contact Support";
    NorvikDebug("NKC").debug() << body;
    QString text = map.value(QStringLiteral("p"));
    if (text.isEmpty())
        text = map.value(QStringLiteral("body"));
    if (text.isEmpty())
        text = QCoreApplication::translate("CloudOpenStackPrivate",
                                           "Unhandled runtime exception, please contact Support");
    return text;
}

QString bodyOrUnhandled(const QByteArray& body)
{
    return body.isEmpty() ? QCoreApplication::translate("CloudOpenStackPrivate",
                                                        "Unhandled runtime exception, please contact Support")
                          : QString::fromUtf8(body);
}

} // namespace

void CloudOpenStackPrivate::exceptionUnauthorized(const HeaderMap&, const HeaderMap& responseHeaders,
                                                  int status, const QByteArray& body)
{
    const QMap<QString, QString> map = parceError(body, responseHeaders);
    if (map.isEmpty())
        throw Exception::InvalidAutorizationAccount(body, bodyOrUnhandled(body));
    if (map.value(QStringLiteral("h1")) == QLatin1String("Unauthorized"))
        throw Exception::InvalidAutorizationAccount(body, map.value(QStringLiteral("p")));
    throw Exception::Operation(status, body,
                               unhandled("CloudOpenStackPrivate::exceptionUnauthorized", map, body), false);
}

void CloudOpenStackPrivate::exceptionForbidden(const HeaderMap&, const HeaderMap& responseHeaders, int status,
                                               const QByteArray& body)
{
    const QMap<QString, QString> map = parceError(body, responseHeaders);
    if (map.isEmpty())
        throw Exception::Operation(status, body, bodyOrUnhandled(body), false);
    if (map.value(QStringLiteral("h1")) == QLatin1String("Forbidden"))
        throw Exception::AccessDenied(body, map.value(QStringLiteral("p")));
    throw Exception::Operation(status, body,
                               unhandled("CloudOpenStackPrivate::exceptionForbidden", map, body), false);
}

void CloudOpenStackPrivate::exceptionNotFound(const HeaderMap&, const HeaderMap& responseHeaders, int status,
                                              const QByteArray& body)
{
    const QMap<QString, QString> map = parceError(body, responseHeaders);
    if (map.isEmpty())
        throw Exception::NoContent();
    if (map.value(QStringLiteral("h1")) == QLatin1String("Not Found"))
        throw Exception::NoContent(404, body, map.value(QStringLiteral("p")));
    throw Exception::Operation(status, body, unhandled("CloudOpenStackPrivate::exceptionNotFound", map, body),
                               false);
}

} // namespace Norvik::Cloud::Api
