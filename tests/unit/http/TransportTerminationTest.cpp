// Termination is final for the whole process, so it has a test binary of its own.

#include "connection/CloudHttpPrivate.h"
#include "connection/Exception.h"

#include "ScriptedHttpServer.h"

#include <NorvikNetwork/ClientCurl.h>

#include <gmock/gmock.h>

#include <thread>

namespace {

using Norvik::Cloud::Api::CloudHttp;
using Private = CloudHttp::CloudHttpPrivate;
namespace Exception = Norvik::Cloud::Api::Exception;

// The server holds its answer far longer than the test runs: the request is still in progress
// when terminate() comes, and only an abort of that very transfer can end it in time.
TEST(TransportTermination, TransferInProgressIsAbortedAndNeverRetried)
{
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
    // The whole request has reached the server, which is now holding its answer.
    ASSERT_TRUE(server.waitForRequests(1));
    Norvik::Network::ClientCurl::terminate();
    transfer.join();

    EXPECT_TRUE(terminated) << other.toStdString();
    const auto after = Private::requestPutCount();
    EXPECT_EQ(after.first - before.first, 1u);
    EXPECT_EQ(after.second - before.second, 1u);
    EXPECT_EQ(server.requestCount(), 1);
}

} // namespace
