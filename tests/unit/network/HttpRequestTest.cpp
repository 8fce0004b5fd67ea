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
