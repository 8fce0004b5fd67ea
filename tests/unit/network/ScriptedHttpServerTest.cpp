// The scripted server is shared by the transport tests: its framing and its failure scripts
// are checked here through the network client, which also shows how the client reports them.
#include "ScriptedHttpServer.h"
#include "NetworkTestSupport.h"
#include "TestSupport.h"

#include <NorvikNetwork/ClientHttp.h>

#include <QBuffer>

#include <curlpp/Options.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <list>

using namespace Norvik::Network;
using NorvikTest::Outcome;
using NorvikTest::performRequest;
using NorvikTest::ScriptedHttpServer;
using NorvikTest::ScriptedSource;

namespace {

class ScriptedHttpServerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        NorvikTest::installNetworkTestConfig();
        ASSERT_TRUE(server.start()) << server.errorString().toStdString();
        body.open(QIODevice::WriteOnly);
        header.open(QIODevice::WriteOnly);
    }
    void TearDown() override { NorvikTest::installFastRetries(); }

    QSharedPointer<curlpp::Easy> request(const QString& path)
    {
        auto handle = client.createRequest(&body, &header, nullptr, QUuid());
        handle->setOpt(curlpp::options::Url(server.url(path).toEncoded().toStdString()));
        return handle;
    }

    static void upload(curlpp::Easy& handle, QIODevice* source, qint64 size)
    {
        using namespace std::placeholders;
        handle.setOpt(curlpp::options::Upload(true));
        if (size >= 0)
            handle.setOpt(curlpp::options::InfileSizeLarge(size));
        handle.setOpt(
            curlpp::options::ReadFunction(std::bind(&ClientCurl::StreamReadData, source, _1, _2, _3)));
    }

    ScriptedHttpServer server;
    ClientHttp client;
    QBuffer body;
    QBuffer header;
};

TEST_F(ScriptedHttpServerTest, RecordsChunkedAndCountedBodiesWithTheirHeaders)
{
    const QByteArray data = NorvikTest::randomBytes(100000, 5);
    QBuffer counted;
    counted.setData(data);
    counted.open(QIODevice::ReadOnly);
    auto first = request(QStringLiteral("/counted?x=1"));
    upload(*first, &counted, data.size());
    first->setOpt(curlpp::options::HttpHeader(std::list<std::string>{"X-Meta: one", "x-meta: two"}));
    ASSERT_EQ(performRequest(*first).code, 0);

    // Without a size libcurl frames the body in chunks.
    ScriptedSource unknownSize(data);
    unknownSize.open(QIODevice::ReadOnly);
    auto second = request(QStringLiteral("/chunked"));
    upload(*second, &unknownSize, -1);
    ASSERT_EQ(performRequest(*second).code, 0);

    const QList<ScriptedHttpServer::Request> requests = server.requests();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(requests[0].method, QByteArray("PUT"));
    EXPECT_EQ(requests[0].path(), QByteArray("/counted"));
    EXPECT_EQ(requests[0].target, QByteArray("/counted?x=1"));
    EXPECT_EQ(requests[0].body, data);
    EXPECT_FALSE(requests[0].chunked);
    EXPECT_EQ(requests[0].header("x-meta"), QByteArray("two"));
    EXPECT_EQ(requests[0].headerValues("X-META"), (QList<QByteArray>{"one", "two"}));
    EXPECT_TRUE(requests[0].complete);
    EXPECT_TRUE(requests[1].chunked);
    EXPECT_EQ(requests[1].body, data);
}

TEST_F(ScriptedHttpServerTest, ExpectHandlerRefusesABodyBeforeItIsSent)
{
    server.setExpectHandler(
        [](const ScriptedHttpServer::Request& head) -> std::optional<ScriptedHttpServer::Response> {
            if (head.path() == "/refused")
                return ScriptedHttpServer::Response::make(403, "<Error>AccessDenied</Error>");
            return std::nullopt;
        });
    const QByteArray data(2 * 1024 * 1024, 'e'); // large enough for libcurl to ask first
    QBuffer source;
    source.setData(data);
    source.open(QIODevice::ReadOnly);
    auto refused = request(QStringLiteral("/refused"));
    upload(*refused, &source, data.size());
    const Outcome outcome = performRequest(*refused);
    EXPECT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(outcome.status, 403);
    EXPECT_EQ(body.data(), QByteArray("<Error>AccessDenied</Error>"));
    EXPECT_LT(source.pos(), data.size()) << "the body was sent although the server refused it";

    QBuffer again;
    again.setData(data);
    again.open(QIODevice::ReadOnly);
    auto accepted = request(QStringLiteral("/accepted"));
    upload(*accepted, &again, data.size());
    EXPECT_EQ(performRequest(*accepted).status, 200);

    const QList<ScriptedHttpServer::Request> requests = server.requests();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_FALSE(requests[0].complete);
    EXPECT_TRUE(requests[1].complete);
    EXPECT_EQ(requests[1].header("Expect"), QByteArray("100-continue"));
    EXPECT_EQ(requests[1].body, data);
}

TEST_F(ScriptedHttpServerTest, RawAnswerCanCarryTwoHeaderBlocks)
{
    server.setHandler([](const ScriptedHttpServer::Request&) {
        return ScriptedHttpServer::Response::rawBytes(
            "HTTP/1.1 100 Continue\r\nX-Interim: yes\r\n\r\n"
            "HTTP/1.1 201 Created\r\nETag: \"abc\"\r\nContent-Length: 2\r\n\r\nok");
    });
    auto handle = request(QStringLiteral("/two-blocks"));
    const Outcome outcome = performRequest(*handle);
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_EQ(outcome.status, 201);
    EXPECT_EQ(body.data(), QByteArray("ok"));
    const QByteArray headers = header.data();
    EXPECT_TRUE(headers.contains("X-Interim: yes"));
    EXPECT_LT(headers.indexOf("HTTP/1.1 100"), headers.indexOf("HTTP/1.1 201"));
}

TEST_F(ScriptedHttpServerTest, ChunkedAnswerAndHeadAreFramedProperly)
{
    const QByteArray data = NorvikTest::randomBytes(50000, 9);
    server.setHandler([&](const ScriptedHttpServer::Request&) {
        ScriptedHttpServer::Response response = ScriptedHttpServer::Response::ok(data);
        response.chunked = true;
        return response;
    });
    auto chunked = request(QStringLiteral("/chunked"));
    ASSERT_EQ(performRequest(*chunked).code, 0);
    EXPECT_EQ(body.data(), data);
    EXPECT_TRUE(header.data().contains("Transfer-Encoding: chunked"));

    server.setHandler(
        [&](const ScriptedHttpServer::Request&) { return ScriptedHttpServer::Response::ok(data); });
    QBuffer headBody;
    headBody.open(QIODevice::WriteOnly);
    QBuffer headHeader;
    headHeader.open(QIODevice::WriteOnly);
    auto head = client.createRequest(&headBody, &headHeader, nullptr, QUuid());
    head->setOpt(curlpp::options::Url(server.url("/head").toEncoded().toStdString()));
    head->setOpt(curlpp::options::NoBody(true));
    const Outcome outcome = performRequest(*head);
    ASSERT_EQ(outcome.code, 0) << outcome.message;
    EXPECT_TRUE(headBody.data().isEmpty());
    EXPECT_TRUE(headHeader.data().contains("Content-Length: 50000"));
}

TEST_F(ScriptedHttpServerTest, ConnectionsAreKeptAliveUnlessTheScriptCloses)
{
    int answers = 0;
    server.setHandler([&](const ScriptedHttpServer::Request&) {
        ScriptedHttpServer::Response response = ScriptedHttpServer::Response::ok("x");
        response.close = ++answers == 2;
        return response;
    });
    auto handle = request(QStringLiteral("/one"));
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(performRequest(*handle).code, 0);
    const QList<ScriptedHttpServer::Request> requests = server.requests();
    ASSERT_EQ(requests.size(), 3);
    EXPECT_EQ(requests[0].connection, requests[1].connection);
    EXPECT_EQ(requests[1].indexOnConnection, 1);
    EXPECT_NE(requests[2].connection, requests[1].connection);
    EXPECT_EQ(requests[2].indexOnConnection, 0);
    EXPECT_EQ(server.connectionCount(), 2);
}

TEST_F(ScriptedHttpServerTest, CutAnswersReachTheClientAsTransferErrors)
{
    constexpr int PartialFile = 18;
    constexpr int ReceiveError = 56;
    constexpr int GotNothing = 52;
    bool reset = false;
    qint64 cutAt = 1000;
    server.setHandler([&](const ScriptedHttpServer::Request&) {
        ScriptedHttpServer::Response response = ScriptedHttpServer::Response::ok(QByteArray(100000, 'c'));
        response.closeAfterBodyBytes = cutAt;
        response.reset = reset;
        return response;
    });
    EXPECT_EQ(performRequest(*request(QStringLiteral("/closed"))).code, PartialFile);
    EXPECT_EQ(body.data().size(), 1000);

    reset = true;
    EXPECT_EQ(performRequest(*request(QStringLiteral("/reset"))).code, ReceiveError);

    server.setHandler([](const ScriptedHttpServer::Request&) {
        ScriptedHttpServer::Response response = ScriptedHttpServer::Response::rawBytes("HTTP/1.1 200 OK\r\n");
        response.closeAfterBodyBytes = 0;
        return response;
    });
    EXPECT_EQ(performRequest(*request(QStringLiteral("/nothing"))).code, GotNothing);
}

} // namespace
