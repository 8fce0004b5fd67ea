#include "connection/CloudHttpPrivate.h"

#include "connection/Exception.h"

#include <NorvikCore/GlobalConfig.h>
#include <NorvikCore/NorvikDebug.h>
#include <NorvikNetwork/ClientHttp.h>
#include <NorvikNetwork/Retry.h>

#include <QBuffer>
#include <QFileDevice>
#include <QIODevice>

#include <curl/curl.h>
#include <curlpp/Easy.hpp>
#include <curlpp/Exception.hpp>
#include <curlpp/Infos.hpp>
#include <curlpp/Options.hpp>

#include <algorithm>
#include <atomic>
#include <system_error>

namespace Norvik::Cloud::Api {

using Network::ClientCurl;
using Network::Utility::Retry;

namespace {


// A failed attempt may have written further than the answer that finally succeeded (an error
// document longer than a small object). Those bytes would stay behind the object in the
// caller's file or buffer, so they are cut off, but never below the size the device had
// before the request: what the caller stored there stays.
void dropStaleTail(QIODevice* device, qint64 initialSize, qint64 furthest)
{
    if (!device || !device->isOpen())
        return;
    const qint64 keep = std::max(device->pos(), initialSize);
    if (keep >= furthest || device->size() <= keep)
        return;
    if (auto* buffer = qobject_cast<QBuffer*>(device))
        buffer->buffer().truncate(static_cast<int>(keep));
    else if (auto* file = qobject_cast<QFileDevice*>(device))
        file->resize(keep);
}

struct Counters
{
    std::atomic<quint64>& begun;
    std::atomic<quint64>& failed;
};

Counters countersOf(CloudHttp::CloudHttpPrivate::RequestType type)
{
    using P = CloudHttp::CloudHttpPrivate;
    switch (type) {
    case P::GET:
        return {ClientCurl::CountGet, ClientCurl::CountGetError};
    case P::PUT:
        return {ClientCurl::CountPut, ClientCurl::CountPutError};
    case P::POST:
        return {ClientCurl::CountPost, ClientCurl::CountPostError};
    case P::DELETE:
        return {ClientCurl::CountDelete, ClientCurl::CountDeleteError};
    case P::HEAD:
        break;
    }
    return {ClientCurl::CountHead, ClientCurl::CountHeadError};
}

QPair<quint64, quint64> countOf(CloudHttp::CloudHttpPrivate::RequestType type)
{
    const Counters counters = countersOf(type);
    return qMakePair(counters.begun.load(), counters.failed.load());
}

bool isSuccess(CloudHttp::CloudHttpPrivate::RequestType type, long status)
{
    using P = CloudHttp::CloudHttpPrivate;
    switch (type) {
    case P::GET:
        return status == 200 || status == 206;
    case P::PUT:
    case P::POST:
        return status == 200 || status == 201 || status == 202;
    case P::DELETE:
        return status == 200;
    case P::HEAD:
        return status == 200 || status == 204;
    }
    return false;
}

// The error document of a failed GET went into the caller's device. Read it back from there
// when the device allows it; a write-only device leaves the subclass without a document.
QByteArray readBackErrorBody(QIODevice* device, QIODevice::OpenMode mode, qint64 position)
{
    if (!device || !(mode & QIODevice::ReadOnly))
        return QByteArray();
    device->close();
    if (!device->open(mode) || !device->seek(position))
        return QByteArray();
    return device->readAll();
}

} // namespace

CloudHttp::CloudHttpPrivate::CloudHttpPrivate()
    : m_client(std::make_unique<Network::ClientHttp>())
{
}

CloudHttp::CloudHttpPrivate::~CloudHttpPrivate() = default;

bool CloudHttp::CloudHttpPrivate::setConfig(const QMap<QString, QVariant>&)
{
    setSslVerifyPeer(Core::GlobalConfig::instance().sslVerifyPeer());
    return true;
}

void CloudHttp::CloudHttpPrivate::setSslVerifyPeer(bool verify)
{
    if (!verify)
        m_client->setSslVerifyState(Network::SslVerifyNone);
    else if (Core::GlobalConfig::instance().sslVerifyStrict())
        m_client->setSslVerifyState(Network::SslVerifyPeerStrict);
    else
        m_client->setSslVerifyState(Network::SslVerifyPeer);
}

void CloudHttp::CloudHttpPrivate::exceptionFactory(const HeaderMap&, const HeaderMap& responseHeaders,
                                                   int status, const QByteArray& body)
{
    if (status == 301) {
        const QUrl location(QString::fromUtf8(responseHeaders.value("location")));
        if (!location.isEmpty())
            throw Exception::MovedPermanently(body, tr("Moved Permanently"), location);
    }
    throw Exception::Operation(status, body, tr("Unknown operation (http) error"), true);
}

QString CloudHttp::CloudHttpPrivate::requestType2String(RequestType type)
{
    switch (type) {
    case GET:
        return QStringLiteral("GET");
    case PUT:
        return QStringLiteral("PUT");
    case POST:
        return QStringLiteral("POST");
    case DELETE:
        return QStringLiteral("DELETE");
    case HEAD:
        return QStringLiteral("HEAD");
    }
    return QString();
}

QPair<quint64, quint64> CloudHttp::CloudHttpPrivate::requestGetCount()
{
    return countOf(GET);
}

QPair<quint64, quint64> CloudHttp::CloudHttpPrivate::requestPutCount()
{
    return countOf(PUT);
}

QPair<quint64, quint64> CloudHttp::CloudHttpPrivate::requestPostCount()
{
    return countOf(POST);
}

QPair<quint64, quint64> CloudHttp::CloudHttpPrivate::requestDeleteCount()
{
    return countOf(DELETE);
}

QPair<quint64, quint64> CloudHttp::CloudHttpPrivate::requestHeadCount()
{
    return countOf(HEAD);
}

std::list<std::string> CloudHttp::CloudHttpPrivate::makeRawHeader(const HeaderMap& headers)
{
    std::list<std::string> lines;
    for (auto it = headers.cbegin(); it != headers.cend(); ++it)
        lines.push_back(QStringLiteral("%1: %2")
                            .arg(QString::fromUtf8(it.key()), QString::fromUtf8(it.value()))
                            .toStdString());
    return lines;
}

CloudHttp::CloudHttpPrivate::HeaderMap CloudHttp::CloudHttpPrivate::responseHeaders(const QByteArray& raw)
{
    HeaderMap headers;
    for (const QByteArray& line : raw.split('\n')) {
        const int colon = line.indexOf(':');
        if (colon < 0)
            continue;
        const QByteArray name = line.left(colon).trimmed();
        if (name.isEmpty())
            continue;
        headers.insert(name.toLower(), line.mid(colon + 1).trimmed());
    }
    return headers;
}

CloudHttp::CloudHttpPrivate::Response CloudHttp::CloudHttpPrivate::get(const QUrl& url, HeaderMap& headers,
                                                                       QByteArray& out, const QUuid& id)
{
    QBuffer buffer(&out);
    buffer.open(QIODevice::ReadWrite);
    return get(url, headers, &buffer, id);
}

CloudHttp::CloudHttpPrivate::Response CloudHttp::CloudHttpPrivate::get(const QUrl& url, HeaderMap& headers,
                                                                       QIODevice* out, const QUuid& id)
{
    return perform(GET, url, headers, out, 0, id);
}

namespace {

QSharedPointer<QIODevice> readOnlyBuffer(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

} // namespace

CloudHttp::CloudHttpPrivate::Response
CloudHttp::CloudHttpPrivate::put(const QUrl& url, HeaderMap& headers, const QByteArray& data, const QUuid& id)
{
    return put(url, headers, readOnlyBuffer(data), data.size(), id);
}

CloudHttp::CloudHttpPrivate::Response CloudHttp::CloudHttpPrivate::put(const QUrl& url, HeaderMap& headers,
                                                                       QSharedPointer<QIODevice> data,
                                                                       long long size, const QUuid& id)
{
    return perform(PUT, url, headers, data.data(), size, id);
}

CloudHttp::CloudHttpPrivate::Response CloudHttp::CloudHttpPrivate::post(const QUrl& url, HeaderMap& headers,
                                                                        const QByteArray& data,
                                                                        const QUuid& id)
{
    return post(url, headers, readOnlyBuffer(data), data.size(), id);
}

CloudHttp::CloudHttpPrivate::Response CloudHttp::CloudHttpPrivate::post(const QUrl& url, HeaderMap& headers,
                                                                        QSharedPointer<QIODevice> data,
                                                                        long long size, const QUuid& id)
{
    return perform(POST, url, headers, data.data(), size, id);
}

CloudHttp::CloudHttpPrivate::Response CloudHttp::CloudHttpPrivate::delete_(const QUrl& url,
                                                                           HeaderMap& headers)
{
    return perform(DELETE, url, headers, nullptr, 0, QUuid());
}

CloudHttp::CloudHttpPrivate::Response CloudHttp::CloudHttpPrivate::head(const QUrl& url, HeaderMap& headers)
{
    return perform(HEAD, url, headers, nullptr, 0, QUuid());
}

void CloudHttp::CloudHttpPrivate::setOptions(curlpp::Easy& request, RequestType type, const QUrl& url,
                                             const HeaderMap& headers, QIODevice* device, long long size,
                                             bool retried) const
{
    namespace opt = curlpp::options;
    const auto readFromDevice = [device](char* buffer, size_t itemSize, size_t count) -> size_t {
        return ClientCurl::StreamReadData(device, buffer, itemSize, count);
    };

    request.setOpt(opt::Url(url.toEncoded(QUrl::FullyEncoded).toStdString()));
    switch (type) {
    case GET:
        request.setOpt(opt::HttpGet(true));
        request.setOpt(opt::HttpHeader(makeRawHeader(headers)));
        break;
    case PUT:
        request.setOpt(opt::Put(true));
        request.setOpt(opt::HttpHeader(makeRawHeader(headers)));
        request.setOpt(opt::InfileSize(static_cast<long>(size)));
        request.setOpt(opt::ReadFunction(readFromDevice));
        break;
    case POST:
        request.setOpt(opt::Post(true));
        request.setOpt(opt::HttpHeader(makeRawHeader(headers)));
        request.setOpt(opt::InfileSize(static_cast<long>(size)));
        request.setOpt(opt::PostFieldSize(static_cast<long>(size)));
        request.setOpt(opt::ReadFunction(readFromDevice));
        break;
    case DELETE:
        request.setOpt(opt::CustomRequest("DELETE"));
        request.setOpt(opt::HttpHeader(makeRawHeader(headers)));
        break;
    case HEAD:
        request.setOpt(opt::CustomRequest("HEAD"));
        request.setOpt(opt::HttpHeader(makeRawHeader(headers)));
        request.setOpt(opt::NoBody(true));
        break;
    }
    // A retried attempt never rides on a connection that may have caused the failure.
    if (retried) {
        request.setOpt(opt::FreshConnect(true));
        request.setOpt(opt::ForbidReuse(true));
    }
}

CloudHttp::CloudHttpPrivate::Response CloudHttp::CloudHttpPrivate::perform(RequestType type, const QUrl& url,
                                                                           HeaderMap& headers,
                                                                           QIODevice* device, long long size,
                                                                           const QUuid& id)
{
    const bool upload = type == PUT || type == POST;
    const bool download = type == GET;
    const Counters counters = countersOf(type);

    if (upload && (!device || (!device->isOpen() && !device->open(QIODevice::ReadOnly)))) {
        NorvikDebug("NKC").error() << (type == PUT ? "Error open stream. to put operation"
                                                   : "Error on open stream for post operation");
        throw Exception::InvalidData(QByteArray());
    }
    const QIODevice::OpenMode mode = device ? device->openMode() : QIODevice::NotOpen;
    const qint64 position = device ? device->pos() : 0;

    // The caller finds its device where it was after every failed attempt: an upload is read
    // again from the start, a download overwrites what the failed attempt wrote.
    qint64 furthest = position;
    const qint64 initialSize = device && device->isOpen() && !device->isSequential() ? device->size() : 0;
    const auto restoreDevice = [&]() {
        if (device && device->isOpen() && device->pos() != position) {
            furthest = std::max(furthest, device->pos());
            device->seek(position);
        }
    };

    Retry retry(QStringLiteral("CloudHttpPrivate"), 0, 0);
    while (retry) {
        QByteArray traceData;
        QByteArray headerData;
        QByteArray bodyData;
        QBuffer trace(&traceData);
        QBuffer header(&headerData);
        QBuffer body(&bodyData);
        trace.open(QIODevice::WriteOnly);
        header.open(QIODevice::WriteOnly);
        if (!download)
            body.open(QIODevice::WriteOnly);
        ++counters.begun;
        NorvikDebug("NKC").debug() << "URL:" << url;

        try {
            if (upload)
                device->seek(position);
            if (type == PUT && !headers.contains("Content-Length"))
                headers.insert("Content-Length", QByteArray::number(size));
            else if (type == POST)
                headers.insert("Content-Length", QByteArray::number(size));

            const QSharedPointer<curlpp::Easy> request =
                m_client->createRequest(download ? device : &body, &header, &trace, id);
            setOptions(*request, type, url, headers, device, size, retry.hasRetry());
            request->perform();
            trace.close();
            header.close();
            body.close();

            const long status = curlpp::infos::ResponseCode::get(*request);
            NorvikDebug("NKC").debug() << "status:" << status << traceData;
            const HeaderMap parsedHeaders = responseHeaders(headerData);
            if (isSuccess(type, status)) {
                if (download)
                    dropStaleTail(device, initialSize, furthest);
                return qMakePair(bodyData, parsedHeaders);
            }

            const QByteArray errorBody = download ? readBackErrorBody(device, mode, position) : bodyData;
            exceptionFactory(headers, parsedHeaders, static_cast<int>(status), errorBody);
            // An override that forgets to throw must not turn a failure into a success.
            CloudHttpPrivate::exceptionFactory(headers, parsedHeaders, static_cast<int>(status), errorBody);
        } catch (const Exception::Operation& e) {
            restoreDevice();
            // Codes up to 399 are answers raised on purpose by subclasses (204 as NoContent,
            // redirects), not failed attempts.
            if (e.code() > 399) {
                NorvikDebug("NKC").warning() << e.message() << traceData;
                ++counters.failed;
            } else {
                NorvikDebug("NKC").warning() << e.message();
            }
            if (e.retry() && !checkRetry(retry))
                continue;
            throw;
        } catch (const Exception::Base& e) {
            restoreDevice();
            NorvikDebug("NKC").warning() << "Exception (base):" << e.message() << traceData;
            ++counters.failed;
            if (checkRetry(retry))
                throw;
        } catch (const curlpp::LibcurlRuntimeError& e) {
            restoreDevice();
            NorvikDebug("NKC").warning()
                << "Exception (curlpp::LibcurlRuntimeError):" << e.what() << traceData;
            ++counters.failed;
            onLibcurlRuntimeError(e, retry, !download);
        } catch (const std::system_error& e) {
            restoreDevice();
            NorvikDebug("NKC").warning() << "Exception (std::system_error):" << e.what() << traceData;
            ++counters.failed;
            if (checkRetry(retry))
                throw Exception::Network(e.code().value(), QString::fromLocal8Bit(e.what()));
        } catch (const std::exception& e) {
            restoreDevice();
            NorvikDebug("NKC").warning() << "Exception (std):" << e.what() << traceData;
            ++counters.failed;
            if (checkRetry(retry))
                throw Exception::Unknown(QString::fromLocal8Bit(e.what()));
        } catch (...) {
            restoreDevice();
            NorvikDebug("NKC").warning() << "Exception (unknown)" << traceData;
            ++counters.failed;
            if (checkRetry(retry))
                throw Exception::Unknown();
        }
    }
    return Response();
}

bool CloudHttp::CloudHttpPrivate::checkRetry(Retry& retry)
{
    retry.retry();
    return !retry;
}

void CloudHttp::CloudHttpPrivate::onLibcurlRuntimeError(const curlpp::LibcurlRuntimeError& error,
                                                        Retry& retry, bool retryOnTimeout)
{
    const int code = error.whatCode();
    const QString text = QString::fromLocal8Bit(error.what());
    NorvikDebug("NKC").warning() << "Exception (curlpp::LibcurlRuntimeError):" << text << "code:" << code;

    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
        if (checkRetry(retry))
            throw Exception::HostNotResolved(code, text);
        return;
    case CURLE_COULDNT_CONNECT:
    case CURLE_GOT_NOTHING:
        if (checkRetry(retry))
            throw Exception::ConnectionError(code, text);
        return;
    case CURLE_WRITE_ERROR:
        throw Exception::DataWritingError(text);
    case CURLE_OPERATION_TIMEDOUT:
        // A download that timed out fails at once; an upload or a short request is sent again.
        if (!retryOnTimeout)
            throw Exception::NetworkTimeout(code, text);
        if (checkRetry(retry))
            throw Exception::ConnectionError(code, text);
        return;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        // Send and receive errors are reported as trouble of the (possibly encrypted)
        // connection on purpose: callers retry them the same way.
        if (checkRetry(retry))
            throw Exception::SslConnectionError(code, text);
        return;
    case CURLE_ABORTED_BY_CALLBACK:
        if (ClientCurl::isTermintated())
            throw Exception::Terminated();
        // Without termination, the transfer callback aborted a stalled transfer: a time-out.
        if (checkRetry(retry))
            throw Exception::NetworkTimeout(
                CURLE_OPERATION_TIMEDOUT,
                QStringLiteral("Operation too slow. Less than 0 bytes transferred the last %1 seconds")
                    .arg(Core::GlobalConfig::instance().lowSpeedTime()));
        return;
    case CURLE_PEER_FAILED_VERIFICATION:
        throw Exception::SslProblem(code, text);
    default:
        NorvikDebug("NKC").warning() << "Unknown CURL exception: code:" << code << "message:" << text;
        if (checkRetry(retry))
            throw Exception::Unknown(text);
        return;
    }
}

} // namespace Norvik::Cloud::Api
