// terminate() is final for the whole process, so these cases have an executable of their own
// and run in a fixed order inside one test.
#include "NetworkTestSupport.h"
#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <NorvikNetwork/Bandwidth.h>
#include <NorvikNetwork/ClientHttp.h>
#include <NorvikNetwork/Retry.h>

#include <QBuffer>
#include <QElapsedTimer>

#include <curlpp/Options.hpp>

#include <gtest/gtest.h>

#include <future>
#include <thread>

using namespace Norvik::Network;
using NorvikTest::Outcome;
using NorvikTest::performRequest;
using NorvikTest::ScriptedHttpServer;

namespace {

constexpr int AbortedByCallback = 42;

TEST(TerminateTest, AbortsRunningAndLaterTransfersAndRetryWaits)
{
    ScriptedHttpServer server;
    ASSERT_TRUE(server.start()) << server.errorString().toStdString();
    server.setHandler([](const ScriptedHttpServer::Request& request) {
        ScriptedHttpServer::Response response = ScriptedHttpServer::Response::ok(QByteArray(1000000, 's'));
        if (request.method == "GET") {
            response.stallAfterBytes = 3000;
            response.stallMs = 30000;
        }
        return response;
    });
    NorvikTest::NetworkTestConfig& config = NorvikTest::installNetworkTestConfig();
    config.baseWaitMs = 30000;
    config.waitFactor = 1.0;
    ASSERT_FALSE(ClientCurl::isTermintated());

    // A download stalled by the server.
    auto download = std::async(std::launch::async, [&] {
        ClientHttp client;
        QBuffer body;
        body.open(QIODevice::WriteOnly);
        auto request = client.createRequest(&body, nullptr, nullptr, QUuid());
        request->setOpt(curlpp::options::Url(server.url("/stalled").toEncoded().toStdString()));
        return performRequest(*request);
    });
    // A retry loop in the middle of a long wait.
    auto retrying = std::async(std::launch::async, [] {
        Utility::Retry retry(QStringLiteral("CloudHttpPrivate"), 0, 3);
        QElapsedTimer timer;
        timer.start();
        retry.retry();
        return timer.elapsed();
    });

    // The download's head has arrived.
    QElapsedTimer started;
    started.start();
    ASSERT_TRUE(server.waitForRequests(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    ASSERT_EQ(download.wait_for(std::chrono::seconds(0)), std::future_status::timeout);

    QElapsedTimer timer;
    timer.start();
    ClientCurl::terminate();
    EXPECT_TRUE(ClientCurl::isTermintated());

    ASSERT_EQ(download.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    ASSERT_EQ(retrying.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    const qint64 stopped = timer.elapsed();
    const Outcome downloadOutcome = download.get();
    EXPECT_EQ(downloadOutcome.code, AbortedByCallback) << downloadOutcome.message;
    EXPECT_LT(retrying.get(), 10000) << "the retry slept through terminate()";
    EXPECT_LT(stopped, 5000) << "the transfers outlived terminate() by far";

    // Every later transfer fails the same way, and the flag stays.
    ClientHttp client;
    auto later = client.createRequest(nullptr, nullptr, nullptr, QUuid());
    later->setOpt(curlpp::options::Url(server.url("/later").toEncoded().toStdString()));
    EXPECT_EQ(performRequest(*later).code, AbortedByCallback);
    EXPECT_TRUE(ClientCurl::isTermintated());
    EXPECT_EQ(Utility::Bandwidth::instance().acquire(Utility::Bandwidth::Upload, 100), 0);

    NorvikTest::installFastRetries();
}

} // namespace
