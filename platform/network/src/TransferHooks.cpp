#include "TransferHooks.h"

#include "NorvikNetwork/ClientCurl.h"
#include "NorvikNetwork/ProgressReporter.h"

#include <NorvikCore/Exception.h>
#include <NorvikCore/NorvikDebug.h>
#include <NorvikStreams/SourceFileException.h>

#include <QCoreApplication>
#include <QIODevice>

#include <curlpp/Easy.hpp>
#include <curlpp/Exception.hpp>
#include <curlpp/OptionBase.hpp>
#include <curlpp/Options.hpp>

#include <functional>
#include <stdexcept>

namespace Norvik::Network::Internal {

namespace {

struct TransferState
{
    quint64 serial = 0;
    QUuid id;
    QIODevice* trace = nullptr;
    std::shared_ptr<std::atomic<bool>> cancel;
    curl_off_t lastReceived = 0;
    curl_off_t lastSent = 0;
};

std::atomic<quint64> g_nextSerial{1};

// The transfer whose hooks ran last on this thread. libcurl runs a transfer's callbacks on
// the thread that performs it, and announces every transfer in the debug trace before the
// first body byte moves, so a read or write callback that fails belongs to this transfer.
thread_local quint64 t_activeSerial = 0;

struct KeptException
{
    std::unique_ptr<curlpp::CallbackExceptionBase> exception;
    quint64 serial = 0;
};
thread_local KeptException t_kept;

template <typename T>
void keep(const T& exception)
{
    t_kept.exception.reset(new curlpp::CallbackException<T>(exception));
    t_kept.serial = t_activeSerial;
}

int onProgress(void* clientp, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent)
{
    if (ClientCurl::isTermintated())
        return 1;
    auto* state = static_cast<TransferState*>(clientp);
    if (!state)
        return 0;
    t_activeSerial = state->serial;
    if (state->cancel && state->cancel->load(std::memory_order_relaxed))
        return 1;

    // The counters start again from zero when the same handle is performed once more.
    const curl_off_t receivedDelta =
        received >= state->lastReceived ? received - state->lastReceived : received;
    const curl_off_t sentDelta = sent >= state->lastSent ? sent - state->lastSent : sent;
    state->lastReceived = received;
    state->lastSent = sent;
    if (receivedDelta != 0 || sentDelta != 0) {
        try {
            Utility::ProgressReporter::update(state->id, receivedDelta, sentDelta);
        } catch (...) {
            // A listener must not break a transfer, and nothing may unwind through libcurl.
        }
    }
    return 0;
}

// Credentials stay out of the trace, both ways: it is logged when a request fails.
QByteArray maskedHeaderLine(const QByteArray& line)
{
    const int colon = line.indexOf(':');
    if (colon <= 0)
        return line;
    const QByteArray name = line.left(colon).trimmed().toLower();
    if (name == "authorization" || name == "proxy-authorization") {
        const QByteArray value = line.mid(colon + 1).trimmed();
        const int space = value.indexOf(' ');
        const QByteArray scheme = space > 0 ? value.left(space) : QByteArray();
        return line.left(colon + 1) + ' ' + (scheme.isEmpty() ? QByteArray() : scheme + ' ') + "<hidden>";
    }
    // Tokens, the keys of Swift's own sign-in, and the keys of data encrypted by the service
    // with the customer's key.
    static const QByteArray Secret[] = {"x-auth-token",
                                        "x-auth-key",
                                        "x-storage-pass",
                                        "x-storage-token",
                                        "x-subject-token",
                                        "x-amz-security-token",
                                        "x-amz-server-side-encryption-customer-key",
                                        "x-amz-copy-source-server-side-encryption-customer-key",
                                        "x-goog-encryption-key",
                                        "x-ms-encryption-key",
                                        "cookie",
                                        "set-cookie"};
    for (const QByteArray& secret : Secret)
        if (name == secret)
            return line.left(colon + 1) + " <hidden>";
    return line;
}

void writeTrace(QIODevice* trace, curl_infotype type, const char* data, size_t size)
{
    const char* prefix = nullptr;
    switch (type) {
    case CURLINFO_TEXT:
        prefix = "* ";
        break;
    case CURLINFO_HEADER_IN:
        prefix = "< ";
        break;
    case CURLINFO_HEADER_OUT:
        prefix = "> ";
        break;
    default:
        return; // payload and TLS records would drown the useful lines
    }
    const QByteArray text = QByteArray::fromRawData(data, static_cast<int>(size));
    QByteArray out;
    for (const QByteArray& rawLine : text.split('\n')) {
        const QByteArray line = rawLine.endsWith('\r') ? rawLine.chopped(1) : rawLine;
        if (line.isEmpty())
            continue;
        out += prefix;
        // Answers carry credentials too: Keystone's and Swift's sign-in return their tokens.
        out += type == CURLINFO_TEXT ? line : maskedHeaderLine(line);
        out += '\n';
    }
    if (!out.isEmpty() && trace->isOpen() && trace->isWritable())
        trace->write(out);
}

// Lives in the handle's option list, keyed by CURLOPT_XFERINFODATA, so that the progress
// state is owned by the handle like every other option.
class ProgressOption : public curlpp::OptionBase
{
public:
    explicit ProgressOption(std::shared_ptr<TransferState> state)
        : curlpp::OptionBase(CURLOPT_XFERINFODATA)
        , m_state(std::move(state))
    {
    }

    curlpp::OptionBase* clone() const override { return new ProgressOption(m_state); }

    void updateMeToOption(const curlpp::OptionBase& other) override
    {
        if (const auto* option = dynamic_cast<const ProgressOption*>(&other))
            m_state = option->m_state;
    }

    void updateHandleToMe(curlpp::internal::CurlHandle* handle) const override
    {
        CURL* curl = handle->getHandle();
        curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, &onProgress);
        curl_easy_setopt(curl, CURLOPT_XFERINFODATA, static_cast<void*>(m_state.get()));
        curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    }

    void clear() override { m_state.reset(); }

private:
    std::shared_ptr<TransferState> m_state;
};

} // namespace

void installTransferHooks(curlpp::Easy& request, const QUuid& id, QIODevice* trace,
                          std::shared_ptr<std::atomic<bool>> cancel)
{
    auto state = std::make_shared<TransferState>();
    state->serial = g_nextSerial.fetch_add(1, std::memory_order_relaxed);
    state->id = id;
    state->trace = trace;
    state->cancel = std::move(cancel);

    request.setOpt(std::unique_ptr<curlpp::OptionBase>(new ProgressOption(state)));

    // The debug callback always runs (verbose on), because libcurl reports an aborting read
    // or write callback through it right away: that is where a kept exception is handed to
    // curlpp, which stores it and rethrows it from Easy::perform(). The functor holds the
    // state as well, so that the progress callback's data outlives any callback.
    request.setOpt(curlpp::options::Verbose(true));
    request.setOpt(
        curlpp::options::DebugFunction([state](curl_infotype type, char* data, size_t size) -> int {
            t_activeSerial = state->serial;
            if (t_kept.exception) {
                if (t_kept.serial == state->serial)
                    throw t_kept.exception.release();
                t_kept.exception.reset();
            }
            if (state->trace)
                writeTrace(state->trace, type, data, size);
            return 0;
        }));
}

void keepCurrentException()
{
    try {
        throw;
    } catch (const Stream::Exception::SourceFileDeleted& e) {
        keep(e);
    } catch (const Stream::Exception::SourceFileModified& e) {
        keep(e);
    } catch (const Stream::Exception::SourceFileBase& e) {
        keep(e);
    } catch (const Stream::Exception::UnsupportedOperation& e) {
        keep(e);
    } catch (const Exception::Base& e) {
        keep(e);
    } catch (const std::exception& e) {
        // Only the text of a foreign exception can be carried without slicing surprises.
        keep(std::runtime_error(e.what()));
    } catch (...) {
        keep(Exception::Base(QCoreApplication::translate("Norvik::Network::ClientCurl",
                                                         "An unknown error occurred during the transfer.")));
    }
}

void discardStaleException()
{
    t_kept.exception.reset();
}

} // namespace Norvik::Network::Internal
