// The Azure request layer against scripted servers: SharedKey and shared-access known answers
// (azurite checks the strings to sign of every request), block ids, the mapping of error answers and the
// retry loop.

#include "azure/AzureBlobRecords.h"
#include "azure/CloudAzureBlob.h"
#include "azure/CloudAzureBlobPrivate.h"

#include "connection/CloudFactory.h"
#include "connection/Exception.h"
#include "info/Config.h"

#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <QUrlQuery>
#include <QUuid>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <typeinfo>

namespace {

using Norvik::Cloud::Api::CloudAzureBlob;
using Norvik::Cloud::Api::CloudAzureBlobPrivate;
using Norvik::Cloud::Api::UploudBlockId;
using Server = NorvikTest::ScriptedHttpServer;
using HeaderMap = CloudAzureBlobPrivate::HeaderMap;
namespace Exception = Norvik::Cloud::Api::Exception;
namespace Keys = Norvik::Cloud::Config::AzureBlob;

// base64 of "a key that only these tests know"; the known answers below were worked out with
// the HMAC of another implementation.
const QByteArray TestKey = "YSBrZXkgdGhhdCBvbmx5IHRoZXNlIHRlc3RzIGtub3c=";

class KeyedPrivate : public CloudAzureBlobPrivate
{
public:
    KeyedPrivate()
    {
        setConfig({{Keys::Username, QStringLiteral("acct")}, {Keys::Password, TestKey}});
        setEndpoint(QUrl(QStringLiteral("http://localhost:8080/")));
    }
};

TEST(AzureSignature, KnownAnswers)
{
    KeyedPrivate d;
    EXPECT_EQ(d.authHeader(QString(), "PUT\n\n\n\n\n\n\n\n\n\n\n\nx-ms-date:Mon, 23 Nov 2026 21:00:00 GMT\n"
                                      "x-ms-version:2017-04-17\n/acct/c/a"),
              "SharedKey acct:tWn3VF7qUev63GOZ3rdVeJuL9saEil/zKLazg0ULwJI=");
    EXPECT_EQ(
        d.signUrl("c", "/dir/a b.txt", true, QDateTime(QDate(2099, 1, 1), QTime(0, 0), Qt::UTC)),
        "https://acct.localhost:8080/c/dir/a%20b.txt?sv=2015-04-05&sr=b&sp=r&se=2099-01-01T00%3A00%3A00Z"
        "&sig=mvl5eRVmsGRdDkr15ahG4trN2LZTSObI%2Fwj3uqiLJFg%3D");
}

// --- Against a scripted service -----------------------------------------------------------

QByteArray errorDocument(const char* code, const char* message = "No.")
{
    return QByteArray("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"utf-8\"?><Error><Code>") + code +
           "</Code><Message>" + message + "</Message></Error>";
}

class ScriptedAzure : public ::testing::Test
{
protected:
    void SetUp() override
    {
        server.setHandler([this](const Server::Request& request) { return handler(request); });
        ASSERT_TRUE(server.start());
        namespace Http = Norvik::Cloud::Api::Config::Http;
        azure.reset(dynamic_cast<CloudAzureBlob*>(Norvik::Cloud::Api::CloudFactory::create(
            {{Norvik::Cloud::Config::Type, QStringLiteral("AzureBlob")},
             {Norvik::Cloud::Config::Id, QUuid::createUuid()},
             {Keys::Username, QStringLiteral("acct")},
             {Keys::Password, TestKey},
             {Http::Endpoint, QStringLiteral("http://localhost:%1").arg(server.port())},
             {Http::UseSsl, false}})));
        ASSERT_TRUE(azure);
    }

    QByteArray downloadRange()
    {
        QMap<QString, QVariant> metaData;
        return azure->download("c", "/b", 0, 9, metaData, QUuid());
    }

    std::function<Server::Response(const Server::Request&)> handler;
    Server server;
    std::unique_ptr<CloudAzureBlob> azure;
};

TEST_F(ScriptedAzure, ErrorAnswersBecomeTheirExceptionsAtTheFirstAttempt)
{
    // clang-format off
    const struct
    {
        int status;
        QByteArray body;
        QByteArray headerCode;          // "x-ms-error-code" of an answer to HEAD, which has no body
        const std::type_info* expected; // the exact class
        QString message;
    } cases[] = {
        {404, errorDocument("BlobNotFound"), {}, &typeid(Exception::NoContent), "No."},
        {404, {}, "BlobNotFound", &typeid(Exception::NoContent), {}},
        {404, errorDocument("ContainerNotFound", "No container."), {}, &typeid(Exception::Operation), "No container."},
        {409, errorDocument("BlobArchived"), {}, &typeid(Exception::InvalidObjectState), "No."},
        {400, errorDocument("InvalidUri", "Bad URI."), {}, &typeid(Exception::InvalidResourceName), "Bad URI."},
        {400, errorDocument("BlobAccessTierNotSupportedForAccountType"), {}, &typeid(Exception::NotSupportedStorageClass),
         "This blob access tier not supported for this Blob Storage accounts"},
        {403, errorDocument("InsufficientAccountPermissions", "Not yours."), {},
         &typeid(Exception::InvalidAutorizationAccount), "Not yours."},
        // Pages of front ends, which are no XML.
        {403, "<HTML><TITLE>Forbidden</TITLE><p>Go away.</p><br></HTML>", {}, &typeid(Exception::Operation), "Go away."},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body.isEmpty() ? c.headerCode.toStdString() : c.body.toStdString());
        handler = [&c](const Server::Request&) {
            Server::Response response = Server::Response::make(c.status, c.body);
            return c.headerCode.isEmpty() ? response : response.withHeader("x-ms-error-code", c.headerCode);
        };
        server.clearRequests();
        try {
            c.body.isEmpty() ? (void)azure->header("c", "/b") : (void)downloadRange();
            ADD_FAILURE() << "no exception";
        } catch (const Exception::Operation& e) {
            EXPECT_TRUE(typeid(e) == *c.expected) << typeid(e).name();
            EXPECT_EQ(e.message(), c.message);
            EXPECT_EQ(server.requestCount(), 1);
            // The specific classes carry codes of their own.
            EXPECT_TRUE(*c.expected != typeid(Exception::Operation) || e.code() == c.status);
        }
    }
}

TEST_F(ScriptedAzure, RejectedSignatureIsSignedAgainBeforeItReachesTheCaller)
{
    handler = [this](const Server::Request&) {
        return server.requestCount() < 2 ? Server::Response::make(403, errorDocument("AuthenticationFailed"))
                                         : Server::Response::ok("data");
    };
    EXPECT_EQ(downloadRange(), "data");
    EXPECT_EQ(server.requestCount(), 2);

    handler = [](const Server::Request&) {
        return Server::Response::make(403, errorDocument("AuthenticationFailed"));
    };
    EXPECT_THROW(downloadRange(), Exception::SignatureDoesNotMatch);
}

// A busy service fails one block twice; only that block is sent again, and the block list once.
TEST_F(ScriptedAzure, BusyServiceRepeatsOnlyTheFailedBlock)
{
    const QByteArray busyBlock = UploudBlockId(2, QByteArray::fromHex("d41d8cd98f00b204e9800998ecf8427e"))();
    QMap<QByteArray, int> sent;
    handler = [&](const Server::Request& request) {
        const QUrlQuery query(QString::fromUtf8(request.target.mid(request.target.indexOf('?') + 1)));
        const QByteArray key = query.queryItemValue("blockid", QUrl::FullyDecoded).toUtf8() +
                               query.queryItemValue("comp").toUtf8();
        const int attempt = ++sent[key];
        if (key == busyBlock + "block" && attempt < 3)
            return Server::Response::make(attempt == 1 ? 503 : 500,
                                          errorDocument(attempt == 1 ? "ServerBusy" : "OperationTimedOut"));
        return Server::Response::make(201);
    };
    const QByteArray id = azure->beginMultipartUpload("c", "/big.bin", {});
    QList<QPair<quint64, QByteArray>> parts;
    for (quint64 part = 1; part <= 3; ++part)
        parts.append({part, azure->uploadMultipart("c", "/big.bin", id, part,
                                                   part == 2 ? QByteArray() : "data", QUuid())});
    azure->endMultipartUpload("c", "/big.bin", id, parts);

    EXPECT_EQ(sent.value(parts.at(0).second + "block"), 1);
    EXPECT_EQ(sent.value(busyBlock + "block"), 3);
    EXPECT_EQ(sent.value(parts.at(2).second + "block"), 1);
    EXPECT_EQ(sent.value("blocklist"), 1);
}

} // namespace

TEST_F(ScriptedAzure, RehydrationIsWaitedFor)
{
    int heads = 0;
    QByteArray tierAsked;
    handler = [&](const Server::Request& request) {
        if (request.method == "PUT") {
            tierAsked = request.header("x-ms-access-tier");
            return Server::Response::make(202);
        }
        const bool pending = ++heads < 3;
        return Server::Response::ok()
            .withHeader("x-ms-access-tier", pending ? "Archive" : "Hot")
            .withHeader("x-ms-archive-status", pending ? "rehydrate-pending-to-hot" : "");
    };
    azure->prepareForDownload("c", "/cold.bin", {});
    EXPECT_EQ(tierAsked, "Hot");
    EXPECT_FALSE(azure->checkReadyForDownload("c", "/cold.bin"));
    EXPECT_FALSE(azure->checkReadyForDownload("c", "/cold.bin"));
    EXPECT_TRUE(azure->checkReadyForDownload("c", "/cold.bin"));
    azure->finalizeDownloaded("c", "/cold.bin");
    EXPECT_EQ(tierAsked, "Archive");
}
