#include "NetworkTestSupport.h"
#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <NorvikNetwork/ClientNetwork.h>
#include <NorvikNetwork/ProgressReporter.h>

#include <QBuffer>
#include <QMutex>
#include <QMutexLocker>

#include <curlpp/Options.hpp>

#include <gtest/gtest.h>

using namespace Norvik::Network;
using NorvikTest::Outcome;
using NorvikTest::performRequest;
using NorvikTest::ScriptedHttpServer;

namespace {

// The client is protocol-agnostic below the URL: an HTTP server stands in for the storage.
class ClientNetworkTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        config = &NorvikTest::installNetworkTestConfig();
        ASSERT_TRUE(server.start()) << server.errorString().toStdString();
    }
    void TearDown() override { NorvikTest::installFastRetries(); }

    NorvikTest::NetworkTestConfig* config = nullptr;
    ScriptedHttpServer server;
    ClientNetwork client;
};

TEST_F(ClientNetworkTest, DownloadGoesToTheWriteDeviceWithProgressUnderTheId)
{
    const QByteArray file = NorvikTest::randomBytes(300000, 11);
    server.setHandler(
        [&](const ScriptedHttpServer::Request&) { return ScriptedHttpServer::Response::ok(file); });
    const QUuid id = QUuid::createUuid();
    QMutex mutex;
    qint64 received = 0;
    Utility::ProgressReporter::setListener([&](const Utility::ProgressReporter::Event& event) {
        QMutexLocker lock(&mutex);
        if (event.id == id)
            received += event.received;
    });

    QBuffer write, header;
    write.open(QIODevice::WriteOnly);
    header.open(QIODevice::WriteOnly);
    auto request = client.createRequest(server.url("/folder/file.bin"), nullptr, &write, &header, id);
    ASSERT_TRUE(request);
    const Outcome outcome = performRequest(*request);
    Utility::ProgressReporter::setListener({});

    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(write.data(), file);
    EXPECT_TRUE(header.data().startsWith("HTTP/1.1 200"));
    EXPECT_EQ(received, file.size());
    ASSERT_EQ(server.requestCount(), 1);
    EXPECT_EQ(server.requests().at(0).target, QByteArray("/folder/file.bin"));
}

TEST_F(ClientNetworkTest, ReadDeviceFeedsAnUploadThatTheCallerSwitchesOn)
{
    const QByteArray file = NorvikTest::randomBytes(200000, 12);
    QBuffer read;
    read.setData(file);
    read.open(QIODevice::ReadOnly);
    auto request = client.createRequest(server.url("/folder/up.bin"), &read, nullptr, nullptr, QUuid());
    ASSERT_TRUE(request);
    request->setOpt(curlpp::options::Upload(true));
    request->setOpt(curlpp::options::InfileSizeLarge(file.size()));
    const Outcome outcome = performRequest(*request);

    ASSERT_EQ(outcome.code, 0) << outcome.message;
    ASSERT_EQ(server.requestCount(), 1);
    EXPECT_EQ(server.requests().at(0).method, QByteArray("PUT"));
    EXPECT_EQ(server.requests().at(0).body, file);
}

TEST_F(ClientNetworkTest, ProxyIsUsedOnlyWhenSwitchedOnAndTunnels)
{
    ScriptedHttpServer proxy;
    ASSERT_TRUE(proxy.start()) << proxy.errorString().toStdString();
    proxy.setHandler([](const ScriptedHttpServer::Request&) {
        ScriptedHttpServer::Response refused = ScriptedHttpServer::Response::make(403);
        refused.close = true;
        return refused;
    });
    config->proxyAddress = proxy.url("/").toString(QUrl::StripTrailingSlash);

    EXPECT_FALSE(client.useProxy());
    auto direct = client.createRequest(server.url("/direct"), nullptr, nullptr, nullptr, QUuid());
    const Outcome directOutcome = performRequest(*direct);
    EXPECT_EQ(directOutcome.code, 0) << directOutcome.message;
    EXPECT_EQ(server.requestCount(), 1);
    EXPECT_EQ(proxy.requestCount(), 0);

    client.setUseProxy(true);
    auto proxied = client.createRequest(QUrl(QStringLiteral("ftp://files.invalid/folder/")), nullptr, nullptr,
                                        nullptr, QUuid());
    const Outcome proxiedOutcome = performRequest(*proxied);
    EXPECT_NE(proxiedOutcome.code, 0) << "the proxy refused the tunnel";
    ASSERT_EQ(proxy.requestCount(), 1);
    EXPECT_EQ(proxy.requests().at(0).method, QByteArray("CONNECT"));
    EXPECT_EQ(proxy.requests().at(0).target, QByteArray("files.invalid:21"));
}

} // namespace
