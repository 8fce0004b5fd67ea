#pragma once

#include <QSharedPointer>
#include <QUuid>

#include <atomic>

class QIODevice;

namespace curlpp {
class Easy;
}

namespace Norvik::Network {

// What every libcurl client of the Norvik libraries shares: the process-wide request
// counters, the read and write callbacks over QIODevice, and process-wide termination.
class ClientCurl
{
public:
    ClientCurl();
    virtual ~ClientCurl();
    ClientCurl(const ClientCurl&) = delete;
    ClientCurl& operator=(const ClientCurl&) = delete;

    // Requests begun and failed attempts, by verb; raised by the callers.
    static std::atomic<quint64> CountGet;
    static std::atomic<quint64> CountPut;
    static std::atomic<quint64> CountPost;
    static std::atomic<quint64> CountDelete;
    static std::atomic<quint64> CountHead;
    static std::atomic<quint64> CountGetError;
    static std::atomic<quint64> CountPutError;
    static std::atomic<quint64> CountPostError;
    static std::atomic<quint64> CountDeleteError;
    static std::atomic<quint64> CountHeadError;

    // libcurl read callback for uploads: reads up to size * nmemb bytes from the device, as
    // many as the upload bandwidth limit lets pass. A null, closed or unreadable device and
    // a read error abort the transfer. Norvik exceptions thrown by the device are carried
    // through libcurl and rethrown by curlpp::Easy::perform() with their own type, on handles
    // made by createRequest(); other std::exceptions arrive as std::runtime_error. The
    // handle's debug callback carries them: a caller must not replace it (nor turn off
    // CURLOPT_VERBOSE), or the transfer only fails with code 42.
    static size_t StreamReadData(QIODevice* device, char* buffer, unsigned long size, unsigned long nmemb);
    // libcurl write callback: writes everything to the device, or reports a write error (23).
    // A null device discards the data. Waits for the download bandwidth limit.
    static size_t StreamWriteData(QIODevice* device, char* data, size_t size, size_t nmemb);

    // Aborts every transfer in progress in the process and every later one: they fail with
    // libcurl code 42 (CURLE_ABORTED_BY_CALLBACK). Final: it cannot be undone.
    static void terminate();
    static bool isTermintated();

protected:
    // Options that every handle gets: time-outs, low-speed limit, no redirects, the proxy of
    // the global configuration when useProxy (otherwise none, whatever the environment says),
    // progress reporting under id and the abort test. The bandwidth limiter sits in
    // StreamReadData() and StreamWriteData().
    void applyCommonOptions(curlpp::Easy& request, const QUuid& id, bool useProxy) const;
    // The same, with libcurl's text trace (header lines and messages, credentials masked)
    // written to trace when it is not null.
    void applyCommonOptions(curlpp::Easy& request, const QUuid& id, bool useProxy, QIODevice* trace) const;
    // The response body goes to body through StreamWriteData (discarded when null), the raw
    // header lines to header (discarded when null).
    static void applyWriteCallbacks(curlpp::Easy& request, QIODevice* body, QIODevice* header);
};

} // namespace Norvik::Network
