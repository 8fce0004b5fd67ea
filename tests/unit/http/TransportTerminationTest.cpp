// Termination is final for the whole process, so it has a test binary of its own.

#include "connection/CloudHttpPrivate.h"
#include "connection/Exception.h"

#include "ScriptedHttpServer.h"

#include <NorvikCore/GlobalConfig.h>
#include <NorvikNetwork/ClientCurl.h>
#include <NorvikNetwork/Retry.h>

#include <QElapsedTimer>

#include <gmock/gmock.h>

#include <future>
#include <thread>

namespace {

using Norvik::Cloud::Api::CloudHttp;
using Private = CloudHttp::CloudHttpPrivate;
namespace Exception = Norvik::Cloud::Api::Exception;

// Retry waits as long as in production.
class SlowRetries : public Norvik::Core::GlobalConfig
{
public:
    int retryBaseWaitMs() const override { return 30000; }
    double retryWaitFactor() const override { return 1.0; }
};

// The server holds its answer far longer than the test runs: the request is still in progress
// when terminate() comes, and only an abort of that very transfer can end it in time. A retry
// wait in progress ends too, and every later request fails at once.
TEST(TransportTermination, TransferInProgressIsAbortedAndNeverRetried)
{
    Norvik::Core::GlobalConfig::install(new SlowRetries);
    NorvikTest::ScriptedHttpServer server;
    server.setHandler([](const NorvikTest::ScriptedHttpServer::Request&) {
        NorvikTest::ScriptedHttpServer::Response response;
        response.body = "never delivered";
        response.delayMs = 30000;
        return response;
    });
    ASSERT_TRUE(server.start()) << server.errorString().toStdString();

    const auto before = Private::requestPutCount();
    bool terminated = false;
    QString other;
    std::thread transfer([&] {
        Private transport;
        Private::HeaderMap headers;
        try {
            transport.put(server.url(), headers, QByteArray("data"), QUuid());
            other = QStringLiteral("no exception");
        } catch (const Exception::Terminated&) {
            terminated = true;
        } catch (const Exception::Base& e) {
            other = e.message();
        }
    });
    auto retrying = std::async(std::launch::async, [] {
        Norvik::Network::Utility::Retry retry(QStringLiteral("CloudHttpPrivate"), 0, 3);
        QElapsedTimer timer;
        timer.start();
        retry.retry();
        return timer.elapsed();
    });
    // The whole request has reached the server, which is now holding its answer.
    ASSERT_TRUE(server.waitForRequests(1));
    Norvik::Network::ClientCurl::terminate();
    transfer.join();
    EXPECT_LT(retrying.get(), 10000) << "the retry slept through terminate()";

    EXPECT_TRUE(terminated) << other.toStdString();
    const auto after = Private::requestPutCount();
    EXPECT_EQ(after.first - before.first, 1u);
    EXPECT_EQ(after.second - before.second, 1u);
    Private later;
    Private::HeaderMap headers;
    EXPECT_THROW(later.put(server.url(), headers, QByteArray("data"), QUuid()), Exception::Terminated);
    EXPECT_EQ(server.requestCount(), 1);
}

} // namespace
