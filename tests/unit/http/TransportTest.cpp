// The HTTP transport against a scripted server on 127.0.0.1: which answers are results, which
// failures are tried again and what each becomes, and where the caller's devices are left.

#include "connection/CloudHttpPrivate.h"
#include "connection/Exception.h"

#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <NorvikCore/GlobalConfig.h>

#include <QBuffer>
#include <QTemporaryFile>

#include <gmock/gmock.h>

#include <cerrno>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <tuple>

namespace {

using Norvik::Cloud::Api::CloudHttp;
using Server = NorvikTest::ScriptedHttpServer;
using Private = CloudHttp::CloudHttpPrivate;
using HeaderMap = Private::HeaderMap;
namespace Exception = Norvik::Cloud::Api::Exception;

// Retries without long waits, a transfer slower than 1 MB/s for one second fails (libcurl
// averages the speed over several seconds, so a lower limit would let a stall that follows a
// burst pass), and the default number of attempts (4).
class TransportConfig : public Norvik::Core::GlobalConfig
{
public:
    double retryWaitFactor() const override { return 0.001; }
    int lowSpeedTime() const override { return 1; }
    int lowSpeedLimit() const override { return 1000 * 1000; }
    int connectTimeout() const override { return 5; }
};
constexpr int Attempts = 4;

// Records what reaches exceptionFactory and throws what the test chooses, or the default.
class Probe : public Private
{
public:
    struct Failure
    {
        HeaderMap requestHeaders;
        HeaderMap responseHeaders;
        int status = 0;
        QByteArray body;
    };

    void exceptionFactory(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders, int status,
                          const QByteArray& body) override
    {
        failures.append({requestHeaders, responseHeaders, status, body});
        if (raise)
            raise(status, body);
        Private::exceptionFactory(requestHeaders, responseHeaders, status, body);
    }

    QList<Failure> failures;
    std::function<void(int status, const QByteArray& body)> raise;
};

// A final answer that is never retried, so that one request gives one outcome.
void throwFinal(int status, const QByteArray& body)
{
    throw Exception::Operation(status, body, QStringLiteral("final"), false);
}

Server::Response answer(int status, const QByteArray& body = QByteArray())
{
    Server::Response response;
    response.status = status;
    response.body = body;
    return response;
}

class Transport : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { Norvik::Core::GlobalConfig::install(new TransportConfig); }
    static void TearDownTestSuite() { NorvikTest::installFastRetries(); }

    void SetUp() override { ASSERT_TRUE(server.start()) << server.errorString().toStdString(); }

    void serve(const Server::Response& response)
    {
        server.setHandler([response](const Server::Request&) { return response; });
    }

    QUrl url(const QString& path = QStringLiteral("/bucket/key")) const { return server.url(path); }

    Server server;
    Probe probe;
};

// --- Failures decided by the status ------------------------------------------------------------

// Checks that thrown holds an E for which ok (when given) holds.
template <typename E>
std::function<void(std::exception_ptr)> is(std::function<bool(const E&)> ok = {})
{
    return [ok](std::exception_ptr thrown) {
        try {
            std::rethrow_exception(thrown);
        } catch (const E& e) {
            EXPECT_TRUE(!ok || ok(e));
        } catch (...) {
            ADD_FAILURE() << "another class was thrown";
        }
    };
}

TEST_F(Transport, ExceptionsFromTheFactoryAreRetriedByTheirKind)
{
    using Raise = std::function<void(int, const QByteArray&)>;
    const auto message = [](const char* text) {
        return is<Exception::Unknown>([text](const Exception::Unknown& e) { return e.message() == text; });
    };
    const std::tuple<const char*, Raise, int, int, std::function<void(std::exception_ptr)>> cases[] = {
        {"final operation error", throwFinal, 1, 1, is<Exception::Operation>()},
        {"operation error to retry",
         [](int status, const QByteArray& body) { throw Exception::Operation(status, body, "again", true); },
         Attempts, Attempts, is<Exception::Operation>()},
        {"answer below 400", [](int, const QByteArray&) { throw Exception::NoContent(); }, 1, 0,
         is<Exception::NoContent>()},
        {"exception of the family", [](int, const QByteArray&) { throw Exception::Unknown("family"); },
         Attempts, Attempts, message("family")},
        {"system error",
         [](int, const QByteArray&) {
             throw std::system_error(ECONNRESET, std::generic_category(), "reset");
         },
         Attempts, Attempts,
         is<Exception::Network>([](const Exception::Network& e) { return e.code() == ECONNRESET; })},
        {"standard exception", [](int, const QByteArray&) { throw std::runtime_error("standard"); }, Attempts,
         Attempts, message("standard")},
        {"anything else", [](int, const QByteArray&) { throw 42; }, Attempts, Attempts,
         is<Exception::Unknown>()},
    };

    serve(answer(500));
    for (const auto& [name, raise, attempts, failedAttempts, check] : cases) {
        SCOPED_TRACE(name);
        server.clearRequests();
        probe.raise = raise;
        const auto before = Private::requestDeleteCount(); // begun requests and failed attempts
        HeaderMap headers;
        std::exception_ptr thrown;
        try {
            probe.delete_(url(), headers);
        } catch (...) {
            thrown = std::current_exception();
        }
        ASSERT_TRUE(thrown);
        check(thrown);
        EXPECT_EQ(server.requestCount(), attempts);
        const auto after = Private::requestDeleteCount();
        EXPECT_EQ(after.first - before.first, static_cast<quint64>(attempts));
        EXPECT_EQ(after.second - before.second, static_cast<quint64>(failedAttempts));
    }
}

// --- Failures of the transfer ---------------------------------------------------------------

TEST_F(Transport, FailedPutLeavesTheDeviceAtItsPosition)
{
    const auto source = QSharedPointer<QBuffer>::create();
    source->setData("skippayload");
    source->open(QIODevice::ReadOnly);
    source->seek(4);
    HeaderMap headers;

    serve(answer(500));
    EXPECT_THROW(probe.put(url(), headers, source, 7, QUuid()), Exception::Operation);
    EXPECT_EQ(source->pos(), 4);
    const QList<Server::Request> requests = server.requests();
    ASSERT_EQ(requests.size(), Attempts);
    for (const Server::Request& request : requests)
        EXPECT_EQ(request.body, "payload");
}

TEST_F(Transport, RetriedGetLeavesNoBytesOfALongerFailedAttempt)
{
    // A retried error document longer than the object that finally arrives must not stay
    // behind the object, in a buffer or in a file; data the caller had beyond the write
    // position is not ours to cut.
    const QByteArray longError(5000, 'E');
    const QByteArray object("tiny object");
    QByteArray stored;
    QBuffer buffer(&stored);
    buffer.open(QIODevice::ReadWrite);
    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    file.write("keep:");
    QByteArray prefilled(10000, 'P');
    QBuffer full(&prefilled);
    full.open(QIODevice::ReadWrite);
    int failing = 1;
    server.setHandler([&](const Server::Request& request) {
        return request.connection == failing ? answer(500, longError) : answer(200, object);
    });
    HeaderMap headers;
    for (QIODevice* device :
         {static_cast<QIODevice*>(&buffer), static_cast<QIODevice*>(&file), static_cast<QIODevice*>(&full)}) {
        probe.get(url(), headers, device, QUuid());
        failing += 2;
    }
    EXPECT_EQ(stored, object);
    file.flush();
    file.seek(0);
    EXPECT_EQ(file.readAll(), "keep:" + object);
    EXPECT_EQ(prefilled.size(), 10000);
    EXPECT_TRUE(prefilled.startsWith(object));
}

} // namespace
