#pragma once

#include "connection/CloudHttp.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QMap>
#include <QPair>
#include <QSharedPointer>
#include <QString>
#include <QUrl>
#include <QUuid>
#include <QVariant>

#include <list>
#include <memory>
#include <string>

class QIODevice;

namespace curlpp {
class Easy;
class LibcurlRuntimeError;
} // namespace curlpp

namespace Norvik::Network {
class ClientHttp;
namespace Utility {
class Retry;
} // namespace Utility
} // namespace Norvik::Network

namespace Norvik::Cloud::Api {

// The transport of every HTTP connection: five verbs, each a retry loop around one libcurl
// transfer, and the classification of the outcome into a result or an Api::Exception.
//
// Subclasses build complete URLs and headers, sign them, and turn the statuses they know into
// exceptions by overriding exceptionFactory(). Socket options, proxy, TLS, bandwidth and
// progress belong to Network::ClientHttp. Nothing here signs, and nothing is kept between
// requests but the endpoint and the client.
class CloudHttp::CloudHttpPrivate
{
    Q_DECLARE_TR_FUNCTIONS(CloudHttpPrivate)

public:
    // Request maps keep their keys' case and are sorted byte-wise: that is their order on the
    // wire. Response maps have lower-case keys.
    using HeaderMap = QMap<QByteArray, QByteArray>;
    // The response body (where it was collected in memory) and the response headers.
    using Response = QPair<QByteArray, HeaderMap>;

    enum RequestType
    {
        GET = 0,
        PUT = 1,
        POST = 2,
        DELETE = 3,
        HEAD = 4
    };

    CloudHttpPrivate();
    virtual ~CloudHttpPrivate();
    CloudHttpPrivate(const CloudHttpPrivate&) = delete;
    CloudHttpPrivate& operator=(const CloudHttpPrivate&) = delete;

    // Takes the TLS verification switches of the global configuration; always true.
    virtual bool setConfig(const QMap<QString, QVariant>& config);
    // Called for every status that is not a success of the verb; must always throw. This
    // implementation throws MovedPermanently for a 301 with a location and otherwise an
    // Operation error that the transport may retry.
    virtual void exceptionFactory(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                  int status, const QByteArray& body);

    const QUrl& endpoint() const { return m_endpoint; }
    void setEndpoint(const QUrl& endpoint) { m_endpoint = endpoint; }
    Network::ClientHttp* client() const { return m_client.get(); }
    void setSslVerifyPeer(bool verify);

    // The received data land in out; the result's body is empty.
    Response get(const QUrl& url, HeaderMap& headers, QByteArray& out, const QUuid& id);
    // The received data are written to out from its current position; the result's body is
    // empty. An error document is read back from out when out is readable.
    Response get(const QUrl& url, HeaderMap& headers, QIODevice* out, const QUuid& id);
    Response put(const QUrl& url, HeaderMap& headers, const QByteArray& data, const QUuid& id);
    // Sends size bytes of data from its current position, where data is left after a failure.
    Response put(const QUrl& url, HeaderMap& headers, QSharedPointer<QIODevice> data, long long size,
                 const QUuid& id);
    Response post(const QUrl& url, HeaderMap& headers, const QByteArray& data, const QUuid& id);
    Response post(const QUrl& url, HeaderMap& headers, QSharedPointer<QIODevice> data, long long size,
                  const QUuid& id);
    Response delete_(const QUrl& url, HeaderMap& headers);
    Response head(const QUrl& url, HeaderMap& headers);

    // "GET", "PUT", "POST", "DELETE", "HEAD"; empty for any other value.
    static QString requestType2String(RequestType type);

    // Requests begun and failed attempts of the whole process, by verb.
    static QPair<quint64, quint64> requestGetCount();
    static QPair<quint64, quint64> requestPutCount();
    static QPair<quint64, quint64> requestPostCount();
    static QPair<quint64, quint64> requestDeleteCount();
    static QPair<quint64, quint64> requestHeadCount();

    // The header lines for libcurl, "Key: value", in map order.
    static std::list<std::string> makeRawHeader(const HeaderMap& headers);
    // Parses captured header lines. When several header blocks were captured (an interim 100
    // response, a redirect) later lines win, so the last block decides.
    static HeaderMap responseHeaders(const QByteArray& raw);

protected:
    // Maps a libcurl failure to the exception it becomes. Returns when the attempt may be
    // repeated, throws when it may not or when the retry budget is spent.
    void onLibcurlRuntimeError(const curlpp::LibcurlRuntimeError& error, Network::Utility::Retry& retry,
                               bool retryOnTimeout);
    // Accounts for one failed attempt; true when no attempt is left.
    static bool checkRetry(Network::Utility::Retry& retry);

private:
    // One verb: the retry loop around one transfer per attempt. device is the body's source
    // for PUT and POST, the destination for GET, and null otherwise.
    Response perform(RequestType type, const QUrl& url, HeaderMap& headers, QIODevice* device, long long size,
                     const QUuid& id);
    void setOptions(curlpp::Easy& request, RequestType type, const QUrl& url, const HeaderMap& headers,
                    QIODevice* device, long long size, bool retried) const;

    QUrl m_endpoint;
    std::unique_ptr<Network::ClientHttp> m_client;
};

} // namespace Norvik::Cloud::Api
