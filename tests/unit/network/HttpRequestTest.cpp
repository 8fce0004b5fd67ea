#include "NetworkTestSupport.h"
#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <NorvikNetwork/HttpRequest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <curlpp/Options.hpp>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <list>
#include <memory>

using Norvik::Network::HttpRequest;
using NorvikTest::ScriptedHttpServer;

namespace {

// Counts the outcomes that a request announces.
struct Outcomes
{
    explicit Outcomes(HttpRequest& request)
    {
        QObject::connect(&request, &HttpRequest::finished, [this] { ++finished; });
        QObject::connect(&request, &HttpRequest::error, [this](const QString& text) {
            ++errors;
            message = text;
        });
    }
    bool any() const { return finished + errors > 0; }

    int finished = 0;
    int errors = 0;
    QString message;
};

class HttpRequestTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(server.start()) << server.errorString().toStdString(); }

    ScriptedHttpServer server;
};

TEST_F(HttpRequestTest, FinishedCarriesTheDocument)
{
    server.setHandler([](const ScriptedHttpServer::Request&) {
        return ScriptedHttpServer::Response::ok("<RegionList><Regions/></RegionList>");
    });
    HttpRequest request(server.url("/regions/s3.xml"));
    Outcomes outcomes(request);
    ASSERT_TRUE(NorvikTest::waitFor([&] { return outcomes.any(); }));
    QCoreApplication::processEvents(); // a second emission would show now

    EXPECT_EQ(outcomes.finished, 1);
    EXPECT_EQ(outcomes.errors, 0);
    EXPECT_TRUE(request.isFinished());
    EXPECT_FALSE(request.hasError());
    EXPECT_EQ(request.status(), 200);
    EXPECT_EQ(request.data(), QByteArray("<RegionList><Regions/></RegionList>"));
    ASSERT_EQ(server.requestCount(), 1);
    EXPECT_EQ(server.requests().at(0).method, QByteArray("GET"));
    EXPECT_EQ(server.requests().at(0).target, QByteArray("/regions/s3.xml"));
}

TEST_F(HttpRequestTest, OutcomeWaitsForTheEventLoopSoThatLateConnectionsGetIt)
{
    server.setHandler(
        [](const ScriptedHttpServer::Request&) { return ScriptedHttpServer::Response::ok("done"); });
    HttpRequest request(server.url("/quick"));
    // The transfer completes while this thread runs no event loop.
    ASSERT_TRUE(server.waitForRequests(1));
    QElapsedTimer timer;
    timer.start();
    while (!request.isFinished() && timer.elapsed() < 10000)
        QThread::msleep(5);
    ASSERT_TRUE(request.isFinished());

    Outcomes outcomes(request);
    ASSERT_TRUE(NorvikTest::waitFor([&] { return outcomes.any(); }));
    EXPECT_EQ(outcomes.finished, 1);
    EXPECT_EQ(request.data(), QByteArray("done"));
}

TEST_F(HttpRequestTest, ErrorStatusIsAnErrorNamingTheStatus)
{
    server.setHandler([](const ScriptedHttpServer::Request&) {
        return ScriptedHttpServer::Response::make(404, "<Error>NoSuchKey</Error>");
    });
    HttpRequest request(server.url("/missing.xml"));
    Outcomes outcomes(request);
    ASSERT_TRUE(NorvikTest::waitFor([&] { return outcomes.any(); }));
    EXPECT_EQ(outcomes.errors, 1);
    EXPECT_EQ(outcomes.finished, 0);
    EXPECT_TRUE(request.hasError());
    EXPECT_EQ(request.status(), 404);
    EXPECT_TRUE(outcomes.message.contains(QStringLiteral("404"))) << outcomes.message.toStdString();
    EXPECT_EQ(request.errorMessage(), outcomes.message);
}

TEST_F(HttpRequestTest, RefusedConnectionIsAnError)
{
    // A port that was free a moment ago and has nobody listening.
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length), 0);
    ::close(fd);

    HttpRequest request(QUrl(QStringLiteral("http://127.0.0.1:%1/regions.xml").arg(ntohs(address.sin_port))));
    Outcomes outcomes(request);
    ASSERT_TRUE(NorvikTest::waitFor([&] { return outcomes.any(); }));
    EXPECT_EQ(outcomes.errors, 1);
    EXPECT_TRUE(request.hasError());
    EXPECT_FALSE(request.errorMessage().isEmpty());
    EXPECT_TRUE(request.data().isEmpty());
}

TEST_F(HttpRequestTest, UnusableAddressIsAnError)
{
    HttpRequest request(QUrl(QStringLiteral("ftp://127.0.0.1/regions.xml")));
    Outcomes outcomes(request);
    ASSERT_TRUE(NorvikTest::waitFor([&] { return outcomes.any(); }));
    EXPECT_EQ(outcomes.errors, 1);
    EXPECT_EQ(server.requestCount(), 0);
}

TEST_F(HttpRequestTest, RedirectIsFollowedToTheDocument)
{
    server.setHandler([](const ScriptedHttpServer::Request& request) {
        if (request.path() == "/old")
            return ScriptedHttpServer::Response::make(302).withHeader("Location", "/new");
        return ScriptedHttpServer::Response::ok("moved here");
    });
    HttpRequest request(server.url("/old"));
    Outcomes outcomes(request);
    ASSERT_TRUE(NorvikTest::waitFor([&] { return outcomes.any(); }));
    EXPECT_EQ(outcomes.finished, 1);
    EXPECT_EQ(request.data(), QByteArray("moved here"));
}

TEST_F(HttpRequestTest, HandlerPreparesTheHandle)
{
    class AddHeader : public HttpRequest::Handler
    {
    public:
        void prepare(curlpp::Easy& request) override
        {
            request.setOpt(curlpp::options::HttpHeader(std::list<std::string>{"X-Client: norvik"}));
        }
    } handler;
    HttpRequest request(server.url("/with-header"), nullptr, &handler);
    Outcomes outcomes(request);
    ASSERT_TRUE(NorvikTest::waitFor([&] { return outcomes.any(); }));
    ASSERT_EQ(server.requestCount(), 1);
    EXPECT_EQ(server.requests().at(0).header("X-Client"), QByteArray("norvik"));
}

TEST_F(HttpRequestTest, DestroyedWhileTheServerIsSilentOrStalled)
{
    int answer = 0;
    server.setHandler([&](const ScriptedHttpServer::Request&) {
        ScriptedHttpServer::Response response = ScriptedHttpServer::Response::ok(QByteArray(100000, 'r'));
        if (answer++ == 0) {
            response.delayMs = 20000; // nothing at all
        } else {
            response.stallAfterBytes = 5000; // half-way through the body
            response.stallMs = 20000;
        }
        return response;
    });
    for (int round = 0; round < 2; ++round) {
        int emitted = 0;
        auto request = std::make_unique<HttpRequest>(server.url("/slow"));
        QObject::connect(request.get(), &HttpRequest::finished, [&] { ++emitted; });
        QObject::connect(request.get(), &HttpRequest::error, [&] { ++emitted; });
        ASSERT_TRUE(server.waitForRequests(round + 1));
        QThread::msleep(200);
        QElapsedTimer timer;
        timer.start();
        request.reset();
        EXPECT_LT(timer.elapsed(), 5000) << "the destructor waited for the server, round " << round;
        QCoreApplication::processEvents();
        EXPECT_EQ(emitted, 0);
    }
}

} // namespace
