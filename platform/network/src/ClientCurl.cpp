#include "NorvikNetwork/ClientCurl.h"

#include "NorvikNetwork/Bandwidth.h"
#include "TransferHooks.h"

#include <NorvikCore/GlobalConfig.h>
#include <NorvikCore/NorvikDebug.h>

#include <QIODevice>

#include <curlpp/Easy.hpp>
#include <curlpp/Options.hpp>

#include <list>
#include <string>

#include <algorithm>
#include <functional>

namespace Norvik::Network {

using Utility::Bandwidth;

std::atomic<quint64> ClientCurl::CountGet{0};
std::atomic<quint64> ClientCurl::CountPut{0};
std::atomic<quint64> ClientCurl::CountPost{0};
std::atomic<quint64> ClientCurl::CountDelete{0};
std::atomic<quint64> ClientCurl::CountHead{0};
std::atomic<quint64> ClientCurl::CountGetError{0};
std::atomic<quint64> ClientCurl::CountPutError{0};
std::atomic<quint64> ClientCurl::CountPostError{0};
std::atomic<quint64> ClientCurl::CountDeleteError{0};
std::atomic<quint64> ClientCurl::CountHeadError{0};

namespace {

std::atomic<bool> g_terminated{false};

// Header lines are not payload: they pass without the bandwidth limiter.
size_t writeHeader(QIODevice* device, char* data, size_t size, size_t nmemb)
{
    const size_t total = size * nmemb;
    if (!device || total == 0)
        return total;
    if (!device->isOpen() || !device->isWritable())
        return 0;
    return device->write(data, static_cast<qint64>(total)) == static_cast<qint64>(total) ? total : 0;
}

} // namespace

ClientCurl::ClientCurl()
{
    // Before any handle exists and exactly once: curl_global_init() must not race itself.
    static const CURLcode init = curl_global_init(CURL_GLOBAL_ALL);
    if (init != CURLE_OK)
        NorvikDebug("NKC").error() << "curl_global_init failed, code:" << static_cast<int>(init);
}

ClientCurl::~ClientCurl() = default;

size_t ClientCurl::StreamReadData(QIODevice* device, char* buffer, unsigned long size, unsigned long nmemb)
{
    Internal::discardStaleException();
    if (!device) {
        NorvikDebug("NKC").warning() << "Upload aborted: no source device";
        return CURL_READFUNC_ABORT;
    }
    if (!device->isOpen() || !device->isReadable()) {
        NorvikDebug("NKC").warning() << "Upload aborted: the source device is not open for reading";
        return CURL_READFUNC_ABORT;
    }
    const long long wanted = static_cast<long long>(size) * static_cast<long long>(nmemb);
    if (wanted == 0)
        return 0;

    Bandwidth& bandwidth = Bandwidth::instance();
    const long long allowed = bandwidth.acquire(Bandwidth::Upload, wanted);
    if (allowed <= 0)
        return CURL_READFUNC_ABORT; // terminated while waiting: libcurl reports 42

    qint64 count = -1;
    try {
        count = device->read(buffer, allowed);
    } catch (...) {
        bandwidth.giveBack(Bandwidth::Upload, allowed);
        Internal::keepCurrentException();
        NorvikDebug("NKC").warning() << "Upload aborted: the source device threw an exception";
        return CURL_READFUNC_ABORT;
    }
    if (count < 0) {
        bandwidth.giveBack(Bandwidth::Upload, allowed);
        NorvikDebug("NKC").warning() << "Upload aborted: error reading the source device, message:"
                                     << device->errorString();
        return CURL_READFUNC_ABORT;
    }
    if (count < allowed)
        bandwidth.giveBack(Bandwidth::Upload, allowed - count);
    return static_cast<size_t>(count);
}

size_t ClientCurl::StreamWriteData(QIODevice* device, char* data, size_t size, size_t nmemb)
{
    Internal::discardStaleException();
    const size_t total = size * nmemb;
    if (total == 0)
        return 0;
    if (!device)
        return total;
    if (!device->isOpen() || !device->isWritable()) {
        NorvikDebug("NKC").warning() << "Download aborted: the destination device is not open for writing";
        return 0;
    }

    // The limiter hands out fewer bytes than asked; libcurl needs all of them taken at once.
    Bandwidth& bandwidth = Bandwidth::instance();
    size_t granted = 0;
    while (granted < total && !isTermintated()) {
        const long long count =
            bandwidth.acquire(Bandwidth::Download, static_cast<long long>(total - granted));
        if (count <= 0)
            break; // terminated: the progress callback aborts the transfer next
        granted += static_cast<size_t>(count);
    }

    try {
        size_t written = 0;
        while (written < total) {
            const qint64 count = device->write(data + written, static_cast<qint64>(total - written));
            if (count <= 0) {
                NorvikDebug("NKC").warning()
                    << "Download aborted: error writing the destination device, message:"
                    << device->errorString();
                return 0;
            }
            written += static_cast<size_t>(count);
        }
    } catch (...) {
        Internal::keepCurrentException();
        NorvikDebug("NKC").warning() << "Download aborted: the destination device threw an exception";
        return 0;
    }
    return total;
}

void ClientCurl::terminate()
{
    if (!g_terminated.exchange(true))
        NorvikDebug("NKC").info() << "All transfers are terminated";
}

bool ClientCurl::isTermintated()
{
    return g_terminated.load(std::memory_order_relaxed);
}

void ClientCurl::applyCommonOptions(curlpp::Easy& request, const QUuid& id, bool useProxy) const
{
    applyCommonOptions(request, id, useProxy, nullptr);
}

void ClientCurl::applyCommonOptions(curlpp::Easy& request, const QUuid& id, bool useProxy,
                                    QIODevice* trace) const
{
    const Core::GlobalConfig& config = Core::GlobalConfig::instance();

    // Time-outs without signals: transfers run on many threads.
    request.setOpt(curlpp::options::NoSignal(true));
    request.setOpt(curlpp::options::ConnectTimeout(std::max(0, config.connectTimeout())));
    request.setOpt(curlpp::options::Timeout(std::max(0, config.transferTimeout())));
    request.setOpt(curlpp::options::LowSpeedLimit(std::max(0, config.lowSpeedLimit())));
    request.setOpt(curlpp::options::LowSpeedTime(std::max(0, config.lowSpeedTime())));
    request.setOpt(curlpp::options::FollowLocation(false));

    // An empty proxy is set as well: it keeps libcurl from taking one from the environment.
    const QString proxy = useProxy ? config.proxy() : QString();
    request.setOpt(curlpp::options::Proxy(proxy.toStdString()));
    if (!proxy.isEmpty() && !config.proxyUser().isEmpty()) {
        request.setOpt(
            curlpp::OptionTrait<std::string, CURLOPT_PROXYUSERNAME>(config.proxyUser().toStdString()));
        request.setOpt(
            curlpp::OptionTrait<std::string, CURLOPT_PROXYPASSWORD>(config.proxyPassword().toStdString()));
    }

    const QStringList connectTo = config.connectTo();
    if (!connectTo.isEmpty()) {
        std::list<std::string> entries;
        for (const QString& entry : connectTo)
            entries.push_back(entry.toStdString());
        request.setOpt(curlpp::OptionTrait<std::list<std::string>, CURLOPT_CONNECT_TO>(entries));
    }

    Internal::installTransferHooks(request, id, trace);
}

void ClientCurl::applyWriteCallbacks(curlpp::Easy& request, QIODevice* body, QIODevice* header)
{
    using namespace std::placeholders;
    request.setOpt(curlpp::options::WriteFunction(std::bind(&ClientCurl::StreamWriteData, body, _1, _2, _3)));
    request.setOpt(curlpp::options::HeaderFunction(std::bind(&writeHeader, header, _1, _2, _3)));
}

} // namespace Norvik::Network
