#include "NetworkTestSupport.h"
#include "ScriptedHttpServer.h"
#include "ScriptedSource.h"
#include "TestSupport.h"

#include <NorvikNetwork/Bandwidth.h>
#include <NorvikNetwork/ClientHttp.h>
#include <NorvikStreams/SourceFileException.h>

#include <QBuffer>
#include <QElapsedTimer>
#include <QMutex>
#include <QMutexLocker>

#include <curlpp/Options.hpp>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <list>

using namespace Norvik::Network;
using NorvikTest::Outcome;
using NorvikTest::performRequest;
using NorvikTest::ScriptedHttpServer;
using NorvikTest::ScriptedSource;
using Utility::Bandwidth;

namespace {

constexpr int AbortedByCallback = 42;
constexpr int TimedOut = 28;
constexpr int WriteError = 23;

void setUrl(curlpp::Easy& request, const QUrl& url)
{
    request.setOpt(curlpp::options::Url(url.toEncoded().toStdString()));
}

// PUT of the device's content, the way the transport above sends uploads.
void setUpload(curlpp::Easy& request, const QUrl& url, QIODevice* source, qint64 size)
{
    using namespace std::placeholders;
    setUrl(request, url);
    request.setOpt(curlpp::options::Upload(true));
    request.setOpt(curlpp::options::InfileSizeLarge(size));
    request.setOpt(curlpp::options::ReadFunction(std::bind(&ClientCurl::StreamReadData, source, _1, _2, _3)));
}

class ClientHttpTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        config = &NorvikTest::installNetworkTestConfig();
        ASSERT_TRUE(server.start()) << server.errorString().toStdString();
    }
    void TearDown() override
    {
        Bandwidth::instance().setLimit(Bandwidth::Upload, 0);
        Bandwidth::instance().setLimit(Bandwidth::Download, 0);
        NorvikTest::installFastRetries();
    }

    NorvikTest::NetworkTestConfig* config = nullptr;
    ScriptedHttpServer server;
    ClientHttp client;
};

TEST_F(ClientHttpTest, ProxyAndItsCredentialsComeFromTheGlobalConfiguration)
{
    config->proxyAddress = server.url("/").toString(QUrl::StripTrailingSlash);
    config->user = QStringLiteral("proxy:user");
    config->password = QStringLiteral("p@ss");
    auto request = client.createRequest(nullptr, nullptr, nullptr, QUuid());
    setUrl(*request, QUrl(QStringLiteral("http://storage.invalid/bucket/key")));
    const Outcome outcome = performRequest(*request);

    ASSERT_EQ(outcome.code, 0) << outcome.message;
    ASSERT_EQ(server.requestCount(), 1);
    const ScriptedHttpServer::Request seen = server.requests().at(0);
    EXPECT_EQ(seen.target, QByteArray("http://storage.invalid/bucket/key"));
    EXPECT_EQ(seen.header("Proxy-Authorization"), "Basic " + QByteArray("proxy:user:p@ss").toBase64());
}

TEST_F(ClientHttpTest, ConnectTimeoutCoversAHandshakeThatNeverEnds)
{
    config->connect = 1;
    // A socket that listens and never accepts: TCP connects, the TLS handshake gets no answer.
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(fd, 8), 0);
    ASSERT_EQ(::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length), 0);

    auto request = client.createRequest(nullptr, nullptr, nullptr, QUuid());
    setUrl(*request, QUrl(QStringLiteral("https://127.0.0.1:%1/").arg(ntohs(address.sin_port))));
    QElapsedTimer timer;
    timer.start();
    const Outcome outcome = performRequest(*request);
    ::close(fd);
    EXPECT_EQ(outcome.code, TimedOut) << outcome.message;
    EXPECT_LT(timer.elapsed(), 6000);
}

class ClientHttpTlsTest : public ClientHttpTest
{
protected:
    void SetUp() override
    {
        config = &NorvikTest::installNetworkTestConfig();
        ASSERT_TRUE(tlsServer.start()) << tlsServer.errorString().toStdString();
        tlsServer.setHandler(
            [](const ScriptedHttpServer::Request&) { return ScriptedHttpServer::Response::ok("secure"); });
    }

    // A GET of url in the given state.
    Outcome get(SslVerifyPeerState state, const QUrl& url)
    {
        client.setSslVerifyState(state);
        QBuffer body;
        body.open(QIODevice::WriteOnly);
        auto request = client.createRequest(&body, nullptr, nullptr, QUuid());
        setUrl(*request, url);
        const Outcome outcome = performRequest(*request);
        if (outcome.code == 0) {
            EXPECT_EQ(body.data(), QByteArray("secure"));
        }
        return outcome;
    }

    ScriptedHttpServer tlsServer{ScriptedHttpServer::Mode::Https};
};

TEST_F(ClientHttpTlsTest, ConfiguredCaBundleMakesTheCertificateTrusted)
{
    config->caPath = tlsServer.certificatePath();
    const Outcome peer = get(SslVerifyPeer, tlsServer.url());
    EXPECT_EQ(peer.code, 0) << peer.message;
    EXPECT_EQ(peer.status, 200);
    const Outcome strict = get(SslVerifyPeerStrict, tlsServer.url());
    EXPECT_EQ(strict.code, 0) << strict.message;
}

// --- Devices and their failures ---------------------------------------------------------------

class ClientHttpUploadFailureTest : public ClientHttpTest
{
protected:
    // Uploads from source and returns what perform() threw, rethrown for the caller's checks.
    void upload(QIODevice* source, qint64 size)
    {
        auto request = client.createRequest(nullptr, nullptr, nullptr, QUuid());
        setUpload(*request, server.url("/object"), source, size);
        request->perform();
    }

    static ScriptedSource* failingSource(std::function<void()> failure)
    {
        auto* source = new ScriptedSource(256 * 1024, ScriptedSource::Access::Sequential);
        source->breakAt(100 * 1024, std::move(failure));
        return source;
    }
};

// An exception of the source crosses libcurl's callback and leaves perform() as itself.
TEST_F(ClientHttpUploadFailureTest, SourceExceptionsLeavePerformWithTheirOwnType)
{
    using namespace Norvik::Stream::Exception;
    const auto leavesAs = [&](std::function<void()> failure, auto caught) {
        std::unique_ptr<ScriptedSource> source(failingSource(std::move(failure)));
        try {
            upload(source.get(), 256 * 1024);
            ADD_FAILURE() << "no exception";
        } catch (const decltype(caught)&) {
        }
    };
    leavesAs([] { throw SourceFileDeleted("/data/a.bin"); }, SourceFileDeleted(QString()));
    leavesAs([] { throw SourceFileModified("/data/b.bin"); }, SourceFileModified(QString()));
    leavesAs([] { throw Norvik::Exception::Base(QStringLiteral("disk gone")); },
             Norvik::Exception::Base(QString()));
    // What is no exception of ours arrives as a std::runtime_error with its text.
    leavesAs([] { throw std::logic_error("broken source"); }, std::runtime_error(""));
    for (const ScriptedHttpServer::Request& request : server.requests())
        EXPECT_FALSE(request.complete && request.body.size() == 256 * 1024);

    // An exception carried out of one transfer never leaks into the next one.
    QBuffer source;
    source.setData(QByteArray(1000, 'b'));
    source.open(QIODevice::ReadOnly);
    EXPECT_NO_THROW(upload(&source, 1000));
}

TEST_F(ClientHttpUploadFailureTest, MissingClosedOrFailingSourceAbortsTheUpload)
{
    const auto expectAborted = [&](QIODevice* source, const char* what) {
        try {
            upload(source, 1000);
            ADD_FAILURE() << what << ": the upload went through";
        } catch (const curlpp::LibcurlRuntimeError& e) {
            EXPECT_EQ(static_cast<int>(e.whatCode()), AbortedByCallback) << what << ": " << e.what();
        }
    };
    expectAborted(nullptr, "null device");
    QBuffer closed;
    closed.setData(QByteArray(1000, 'c'));
    expectAborted(&closed, "closed device");
    QBuffer writeOnly;
    writeOnly.open(QIODevice::WriteOnly);
    expectAborted(&writeOnly, "write-only device");
    ScriptedSource broken(1000, ScriptedSource::Access::Sequential);
    broken.breakAt(10);
    expectAborted(&broken, "read error");

    for (const ScriptedHttpServer::Request& request : server.requests())
        EXPECT_FALSE(request.complete) << "an aborted upload reached the server whole";
}

TEST_F(ClientHttpTest, UnwritableDestinationFailsTheDownloadWithCode23)
{
    server.setHandler(
        [](const ScriptedHttpServer::Request&) { return ScriptedHttpServer::Response::ok("payload"); });
    QBuffer closed;
    QBuffer readOnly;
    readOnly.setData("existing");
    readOnly.open(QIODevice::ReadOnly);
    for (QBuffer* destination : {&closed, &readOnly}) {
        auto request = client.createRequest(destination, nullptr, nullptr, QUuid());
        setUrl(*request, server.url("/x"));
        const Outcome outcome = performRequest(*request);
        EXPECT_EQ(outcome.code, WriteError) << outcome.message;
    }
    EXPECT_EQ(readOnly.data(), QByteArray("existing"));
}

} // namespace
