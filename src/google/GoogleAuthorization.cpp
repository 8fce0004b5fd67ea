// The two OAuth ways of signing in: a service account whose PKCS#12 key signs a JSON Web Token,
// and an installed application with a one-time code and a refresh token. Both end in a bearer
// token that is kept until shortly before it runs out.

#include "google/CloudGoogleStoragePrivate.h"
#include "google/GoogleRecords.h"

#include "connection/Exception.h"
#include "info/GoogleStorageInfo.h"

#include <NorvikCore/NorvikDebug.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>

#include <cstdio>
#include <memory>

namespace Norvik::Cloud::Api {

const QByteArray CloudGoogleStoragePrivate::PassPhrase = QByteArrayLiteral("notasecret");
const QUrl CloudGoogleStoragePrivate::OAuthApi = QUrl(QStringLiteral("https://www.googleapis.com"));
const QUrl CloudGoogleStoragePrivate::Accounts = QUrl(QStringLiteral("https://accounts.google.com"));

namespace {

QUrl onHost(const QUrl& host, const QString& path)
{
    QUrl url = host;
    url.setPath(path);
    return url;
}

QByteArray base64Url(const QByteArray& data)
{
    return data.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

QByteArray formValue(const QString& text)
{
    return QUrl::toPercentEncoding(text);
}

// The key files the service issues are encrypted with ciphers that OpenSSL keeps in its legacy
// provider; the default provider must then be loaded by name as well.
void loadProviders()
{
    static const bool loaded = [] {
        OSSL_PROVIDER_load(nullptr, "legacy");
        OSSL_PROVIDER_load(nullptr, "default");
        return true;
    }();
    (void)loaded;
}

} // namespace

QByteArray CloudGoogleStoragePrivate::signWithRsaSha256(const QByteArray& data, const QByteArray& pkcs12)
{
    loadProviders();
    std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new_mem_buf(pkcs12.constData(), pkcs12.size()),
                                                  &BIO_free);
    std::unique_ptr<PKCS12, decltype(&PKCS12_free)> p12(d2i_PKCS12_bio(bio.get(), nullptr), &PKCS12_free);
    if (!p12) {
        std::fputs("Error reading PKCS#12 file\n", stderr);
        ERR_print_errors_fp(stderr);
        return QByteArray();
    }
    EVP_PKEY* rawKey = nullptr;
    X509* certificate = nullptr;
    STACK_OF(X509)* chain = nullptr;
    if (!PKCS12_parse(p12.get(), PassPhrase.constData(), &rawKey, &certificate, &chain) || !rawKey) {
        std::fputs("Error parsing PKCS#12 file\n", stderr);
        ERR_print_errors_fp(stderr);
        EVP_PKEY_free(rawKey);
        X509_free(certificate);
        sk_X509_pop_free(chain, X509_free);
        return QByteArray();
    }
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(rawKey, &EVP_PKEY_free);
    X509_free(certificate);
    sk_X509_pop_free(chain, X509_free);

    // PKCS#1 v1.5 over the SHA-256 digest: the same bytes as RSA_sign with that digest.
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    size_t length = 0;
    if (!context || EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) != 1 ||
        EVP_DigestSign(context.get(), nullptr, &length,
                       reinterpret_cast<const unsigned char*>(data.constData()), size_t(data.size())) != 1) {
        ERR_print_errors_fp(stderr);
        return QByteArray();
    }
    QByteArray signature(int(length), Qt::Uninitialized);
    if (EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &length,
                       reinterpret_cast<const unsigned char*>(data.constData()), size_t(data.size())) != 1) {
        ERR_print_errors_fp(stderr);
        return QByteArray();
    }
    signature.resize(int(length));
    return signature;
}

// --- Token cache ------------------------------------------------------------------------

bool CloudGoogleStoragePrivate::tokenIsStale() const
{
    return m_sessionExpires.isNull() ||
           QDateTime::currentDateTimeUtc() > m_sessionExpires.addSecs(-TokenMarginSeconds);
}

QByteArray CloudGoogleStoragePrivate::bearer(int requiredType, void (CloudGoogleStoragePrivate::*update)())
{
    if (m_authType != requiredType)
        return QByteArray();
    if (tokenIsStale())
        (this->*update)();
    if (tokenIsStale()) {
        NorvikDebug("NKC").error() << "Error on update session access token!";
        throw Exception::InvalidAutorizationAccount(QByteArray(),
                                                    tr("Error on update session access token!"));
    }
    return "Bearer " + m_sessionToken;
}

QByteArray CloudGoogleStoragePrivate::accessTokenServiceAutorization()
{
    return bearer(ServiceAccount, &CloudGoogleStoragePrivate::updateServiceAcceseToken);
}

QByteArray CloudGoogleStoragePrivate::accessTokenInstallApplicationAutorization()
{
    return bearer(InstalledApplication, &CloudGoogleStoragePrivate::updateInstallApplicationToken);
}

QJsonObject CloudGoogleStoragePrivate::postForm(const QUrl& url, const QByteArray& body,
                                                const char* parseFailureLabel)
{
    HeaderMap headers{{"Content-Type", "application/x-www-form-urlencoded"}};
    // The transport's own loop repeats what a network fault broke.
    const Response response = CloudHttpPrivate::post(url, headers, body, QUuid());
    const QByteArray& answer = response.first;
    NorvikDebug("NKC").debug() << "data:" << answer;
    NorvikDebug("NKC").debug() << "header:" << response.second;
    const GoogleJson::TokenAnswer parsed = GoogleJson::parseTokenAnswer(answer);
    if (!parsed.error.isEmpty()) {
        NorvikDebug("NKC").error() << parseFailureLabel << parsed.error;
        throw Exception::InvalidAutorizationAccount(answer, parsed.error);
    }
    return parsed.object;
}

void CloudGoogleStoragePrivate::takeAccessToken(const QJsonObject& answer)
{
    m_sessionToken = answer.value(QStringLiteral("access_token")).toString().toUtf8();
    // An answer without a token or a lifetime leaves the token stale, which the cache reports.
    const int lifetime = answer.value(QStringLiteral("expires_in")).toInt();
    m_sessionExpires = m_sessionToken.isEmpty() || lifetime <= 0
                           ? QDateTime()
                           : QDateTime::currentDateTimeUtc().addSecs(lifetime);
}

void CloudGoogleStoragePrivate::updateServiceAcceseToken()
{
    const QUrl tokenEndpoint = onHost(OAuthApi, QStringLiteral("/oauth2/v4/token"));
    const QString now = QString::number(QDateTime::currentSecsSinceEpoch());
    const QJsonObject header{{QStringLiteral("alg"), QStringLiteral("RS256")},
                             {QStringLiteral("typ"), QStringLiteral("JWT")}};
    // The two times are strings of digits, which the token endpoint accepts as well.
    const QJsonObject claims{
        {QStringLiteral("iss"), QString::fromUtf8(m_serviceAccount)},
        {QStringLiteral("scope"),
         onHost(OAuthApi, QStringLiteral("/auth/devstorage.full_control")).toString()},
        {QStringLiteral("aud"), tokenEndpoint.toString()},
        {QStringLiteral("exp"), QString::number(now.toLongLong() + 3600)},
        {QStringLiteral("iat"), now},
    };
    const QByteArray signedPart =
        base64Url(QJsonDocument(header).toJson()) + '.' + base64Url(QJsonDocument(claims).toJson());
    const QByteArray signature = base64Url(signWithRsaSha256(signedPart, m_privateKey));
    const QByteArray body = "assertion=" + signedPart + '.' + signature +
                            "&grant_type=urn%3Aietf%3Aparams%3Aoauth%3Agrant-type%3Ajwt-bearer";
    NorvikDebug("NKC").debug() << body;
    try {
        takeAccessToken(postForm(tokenEndpoint, body, "Error on update session token, parce json error:"));
    } catch (const Exception::InvalidAutorizationAccount&) {
        throw;
    } catch (const Exception::Operation& e) {
        NorvikDebug("NKC").error() << "Error on update session token:" << e.message();
        throw Exception::InvalidAutorizationAccount(e.data(), e.message());
    }
}

void CloudGoogleStoragePrivate::initRefreshTokenInstalledApplication()
{
    const QByteArray body = "code=" + formValue(QString::fromUtf8(m_initCode)) +
                            "&client_id=" + formValue(Info::GoogleStorage::ClientID) +
                            "&client_secret=" + formValue(Info::GoogleStorage::ClientSecret) +
                            "&redirect_uri=urn:ietf:wg:oauth:2.0:oob&grant_type=authorization_code";
    try {
        const QJsonObject answer =
            postForm(onHost(OAuthApi, QStringLiteral("/oauth2/v4/token")), body,
                     "Error on init install application refresh token, parce json error:");
        m_refreshToken = answer.value(QStringLiteral("refresh_token")).toString().toUtf8();
        NorvikDebug("NKC").debug() << "RefreshToken:" << m_refreshToken;
    } catch (const Exception::InvalidAutorizationAccount&) {
        throw;
    } catch (const Exception::Operation& e) {
        NorvikDebug("NKC").error() << "Error on init application refresh token!" << e.message();
        throw Exception::InvalidAutorizationAccount(e.data(), e.message());
    }
}

void CloudGoogleStoragePrivate::updateInstallApplicationToken()
{
    try {
        if (m_refreshToken.isEmpty())
            initRefreshTokenInstalledApplication();
        const QByteArray body = "client_id=" + formValue(Info::GoogleStorage::ClientID) +
                                "&client_secret=" + formValue(Info::GoogleStorage::ClientSecret) +
                                "&refresh_token=" + formValue(QString::fromUtf8(m_refreshToken)) +
                                "&grant_type=refresh_token";
        takeAccessToken(postForm(onHost(Accounts, QStringLiteral("/o/oauth2/token")), body,
                                 "Error on update session token, parce json error:"));

        // The token-info check: only a refusal counts, the answer is not read.
        QUrl check = onHost(OAuthApi, QStringLiteral("/oauth2/v3/tokeninfo"));
        check.setQuery(QStringLiteral("access_token=") +
                       QString::fromLatin1(formValue(QString::fromUtf8(m_sessionToken))));
        HeaderMap none;
        QByteArray ignored;
        CloudHttpPrivate::get(check, none, ignored, QUuid());
    } catch (const Exception::InvalidAutorizationAccount&) {
        throw;
    } catch (const Exception::Operation& e) {
        NorvikDebug("NKC").error() << e.message() << e.data() << "Error on update session access token!";
        m_sessionExpires = QDateTime();
        throw Exception::InvalidAutorizationAccount(e.data(), e.message());
    }
}

} // namespace Norvik::Cloud::Api
