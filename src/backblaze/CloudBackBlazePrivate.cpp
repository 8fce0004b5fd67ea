#include "backblaze/CloudBackBlazePrivate.h"

#include "backblaze/BackBlazeRecords.h"

#include "connection/Exception.h"
#include "connection/JsonCount.h"
#include "info/Config.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikCore/Version.h>

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QMutex>
#include <QMutexLocker>
#include <QVersionNumber>

namespace Norvik::Cloud::Api {

namespace {

const QString AuthorizeAccountPath = QStringLiteral("/b2api/v1/b2_authorize_account");
const QString UploadUrlPath = QStringLiteral("/b2api/v1/b2_get_upload_url");
const QString UploadPartUrlPath = QStringLiteral("/b2api/v1/b2_get_upload_part_url");
const QString DownloadAuthorizationPath = QStringLiteral("/b2api/v1/b2_get_download_authorization");

// Where users of the user agent can read who is calling.
const char ProductAddress[] = "https://norvik-cloud.org";

QByteArray jsonBody(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

QUrl resolved(const QUrl& base, const QString& path)
{
    return base.resolved(QUrl(path));
}

QString withoutLeadingSlash(QString text)
{
    if (text.startsWith(QLatin1Char('/')))
        text.remove(0, 1);
    return text;
}

} // namespace

const QHash<QString, CloudBackBlazePrivate::Capabilities>& CloudBackBlazePrivate::b2Capabilities()
{
    static const QHash<QString, Capabilities> names = {
        {QStringLiteral("listKeys"), listKeys},         {QStringLiteral("writeKeys"), writeKeys},
        {QStringLiteral("deleteKeys"), deleteKeys},     {QStringLiteral("listBuckets"), listBuckets},
        {QStringLiteral("writeBuckets"), writeBuckets}, {QStringLiteral("deleteBuckets"), deleteBuckets},
        {QStringLiteral("listFiles"), listFiles},       {QStringLiteral("readFiles"), readFiles},
        {QStringLiteral("shareFiles"), shareFiles},     {QStringLiteral("writeFiles"), writeFiles},
        {QStringLiteral("deleteFiles"), deleteFiles},
    };
    return names;
}

CloudBackBlazePrivate::CloudBackBlazePrivate() = default;

CloudBackBlazePrivate::~CloudBackBlazePrivate() = default;

bool CloudBackBlazePrivate::setConfig(const QMap<QString, QVariant>& config)
{
    namespace Keys = ::Norvik::Cloud::Config::BackBlaze;
    if (!config.contains(Keys::AccountId) || !config.contains(Keys::ApplicationKey))
        return false;
    setAccountId(config.value(Keys::AccountId).toString().toUtf8());
    setApplicationKey(config.value(Keys::ApplicationKey).toString().toUtf8());
    return CloudHttpPrivate::setConfig(config);
}

QByteArray CloudBackBlazePrivate::accountId() const
{
    return m_authorizedAccountId.isEmpty() ? m_accountId : m_authorizedAccountId;
}

bool CloudBackBlazePrivate::checkCapabilities(Capabilities capability)
{
    return m_capabilities.contains(capability);
}

CloudBackBlazePrivate::HeaderMap CloudBackBlazePrivate::header()
{
    static QMutex mutex;
    static QByteArray userAgent;
    {
        QMutexLocker lock(&mutex);
        if (userAgent.isEmpty()) {
            const QVersionNumber version = Core::Version::number();
            userAgent = QStringLiteral("Norvik.Base.HttpUtil.Client %1.%2.%3 (%4) Backup Standalone")
                            .arg(version.majorVersion())
                            .arg(version.minorVersion())
                            .arg(version.microVersion())
                            .arg(QLatin1String(ProductAddress))
                            .toUtf8();
        }
    }
    return {{"User-Agent", userAgent}};
}

QJsonObject CloudBackBlazePrivate::answerObject(const QByteArray& body, const char* label)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError) {
        NorvikDebug("NKC").error() << label << error.errorString();
        NorvikDebug("NKC").debug() << body;
        throw Exception::InvalidData(body);
    }
    return document.object();
}

CloudBackBlazePrivate::HeaderMap CloudBackBlazePrivate::apiHeaders()
{
    HeaderMap headers = header();
    headers.insert("Authorization", m_authorizationToken);
    headers.insert("Content-Type", "application/x-www-form-urlencoded");
    return headers;
}

void CloudBackBlazePrivate::authorizeIfNeeded(const QString& container)
{
    if (!isAuthorizeAccount())
        authorizeAccount(BackBlazeBucket(container).name());
}

bool CloudBackBlazePrivate::authorizeAccount(const QString&)
{
    m_authorizationToken.clear();
    m_downloadUrl.clear();
    m_apiUrl.clear();
    m_capabilities.clear();
    try {
        HeaderMap headers = header();
        headers.insert("Authorization",
                       "Basic " + QByteArray(m_accountId + ':' + m_applicationKey).toBase64());
        QByteArray body;
        get(resolved(endpoint(), AuthorizeAccountPath), headers, body, QUuid());

        const QJsonObject answer = answerObject(body, "Error on parce data result:");
        if (answer.contains(QStringLiteral("accountId")))
            m_authorizedAccountId = answer.value(QStringLiteral("accountId")).toString().toUtf8();
        m_absoluteMinimumPartSize = jsonCount(answer.value(QStringLiteral("absoluteMinimumPartSize")));
        m_apiUrl = QUrl(answer.value(QStringLiteral("apiUrl")).toString());
        m_authorizationToken = answer.value(QStringLiteral("authorizationToken")).toString().toUtf8();
        m_downloadUrl = QUrl(answer.value(QStringLiteral("downloadUrl")).toString());
        m_minimumPartSize = jsonCount(answer.value(QStringLiteral("minimumPartSize")));
        m_recommendedPartSize = jsonCount(answer.value(QStringLiteral("recommendedPartSize")));
        const QJsonArray allowed = answer.value(QStringLiteral("allowed"))
                                       .toObject()
                                       .value(QStringLiteral("capabilities"))
                                       .toArray();
        for (const QJsonValue& name : allowed) {
            const auto capability = b2Capabilities().constFind(name.toString());
            if (capability != b2Capabilities().cend())
                m_capabilities.insert(capability.value());
        }
    } catch (const Exception::BackBlaze::UnAuthorized& e) {
        throw Exception::InvalidAutorizationAccount(e.data(), e.message());
    }
    return true;
}

QPair<QUrl, QByteArray> CloudBackBlazePrivate::getUploadUrl(const QString& container)
{
    if (!m_uploadUrl.isEmpty() && !m_uploadAuthorizationToken.isEmpty())
        return qMakePair(m_uploadUrl, m_uploadAuthorizationToken);

    const QJsonObject request{{QStringLiteral("bucketId"), BackBlazeBucket(container).id()}};
    authorizeIfNeeded(container);
    if (!checkCapabilities(writeFiles)) {
        NorvikDebug("NKC").warning()
            << "Unsupported capabilities for this auth token: WriteKeys or WriteFiles";
        throw Exception::PermissionError(Exception::PermissionError::Write);
    }
    HeaderMap headers = apiHeaders();
    QByteArray body;
    body = post(resolved(m_apiUrl, UploadUrlPath), headers, jsonBody(request), QUuid()).first;

    const QJsonObject answer = answerObject(body);
    m_uploadUrl = QUrl(answer.value(QStringLiteral("uploadUrl")).toString());
    m_uploadAuthorizationToken = answer.value(QStringLiteral("authorizationToken")).toString().toUtf8();
    return qMakePair(m_uploadUrl, m_uploadAuthorizationToken);
}

void CloudBackBlazePrivate::resetUploadUrl()
{
    m_uploadUrl.clear();
    m_uploadAuthorizationToken.clear();
}

QJsonObject CloudBackBlazePrivate::getUploadPartInfo(const QString& container, const QByteArray& fileId)
{
    const QJsonObject request{{QStringLiteral("fileId"), QString::fromUtf8(fileId)}};
    authorizeIfNeeded(container);
    HeaderMap headers = apiHeaders();
    const QByteArray body =
        post(resolved(m_apiUrl, UploadPartUrlPath), headers, jsonBody(request), QUuid()).first;
    return answerObject(body);
}

QString CloudBackBlazePrivate::signUrl(const QString& container, const QString& path, bool useHttps,
                                       const QDateTime& expires)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    if (container.isEmpty() || path.isEmpty() || expires <= now)
        return QString();
    const qint64 seconds = now.secsTo(expires);

    authorizeIfNeeded(container);
    if (!checkCapabilities(readFiles)) {
        NorvikDebug("NKC").warning()
            << "Unsupported capabilities for this auth token: DeleteFiles or ReadFiles";
        throw Exception::PermissionError(Exception::PermissionError::ReadAndList);
    }
    HeaderMap headers = header();
    headers.insert("Authorization", m_authorizationToken);
    const BackBlazeBucket bucket(container);
    const QJsonObject request{
        {QStringLiteral("bucketId"), bucket.id()},
        {QStringLiteral("fileNamePrefix"), withoutLeadingSlash(path)},
        {QStringLiteral("validDurationInSeconds"), seconds},
    };
    const QUrl url = resolved(m_apiUrl, DownloadAuthorizationPath);
    const QByteArray body = post(url, headers, jsonBody(request), QUuid()).first;

    const QJsonObject answer = answerObject(body, "Error on parce data result:");
    const QString token = answer.value(QStringLiteral("authorizationToken")).toString();
    if (token.isEmpty()) {
        NorvikDebug("NKC").error() << "Error on parce data result: authorization token absent";
        NorvikDebug("NKC").debug() << body;
        throw Exception::InvalidData(body);
    }

    // The shared address stands on the API host, not on the download host.
    const QByteArray filePath =
        QUrl::toPercentEncoding(QStringLiteral("/file/%1%2").arg(bucket.name(), path), "/");
    QUrl shared = url.resolved(QUrl::fromEncoded(filePath, QUrl::StrictMode));
    shared.setScheme(useHttps ? QStringLiteral("https") : QStringLiteral("http"));
    shared.setQuery(QStringLiteral("Authorization=") + QString::fromLatin1(QUrl::toPercentEncoding(token)),
                    QUrl::StrictMode);
    return QString::fromUtf8(shared.toEncoded(QUrl::FullyEncoded));
}

} // namespace Norvik::Cloud::Api
