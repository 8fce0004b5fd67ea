// The Swift request layer against scripted services: the catalogue read by region, the sign-in
// exchanges, the renewal of a rejected token, the error mapping, temporary URLs, segment names
// and the provider classes.

#include "openstack/CloudOpenStack.h"
#include "openstack/CloudOpenStackPrivate.h"

#include "connection/CloudFactory.h"
#include "connection/Exception.h"
#include "connection/ListingObject.h"
#include "connection/MultipartListPartObject.h"
#include "info/CloudType.h"

#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <gmock/gmock.h>

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QUrlQuery>

#include <functional>
#include <memory>
#include <typeinfo>

namespace {

using namespace Norvik::Cloud;
using Api::CloudOpenStack;
using Api::CloudOpenStackPrivate;
using Server = NorvikTest::ScriptedHttpServer;
using HeaderMap = CloudOpenStackPrivate::HeaderMap;
namespace Exception = Api::Exception;

QByteArray json(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonObject parsed(const QByteArray& body)
{
    return QJsonDocument::fromJson(body).object();
}

// --- Catalogues -------------------------------------------------------------------------------

QJsonObject v2Endpoint(const QString& region, const QJsonObject& addresses)
{
    QJsonObject endpoint = addresses;
    endpoint.insert(QStringLiteral("region"), region);
    return endpoint;
}

QByteArray v2Answer(const QJsonArray& endpoints, const QString& expires)
{
    const QJsonArray catalogue{
        QJsonObject{{"type", "identity"},
                    {"endpoints", QJsonArray{v2Endpoint("X", {{"publicURL", "http://id"}})}}},
        QJsonObject{{"type", "object-store"}, {"endpoints", endpoints}},
    };
    return json({{"access", QJsonObject{{"token", QJsonObject{{"id", "tok2"}, {"expires", expires}}},
                                        {"serviceCatalog", catalogue}}}});
}

QByteArray v3Answer(const QJsonArray& endpoints, const QString& expires)
{
    const QJsonArray catalogue{
        QJsonObject{{"type", "identity"},
                    {"endpoints", QJsonArray{QJsonObject{
                                      {"region", "X"}, {"interface", "public"}, {"url", "http://id"}}}}},
        QJsonObject{{"type", "object-store"}, {"endpoints", endpoints}},
    };
    return json({{"token", QJsonObject{{"expires_at", expires}, {"catalog", catalogue}}}});
}

QJsonObject v3Endpoint(const QString& region, const QString& interface, const QString& url)
{
    return {{"region", region}, {"interface", interface}, {"url", url}};
}

struct CatalogueCase
{
    const char* name;
    int version;
    bool internal;
    QByteArray answer;
    QMap<QString, QString> expected;
    bool expiryValid;
};

TEST(OpenStackCatalogue, RegionsAndAddressesAsEachVersionNamesThem)
{
    const QJsonArray v2Endpoints{
        v2Endpoint("RegionOne",
                   {{"publicURL", "http://one/v1/AUTH_a"}, {"internalURL", "http://one-in/v1/AUTH_a"}}),
        v2Endpoint("RegionTwo",
                   {{"publicURL", "http://two/v1/AUTH_a/"}, {"privateURL", "http://two-p/v1/AUTH_a"}}),
        v2Endpoint("RegionThree", {{"publicURL", "http://three/v1/AUTH_a"}}),
    };
    const QJsonArray v3Endpoints{
        v3Endpoint("RegionOne", "public", "http://one/v1/KEY_p"),
        v3Endpoint("RegionOne", "internal", "http://one-in/v1/KEY_p"),
        v3Endpoint("RegionTwo", "admin", "http://two-admin/v1/KEY_p"),
        v3Endpoint("RegionTwo", "public", "http://two/v1/KEY_p/"),
        v3Endpoint("RegionThree", "admin", "http://three-admin/v1/KEY_p"),
    };
    const CatalogueCase cases[] = {
        {"v2 public",
         2,
         false,
         v2Answer(v2Endpoints, "2030-01-01T00:00:00Z"),
         {{"RegionOne", "http://one/v1/AUTH_a/"},
          {"RegionTwo", "http://two/v1/AUTH_a/"},
          {"RegionThree", "http://three/v1/AUTH_a/"}},
         true},
        // internalURL first, privateURL second; an endpoint with neither is kept as "/".
        {"v2 internal",
         2,
         true,
         v2Answer(v2Endpoints, "not a date"),
         {{"RegionOne", "http://one-in/v1/AUTH_a/"},
          {"RegionTwo", "http://two-p/v1/AUTH_a/"},
          {"RegionThree", "/"}},
         false},
        {"v3 public",
         3,
         false,
         v3Answer(v3Endpoints, "2030-01-01T00:00:00.000000Z"),
         {{"RegionOne", "http://one/v1/KEY_p/"}, {"RegionTwo", "http://two/v1/KEY_p/"}},
         true},
        // Endpoints of other interfaces are skipped, not kept empty.
        {"v3 internal",
         3,
         true,
         v3Answer(v3Endpoints, ""),
         {{"RegionOne", "http://one-in/v1/KEY_p/"}},
         false},
    };
    for (const CatalogueCase& c : cases) {
        SCOPED_TRACE(c.name);
        QByteArray token;
        QDateTime expires;
        const QMap<QString, QUrl> found =
            c.version == 2 ? CloudOpenStackPrivate::catalogueV2(c.answer, c.internal, token, expires)
                           : CloudOpenStackPrivate::catalogueV3(c.answer, c.internal, expires);
        QMap<QString, QString> texts;
        for (auto it = found.cbegin(); it != found.cend(); ++it)
            texts.insert(it.key(), it.value().toString());
        EXPECT_EQ(texts, c.expected);
        EXPECT_EQ(expires.isValid(), c.expiryValid);
        if (c.expiryValid) {
            EXPECT_EQ(expires, QDateTime(QDate(2030, 1, 1), QTime(0, 0), Qt::UTC));
        }
        if (c.version == 2) {
            EXPECT_EQ(token, "tok2");
        }
    }
    for (const QByteArray& unusable : {QByteArray(), QByteArray("[1]"), QByteArray("{\"access\":")}) {
        QByteArray token;
        QDateTime expires;
        EXPECT_THROW(CloudOpenStackPrivate::catalogueV2(unusable, false, token, expires),
                     Exception::InvalidData);
        EXPECT_THROW(CloudOpenStackPrivate::catalogueV3(unusable, false, expires), Exception::InvalidData);
    }
}

// --- Sign-in exchanges ------------------------------------------------------------------------

// A Keystone of either version with two object-store regions, each at a path of its own on the
// same server, which also serves the container listings of both.
struct Keystone
{
    Server server;
    QMutex mutex;
    QList<QJsonObject> tokenRequests;

    explicit Keystone(int version)
    {
        server.setHandler([this, version](const Server::Request& request) {
            if (request.method == "POST") {
                QMutexLocker lock(&mutex);
                tokenRequests.append(parsed(request.body));
                if (version == 2) {
                    const QJsonArray endpoints{
                        v2Endpoint("RegionOne", QJsonObject{{"publicURL", server.url("/v1/one").toString()}}),
                        v2Endpoint("RegionTwo",
                                   QJsonObject{{"publicURL", server.url("/v1/two").toString()}})};
                    return Server::Response::ok(v2Answer(endpoints, "2030-01-01T00:00:00Z"));
                }
                const QJsonArray endpoints{
                    v3Endpoint("RegionOne", "public", server.url("/v1/one").toString()),
                    v3Endpoint("RegionTwo", "public", server.url("/v1/two").toString())};
                return Server::Response::make(201, v3Answer(endpoints, "2030-01-01T00:00:00Z"))
                    .withHeader("X-Subject-Token", "tok3");
            }
            const QByteArray account = request.path().split('/').value(2);
            return Server::Response::ok(
                json({}).replace("{}", "[{\"name\":\"" + account + "\",\"count\":1,\"bytes\":2}]"));
        });
    }
};

struct SignInCase
{
    const char* name;
    int version;
    QMap<QString, QVariant> config;
    QJsonObject expectedAuth; // the "auth" object that the service must receive
};

TEST(OpenStackSignIn, KeystoneRequestAndRegionChoice)
{
    const QJsonObject domain{{"id", "default"}};
    const QJsonObject identity{
        {"methods", QJsonArray{"password"}},
        {"password",
         QJsonObject{{"user", QJsonObject{{"name", "u"}, {"password", "k"}, {"domain", domain}}}}}};
    const SignInCase cases[] = {
        {"v2 by tenant name",
         2,
         {{"AuthType", 2}, {"TenantName", "t"}, {"Region", "RegionTwo"}},
         {{"passwordCredentials", QJsonObject{{"username", "u"}, {"password", "k"}}}, {"tenantName", "t"}}},
        {"v2 tenant id wins",
         2,
         {{"AuthType", 2}, {"TenantName", "t"}, {"TenantId", "tid"}, {"Region", "RegionTwo"}},
         {{"passwordCredentials", QJsonObject{{"username", "u"}, {"password", "k"}}}, {"tenantId", "tid"}}},
        {"v3 without scope",
         3,
         {{"AuthType", 3}, {"DomainId", "default"}, {"Region", "RegionTwo"}, {"UseScope", false}},
         {{"identity", identity}}},
        {"v3 scoped by project",
         3,
         {{"AuthType", 3},
          {"DomainId", "default"},
          {"Region", "RegionTwo"},
          {"UseScope", true},
          {"ProjectName", "p"}},
         {{"identity", identity},
          {"scope", QJsonObject{{"project", QJsonObject{{"name", "p"}, {"domain", domain}}}}}}},
    };
    for (const SignInCase& c : cases) {
        SCOPED_TRACE(c.name);
        Keystone keystone(c.version);
        ASSERT_TRUE(keystone.server.start());
        QMap<QString, QVariant> config = c.config;
        config.insert("CloudId", QUuid::createUuid());
        config.insert("Username", "u");
        config.insert("ApiKey", "k");
        config.insert("UseSsl", false);
        config.insert("Endpoint", keystone.server.url(c.version == 2 ? "/v2.0" : "/v3"));
        CloudOpenStack connection;
        ASSERT_TRUE(connection.setConfig(config));

        QString marker;
        const QJsonArray page = connection.listing("c", QString(), marker, QString(), 10).array();
        ASSERT_EQ(page.size(), 1);
        // The listing went to the configured region's address, under its account path.
        EXPECT_EQ(Api::ListingObject(page.at(0).toObject()).name(), "/two");
        ASSERT_EQ(keystone.tokenRequests.size(), 1);
        EXPECT_EQ(keystone.tokenRequests.at(0).value("auth").toObject(), c.expectedAuth);
        EXPECT_EQ(keystone.server.requests().at(0).path(),
                  c.version == 2 ? "/v2.0/tokens" : "/v3/auth/tokens");

        // Containers of every region; the next request signs in again for the configured one.
        const QJsonArray all = connection.containers().array();
        ASSERT_EQ(all.size(), 2);
        EXPECT_EQ(all.at(0).toObject().value("Region").toString(), "RegionOne");
        EXPECT_EQ(all.at(0).toObject().value("Name").toString(), "one");
        connection.listing("c", QString(), marker, QString(), 10);
        EXPECT_EQ(keystone.tokenRequests.size(), 2);
        EXPECT_EQ(keystone.server.requests().last().path(), "/v1/two/c/");

        config.insert("Region", "Nowhere");
        CloudOpenStack elsewhere;
        ASSERT_TRUE(elsewhere.setConfig(config));
        try {
            elsewhere.checkConfig("c", config);
            ADD_FAILURE() << "a region outside the catalogue was accepted";
        } catch (const Exception::InvalidAutorizationAccount& e) {
            EXPECT_THAT(e.message().toStdString(), testing::EndsWith("for selected region: Nowhere"));
        }
    }
}

// --- Rejected tokens --------------------------------------------------------------------------

// The legacy exchange and a storage that accepts only the token it issued last; revoke() makes
// the present token invalid, as an expiry on the service's side does.
struct SwiftV1
{
    Server server;
    QMutex mutex;
    int issued = 0;
    bool rejectAll = false;
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
            if (rejectAll || request.header("X-Auth-Token") != valid)
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
    QList<Server::Request> puts() const
    {
        QList<Server::Request> found;
        for (const Server::Request& r : server.requests())
            if (r.method == "PUT")
                found.append(r);
        return found;
    }
};

std::unique_ptr<CloudOpenStack> v1Connection(const Server& server)
{
    auto connection = std::make_unique<CloudOpenStack>();
    const QMap<QString, QVariant> config{{"CloudId", QUuid::createUuid()},
                                         {"Username", "u"},
                                         {"ApiKey", "k"},
                                         {"UseSsl", false},
                                         {"Endpoint", server.url("/auth/v1.0")}};
    EXPECT_TRUE(connection->setConfig(config));
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

    EXPECT_EQ(swift.issued, 2);
    const QList<Server::Request> puts = swift.puts();
    ASSERT_EQ(puts.size(), 3);
    EXPECT_EQ(puts.at(1).path(), "/v1/AUTH_a/c/d/~segments/f/f_2");
    EXPECT_EQ(puts.at(2).path(), puts.at(1).path());
    EXPECT_EQ(puts.at(2).header("X-Auth-Token"), "tok2");
    EXPECT_EQ(Api::MultipartListPartObject(parsed(tag2)).eTag(),
              QCryptographicHash::hash("part-two", QCryptographicHash::Md5).toHex());

    const QJsonObject done = connection->endMultipartUpload("c", "/d/f", id, {{1, tag1}, {2, tag2}});
    EXPECT_EQ(Api::ListingObject(done).size(), 14u);
    const Server::Request manifest = swift.puts().last();
    EXPECT_EQ(manifest.target, "/v1/AUTH_a/c/d/f?multipart-manifest=put");
    EXPECT_EQ(manifest.header("X-Static-Large-Object"), "true");
    EXPECT_EQ(manifest.header("X-Object-Meta-Nk-Realsize"), "9");
    const QJsonArray segments = QJsonDocument::fromJson(manifest.body).array();
    ASSERT_EQ(segments.size(), 2);
    EXPECT_EQ(
        segments.at(1).toObject(),
        (QJsonObject{{"path", "c/d/~segments/f/f_2"},
                     {"etag", QString(QCryptographicHash::hash("part-two", QCryptographicHash::Md5).toHex())},
                     {"size_bytes", "8"}}));
}

TEST(OpenStackToken, SecondRejectionIsThrown)
{
    SwiftV1 swift;
    swift.rejectAll = true;
    ASSERT_TRUE(swift.server.start());
    auto connection = v1Connection(swift.server);
    EXPECT_THROW(connection->uploadMultipart("c", "/f", "id", 1, "data", QUuid()),
                 Exception::InvalidAutorizationAccount);
    EXPECT_EQ(swift.issued, 2);
    EXPECT_EQ(swift.puts().size(), 2);
}

// --- Error mapping ----------------------------------------------------------------------------

struct ErrorCase
{
    int status;
    QByteArray contentType;
    QByteArray body;
    bool withToken;
    const std::type_info& type;
    bool retry;
    QString message;
};

TEST(OpenStackErrors, StatusAndPageGiveTheException)
{
    const QByteArray keystone401 = R"({"error":{"code":401,"title":"Unauthorized","message":"needs auth"}})";
    const ErrorCase cases[] = {
        {204, "", "", true, typeid(Exception::NoContent), false, {}},
        {204, "", "", false, typeid(Exception::AutorizationResult), false, {}},
        {404, "text/html", "<html><h1>Not Found</h1><p>gone</p></html>", true, typeid(Exception::NoContent),
         false, "gone"},
        {404, "", "", true, typeid(Exception::NoContent), false, {}},
        {400, "text/html", "<html><h1>Bad Request</h1><p>bad</p></html>", true, typeid(Exception::Operation),
         false, "bad"},
        {401, "text/html", "<html><h1>Unauthorized</h1><p>who</p></html>", true,
         typeid(Exception::InvalidAutorizationAccount), false, "who"},
        {401, "application/json", keystone401, false, typeid(Exception::InvalidAutorizationAccount), false,
         "needs auth"},
        {403, "text/html", "<html><h1>Forbidden</h1><p>no</p></html>", true, typeid(Exception::AccessDenied),
         false, "no"},
        {403, "", "", true, typeid(Exception::Operation), false,
         "Unhandled runtime exception, please contact Support"},
        {503, "application/json", R"({"error":{"title":"x","message":"busy"}})", true,
         typeid(Exception::Operation), true, "busy"},
        {503, "", "", true, typeid(Exception::Operation), true, "Unknown operation (http) error"},
    };
    CloudOpenStackPrivate d;
    for (const ErrorCase& c : cases) {
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
        } catch (const Exception::AutorizationResult& e) {
            EXPECT_EQ(typeid(e), c.type);
            EXPECT_EQ(e.token(), "v1token");
            EXPECT_EQ(e.endpoint().toString(), "http://s/v1/AUTH_a/");
        } catch (const Exception::Operation& e) {
            EXPECT_EQ(typeid(e), c.type) << typeid(e).name();
            EXPECT_EQ(e.retry(), c.retry);
            if (!c.message.isNull()) {
                EXPECT_EQ(e.message(), c.message);
            }
        }
    }
}

// --- Temporary URLs ---------------------------------------------------------------------------

TEST(OpenStackTempUrl, SignedWithTheAccountKeyOrANewOne)
{
    for (const bool accountHasKey : {true, false}) {
        SCOPED_TRACE(accountHasKey ? "key-2 only" : "no key");
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
        const QDateTime expires(QDate(2030, 1, 1), QTime(0, 0), Qt::UTC);
        const QUrl url(connection->signUrl("c", "/d/o b", false, expires));
        EXPECT_EQ(url.path(), "/v1/AUTH_a/c/d/o b");
        const QUrlQuery query(url);
        EXPECT_EQ(query.queryItemValue("temp_url_expires"), "1893456000");
        EXPECT_TRUE(query.hasQueryItem("inline"));
        const QList<Server::Request> requests = server.requests();
        if (accountHasKey) {
            // HMAC-SHA1 of "GET\n1893456000\n/v1/AUTH_a/c/d/o b" with "key2".
            EXPECT_EQ(query.queryItemValue("temp_url_sig"), "84fe85eefdf759e480797269546698c9fde6e284");
        } else {
            ASSERT_EQ(requests.last().method, "POST");
            EXPECT_EQ(requests.last().header("X-Account-Meta-Temp-Url-Key").size(), 36);
        }
        EXPECT_TRUE(
            connection->signUrl("c", "/o", false, QDateTime::currentDateTimeUtc().addSecs(-1)).isEmpty());
    }
}

// --- Names ------------------------------------------------------------------------------------

TEST(OpenStackNames, SegmentPathsAndEncoding)
{
    CloudOpenStackPrivate d;
    const struct
    {
        QString prefix, path, segment;
    } segments[] = {
        {"", "/dir/file", "/dir/~segments/file/file_3"},
        {"", "/file", "/~segments/file/file_3"},
        {"seg", "/dir/file", "/seg/~segments/dir/file/file_3"},
        {"/seg/", "/dir/file", "/seg/~segments/dir/file/file_3"},
        {"/seg/", "/seg/dir/file", "/seg/~segments/dir/file/file_3"},
    };
    for (const auto& c : segments) {
        if (!c.prefix.isEmpty())
            d.setSegmentPrefix(c.prefix);
        EXPECT_EQ(d.segmentUploadPath(c.path, 3), c.segment) << c.prefix.toStdString();
    }
    const struct
    {
        QString text;
        bool flag;
        QString encoded;
    } encodings[] = {
        {"/a b/c+d,e(f)!$_*'.-", false, "/a%20b/c+d,e(f)!$_*'.-"},
        {"%&?#:~\u00e9", false, "%25%26%3F%23%3A%7E%C3%A9"},
        {"a+b/c d", true, "a2Bb2Fc20d"},
        {"", false, ""},
    };
    for (const auto& c : encodings)
        EXPECT_EQ(CloudOpenStack::RFC1738_encode(c.text, c.flag), c.encoded) << c.text.toStdString();
}

// --- Provider classes -------------------------------------------------------------------------

TEST(OpenStackProviders, FactoryMakesTheClassOfEachType)
{
    const struct
    {
        QString name;
        Type type;
        const std::type_info& cls;
        quint64 maximumChunkCount;
    } providers[] = {
        {"OracleCloud", Type::OracleCloud, typeid(Api::CloudOracle), 2048},
        {"Rackspace", Type::Rackspace, typeid(Api::CloudRackspace), 1000},
        {"Openstack", Type::Openstack, typeid(Api::CloudOpenStack), 1000},
        {"SoftLayer", Type::SoftLayer, typeid(Api::CloudSoftLayer), 1000},
        {"HPCloud", Type::HPCloud, typeid(Api::CloudHPCloud), 1000},
        {"HPHelion", Type::HPCloud, typeid(Api::CloudHPCloud), 1000},
    };
    for (const auto& p : providers) {
        SCOPED_TRACE(p.name.toStdString());
        const QMap<QString, QVariant> config{{"CloudType", p.name},
                                             {"CloudId", QUuid::createUuid()},
                                             {"Username", "u"},
                                             {"ApiKey", "k"},
                                             {"Endpoint", "http://127.0.0.1:9/"}};
        std::unique_ptr<Api::IConnection> connection(Api::CloudFactory::create(config));
        ASSERT_TRUE(connection);
        EXPECT_EQ(typeid(*connection), p.cls);
        EXPECT_EQ(connection->type(), p.type);
        EXPECT_EQ(connection->maximumChunkCount(), p.maximumChunkCount);
        // Swift offers no batch delete, no container removal and no header rewrite here.
        auto* swift = dynamic_cast<CloudOpenStack*>(connection.get());
        EXPECT_TRUE(swift->delete_("c", QJsonArray{QJsonObject{{"name", "/a"}}}).isEmpty());
        EXPECT_FALSE(swift->removeContainers("c"));
        EXPECT_THROW(swift->header("c", "/a"), Exception::UnsupportedOperation);
        // Secure by default: a configured "http" is replaced unless UseSsl says otherwise.
        EXPECT_EQ(swift->endpoint().scheme(), "https");
    }
    const QMap<QString, QVariant> incomplete{{"CloudType", "Openstack"},
                                             {"CloudId", QUuid::createUuid()},
                                             {"Username", "u"},
                                             {"Endpoint", "http://127.0.0.1:9/"}};
    EXPECT_EQ(Api::CloudFactory::create(incomplete), nullptr);
}

} // namespace
