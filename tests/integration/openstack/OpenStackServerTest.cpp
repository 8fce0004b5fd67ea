// The Swift connection against a real Swift, signed in by Swift's own auth (NORVIK_OPENSTACK_AUTH
// "v1", fixture swift), by Keystone v3 ("v3", fixture keystone, with a Swift of its own), and by
// Keystone v2 ("v2"), which no Keystone serves any more: an endpoint of the test speaks it,
// checks the credentials and hands out a real token of the Swift, in a catalogue of two regions.

#include "openstack/CloudOpenStack.h"
#include "openstack/CloudOpenStackPrivate.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"

#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <gmock/gmock.h>

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
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).trimmed() : QString();
}

// Keystone v2 as clients read it: POST /v2.0/tokens with password credentials and a tenant.
// The token and storage address come from Swift's own auth, by curl.
Server::Response keystoneV2(const Server::Request& request, const QString& swift)
{
    const QJsonObject auth = QJsonDocument::fromJson(request.body).object().value("auth").toObject();
    if (request.path() != "/v2.0/tokens" || auth.value("tenantName") != "test" ||
        auth.value("passwordCredentials").toObject() !=
            QJsonObject{{"username", "test:tester"}, {"password", "testing"}})
        return Server::Response::make(401, R"({"error":{"code":401,"title":"Unauthorized","message":"No"}})")
            .withHeader("Content-Type", "application/json");
    QProcess curl;
    curl.start("curl", {"-sf", "-D", "-", "-o", "/dev/null", "-H", "X-Auth-User: test:tester", "-H",
                        "X-Auth-Key: testing", swift + "/auth/v1.0"});
    curl.waitForFinished(30000);
    QMap<QByteArray, QString> real;
    for (const QByteArray& line : curl.readAllStandardOutput().split('\n'))
        real.insert(line.left(line.indexOf(':')).toLower(),
                    QString::fromUtf8(line.mid(line.indexOf(':') + 1).trimmed()));
    const QJsonArray endpoints{
        QJsonObject{{"region", "RegionOne"}, {"publicURL", "http://127.0.0.1:9/v1/AUTH_test"}},
        QJsonObject{{"region", "RegionTwo"}, {"publicURL", real.value("x-storage-url")}}};
    const QJsonObject token{{"id", real.value("x-auth-token")},
                            {"expires", QDateTime::currentDateTimeUtc().addSecs(3600).toString(Qt::ISODate)}};
    return Server::Response::ok(
        QJsonDocument(
            QJsonObject{{"access",
                         QJsonObject{{"token", token},
                                     {"serviceCatalog", QJsonArray{QJsonObject{{"type", "object-store"},
                                                                               {"endpoints", endpoints}}}}}}})
            .toJson());
}

class OpenStackServer : public testing::Test
{
protected:
    void SetUp() override
    {
        const QByteArray auth = qgetenv("NORVIK_OPENSTACK_AUTH");
        const QString swift = endpointOf("NORVIK_SWIFT_ENDPOINT_FILE");
        const QString keystone = endpointOf("NORVIK_KEYSTONE_ENDPOINT_FILE");
        m_config = {{"CloudId", QUuid::createUuid()},
                    {"UseSsl", false},
                    {"Username", "test:tester"},
                    {"ApiKey", "testing"},
                    {"Endpoint", QString(swift + "/auth/v1.0")}};
        if (auth == "v3") {
            ASSERT_FALSE(keystone.isEmpty()) << "the keystone fixture did not start";
            m_config = {{"CloudId", QUuid::createUuid()},
                        {"UseSsl", false},
                        {"AuthType", 3},
                        {"Endpoint", QString(keystone + "/v3")},
                        {"Username", "tester"},
                        {"ApiKey", "testerpw"},
                        {"DomainName", "Default"},
                        {"Region", "RegionOne"},
                        {"UseScope", true},
                        {"ProjectName", "swifttest"}};
        } else if (auth == "v2") {
            m_keystoneV2.setHandler(
                [swift](const Server::Request& request) { return keystoneV2(request, swift); });
            ASSERT_TRUE(m_keystoneV2.start());
            m_config.insert("AuthType", 2);
            m_config.insert("Endpoint", m_keystoneV2.url("/v2.0"));
            m_config.insert("TenantName", "test");
            m_config.insert("Region", "RegionTwo");
        }
        ASSERT_FALSE(swift.isEmpty() && auth != "v3") << "the swift fixture did not start";
        m_swift = std::make_unique<CloudOpenStack>();
        ASSERT_TRUE(m_swift->setConfig(m_config));
        m_container = QStringLiteral("os-%1").arg(QUuid::createUuid().toString(QUuid::Id128).left(12));
        ASSERT_TRUE(m_swift->createContainers({{"Name", m_container}}));
    }

    QStringList names(const QString& prefix = QString())
    {
        QStringList found;
        QString marker;
        do {
            for (const QJsonValue& v : m_swift->listing(m_container, prefix, marker, QString(), 1000).array())
                found.append(Api::ListingObject(v.toObject()).name());
        } while (!marker.isEmpty());
        return found;
    }

    QMap<QString, QVariant> m_config;
    Server m_keystoneV2;
    std::unique_ptr<CloudOpenStack> m_swift;
    QString m_container;
};

TEST_F(OpenStackServer, StaticLargeObjectAndItsDeleteLeaveOnlyOtherObjects)
{
    // Neighbours whose names a careless segment cleanup would take along (listed in order).
    const QStringList neighbours{"/m/f2", "/m/~segments/f2/f2_1", "/m/~segments/f_1", "/m/~segments/fx/f_1"};
    for (const QString& name : neighbours)
        m_swift->upload(m_container, name, {}, "keep", QUuid());

    const int partSize = 1024 * 1024 + 3;
    const QByteArray data = NorvikTest::randomBytes(2 * partSize + 1000, 5);
    const QByteArray id = m_swift->beginMultipartUpload(m_container, "/m/f", {{"RealSize", "42"}});
    QList<QPair<quint64, QByteArray>> tags;
    for (quint64 part = 1; part <= 3; ++part)
        tags.append({part, m_swift->uploadMultipart(m_container, "/m/f", id, part,
                                                    data.mid(int(part - 1) * partSize, partSize), QUuid())});

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

    EXPECT_TRUE(m_swift->delete_(m_container, done));
    EXPECT_EQ(names(), neighbours);
    // An object that is gone fails at the manifest question.
    EXPECT_THROW(m_swift->delete_(m_container, done), Api::Exception::NoContent);
}

} // namespace
