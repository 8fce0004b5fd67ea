// Termination is final for the whole process, so it has a test binary of its own.

#include "connection/CloudHttpPrivate.h"
#include "connection/Exception.h"

#include "ScriptedHttpServer.h"

#include <NorvikNetwork/ClientCurl.h>

#include <gmock/gmock.h>

namespace {

using Norvik::Cloud::Api::CloudHttp;
using Private = CloudHttp::CloudHttpPrivate;
namespace Exception = Norvik::Cloud::Api::Exception;

TEST(TransportTermination, AbortedTransferIsTerminatedAndNeverRetried)
{
    NorvikTest::ScriptedHttpServer server;
    server.setHandler([](const NorvikTest::ScriptedHttpServer::Request&) {
        NorvikTest::ScriptedHttpServer::Response response;
        response.body = "never delivered";
        response.delayMs = 2000;
        return response;
    });
    ASSERT_TRUE(server.start()) << server.errorString().toStdString();

    Norvik::Network::ClientCurl::terminate();
    const auto before = Private::requestPutCount();
    Private transport;
    Private::HeaderMap headers;
    EXPECT_THROW(transport.put(server.url(), headers, QByteArray("data"), QUuid()), Exception::Terminated);
    const auto after = Private::requestPutCount();
    EXPECT_EQ(after.first - before.first, 1u);
    EXPECT_EQ(after.second - before.second, 1u);
}

} // namespace
