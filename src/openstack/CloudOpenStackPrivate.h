#pragma once

#include "connection/CloudHttpPrivate.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMap>
#include <QPair>
#include <QSharedPointer>
#include <QString>
#include <QUrl>
#include <QUrlQuery>
#include <QUuid>
#include <QVariant>

class QIODevice;

namespace Norvik::Cloud::Api {

// The private side of a Swift connection. Swift signs nothing: every request carries a token,
// and the token and the account's storage address both come from an identity service, by one
// of three exchanges: the legacy one of Swift's own auth middleware ("AuthType" 1), Keystone
// version 2 and Keystone version 3. Keystone answers with a catalogue, from which the storage
// address of the configured region is taken.
//
// The token is cached until the expiry the service stated, without a margin: a token that
// runs out on the way is rejected with a 401, and the verbs then get a new one and try once
// more. A second rejection, or an identity service that refuses the credentials twice, is
// thrown as InvalidAutorizationAccount.
class CloudOpenStackPrivate : public CloudHttp::CloudHttpPrivate
{
    Q_DECLARE_TR_FUNCTIONS(CloudOpenStackPrivate)

public:
    using Clock = QDateTime (*)();

    enum AuthType
    {
        AuthV1 = 1,
        AuthKeystoneV2 = 2,
        AuthKeystoneV3 = 3,
    };

    CloudOpenStackPrivate();
    ~CloudOpenStackPrivate() override;

    // Refused without "Username" and "ApiKey", for an unknown "AuthType", and for a Keystone
    // configuration without its region, its tenant or domain, or a scope without its project.
    bool setConfig(const QMap<QString, QVariant>& config) override;
    // Always throws; see the handlers below for the statuses that have one.
    void exceptionFactory(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders, int status,
                          const QByteArray& body) override;

    // The containers of every region of the catalogue (of the one storage address without
    // one), as objects with "Name", "Count", "Bytes" and "Region".
    virtual QJsonDocument containers();
    // A temporary URL for GET, signed with the account's key; the key is made and set when the
    // account has none and the descriptor allows it. Empty when no URL can be made.
    virtual QString signUrl(const QString& container, const QString& path, bool useHttps,
                            const QDateTime& expires);
    virtual HeaderMap header(const QMap<QString, QVariant>& metaData) const;

    // The verbs: the path is already encoded and begins with "/". Each authorises when
    // needed, sends through the transport and repeats once with a new token after a
    // rejection.
    virtual Response get(const QString& container, const QString& path, const QUrlQuery& query,
                         HeaderMap& headers, QByteArray& out, const QUuid& id = QUuid());
    virtual Response get(const QString& container, const QString& path, const QUrlQuery& query,
                         HeaderMap& headers, QIODevice* out, const QUuid& id = QUuid());
    virtual Response put(const QString& container, const QString& path, const QUrlQuery& query,
                         HeaderMap& headers, const QByteArray& data, const QUuid& id = QUuid());
    virtual Response put(const QString& container, const QString& path, const QUrlQuery& query,
                         HeaderMap& headers, QSharedPointer<QIODevice> data, long long size,
                         const QUuid& id = QUuid());
    virtual Response post(const QString& container, const QString& path, const QUrlQuery& query,
                          HeaderMap& headers, const QByteArray& data, const QUuid& id = QUuid());
    virtual Response delete_(const QString& container, const QString& path, const QUrlQuery& query,
                             HeaderMap& headers);
    virtual Response head(const QString& container, const QString& path, const QUrlQuery& query,
                          HeaderMap& headers);

    // The address of a request and its headers with "X-Auth-Token"; authorises when needed.
    virtual QPair<QUrl, HeaderMap> signature(RequestType type, const QString& container, QString path,
                                             const QUrlQuery& query, HeaderMap& headers);
    // The present token, after an exchange with the identity service when the cached one is
    // missing or out of date. Throws InvalidAutorizationAccount when none can be had.
    virtual QByteArray authToken(const QString& container);

    // The handlers of exceptionFactory() by status; none of them returns.
    virtual void exceptionNoContent(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                    int status, const QByteArray& body);
    virtual void exceptionUnauthorized(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                       int status, const QByteArray& body);
    virtual void exceptionForbidden(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                    int status, const QByteArray& body);
    virtual void exceptionNotFound(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                   int status, const QByteArray& body);

    // A real attempt to authorise.
    bool checkConfig(const QString& container);
    QByteArray authTokenV1();
    QByteArray authTokenKeystoneV2();
    QByteArray authTokenKeystoneV3();
    // The containers of the present storage address, marked with region.
    QJsonArray containers(const QString& region);

    // Segments of static large objects live under the object's own folder, or under a prefix
    // folder when one is configured; see segmentPath().
    void setSegmentPrefix(const QString& prefix);
    const QString& segmentPrefix() const { return m_segmentPrefix; }
    // The folder of an object's segments, ending in "/".
    QString segmentPath(const QString& path) const;
    // The segment of one part: "<segmentPath>/<name>_<partNumber>".
    QString segmentUploadPath(const QString& path, quint64 partNumber) const;
    QMap<QString, QVariant> metaDataFromHeader(const HeaderMap& headers) const;

    // What an error answer says: "h1" the title, "p" the message, "body" an ordinary page's
    // text. Empty when the body is neither Keystone's JSON nor Swift's small HTML page.
    static QMap<QString, QString> parceError(const QByteArray& body, const HeaderMap& responseHeaders);
    // The storage addresses of a Keystone answer, by region. Both throw InvalidData when the
    // answer is no JSON object; they fill token and expiry as the answer has them.
    static QMap<QString, QUrl> catalogueV2(const QByteArray& answer, bool useInternalUrl, QByteArray& token,
                                           QDateTime& expires);
    static QMap<QString, QUrl> catalogueV3(const QByteArray& answer, bool useInternalUrl, QDateTime& expires);

    int authType() const { return m_authType; }
    const QByteArray& token() const { return m_authToken; }
    const QUrl& storageUrl() const { return m_storageUrl; }
    const QMap<QString, QUrl>& regionEndpoints() const { return m_regionEndpoints; }
    // Takes a token kept from an earlier session; the service may since have revoked it.
    void restoreToken(const QByteArray& token, const QDateTime& expires)
    {
        m_authToken = token;
        m_tokenExpires = expires;
    }
    QDateTime currentDateTimeUtc() const { return m_clock(); }
    void setClock(Clock clock) { m_clock = clock ? clock : &QDateTime::currentDateTimeUtc; }

private:
    bool tokenIsFresh() const;
    // Sets the storage address of the configured region from the catalogue.
    void selectRegion(const QString& failure);
    // The loop that every verb runs: two tries, the second with a new token.
    template <class Transfer>
    Response request(RequestType type, const QString& container, const QString& path, const QUrlQuery& query,
                     HeaderMap& headers, const Transfer& transfer);

    QByteArray m_username;
    QByteArray m_apiKey;
    bool m_useInternalUrl = false;
    int m_authType = AuthV1;
    QByteArray m_tenantName;
    QByteArray m_tenantId;
    QString m_region;
    QMap<QString, QUrl> m_regionEndpoints;
    QByteArray m_domainName;
    QByteArray m_domainId;
    bool m_useScope = false;
    QByteArray m_projectName;
    QByteArray m_projectId;
    QString m_segmentPrefix;
    QByteArray m_authToken;
    QDateTime m_tokenExpires;
    QUrl m_storageUrl;
    Clock m_clock = &QDateTime::currentDateTimeUtc;
};

} // namespace Norvik::Cloud::Api
