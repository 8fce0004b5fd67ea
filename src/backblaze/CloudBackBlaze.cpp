#include "backblaze/CloudBackBlaze.h"

#include "backblaze/BackBlazeMetaData.h"
#include "backblaze/BackBlazeRecords.h"
#include "backblaze/CloudBackBlazePrivate.h"
#include "backblaze/UploadBigfileInfo.h"

#include "connection/CloudPrivateFactory.h"
#include "connection/Exception.h"
#include "connection/JsonCount.h"
#include "info/BackBlazeInfo.h"
#include "info/Config.h"
#include "operations/ContainerParams.h"

#include <NorvikCore/Hash.h>
#include <NorvikCore/NorvikDebug.h>
#include <NorvikNetwork/Retry.h>

#include <QBuffer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace Norvik::Cloud::Api {

using HeaderMap = CloudBackBlazePrivate::HeaderMap;

// What a failure does in one kind of operation: the step it takes on the retry object (none
// lets the failure leave at once) and the session state it throws away before the next pass.
struct CloudBackBlaze::RetryRules
{
    enum Step
    {
        Leave,
        Normal,
        Special
    };
    enum Reset
    {
        Token = 1,
        UploadUrl = 2,
        PartUrl = 4
    };

    Step serviceUnavailable = Special;
    Step internalError = Leave;
    Step authTokenLimit = Leave;
    Step network = Leave;
    // Thrown away after ServiceUnavailable, InternalError and AuthTokenLimit.
    int serviceResets = 0;
    int networkResets = 0;
    // UnAuthorized always costs the token; some operations lose more with it.
    int unauthorizedResets = Token;
    // Whether a step that leaves no attempt throws the failure at once. Without it the loop's
    // top decides: by its own error, or by the operation's refusal value.
    bool testAfterStep = true;
    bool networkTestAfterStep = true;
    const char* networkLabel = "B2 Exception (network):";
};

namespace {

using Rules = CloudBackBlaze::RetryRules;

// Bucket creation repeats a busy service without the longer wait and gives false when spent.
Rules createContainerRules()
{
    Rules rules;
    rules.serviceUnavailable = Rules::Normal;
    rules.testAfterStep = false;
    return rules;
}

// Listings, downloads, deletes and the cancel of a large file.
Rules readRules()
{
    return Rules();
}

// Starting, finishing and listing a large file also repeat the service's internal errors.
Rules largeFileRules()
{
    Rules rules;
    rules.internalError = Rules::Special;
    return rules;
}

// A single upload starts over with a new upload URL after any trouble of the service; a
// network failure keeps the URL.
Rules uploadRules()
{
    Rules rules;
    rules.internalError = rules.authTokenLimit = rules.network = Rules::Special;
    rules.serviceResets = Rules::UploadUrl;
    rules.unauthorizedResets = Rules::Token | Rules::UploadUrl;
    rules.networkTestAfterStep = false;
    return rules;
}

// A part starts over with a new part URL after any trouble, the network's included.
Rules partRules()
{
    Rules rules;
    rules.internalError = rules.authTokenLimit = rules.network = Rules::Special;
    rules.serviceResets = rules.networkResets = Rules::PartUrl;
    rules.unauthorizedResets = Rules::Token | Rules::PartUrl;
    rules.networkLabel = "B2 Exception (Network):";
    return rules;
}

Rules signRules()
{
    Rules rules;
    rules.unauthorizedResets = Rules::Token | Rules::UploadUrl;
    return rules;
}

const QString CreateBucketPath = QStringLiteral("/b2api/v1/b2_create_bucket");
const QString ListBucketsPath = QStringLiteral("/b2api/v1/b2_list_buckets");
const QString ListFileNamesPath = QStringLiteral("/b2api/v1/b2_list_file_names");
const QString StartLargeFilePath = QStringLiteral("/b2api/v1/b2_start_large_file");
const QString FinishLargeFilePath = QStringLiteral("/b2api/v1/b2_finish_large_file");
const QString CancelLargeFilePath = QStringLiteral("/b2api/v1/b2_cancel_large_file");
const QString ListPartsPath = QStringLiteral("/b2api/v1/b2_list_parts");
const QString DeleteFileVersionPath = QStringLiteral("/b2api/v1/b2_delete_file_version");

QString withoutLeadingSlash(QString text)
{
    if (text.startsWith(QLatin1Char('/')))
        text.remove(0, 1);
    return text;
}

// Download paths are formed as "/file/<bucket><path>": a path without its "/" would run into
// the bucket's name.
QString withLeadingSlash(const QString& path)
{
    return path.startsWith(QLatin1Char('/')) ? path : QLatin1Char('/') + path;
}

QSharedPointer<QIODevice> readOnlyBuffer(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

// The SHA-1 in lower-case hexadecimal of size bytes from the device's position, which is kept.
QByteArray sha1Hex(QIODevice& device, qint64 size)
{
    const qint64 position = device.pos();
    Core::Hash::Digest sha1(Core::Hash::Algorithm::Sha1);
    sha1.addData(device, size);
    device.seek(position);
    return sha1.result().toHex();
}

void openForReading(QIODevice& device, const char* failure)
{
    if (!device.isOpen() && !device.open(QIODevice::ReadOnly)) {
        NorvikDebug("NKC").error() << failure;
        throw Exception::InvalidData(QByteArray());
    }
}

void logFailure(const char* label, const Exception::Operation& e)
{
    NorvikDebug("NKC").warning() << label << e.message();
    NorvikDebug("NKC").debug() << e.data();
}

QByteArray partTag(const QJsonObject& part)
{
    return QJsonDocument(part).toJson(QJsonDocument::Compact);
}

} // namespace

CloudBackBlaze::CloudBackBlaze()
    : CloudHttp(Type::BackBlaze)
    , d(CloudPrivateFactory::instance().createBackBlaze())
    , m_connectionId(QUuid::createUuid())
{
    useSsl = true;
}

CloudBackBlaze::~CloudBackBlaze() = default;

template <class Result>
Result CloudBackBlaze::run(const RetryRules& rules, const QString& container,
                           const std::function<Result()>& work, const QByteArray& fileId, QIODevice* rewind,
                           const Result* refused)
{
    Network::Utility::Retry retry(QStringLiteral("CloudBackBlaze"), 20000, 0);
    const qint64 start = rewind ? rewind->pos() : 0;
    // Called inside a handler: a bare throw passes the caught failure on unchanged.
    const auto step = [&](RetryRules::Step kind, bool test, int resets) {
        if (kind == RetryRules::Special)
            retry.specialRetry();
        else
            retry.retry();
        if (test && !retry)
            throw;
        if (resets & RetryRules::Token)
            d->resetAuthorizeAccount();
        if (resets & RetryRules::UploadUrl)
            d->resetUploadUrl();
        if (resets & RetryRules::PartUrl)
            UploadBigfileInfo::instance().reset(fileId, m_connectionId);
        if (rewind && rewind->pos() != start)
            rewind->seek(start);
    };

    for (;;) {
        if (!retry) {
            if (refused)
                return *refused;
            throw Exception::Operation(0, QByteArray(), retry.message(), false);
        }
        try {
            if (!d->isAuthorizeAccount())
                d->authorizeAccount(BackBlazeBucket(container).name());
            return work();
        } catch (const Exception::BackBlaze::ServiceUnavailable& e) {
            if (rules.serviceUnavailable == RetryRules::Leave)
                throw;
            logFailure("Exception (ServiceUnavailable):", e);
            step(rules.serviceUnavailable, rules.testAfterStep, rules.serviceResets);
        } catch (const Exception::BackBlaze::InternalError& e) {
            if (rules.internalError == RetryRules::Leave)
                throw;
            logFailure("Exception (InternalError):", e);
            step(rules.internalError, rules.testAfterStep, rules.serviceResets);
        } catch (const Exception::BackBlaze::TooManyRequests& e) {
            logFailure("Exception (TooManyRequests):", e);
            step(RetryRules::Normal, rules.testAfterStep, 0);
        } catch (const Exception::BackBlaze::UnAuthorized& e) {
            logFailure("Exception (UnAuthorized):", e);
            step(RetryRules::Special, rules.testAfterStep, rules.unauthorizedResets);
        } catch (const Exception::BackBlaze::AuthTokenLimit& e) {
            if (rules.authTokenLimit == RetryRules::Leave)
                throw;
            logFailure("Exception (AuthTokenLimit):", e);
            step(rules.authTokenLimit, rules.testAfterStep, rules.serviceResets);
        } catch (const Exception::Network& e) {
            if (rules.network == RetryRules::Leave)
                throw;
            NorvikDebug("NKC").warning() << rules.networkLabel << e.message();
            step(rules.network, rules.networkTestAfterStep, rules.networkResets);
        }
    }
}

void CloudBackBlaze::requireCapability(int capability, const char* warning, int permissionType)
{
    if (d->checkCapabilities(static_cast<CloudBackBlazePrivate::Capabilities>(capability)))
        return;
    NorvikDebug("NKC").warning() << warning;
    throw Exception::PermissionError(static_cast<Exception::PermissionError::Type>(permissionType));
}

QByteArray CloudBackBlaze::apiCall(const QString& path, const QJsonObject& request)
{
    HeaderMap headers = d->apiHeaders();
    return d
        ->post(d->apiUrl().resolved(QUrl(path)), headers,
               QJsonDocument(request).toJson(QJsonDocument::Indented), QUuid())
        .first;
}

bool CloudBackBlaze::setConfig(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty()) {
        NorvikDebug("NKC").debug() << "Cloud config is empty";
        return false;
    }
    if (!d->setConfig(config))
        return false;
    const auto testMode = config.constFind(::Norvik::Cloud::Config::BackBlaze::TestMode);
    if (testMode != config.cend()) {
        m_testMode = testMode->toBool();
        NorvikDebug("NKC").info() << "CloudBackBlaze use testMode:" << m_testMode;
    }
    return CloudHttp::setConfig(config);
}

void CloudBackBlaze::checkConfig(const QString&, QMap<QString, QVariant>&)
{
    NorvikDebug("NKC").debug() << Q_FUNC_INFO << "this function don't suppored... sorry...";
}

QString CloudBackBlaze::uriEncodeB2(const QString& name, bool encodeSlash)
{
    static const char hex[] = "0123456789ABCDEF";
    const QByteArray bytes = withoutLeadingSlash(name).toUtf8();
    QString encoded;
    encoded.reserve(bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        const bool unreserved = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
                                (byte >= '0' && byte <= '9') || byte == '_' || byte == '-' || byte == '~' ||
                                byte == '.';
        if (unreserved || (byte == '/' && !encodeSlash)) {
            encoded += QLatin1Char(c);
        } else {
            encoded += QLatin1Char('%');
            encoded += QLatin1Char(hex[byte >> 4]);
            encoded += QLatin1Char(hex[byte & 0x0f]);
        }
    }
    return encoded;
}

// --- Containers -----------------------------------------------------------------------------

bool CloudBackBlaze::createContainers(const QJsonObject& params)
{
    const ContainerParams::BackBlaze bucket(params);
    if (!bucket.isValid())
        return false;
    const bool refused = false;
    return run<bool>(
        createContainerRules(), bucket.name(),
        [&]() {
            requireCapability(CloudBackBlazePrivate::writeBuckets,
                              "Unsupported capabilities for this auth token: WriteBuckets",
                              Exception::PermissionError::Write);
            const QJsonObject request{
                {QStringLiteral("accountId"), QString::fromUtf8(d->accountId())},
                {QStringLiteral("bucketName"), bucket.name()},
                {QStringLiteral("bucketType"), bucket.accessType()},
            };
            CloudBackBlazePrivate::answerObject(apiCall(CreateBucketPath, request));
            return true;
        },
        QByteArray(), nullptr, &refused);
}

bool CloudBackBlaze::removeContainers(const QString&)
{
    return false;
}

QJsonDocument CloudBackBlaze::containers()
{
    return run<QJsonDocument>(readRules(), QString(), [&]() {
        requireCapability(CloudBackBlazePrivate::listBuckets,
                          "Unsupported capabilities for this auth token: ListBuckets",
                          Exception::PermissionError::ReadAndList);
        const QJsonObject request{{QStringLiteral("accountId"), QString::fromUtf8(d->accountId())}};
        const QJsonObject answer = CloudBackBlazePrivate::answerObject(apiCall(ListBucketsPath, request));
        QJsonArray buckets;
        for (const QJsonValue& value : answer.value(QStringLiteral("buckets")).toArray()) {
            const QJsonObject bucket = value.toObject();
            const QString name = bucket.value(QStringLiteral("bucketName")).toString();
            if (bucket.value(QStringLiteral("bucketType")).toString() == QLatin1String("snapshot")) {
                NorvikDebug("NKC").debug() << "B2 Buckets, skipped bucket:" << name << "it's \"snapshot\"";
                continue;
            }
            const BackBlazeBucket entry(name, bucket.value(QStringLiteral("bucketId")).toString());
            buckets.append(QJsonObject{{QStringLiteral("Name"), entry.container()}});
        }
        return QJsonDocument(buckets);
    });
}

// --- Listing and delete ---------------------------------------------------------------------

QJsonDocument CloudBackBlaze::listing(const QString& container, const QString& prefix, QString& marker,
                                      const QString& delimiter, quint16 maxKeys)
{
    return run<QJsonDocument>(readRules(), container, [&]() {
        requireCapability(CloudBackBlazePrivate::listFiles,
                          "Unsupported capabilities for this auth token: ListFiles",
                          Exception::PermissionError::ListFiles);
        QJsonObject request{
            {QStringLiteral("bucketId"), BackBlazeBucket(container).id()},
            {QStringLiteral("maxFileCount"), maxKeys},
        };
        if (!prefix.isEmpty())
            request.insert(QStringLiteral("prefix"), withoutLeadingSlash(prefix));
        if (!marker.isEmpty())
            request.insert(QStringLiteral("startFileName"), marker);
        if (!delimiter.isEmpty())
            request.insert(QStringLiteral("delimiter"), delimiter);
        const QJsonObject answer = CloudBackBlazePrivate::answerObject(apiCall(ListFileNamesPath, request));
        QJsonArray files;
        for (const QJsonValue& file : answer.value(QStringLiteral("files")).toArray())
            files.append(ListingObjectBackBlaze(file.toObject()).json());
        // null after the last page
        marker = answer.value(QStringLiteral("nextFileName")).toString();
        return QJsonDocument(files);
    });
}

bool CloudBackBlaze::delete_(const QString& container, const QJsonObject& object)
{
    const ListingObjectBackBlaze file(object, true);
    const QJsonObject request{
        {QStringLiteral("fileName"), withoutLeadingSlash(file.name())},
        {QStringLiteral("fileId"), QString::fromUtf8(file.fileId())},
    };
    return run<bool>(readRules(), container, [&]() {
        requireCapability(CloudBackBlazePrivate::deleteFiles,
                          "Unsupported capabilities for this auth token: DeleteFiles",
                          Exception::PermissionError::Delete);
        for (;;) {
            try {
                apiCall(DeleteFileVersionPath, request);
                return true;
            } catch (const Exception::BadRequest& e) {
                // The service does not know the id (any more): the file is gone.
                if (e.message().startsWith(QLatin1String("Bad file ID:")))
                    throw Exception::NoContent(e.code(), e.data(), e.message());
                logFailure("Exception (BadRequest):", e);
            }
        }
    });
}

QJsonArray CloudBackBlaze::delete_(const QString&, const QJsonArray&)
{
    throw Exception::UnsupportedOperation();
}

// --- Single uploads -------------------------------------------------------------------------

QJsonObject CloudBackBlaze::upload(const QString& container, const QString& path,
                                   const QMap<QString, QVariant>& metaData, const QByteArray& data,
                                   const QUuid& operationId)
{
    return upload(container, path, metaData, readOnlyBuffer(data), data.size(), operationId);
}

QJsonObject CloudBackBlaze::upload(const QString& container, const QString& path,
                                   const QMap<QString, QVariant>& metaData, QSharedPointer<QIODevice> device,
                                   qint64 size, const QUuid& operationId)
{
    openForReading(*device, "Error on open data stream for upload operation");
    const qint64 start = device->pos();
    return run<QJsonObject>(uploadRules(), container, [&]() {
        device->seek(start);
        const QPair<QUrl, QByteArray> target = d->getUploadUrl(container);
        HeaderMap headers = BackBlazeMetaData::header(d->header(), metaData);
        if (headers.value("Content-Type").isEmpty())
            headers.insert("Content-Type", "application/octet-stream");
        headers.insert("X-Bz-File-Name", uriEncodeB2(path, false).toUtf8());
        headers.insert("Authorization", target.second);
        headers.insert("Content-Length", QByteArray::number(size));
        if (m_testMode)
            headers.insert("X-Bz-Test-Mode", "fail_some_uploads");
        headers.insert("X-Bz-Content-Sha1", sha1Hex(*device, size));
        const QByteArray answer = d->post(target.first, headers, device, size, operationId).first;
        return ListingObjectBackBlaze(CloudBackBlazePrivate::answerObject(answer)).json();
    });
}

// --- Large files ----------------------------------------------------------------------------

QJsonObject CloudBackBlaze::partInfo(const QString& container, const QByteArray& fileId)
{
    QJsonObject info = UploadBigfileInfo::instance().get(fileId, m_connectionId);
    if (info.isEmpty()) {
        info = d->getUploadPartInfo(container, fileId);
        UploadBigfileInfo::instance().update(fileId, m_connectionId, info);
    }
    return info;
}

QByteArray CloudBackBlaze::beginMultipartUpload(const QString& container, const QString& path,
                                                const QMap<QString, QVariant>& metaData)
{
    return run<QByteArray>(largeFileRules(), container, [&]() {
        requireCapability(CloudBackBlazePrivate::writeFiles,
                          "Unsupported capabilities for this auth token: WriteFiles",
                          Exception::PermissionError::Write);
        const QJsonObject request{
            {QStringLiteral("bucketId"), BackBlazeBucket(container).id()},
            {QStringLiteral("contentType"), QStringLiteral("application/octet-stream")},
            {QStringLiteral("fileInfo"), BackBlazeMetaData::fileInfo(metaData)},
            {QStringLiteral("fileName"), withoutLeadingSlash(path)},
        };
        const QJsonObject answer = CloudBackBlazePrivate::answerObject(apiCall(StartLargeFilePath, request));
        const QByteArray fileId = answer.value(QStringLiteral("fileId")).toString().toUtf8();
        // Without an id no part could be sent.
        if (fileId.isEmpty())
            throw Exception::InvalidData(QJsonDocument(answer).toJson());
        UploadBigfileInfo::instance().update(fileId, m_connectionId, d->getUploadPartInfo(container, fileId));
        return fileId;
    });
}

QByteArray CloudBackBlaze::uploadMultipart(const QString& container, const QString& path,
                                           const QByteArray& fileId, quint64 partId, const QByteArray& data,
                                           const QUuid& operationId)
{
    return uploadMultipart(container, path, fileId, partId, readOnlyBuffer(data), data.size(), operationId);
}

QByteArray CloudBackBlaze::uploadMultipart(const QString& container, const QString&, const QByteArray& fileId,
                                           quint64 partId, QSharedPointer<QIODevice> device, qint64 size,
                                           const QUuid& operationId)
{
    openForReading(*device, "Error on open data stream for multipart upload");
    const qint64 start = device->pos();
    return run<QByteArray>(
        partRules(), container,
        [&]() {
            device->seek(start);
            HeaderMap headers = d->header();
            headers.insert("X-Bz-Part-Number", QByteArray::number(partId));
            if (m_testMode)
                headers.insert("X-Bz-Test-Mode", "fail_some_uploads");
            const QJsonObject info = partInfo(container, fileId);
            headers.insert("Authorization",
                           info.value(QStringLiteral("authorizationToken")).toString().toUtf8());
            headers.insert("Content-Length", QByteArray::number(size));
            headers.insert("X-Bz-Content-Sha1", sha1Hex(*device, size));
            const QUrl url(info.value(QStringLiteral("uploadUrl")).toString());
            const QByteArray answer = d->post(url, headers, device, size, operationId).first;
            return partTag(
                MultipartListPartObjectBackBlaze(CloudBackBlazePrivate::answerObject(answer)).json());
        },
        fileId);
}

QJsonObject CloudBackBlaze::endMultipartUpload(const QString& container, const QString&,
                                               const QByteArray& fileId,
                                               const QList<QPair<quint64, QByteArray>>& parts)
{
    return run<QJsonObject>(largeFileRules(), container, [&]() {
        partInfo(container, fileId);
        QJsonArray sha1s;
        for (const auto& part : parts)
            sha1s.append(QString::fromUtf8(
                MultipartListPartObject(CloudBackBlazePrivate::answerObject(part.second)).eTag()));
        const QJsonObject request{
            {QStringLiteral("fileId"), QString::fromUtf8(fileId)},
            {QStringLiteral("partSha1Array"), sha1s},
        };
        const QByteArray answer = apiCall(FinishLargeFilePath, request);
        UploadBigfileInfo::instance().remove(fileId);
        return ListingObjectBackBlaze(CloudBackBlazePrivate::answerObject(answer)).json();
    });
}

void CloudBackBlaze::abortMultipartUpload(const QString& container, const QString&, const QByteArray& fileId)
{
    run<bool>(readRules(), container, [&]() {
        apiCall(CancelLargeFilePath, QJsonObject{{QStringLiteral("fileId"), QString::fromUtf8(fileId)}});
        return true;
    });
    UploadBigfileInfo::instance().remove(fileId);
}

QJsonArray CloudBackBlaze::listPartsMultipart(const QString& container, const QString&,
                                              const QByteArray& fileId, quint64& partSize)
{
    return run<QJsonArray>(largeFileRules(), container, [&]() {
        QJsonObject request{{QStringLiteral("fileId"), QString::fromUtf8(fileId)}};
        if (partSize != 0)
            request.insert(QStringLiteral("startPartNumber"), static_cast<qint64>(partSize));
        QByteArray body;
        try {
            body = apiCall(ListPartsPath, request);
        } catch (const Exception::BadRequest& e) {
            // An unknown or finished file has no parts: the caller starts over.
            logFailure("Exception (BadRequest):", e);
            partSize = 0;
            return QJsonArray();
        }
        const QJsonObject answer = CloudBackBlazePrivate::answerObject(body);
        partSize = jsonCount(answer.value(QStringLiteral("nextPartNumber")));
        QJsonArray parts;
        for (const QJsonValue& part : answer.value(QStringLiteral("parts")).toArray())
            parts.append(MultipartListPartObjectBackBlaze(part.toObject()).json());
        return parts;
    });
}

QPair<bool, QByteArray> CloudBackBlaze::checkUploadPart(quint64 partId, const QJsonArray& parts,
                                                        const QByteArray& data)
{
    return checkUploadPart(partId, parts, readOnlyBuffer(data), data.size());
}

QPair<bool, QByteArray> CloudBackBlaze::checkUploadPart(quint64 partId, const QJsonArray& parts,
                                                        QSharedPointer<QIODevice> device, qint64 size)
{
    for (const QJsonValue& value : parts) {
        const MultipartListPartObject part(value.toObject());
        if (part.partNumber() != partId || part.size() != static_cast<quint64>(size))
            continue;
        if (sha1Hex(*device, size) == part.eTag().toLower())
            return qMakePair(true, partTag(part.json()));
    }
    return qMakePair(false, QByteArray());
}

// --- Downloads ------------------------------------------------------------------------------

void CloudBackBlaze::download(const QString& container, const QString& path, const QByteArray& range,
                              QIODevice& out, QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    const BackBlazeBucket bucket(container);
    run<bool>(
        readRules(), container,
        [&]() {
            requireCapability(CloudBackBlazePrivate::readFiles,
                              "Unsupported capabilities for this auth token: DeleteFiles or ReadFiles",
                              Exception::PermissionError::ReadAndList);
            const QString file = QStringLiteral("/file/%1%2").arg(bucket.name(), withLeadingSlash(path));
            const QUrl url = d->downloadUrl().resolved(
                QUrl::fromEncoded(uriEncodeB2(file, false).toUtf8(), QUrl::StrictMode));
            HeaderMap headers = d->header();
            headers.insert("Authorization", d->authorizationToken());
            if (!range.isEmpty())
                headers.insert("Range", range);
            const HeaderMap answer = d->get(url, headers, &out, operationId).second;
            metaData.insert(BackBlazeMetaData::fromHeader(answer));
            return true;
        },
        QByteArray(), &out);
}

void CloudBackBlaze::download(const QString& container, const QString& path, QIODevice& out,
                              QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    download(container, path, QByteArray(), out, metaData, operationId);
}

QByteArray CloudBackBlaze::download(const QString& container, const QString& path, qint64 position,
                                    qint64 size, QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    download(container, path, position, size, buffer, metaData, operationId);
    buffer.close();
    return data;
}

void CloudBackBlaze::download(const QString& container, const QString& path, qint64 position, qint64 size,
                              QIODevice& out, QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    // size is the count of bytes less one: the range's last offset is position + size.
    const QByteArray range = QStringLiteral("bytes=%1-%2").arg(position).arg(position + size).toUtf8();
    download(container, path, range, out, metaData, operationId);
}

QMap<QByteArray, QByteArray> CloudBackBlaze::header(const QString&, const QString&)
{
    return {};
}

void CloudBackBlaze::setHeader(const QString&, const QString&, const QMap<QByteArray, QByteArray>&)
{
    throw Exception::UnsupportedOperation();
}

QString CloudBackBlaze::signUrl(const QString& container, const QString& path, bool useSsl,
                                const QDateTime& expires)
{
    const QString refused;
    if (path.isEmpty())
        return refused;
    return run<QString>(
        signRules(), container,
        [&]() { return d->signUrl(container, withLeadingSlash(path), useSsl, expires); }, QByteArray(),
        nullptr, &refused);
}

// --- Endpoint -------------------------------------------------------------------------------

QUrl CloudBackBlaze::endpoint() const
{
    return d->endpoint();
}

void CloudBackBlaze::setEndpoint(const QUrl& endpoint)
{
    d->setEndpoint(endpoint);
}

QUrl CloudBackBlaze::defaultEndpoint() const
{
    return Info::BackBlaze().defaultEndpoint();
}

} // namespace Norvik::Cloud::Api
