// The Swift request layer against scripted services: the catalogue read by region, the renewal
// of a rejected token, the error mapping, temporary URLs and segment names.

#include "openstack/CloudOpenStack.h"
#include "openstack/CloudOpenStackPrivate.h"

#include "connection/Exception.h"
#include "connection/MultipartListPartObject.h"

#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QUrlQuery>

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

// Swift's own auth and a storage that accepts only the token issued last.
struct SwiftV1
{
    Server server;
    QMutex mutex;
    int issued = 0;
    QByteArray valid;

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
            if (request.header("X-Auth-Token") != valid)
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
    const QByteArray id = connection->beginMultipartUpload("c", "/d/f", {});
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
        {404, "text/html", "<html><h1>Not Found</h1><p>gone</p></html>", true, typeid(Exception::NoContent),
         "gone"},
        {401, "text/html", "<html><h1>Unauthorized</h1><p>who</p></html>", true,
         typeid(Exception::InvalidAutorizationAccount), "who"},
        {401, "application/json", R"({"error":{"code":401,"title":"Unauthorized","message":"needs auth"}})",
         false, typeid(Exception::InvalidAutorizationAccount), "needs auth"},
        {403, "text/html", "<html><h1>Forbidden</h1><p>no</p></html>", true, typeid(Exception::AccessDenied),
         "no"},
        {403, "", "", true, typeid(Exception::Operation), unhandled},
        {503, "application/json", R"({"error":{"title":"x","message":"busy"}})", true,
         typeid(Exception::Operation), "busy"},
    };
    CloudOpenStackPrivate d;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.status) + " " + c.body.toStdString());
        HeaderMap request;
        if (c.withToken)
            request.insert("X-Auth-Token", "t");
        HeaderMap response;
        if (!c.contentType.isEmpty())
            response.insert("content-type", c.contentType);
        try {
            d.exceptionFactory(request, response, c.status, c.body);
            ADD_FAILURE() << "nothing thrown";
        } catch (const Exception::Operation& e) {
            EXPECT_EQ(typeid(e), c.type) << typeid(e).name();
            EXPECT_EQ(e.retry(), c.status >= 500);
            EXPECT_TRUE(c.message.isNull() || e.message() == c.message) << e.message().toStdString();
        }
    }
}

TEST(OpenStackTempUrl, SignedWithTheAccountKey)
{
    Server server;
    server.setHandler([&](const Server::Request& request) {
        if (request.path() == "/auth/v1.0/")
            return Server::Response::make(204)
                .withHeader("X-Auth-Token", "t")
                .withHeader("X-Storage-Url", server.url("/v1/AUTH_a").toEncoded());
        return Server::Response::make(204).withHeader("X-Account-Meta-Temp-Url-Key-2", "key2");
    });
    ASSERT_TRUE(server.start());
    auto connection = v1Connection(server);
    const QUrl url(
        connection->signUrl("c", "/d/o b", false, QDateTime(QDate(2030, 1, 1), QTime(0, 0), Qt::UTC)));
    EXPECT_EQ(url.path(), "/v1/AUTH_a/c/d/o b");
    const QUrlQuery query(url);
    EXPECT_EQ(query.queryItemValue("temp_url_expires"), "1893456000");
    // HMAC-SHA1 of "GET\n1893456000\n/v1/AUTH_a/c/d/o b" with "key2"
    EXPECT_EQ(query.queryItemValue("temp_url_sig"), "84fe85eefdf759e480797269546698c9fde6e284");
    EXPECT_TRUE(connection->signUrl("c", "/o", false, QDateTime::currentDateTimeUtc().addSecs(-1)).isEmpty());
}

TEST(OpenStackNames, SegmentPathsAndEncoding)
{
    CloudOpenStackPrivate d;
    const QString segments[][3] = {
        {"", "/dir/file", "/dir/~segments/file/file_3"},
        {"seg", "/dir/file", "/seg/~segments/dir/file/file_3"},
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
