#pragma once

#include "connection/CloudHttpPrivate.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QPair>
#include <QSet>
#include <QString>
#include <QUrl>

namespace Norvik::Cloud::Api {

// The session with the B2 service: the account's key, what b2_authorize_account hands out (the
// token, the API and download hosts, the token's capabilities), the one cached upload URL of the
// connection, shared download URLs, and the mapping of the service's JSON errors to exceptions.
//
// It has no retry loop: the operations of CloudBackBlaze repeat and reset this state. The
// session is lazy; an operation that finds no token calls authorizeAccount() itself.
class CloudBackBlazePrivate : public CloudHttp::CloudHttpPrivate
{
    Q_DECLARE_TR_FUNCTIONS(CloudBackBlazePrivate)

public:
    enum Capabilities
    {
        listKeys = 0,
        writeKeys = 1,
        deleteKeys = 2,
        listBuckets = 3,
        writeBuckets = 4,
        deleteBuckets = 5,
        listFiles = 6,
        readFiles = 7,
        shareFiles = 8,
        writeFiles = 9,
        deleteFiles = 10,
    };

    // The service's names of the capabilities.
    static const QHash<QString, Capabilities>& b2Capabilities();

    CloudBackBlazePrivate();
    ~CloudBackBlazePrivate() override;

    // Refused without "AccountId" and "ApplicationKey".
    bool setConfig(const QMap<QString, QVariant>& config) override;
    // Always throws: 401 UnAuthorized, 404 NoContent, 429 TooManyRequests, 500 InternalError,
    // 503 ServiceUnavailable, 400 and 403 by the error's code.
    void exceptionFactory(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders, int status,
                          const QByteArray& body) override;
    virtual bool checkCapabilities(Capabilities capability);
    // A download URL on the API host with a download token in its query that is valid until
    // expires; empty for an empty container or path or an expiry that has passed.
    virtual QString signUrl(const QString& container, const QString& path, bool useHttps,
                            const QDateTime& expires);
    // The headers of every request: the user agent.
    virtual HeaderMap header();
    virtual void exceptionForbidden(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                    int status, const QByteArray& body);
    virtual void exceptionBadRequest(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                     int status, const QByteArray& body);
    // Asks for a new token with the account's key. name is not used. A 401 here means wrong
    // credentials and becomes InvalidAutorizationAccount, which no retry loop catches.
    virtual bool authorizeAccount(const QString& name);

    void setAccountId(const QByteArray& accountId) { m_accountId = accountId; }
    void setApplicationKey(const QByteArray& applicationKey) { m_applicationKey = applicationKey; }
    // The id that the service reported, else the configured one.
    QByteArray accountId() const;
    bool isAuthorizeAccount() const { return !m_authorizationToken.isEmpty(); }
    // Forgets the token only; the next authorisation replaces the rest.
    void resetAuthorizeAccount() { m_authorizationToken.clear(); }
    // The cached upload URL and its token, asked for when there is none. The cache is not tied
    // to a bucket: a connection uploads into one bucket at a time.
    QPair<QUrl, QByteArray> getUploadUrl(const QString& container);
    void resetUploadUrl();
    // A part upload URL for a large file, never cached here.
    QJsonObject getUploadPartInfo(const QString& container, const QByteArray& fileId);

    const QByteArray& authorizationToken() const { return m_authorizationToken; }
    const QUrl& apiUrl() const { return m_apiUrl; }
    const QUrl& downloadUrl() const { return m_downloadUrl; }

    // The work of exceptionForbidden() and exceptionBadRequest(): both always throw. An
    // unknown code becomes an Operation failure with the service's message.
    [[noreturn]] static void throwForbidden(int status, const QByteArray& body);
    [[noreturn]] static void throwBadRequest(int status, const QByteArray& body);

    // The JSON object of an answer, or InvalidData with label and the body logged.
    static QJsonObject answerObject(const QByteArray& body, const char* label = "On parce content data");

    // Headers of an API call: the common ones, the token and the form content type that every
    // call of this connection sends with its JSON body.
    HeaderMap apiHeaders();

private:
    void authorizeIfNeeded(const QString& container);

    QByteArray m_accountId;
    QByteArray m_applicationKey;
    QByteArray m_authorizedAccountId;
    QSet<Capabilities> m_capabilities;
    QByteArray m_authorizationToken;
    quint64 m_absoluteMinimumPartSize = 0;
    QUrl m_apiUrl;
    QUrl m_downloadUrl;
    quint64 m_minimumPartSize = 0;
    quint64 m_recommendedPartSize = 0;
    QUrl m_uploadUrl;
    QByteArray m_uploadAuthorizationToken;
};

} // namespace Norvik::Cloud::Api
