#pragma once

#include "connection/CloudHttpPrivate.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDateTime>
#include <QPair>
#include <QSharedPointer>
#include <QString>
#include <QUrl>
#include <QUrlQuery>
#include <QUuid>
#include <QVariant>

#include <functional>

class QIODevice;

namespace Norvik::Cloud::Api {

// The private side of the Google Cloud Storage connection: three ways of proving who calls (an
// HMAC key pair signing each request, a service account whose PKCS#12 key signs a token
// request, an installed application with a one-time code or a refresh token), the token cache,
// the verbs with their retry loop, signed URLs and the mapping of error documents.
//
// Every verb takes the container and the path apart: the path begins with "/" and is not yet
// encoded.
class CloudGoogleStoragePrivate : public CloudHttp::CloudHttpPrivate
{
    Q_DECLARE_TR_FUNCTIONS(CloudGoogleStoragePrivate)

public:
    enum AuthType
    {
        NotConfigured = 0,
        AccessAndSecretKey = 1,
        ServiceAccount = 2,
        InstalledApplication = 3
    };

    static const QString ClassName;     // the name of each request's retry loop
    static const QByteArray PassPhrase; // of the PKCS#12 files the service issues
    // Hosts of the OAuth interface, of the accounts service (older token endpoint) and the
    // seconds before the end of a token at which it is renewed.
    static const QUrl OAuthApi;
    static const QUrl Accounts;
    static constexpr int TokenMarginSeconds = 300;

    CloudGoogleStoragePrivate();
    ~CloudGoogleStoragePrivate() override;

    bool setConfig(const QMap<QString, QVariant>& config) override;
    void exceptionFactory(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders, int status,
                          const QByteArray& body) override;
    // A read-only URL of one object; empty for an empty container or path, an expiry that is not
    // in the future, or an installed application (which has no key to sign with).
    virtual QString signUrl(const QString& container, const QString& path, bool useHttps,
                            const QDateTime& expires);
    virtual HeaderMap header(const QMap<QString, QVariant>& metaData) const;

    virtual Response get(const QString& container, QString path, const QUrlQuery& query, HeaderMap& headers,
                         QByteArray& out, const QUuid& id = QUuid());
    virtual Response get(const QString& container, QString path, const QUrlQuery& query, HeaderMap& headers,
                         QIODevice* out, const QUuid& id = QUuid());
    virtual Response put(const QString& container, QString path, const QUrlQuery& query, HeaderMap& headers,
                         const QByteArray& data, const QUuid& id = QUuid());
    virtual Response put(const QString& container, QString path, const QUrlQuery& query, HeaderMap& headers,
                         QSharedPointer<QIODevice> data, qint64 size, const QUuid& id = QUuid());
    virtual Response post(const QString& container, QString path, const QUrlQuery& query, HeaderMap& headers,
                          const QByteArray& data, const QUuid& id = QUuid());
    virtual Response delete_(const QString& container, QString path, const QUrlQuery& query,
                             HeaderMap& headers);
    virtual Response head(const QString& container, QString path, const QUrlQuery& query, HeaderMap& headers);

    // Adds "x-goog-api-version", "Date", a default "Content-Type" and the credentials to
    // headers and returns the URL and the headers to send.
    virtual QPair<QUrl, HeaderMap> signature(RequestType type, const QString& container, QString path,
                                             const QUrlQuery& query, HeaderMap& headers);
    // The bearer token and the project of the OAuth types; nothing for the HMAC key.
    virtual void setAuthorizationHeader(const QString& container, HeaderMap& headers);

    virtual void exceptionBadRequest(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                     int status, const QByteArray& body);
    virtual void exceptionForbidden(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                    int status, const QByteArray& body);
    virtual void exceptionNotFound(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                   int status, const QByteArray& body);
    virtual void exceptionRedirect(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                   int status, const QByteArray& body);
    virtual void exceptionConflict(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                   int status, const QByteArray& body);

    int authType() const { return m_authType; }
    QMap<QString, QVariant> metaDataFromHeader(const HeaderMap& headers) const;

    // The GOOG1 signature of one request; empty unless the type is the HMAC key.
    QByteArray accessAndSecretKeyAutorization(RequestType type, const HeaderMap& headers,
                                              const QString& resource, const QByteArray& contentMd5,
                                              const QString& date) const;
    // "Bearer <token>", renewing a missing or stale token first; empty for another type.
    QByteArray accessTokenServiceAutorization();
    QByteArray accessTokenInstallApplicationAutorization();
    void updateServiceAcceseToken();
    void initRefreshTokenInstalledApplication();
    void updateInstallApplicationToken();

    // The text that goes into the signature: letters, digits and "_-~.:" stay, "/" stays unless
    // encodeSlash, every other UTF-8 byte becomes "%XX".
    static QString uriEncode(const QString& text, bool encodeSlash);
    // PKCS#1 v1.5 signature with SHA-256 by the key of a PKCS#12 file opened with PassPhrase;
    // empty (with the reasons on the standard error stream) when the file cannot be used.
    static QByteArray signWithRsaSha256(const QByteArray& data, const QByteArray& pkcs12);
    // The date of the "Date" header, in English whatever the locale.
    static QString httpDate(const QDateTime& utc);

    const QDateTime& sessionExpires() const { return m_sessionExpires; }

private:
    using Transfer = std::function<Response(const QUrl& url, HeaderMap& headers)>;
    Response request(RequestType type, const QString& container, const QString& path, const QUrlQuery& query,
                     HeaderMap& headers, const Transfer& transfer);
    bool tokenIsStale() const;
    QByteArray bearer(int requiredType, void (CloudGoogleStoragePrivate::*update)());
    // A form POST to one of the token endpoints; the answer's JSON object, or
    // InvalidAutorizationAccount.
    QJsonObject postForm(const QUrl& url, const QByteArray& body, const char* parseFailureLabel);
    void takeAccessToken(const QJsonObject& answer);
    [[noreturn]] void throwUnhandled(const char* handler, int status, const QByteArray& body,
                                     const QMap<QString, QString>& error);

    int m_authType = NotConfigured;
    QByteArray m_accessKey;
    QByteArray m_secretKey;
    QDateTime m_sessionExpires;
    QByteArray m_sessionToken;
    QByteArray m_serviceAccount;
    QByteArray m_projectId;
    QByteArray m_privateKey;
    QByteArray m_initCode;
    QByteArray m_refreshToken;
};

} // namespace Norvik::Cloud::Api
