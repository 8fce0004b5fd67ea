// The Swift request layer against scripted services: the catalogue read by region, the sign-in
// exchanges, the renewal of a rejected token, the error mapping, temporary URLs and segment names.

#include "openstack/CloudOpenStack.h"
#include "openstack/CloudOpenStackPrivate.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"
#include "connection/MultipartListPartObject.h"

#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <gmock/gmock.h>

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QUrlQuery>

#include <atomic>
#include <memory>
#include <typeinfo>

namespace {

using namespace Norvik::Cloud;
using Api::CloudOpenStack;
using Api::CloudOpenStackPrivate;
using Server = NorvikTest::ScriptedHttpServer;
using HeaderMap = CloudOpenStackPrivate::HeaderMap;
namespace Exception = Api::Exception;

// Token answers with an identity entry and the given object-store endpoints ("%1" is the
// address of a scripted server where one is needed).
QByteArray v2Answer(const QByteArray& endpoints, const QByteArray& expires)
{
    return R"({"access":{"token":{"id":"tok2","expires":")" + expires +
           R"("},"serviceCatalog":[{"type":"identity","endpoints":[{"region":"X","publicURL":"http://id"}]},)"
           R"({"type":"object-store","endpoints":[)" +
           endpoints + "]}]}}";
}

QByteArray v3Answer(const QByteArray& endpoints, const QByteArray& expires)
{
    return R"({"token":{"expires_at":")" + expires +
           R"(","catalog":[{"type":"identity","endpoints":[{"region":"X","interface":"public","url":"http://id"}]},)"
           R"({"type":"object-store","endpoints":[)" +
           endpoints + "]}]}}";
}

const QByteArray V2Endpoints =
    R"({"region":"One","publicURL":"http://one/v1/A","internalURL":"http://one-in/v1/A"},)"
    R"({"region":"Two","publicURL":"http://two/v1/A/","privateURL":"http://two-p/v1/A"},)"
    R"({"region":"Three","publicURL":"http://three/v1/A"})";
const QByteArray V3Endpoints = R"({"region":"One","interface":"public","url":"http://one/v1/K"},)"
                               R"({"region":"One","interface":"internal","url":"http://one-in/v1/K"},)"
                               R"({"region":"Two","interface":"admin","url":"http://two-admin/v1/K"},)"
                               R"({"region":"Two","interface":"public","url":"http://two/v1/K/"},)"
                               R"({"region":"Three","interface":"admin","url":"http://three-admin/v1/K"})";

TEST(OpenStackCatalogue, RegionsAndAddressesAsEachVersionNamesThem)
{
    const struct
    {
        int version;
        bool internal;
        QByteArray answer;
        QMap<QString, QString> expected;
    } cases[] = {
        {2,
         false,
         v2Answer(V2Endpoints, "2030-01-01T00:00:00Z"),
         {{"One", "http://one/v1/A/"}, {"Two", "http://two/v1/A/"}, {"Three", "http://three/v1/A/"}}},
        // internalURL first, then privateURL; an endpoint with neither is kept as "/".
        {2,
         true,
         v2Answer(V2Endpoints, "not a date"),
         {{"One", "http://one-in/v1/A/"}, {"Two", "http://two-p/v1/A/"}, {"Three", "/"}}},
        {3,
         false,
         v3Answer(V3Endpoints, "2030-01-01T00:00:00.000000Z"),
         {{"One", "http://one/v1/K/"}, {"Two", "http://two/v1/K/"}}},
        // Endpoints of other interfaces are skipped, not kept empty.
        {3, true, v3Answer(V3Endpoints, ""), {{"One", "http://one-in/v1/K/"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.answer.toStdString());
        QByteArray token;
        QDateTime expires;
        const QMap<QString, QUrl> found =
            c.version == 2 ? CloudOpenStackPrivate::catalogueV2(c.answer, c.internal, token, expires)
                           : CloudOpenStackPrivate::catalogueV3(c.answer, c.internal, expires);
        QMap<QString, QString> texts;
        for (auto it = found.cbegin(); it != found.cend(); ++it)
            texts.insert(it.key(), it.value().toString());
        EXPECT_EQ(texts, c.expected);
        // A time that cannot be read is left invalid: the caller then takes 30 minutes.
        EXPECT_EQ(expires, c.internal ? QDateTime() : QDateTime(QDate(2030, 1, 1), QTime(0, 0), Qt::UTC));
        EXPECT_EQ(token, c.version == 2 ? "tok2" : "");
    }
}

// A Keystone of either version with two object-store regions at paths of their own on the
// same server, which also lists one container named after the account.
TEST(OpenStackSignIn, KeystoneRequestAndRegionChoice)
{
    const struct
    {
        int version;
        QMap<QString, QVariant> config;
        QByteArray expectedAuth;
    } cases[] = {
        {2,
         {{"AuthType", 2}, {"TenantName", "t"}, {"TenantId", "tid"}, {"Region", "Two"}},
         R"({"passwordCredentials":{"password":"k","username":"u"},"tenantId":"tid"})"},
        {3,
         {{"AuthType", 3}, {"DomainId", "d"}, {"Region", "Two"}, {"UseScope", false}},
         R"({"identity":{"methods":["password"],"password":{"user":{"domain":{"id":"d"},"name":"u","password":"k"}}}})"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expectedAuth.toStdString());
        Server server;
        QMutex mutex;
        QList<QJsonObject> auths;
        server.setHandler([&](const Server::Request& request) {
            if (request.method != "POST") {
                const QByteArray account = request.path().split('/').value(2);
                return Server::Response::ok("[{\"name\":\"" + account + "\",\"count\":1,\"bytes\":2}]");
            }
            QMutexLocker lock(&mutex);
            auths.append(QJsonDocument::fromJson(request.body).object().value("auth").toObject());
            const QByteArray one = server.url("/v1/one").toEncoded(), two = server.url("/v1/two").toEncoded();
            if (c.version == 2)
                return Server::Response::ok(v2Answer(R"({"region":"One","publicURL":")" + one +
                                                         R"("},{"region":"Two","publicURL":")" + two + "\"}",
                                                     "2030-01-01T00:00:00Z"));
            return Server::Response::make(
                       201, v3Answer(R"({"region":"One","interface":"public","url":")" + one +
                                         R"("},{"region":"Two","interface":"public","url":")" + two + "\"}",
                                     "2030-01-01T00:00:00Z"))
                .withHeader("X-Subject-Token", "tok3");
        });
        ASSERT_TRUE(server.start());
        QMap<QString, QVariant> config = c.config;
        config.insert(
            {{"CloudId", QUuid::createUuid()}, {"Username", "u"}, {"ApiKey", "k"}, {"UseSsl", false}});
        config.insert("Endpoint", server.url(c.version == 2 ? "/v2.0" : "/v3"));
        CloudOpenStack connection;
        ASSERT_TRUE(connection.setConfig(config));

        QString marker;
        const QJsonArray page = connection.listing("c", QString(), marker, QString(), 10).array();
        EXPECT_EQ(Api::ListingObject(page.at(0).toObject()).name(), "/two");
        ASSERT_EQ(auths.size(), 1);
        EXPECT_EQ(QJsonDocument(auths.at(0)).toJson(QJsonDocument::Compact), c.expectedAuth);
        EXPECT_EQ(server.requests().at(0).path(), c.version == 2 ? "/v2.0/tokens" : "/v3/auth/tokens");

        // Containers of every region; the next request signs in again for the configured one.
        const QJsonArray all = connection.containers().array();
        ASSERT_EQ(all.size(), 2);
        EXPECT_EQ(all.at(0).toObject(),
                  (QJsonObject{{"Name", "one"}, {"Region", "One"}, {"Count", 1}, {"Bytes", 2}}));
        connection.listing("c", QString(), marker, QString(), 10);
        EXPECT_EQ(auths.size(), 2);
        EXPECT_EQ(server.requests().last().path(), "/v1/two/c/");

        config.insert("Region", "Nowhere");
        try {
            CloudOpenStack().checkConfig("c", config);
            ADD_FAILURE() << "a region outside the catalogue was accepted";
        } catch (const Exception::InvalidAutorizationAccount& e) {
            EXPECT_THAT(e.message().toStdString(), testing::EndsWith("for selected region: Nowhere"));
        }
    }
}

// Swift's own auth and a storage that accepts only the token issued last.
struct SwiftV1
{
    Server server;
    QMutex mutex;
    int issued = 0;
    QByteArray valid;
    std::atomic<bool> refuseAll{false}; // tokens are issued but none is taken

    SwiftV1()
    {
        server.setHandler([this](const Server::Request& request) {
            QMutexLocker lock(&mutex);
            if (request.path() == "/auth/v1.0/") {
                valid = "tok" + QByteArray::number(++issued);
                return Server::Response::ok()
                    .withHeader("X-Auth-Token", valid)
                    .withHeader("X-Storage-Url", server.url("/v1/AUTH_a").toEncoded());
            }
            if (request.header("X-Auth-Token") != valid || refuseAll)
                return Server::Response::make(401, "<html><h1>Unauthorized</h1><p>no</p></html>");
            return Server::Response::make(201).withHeader(
                "Etag", QCryptographicHash::hash(request.body, QCryptographicHash::Md5).toHex());
        });
    }
    void revoke()
    {
        QMutexLocker lock(&mutex);
        valid = "revoked";
    }
};

std::unique_ptr<CloudOpenStack> v1Connection(const Server& server)
{
    auto connection = std::make_unique<CloudOpenStack>();
    EXPECT_TRUE(connection->setConfig({{"CloudId", QUuid::createUuid()},
                                       {"Username", "u"},
                                       {"ApiKey", "k"},
                                       {"UseSsl", false},
                                       {"Endpoint", server.url("/auth/v1.0")}}));
    return connection;
}

TEST(OpenStackToken, RejectedInTheMiddleOfAnUploadIsRenewedOnceAndThePartRepeated)
{
    SwiftV1 swift;
    ASSERT_TRUE(swift.server.start());
    auto connection = v1Connection(swift.server);
    const QByteArray id = connection->beginMultipartUpload("c", "/d/f", {{"RealSize", "9"}});
    const QByteArray tag1 = connection->uploadMultipart("c", "/d/f", id, 1, "part-1", QUuid());
    swift.revoke();
    const QByteArray tag2 = connection->uploadMultipart("c", "/d/f", id, 2, "part-two", QUuid());
    const QByteArray md5 = QCryptographicHash::hash("part-two", QCryptographicHash::Md5).toHex();

    EXPECT_EQ(swift.issued, 2);
    const QList<Server::Request> requests = swift.server.requests();
    ASSERT_EQ(requests.size(), 5); // sign-in, part 1, part 2 refused, sign-in, part 2
    EXPECT_EQ(requests.at(2).path(), "/v1/AUTH_a/c/d/~segments/f/f_2");
    EXPECT_EQ(requests.at(4).path(), requests.at(2).path());
    EXPECT_EQ(requests.at(4).header("X-Auth-Token"), "tok2");
    EXPECT_EQ(Api::MultipartListPartObject(QJsonDocument::fromJson(tag2).object()).eTag(), md5);

    const QJsonObject done = connection->endMultipartUpload("c", "/d/f", id, {{1, tag1}, {2, tag2}});
    EXPECT_EQ(Api::ListingObject(done).size(), 14u);
    const Server::Request manifest = swift.server.requests().last();
    EXPECT_EQ(manifest.target, "/v1/AUTH_a/c/d/f?multipart-manifest=put");
    EXPECT_EQ(manifest.header("X-Static-Large-Object"), "true");
    EXPECT_EQ(manifest.header("X-Object-Meta-Nk-Realsize"), "9");
    EXPECT_EQ(QJsonDocument::fromJson(manifest.body).array().at(1).toObject(),
              (QJsonObject{{"path", "c/d/~segments/f/f_2"}, {"etag", QString(md5)}, {"size_bytes", "8"}}));

    // A second rejection in a row ends in an empty answer, after one more sign-in: the part's
    // tag then carries no checksum.
    swift.refuseAll = true;
    connection->implementation()->restoreToken("old", QDateTime::currentDateTimeUtc().addSecs(60));
    swift.server.clearRequests();
    QByteArray tag;
    EXPECT_NO_THROW(tag = connection->uploadMultipart("c", "/f", id, 1, "data", QUuid()));
    EXPECT_FALSE(tag.contains(QCryptographicHash::hash("data", QCryptographicHash::Md5).toHex()))
        << tag.constData();
    const QList<Server::Request> seen = swift.server.requests(); // part, sign-in, part
    ASSERT_EQ(seen.size(), 3);
    EXPECT_EQ(seen.at(1).path(), "/auth/v1.0/");
}

TEST(OpenStackErrors, StatusAndPageGiveTheException)
{
    const QString unhandled = "Unhandled runtime exception, please contact Support";
    const struct
    {
        int status;
        QByteArray contentType, body;
        bool withToken;
        const std::type_info& type;
        QString message;
    } cases[] = {
        {204, "", "", true, typeid(Exception::NoContent), {}},
        {204, "", "", false, typeid(Exception::AutorizationResult), {}},
        {404, "text/html", "<html><h1>Not Found</h1><p>gone</p></html>", true, typeid(Exception::NoContent),
         "gone"},
        {400, "text/html", "<html><h1>Bad Request</h1><p>bad</p></html>", true, typeid(Exception::Operation),
         "bad"},
        {401, "text/html", "<html><h1>Unauthorized</h1><p>who</p></html>", true,
         typeid(Exception::InvalidAutorizationAccount), "who"},
        {401, "application/json", R"({"error":{"code":401,"title":"Unauthorized","message":"needs auth"}})",
         false, typeid(Exception::InvalidAutorizationAccount), "needs auth"},
        {403, "text/html", "<html><h1>Forbidden</h1><p>no</p></html>", true, typeid(Exception::AccessDenied),
         "no"},
        {403, "", "", true, typeid(Exception::Operation), unhandled},
        {503, "application/json", R"({"error":{"title":"x","message":"busy"}})", true,
         typeid(Exception::Operation), "busy"},
        {503, "", "", true, typeid(Exception::Operation), "Unknown operation (http) error"},
    };
    CloudOpenStackPrivate d;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.status) + " " + c.body.toStdString());
        HeaderMap request;
        if (c.withToken)
            request.insert("X-Auth-Token", "t");
        HeaderMap response{{"x-auth-token", "v1token"}, {"x-storage-url", "http://s/v1/AUTH_a"}};
        if (!c.contentType.isEmpty())
            response.insert("content-type", c.contentType);
        try {
            d.exceptionFactory(request, response, c.status, c.body);
            ADD_FAILURE() << "nothing thrown";
        } catch (const Exception::Operation& e) {
            EXPECT_EQ(typeid(e), c.type) << typeid(e).name();
            EXPECT_EQ(e.retry(), c.status >= 500);
            EXPECT_TRUE(c.message.isNull() || e.message() == c.message) << e.message().toStdString();
            if (const auto* result = dynamic_cast<const Exception::AutorizationResult*>(&e)) {
                EXPECT_EQ(result->token(), "v1token");
                EXPECT_EQ(result->endpoint().toString(), "http://s/v1/AUTH_a/");
            }
        }
    }
}

TEST(OpenStackTempUrl, SignedWithTheAccountKeyOrANewOne)
{
    for (const bool accountHasKey : {true, false}) {
        Server server;
        server.setHandler([&](const Server::Request& request) {
            if (request.path() == "/auth/v1.0/")
                return Server::Response::make(204)
                    .withHeader("X-Auth-Token", "t")
                    .withHeader("X-Storage-Url", server.url("/v1/AUTH_a").toEncoded());
            if (request.method == "HEAD" && accountHasKey)
                return Server::Response::make(204).withHeader("X-Account-Meta-Temp-Url-Key-2", "key2");
            return Server::Response::make(204);
        });
        ASSERT_TRUE(server.start());
        auto connection = v1Connection(server);
        const QUrl url(
            connection->signUrl("c", "/d/o b", false, QDateTime(QDate(2030, 1, 1), QTime(0, 0), Qt::UTC)));
        EXPECT_EQ(url.path(), "/v1/AUTH_a/c/d/o b");
        const QUrlQuery query(url);
        EXPECT_EQ(query.queryItemValue("temp_url_expires"), "1893456000");
        EXPECT_TRUE(query.hasQueryItem("inline"));
        if (accountHasKey) // HMAC-SHA1 of "GET\n1893456000\n/v1/AUTH_a/c/d/o b" with "key2"
            EXPECT_EQ(query.queryItemValue("temp_url_sig"), "84fe85eefdf759e480797269546698c9fde6e284");
        else
            EXPECT_EQ(server.requests().last().header("X-Account-Meta-Temp-Url-Key").size(), 36);
        EXPECT_TRUE(
            connection->signUrl("c", "/o", false, QDateTime::currentDateTimeUtc().addSecs(-1)).isEmpty());
    }
}

TEST(OpenStackNames, SegmentPathsAndEncoding)
{
    CloudOpenStackPrivate d;
    const QString segments[][3] = {
        {"", "/dir/file", "/dir/~segments/file/file_3"},
        {"", "/file", "/~segments/file/file_3"},
        {"seg", "/dir/file", "/seg/~segments/dir/file/file_3"},
        {"/seg/", "/dir/file", "/seg/~segments/dir/file/file_3"},
        {"/seg/", "/seg/dir/file", "/seg/~segments/dir/file/file_3"},
    };
    for (const auto& c : segments) {
        if (!c[0].isEmpty())
            d.setSegmentPrefix(c[0]);
        EXPECT_EQ(d.segmentUploadPath(c[1], 3), c[2]);
    }
    EXPECT_EQ(CloudOpenStack::RFC1738_encode("/a b/c+d,e(f)!$_*'.-", false), "/a%20b/c+d,e(f)!$_*'.-");
    EXPECT_EQ(CloudOpenStack::RFC1738_encode("%&?#:~\u00e9", false), "%25%26%3F%23%3A%7E%C3%A9");
    EXPECT_EQ(CloudOpenStack::RFC1738_encode("a+b/c d", true), "a2Bb2Fc20d");
}

} // namespace
