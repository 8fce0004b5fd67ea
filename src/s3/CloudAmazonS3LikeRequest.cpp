// The verbs of the S3 request layer and their retry wrapper.

#include "s3/AmazonS3LikeMetaData.h"
#include "s3/CloudAmazonS3LikePrivate.h"

#include "connection/Exception.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikNetwork/Retry.h>

#include <QBuffer>

namespace Norvik::Cloud::Api {

namespace {

QSharedPointer<QIODevice> readOnlyBuffer(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

void logOperationFailure(const char* label, const Exception::Operation& e)
{
    NorvikDebug("NKC").warning() << label << e.message();
    NorvikDebug("NKC").infoH() << e.data();
}

} // namespace

CloudAmazonS3LikePrivate::Response
CloudAmazonS3LikePrivate::request(RequestType type, const QString& bucket, const QString& path,
                                  const QUrlQuery& query, HeaderMap& headers, bool useRegion,
                                  QSharedPointer<QIODevice> body, long long size, const Transfer& transfer)
{
    // Two levels of retry multiply on purpose: the transport has spent its own attempts when a
    // network failure arrives here, and this level waits once more and starts the whole cycle
    // again, with a new signature and date. Answers with a definite meaning (access denied, no
    // such key) pass straight through.
    Network::Utility::Retry retry(QStringLiteral("AmazonS3Like"), 20000, 0);
    while (retry) {
        try {
            const QPair<QUrl, HeaderMap> signedRequest =
                signature(type, bucket, path, query, headers, useRegion, body, size);
            // The transport adds what it needs (Content-Length) to its own copy, so that the
            // next attempt signs exactly what the caller gave.
            HeaderMap sent = signedRequest.second;
            return transfer(signedRequest.first, sent);
        } catch (const Exception::SignatureDoesNotMatch& e) {
            // Often a clock or a race of the date: signing again may cure it.
            logOperationFailure("Exception (SignatureDoesNotMatch):", e);
            retry.retry();
            if (!retry)
                throw Exception::SignatureDoesNotMatch(e);
        } catch (const Exception::TemporarilyUnavailable& e) {
            logOperationFailure("Exception (TemporarilyUnavailable):", e);
            retry.specialRetry();
            // SlowDown leaves as a plain TemporarilyUnavailable.
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

CloudAmazonS3LikePrivate::Response CloudAmazonS3LikePrivate::get(const QString& bucket, QString path,
                                                                 const QUrlQuery& query, HeaderMap& headers,
                                                                 bool useRegion, QByteArray& out,
                                                                 const QUuid& id)
{
    return request(GET, bucket, path, query, headers, useRegion, nullptr, 0,
                   [&](const QUrl& url, HeaderMap& sent) {
                       // The error document of a failed attempt landed in out as well: each attempt starts
                       // from nothing, so that a shorter answer leaves none of it behind.
                       out.clear();
                       return CloudHttpPrivate::get(url, sent, out, id);
                   });
}

CloudAmazonS3LikePrivate::Response CloudAmazonS3LikePrivate::get(const QString& bucket, QString path,
                                                                 const QUrlQuery& query, HeaderMap& headers,
                                                                 bool useRegion, QIODevice* out,
                                                                 const QUuid& id)
{
    return request(
        GET, bucket, path, query, headers, useRegion, nullptr, 0,
        [&](const QUrl& url, HeaderMap& sent) { return CloudHttpPrivate::get(url, sent, out, id); });
}

CloudAmazonS3LikePrivate::Response CloudAmazonS3LikePrivate::put(const QString& bucket, QString path,
                                                                 const QUrlQuery& query, HeaderMap& headers,
                                                                 bool useRegion, const QByteArray& data,
                                                                 const QUuid& id)
{
    return put(bucket, path, query, headers, useRegion, readOnlyBuffer(data), data.size(), id);
}

CloudAmazonS3LikePrivate::Response
CloudAmazonS3LikePrivate::put(const QString& bucket, QString path, const QUrlQuery& query, HeaderMap& headers,
                              bool useRegion, QSharedPointer<QIODevice> data, long long size, const QUuid& id)
{
    return request(
        PUT, bucket, path, query, headers, useRegion, data, size,
        [&](const QUrl& url, HeaderMap& sent) { return CloudHttpPrivate::put(url, sent, data, size, id); });
}

CloudAmazonS3LikePrivate::Response CloudAmazonS3LikePrivate::post(const QString& bucket, QString path,
                                                                  const QUrlQuery& query, HeaderMap& headers,
                                                                  bool useRegion, const QByteArray& data,
                                                                  const QUuid& id)
{
    return post(bucket, path, query, headers, useRegion, readOnlyBuffer(data), data.size(), id);
}

CloudAmazonS3LikePrivate::Response CloudAmazonS3LikePrivate::post(const QString& bucket, QString path,
                                                                  const QUrlQuery& query, HeaderMap& headers,
                                                                  bool useRegion,
                                                                  QSharedPointer<QIODevice> data,
                                                                  long long size, const QUuid& id)
{
    return request(
        POST, bucket, path, query, headers, useRegion, data, size,
        [&](const QUrl& url, HeaderMap& sent) { return CloudHttpPrivate::post(url, sent, data, size, id); });
}

CloudAmazonS3LikePrivate::Response CloudAmazonS3LikePrivate::delete_(const QString& bucket, QString path,
                                                                     const QUrlQuery& query,
                                                                     HeaderMap& headers, bool useRegion)
{
    return request(DELETE, bucket, path, query, headers, useRegion, nullptr, 0,
                   [&](const QUrl& url, HeaderMap& sent) { return CloudHttpPrivate::delete_(url, sent); });
}

CloudAmazonS3LikePrivate::Response CloudAmazonS3LikePrivate::head(const QString& bucket, QString path,
                                                                  const QUrlQuery& query, HeaderMap& headers,
                                                                  bool useRegion)
{
    return request(HEAD, bucket, path, query, headers, useRegion, nullptr, 0,
                   [&](const QUrl& url, HeaderMap& sent) { return CloudHttpPrivate::head(url, sent); });
}

CloudAmazonS3LikePrivate::HeaderMap
CloudAmazonS3LikePrivate::header(const QMap<QString, QVariant>& metaData) const
{
    return AmazonS3LikeMetaData::header(metaData);
}

QMap<QString, QVariant> CloudAmazonS3LikePrivate::metaDataFromHeader(const HeaderMap& responseHeaders) const
{
    return AmazonS3LikeMetaData::fromHeader(responseHeaders);
}

} // namespace Norvik::Cloud::Api
