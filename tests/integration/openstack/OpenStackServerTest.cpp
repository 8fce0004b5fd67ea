// The Swift connection against a real Swift, signed in three ways: the legacy exchange with
// Swift's own auth (fixture swift), Keystone v3 (fixture keystone, with its own Swift), and
// Keystone v2, which no Keystone serves any more: a small endpoint of the test speaks it,
// checks the credentials and hands out a real Swift token with a catalogue of two regions.
//
// NORVIK_OPENSTACK_AUTH names the way ("v1", "v2", "v3"); the endpoint files are those of the
// fixtures.

#include "openstack/CloudOpenStack.h"
#include "openstack/CloudOpenStackPrivate.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"
#include "connection/MultipartListPartObject.h"

#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <gmock/gmock.h>

#include <QBuffer>
#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <memory>

namespace {

using namespace Norvik::Cloud;
using Api::CloudOpenStack;
using Server = NorvikTest::ScriptedHttpServer;

QString endpointOf(const char* variable)
{
    QFile file(QString::fromLocal8Bit(qgetenv(variable)));
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll()).trimmed();
}

// The response headers of a legacy sign-in, by curl: the v2 endpoint's source of real tokens.
QMap<QByteArray, QByteArray> v1SignIn(const QString& swift)
{
    QProcess curl;
    curl.start("curl", {"-sf", "-D", "-", "-o", "/dev/null", "-H", "X-Auth-User: test:tester", "-H",
                        "X-Auth-Key: testing", swift + "/auth/v1.0"});
    curl.waitForFinished(30000);
    QMap<QByteArray, QByteArray> headers;
    for (const QByteArray& line : curl.readAllStandardOutput().split('\n')) {
        const int colon = line.indexOf(':');
        if (colon > 0)
            headers.insert(line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed());
    }
    return headers;
}

// Keystone v2 as clients read it: POST /v2.0/tokens with password credentials and a tenant,
// an answer with the token and the object-store catalogue; wrong credentials get Keystone's 401.
class KeystoneV2
{
public:
    explicit KeystoneV2(const QString& swift)
        : m_swift(swift)
    {
        m_server.setHandler([this](const Server::Request& request) { return answer(request); });
    }
    bool start() { return m_server.start(); }
    QUrl url() const { return m_server.url("/v2.0"); }

private:
    Server::Response answer(const Server::Request& request)
    {
        const QJsonObject auth = QJsonDocument::fromJson(request.body).object().value("auth").toObject();
        const QJsonObject credentials = auth.value("passwordCredentials").toObject();
        if (request.method != "POST" || request.path() != "/v2.0/tokens")
            return Server::Response::make(404);
        if (credentials.value("username") != "test:tester" || credentials.value("password") != "testing" ||
            (auth.value("tenantName") != "test" && auth.value("tenantId") != "AUTH_test"))
            return Server::Response::make(
                       401,
                       R"({"error":{"code":401,"title":"Unauthorized","message":"Invalid user / password"}})")
                .withHeader("Content-Type", "application/json");
        const QMap<QByteArray, QByteArray> real = v1SignIn(m_swift);
        const QString storage = QString::fromUtf8(real.value("x-storage-url"));
        const QJsonArray endpoints{
            QJsonObject{{"region", "RegionOne"}, {"publicURL", "http://127.0.0.1:9/v1/AUTH_test"}},
            QJsonObject{{"region", "RegionTwo"}, {"publicURL", storage}, {"internalURL", storage}},
        };
        const QJsonObject access{
            {"token",
             QJsonObject{{"id", QString::fromUtf8(real.value("x-auth-token"))},
                         {"expires", QDateTime::currentDateTimeUtc().addSecs(3600).toString(Qt::ISODate)}}},
            {"serviceCatalog", QJsonArray{QJsonObject{{"type", "object-store"}, {"endpoints", endpoints}}}},
        };
        return Server::Response::ok(QJsonDocument(QJsonObject{{"access", access}}).toJson())
            .withHeader("Content-Type", "application/json");
    }

    QString m_swift;
    Server m_server;
};

class OpenStackServer : public testing::Test
{
protected:
    void SetUp() override
    {
        const QByteArray auth = qgetenv("NORVIK_OPENSTACK_AUTH");
        m_config = {{"CloudId", QUuid::createUuid()}, {"UseSsl", false}};
        if (auth == "v3") {
            const QString keystone = endpointOf("NORVIK_KEYSTONE_ENDPOINT_FILE");
            ASSERT_FALSE(keystone.isEmpty()) << "the keystone fixture did not start";
            merge({{"AuthType", 3},
                   {"Endpoint", QString(keystone + "/v3")},
                   {"Username", "tester"},
                   {"ApiKey", "testerpw"},
                   {"DomainName", "Default"},
                   {"Region", "RegionOne"},
                   {"UseScope", true},
                   {"ProjectName", "swifttest"}});
        } else {
            const QString swift = endpointOf("NORVIK_SWIFT_ENDPOINT_FILE");
            ASSERT_FALSE(swift.isEmpty()) << "the swift fixture did not start";
            merge({{"Username", "test:tester"}, {"ApiKey", "testing"}});
            if (auth == "v2") {
                m_keystoneV2 = std::make_unique<KeystoneV2>(swift);
                ASSERT_TRUE(m_keystoneV2->start());
                merge({{"AuthType", 2},
                       {"Endpoint", m_keystoneV2->url()},
                       {"TenantName", "test"},
                       {"Region", "RegionTwo"}});
            } else {
                m_config.insert("Endpoint", QString(swift + "/auth/v1.0"));
            }
        }
        m_swift = connect(m_config);
        m_container = QStringLiteral("os-%1").arg(QUuid::createUuid().toString(QUuid::Id128).left(12));
        ASSERT_TRUE(m_swift->createContainers({{"Name", m_container}}));
    }

    void merge(const QMap<QString, QVariant>& more)
    {
        for (auto it = more.cbegin(); it != more.cend(); ++it)
            m_config.insert(it.key(), it.value());
    }

    std::unique_ptr<CloudOpenStack> connect(const QMap<QString, QVariant>& config)
    {
        auto connection = std::make_unique<CloudOpenStack>();
        EXPECT_TRUE(connection->setConfig(config));
        return connection;
    }

    QStringList names(const QString& prefix = QString())
    {
        QStringList found;
        QString marker;
        do {
            for (const QJsonValue& v : m_swift->listing(m_container, prefix, marker, QString(), 1000).array())
                found.append(Api::ListingObject(v.toObject()).name());
        } while (!marker.isEmpty());
        found.sort();
        return found;
    }

    QMap<QString, QVariant> m_config;
    std::unique_ptr<KeystoneV2> m_keystoneV2;
    std::unique_ptr<CloudOpenStack> m_swift;
    QString m_container;
};

TEST_F(OpenStackServer, StaticLargeObjectAndItsDeleteLeaveOnlyOtherObjects)
{
    // Neighbours whose names a careless segment cleanup would take along.
    const QStringList neighbours{"/m/f2", "/m/~segments/f2/f2_1", "/m/~segments/f_1", "/m/~segments/fx/f_1"};
    for (const QString& name : neighbours)
        m_swift->upload(m_container, name, {}, "keep", QUuid());

    const int partSize = 1024 * 1024 + 3;
    const QByteArray data = NorvikTest::randomBytes(2 * partSize + 1000, 5);
    const QByteArray id = m_swift->beginMultipartUpload(m_container, "/m/f", {{"RealSize", "42"}});
    QList<QPair<quint64, QByteArray>> tags;
    for (int part = 1; part * partSize - partSize < data.size(); ++part)
        tags.append({static_cast<quint64>(part),
                     m_swift->uploadMultipart(m_container, "/m/f", id, part,
                                              data.mid((part - 1) * partSize, partSize), QUuid())});
    ASSERT_EQ(tags.size(), 3);

    // The parts are found again, and a part of other content is told apart.
    quint64 marker = 0;
    const QJsonArray parts = m_swift->listPartsMultipart(m_container, "/m/f", id, marker);
    ASSERT_EQ(parts.size(), 3);
    EXPECT_TRUE(m_swift->checkUploadPart(2, parts, data.mid(partSize, partSize)).first);
    EXPECT_FALSE(m_swift->checkUploadPart(2, parts, data.mid(0, partSize)).first);

    const QJsonObject done = m_swift->endMultipartUpload(m_container, "/m/f", id, tags);
    EXPECT_EQ(Api::ListingObject(done).size(), static_cast<quint64>(data.size()));
    QMap<QString, QVariant> metaData;
    EXPECT_EQ(m_swift->download(m_container, "/m/f", 0, data.size() - 1, metaData, QUuid()), data);
    EXPECT_EQ(metaData.value("RealSize").toString(), "42");
    // A range across the boundary of two segments.
    EXPECT_EQ(m_swift->download(m_container, "/m/f", partSize - 2, 4, metaData, QUuid()),
              data.mid(partSize - 2, 5));

    EXPECT_TRUE(m_swift->delete_(m_container, Api::ListingObject(done).json()));
    QStringList expected = neighbours;
    expected.sort();
    EXPECT_EQ(names(), expected);
    // An object that is gone fails at the manifest question.
    EXPECT_THROW(m_swift->delete_(m_container, Api::ListingObject(done).json()), Api::Exception::NoContent);
    for (const QString& name : neighbours)
        m_swift->simpleDelete(m_container, name);
}

TEST_F(OpenStackServer, TokenRevokedByTheServiceIsRenewedAndWrongCredentialsAreRefused)
{
    m_swift->upload(m_container, "/t/a", {}, "one", QUuid());
    // A token that the service no longer knows: the first request is refused and repeated.
    m_swift->implementation()->restoreToken("AUTH_tk0123456789abcdef",
                                            QDateTime::currentDateTimeUtc().addSecs(600));
    m_swift->upload(m_container, "/t/b", {}, "two", QUuid());
    EXPECT_EQ(names("/t/"), (QStringList{"/t/a", "/t/b"}));
    EXPECT_NE(m_swift->implementation()->token(), "AUTH_tk0123456789abcdef");

    QMap<QString, QVariant> wrong = m_config;
    wrong.insert("ApiKey", "wrong");
    wrong.insert("CloudId", QUuid::createUuid());
    auto refused = connect(wrong);
    EXPECT_THROW(refused->checkConfig(m_container, wrong), Api::Exception::InvalidAutorizationAccount);
    for (const QString& name : names("/t/"))
        m_swift->simpleDelete(m_container, name);
}

} // namespace
