// Google Cloud Storage against our test server, through the service's fixed https names: the
// sign-in by one-time code, the server's fault answers, and gsutil reading what we write and the other way
// round.

#include "google/CloudGoogleStorage.h"

#include "GcsTestServer.h"
#include "TestSupport.h"

#include "connection/CloudFactory.h"
#include "connection/Exception.h"
#include "info/Config.h"
#include "operations/ContainerParams.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <QUuid>

#include <gtest/gtest.h>

#include <memory>

namespace {

using Norvik::Cloud::Api::CloudGoogleStorage;
namespace Exception = Norvik::Cloud::Api::Exception;
using NorvikTest::GcsTestServer;
namespace Google = Norvik::Cloud::Config::GoogleStorage;
constexpr int MiB = 1024 * 1024;

const GcsTestServer& server()
{
    static const GcsTestServer instance([] {
        QFile file(qEnvironmentVariable("NORVIK_GCS_ENDPOINT_FILE"));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll().trimmed()) : QString();
    }());
    return instance;
}

class GoogleServer : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server().isValid()) << "the gcs test server did not answer";
        server().installTransportSettings();
        server().admin(QStringLiteral("reset"));
    }

    static std::unique_ptr<CloudGoogleStorage> connect(const GcsTestServer::ConfigMap& config)
    {
        return std::unique_ptr<CloudGoogleStorage>(
            dynamic_cast<CloudGoogleStorage*>(Norvik::Cloud::Api::CloudFactory::create(config)));
    }

    // A new bucket, made by the HMAC key.
    static QString makeBucket()
    {
        const QString name =
            QStringLiteral("family-%1").arg(QUuid::createUuid().toString(QUuid::Id128).left(12));
        connect(server().hmacConfig())
            ->createContainers(Norvik::Cloud::ContainerParams::GoogleStorage(name, QStringLiteral("US"),
                                                                             QStringLiteral("STANDARD"))
                                   .json());
        return name;
    }

    static QByteArray download(CloudGoogleStorage& connection, const QString& bucket, const QString& path)
    {
        QBuffer out;
        out.open(QIODevice::WriteOnly);
        QMap<QString, QVariant> metaData;
        connection.download(bucket, path, out, metaData, QUuid());
        return out.data();
    }
};

TEST_F(GoogleServer, StaleTokenIsRenewedInTheMiddleOfAMultipartUpload)
{
    // 303 seconds: the token is reused for 3 seconds, until its 300-second margin, then renewed.
    const QString bucket = makeBucket();
    server().admin(QStringLiteral("lifetime?seconds=303"));
    auto connection = connect(server().serviceAccountConfig());
    const QByteArray first = NorvikTest::randomBytes(5 * MiB, 3);
    const QByteArray second = NorvikTest::randomBytes(1000, 4);
    const QByteArray id = connection->beginMultipartUpload(bucket, QStringLiteral("/big.bin"), {});
    const QByteArray tag1 =
        connection->uploadMultipart(bucket, QStringLiteral("/big.bin"), id, 1, first, QUuid());
    EXPECT_EQ(server().stat(QStringLiteral("jwt")), 1);
    QThread::msleep(3300);
    const QByteArray tag2 =
        connection->uploadMultipart(bucket, QStringLiteral("/big.bin"), id, 2, second, QUuid());
    connection->endMultipartUpload(bucket, QStringLiteral("/big.bin"), id, {{1, tag1}, {2, tag2}});
    EXPECT_EQ(server().stat(QStringLiteral("jwt")), 2);
    EXPECT_EQ(download(*connection, bucket, QStringLiteral("/big.bin")), first + second);
}

// (A key of another account and a revoked token are the wrong credentials of the shared suite.)
TEST_F(GoogleServer, DamagedKeyFileGivesAnAuthorisationFailure)
{
    GcsTestServer::ConfigMap broken = server().serviceAccountConfig();
    broken.insert(Google::Auth_ServiceAccount::PrivateKey,
                  QString::fromLatin1(QByteArray("no key").toBase64()));
    EXPECT_THROW(connect(broken)->containers(), Exception::InvalidAutorizationAccount);
    EXPECT_GE(server().stat(QStringLiteral("rejected_tokens")), 1);
    EXPECT_EQ(server().stat(QStringLiteral("bearer")), 0);
}

TEST_F(GoogleServer, OneTimeCodeWinsOverAStoredRefreshToken)
{
    GcsTestServer::ConfigMap config = server().installedApplicationConfig();
    config.insert(Google::Auth_InstalledApplication::RefreshToken, QStringLiteral("1//not-this-one"));
    config.insert(Google::Auth_InstalledApplication::InitCode,
                  server().info().value(QStringLiteral("init_code")).toString());
    connect(config)->containers();
    EXPECT_EQ(server().stat(QStringLiteral("code")), 1);
    EXPECT_EQ(server().stat(QStringLiteral("refresh")), 1);
    EXPECT_EQ(server().stat(QStringLiteral("tokeninfo")), 1);
}

// gsutil, the service's own client, through the same proxy and CA.
class Gsutil : public GoogleServer
{
protected:
    QByteArray run(const QString& boto, const QStringList& arguments)
    {
        const QString ca = text("ca");
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        const QPair<const char*, QString> settings[] = {
            {"BOTO_CONFIG", boto},
            {"CLOUDSDK_CONFIG", m_dir.filePath(QStringLiteral("gcloud"))},
            {"CLOUDSDK_CORE_PASS_CREDENTIALS_TO_GSUTIL", "false"},
            {"CLOUDSDK_CORE_DISABLE_PROMPTS", "1"},
            {"CLOUDSDK_CORE_CUSTOM_CA_CERTS_FILE", ca},
            {"HTTPLIB2_CA_CERTS", ca},
            {"TMPDIR", m_dir.path()}};
        for (const auto& setting : settings)
            env.insert(QString::fromLatin1(setting.first), setting.second);
        QProcess gsutil;
        gsutil.setProcessEnvironment(env);
        gsutil.start(QStringLiteral("gsutil"), arguments);
        if (!gsutil.waitForFinished(120000) || gsutil.exitCode() != 0)
            ADD_FAILURE() << "gsutil " << arguments.join(QLatin1Char(' ')).toStdString() << ": "
                          << gsutil.readAllStandardError().toStdString();
        return gsutil.readAllStandardOutput();
    }

    QString write(const QString& name, const QByteArray& content)
    {
        QFile file(m_dir.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return file.fileName();
    }

    static QString text(const char* key) { return server().info().value(QLatin1String(key)).toString(); }

    QTemporaryDir m_dir;
};

// With the HMAC key and with the service account: gsutil reads ours, we read gsutil's.
TEST_F(Gsutil, ReadsWhatWeWriteAndTheOtherWayRound)
{
    const QString bucket = makeBucket();
    const QString p12 =
        write(QStringLiteral("sa.p12"), QByteArray::fromBase64(text("service_account_p12").toLatin1()));
    const QString common =
        QStringLiteral("[Boto]\nproxy = 127.0.0.1\nproxy_port = %1\nca_certificates_file = %2\n"
                       "num_retries = 1\n[GSUtil]\nprefer_api = xml\ndefault_project_id = %3\n"
                       "software_update_check_period = 0\n[Credentials]\n")
            .arg(QUrl(text("proxy")).port())
            .arg(text("ca"), text("project"));
    const QPair<GcsTestServer::ConfigMap, QString> cases[] = {
        {server().hmacConfig(), QStringLiteral("gs_access_key_id = %1\ngs_secret_access_key = %2\n")
                                    .arg(text("hmac_id"), text("hmac_secret"))},
        {server().serviceAccountConfig(), QStringLiteral("gs_service_client_id = %1\ngs_service_key_file = "
                                                         "%2\ngs_service_key_file_password = notasecret\n")
                                              .arg(text("service_account"), p12)},
    };
    int round = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.second.toStdString());
        const QString boto = write(QStringLiteral("boto%1.cfg").arg(++round), (common + c.second).toUtf8());
        auto connection = connect(c.first);
        const QByteArray ours = NorvikTest::randomBytes(300 * 1024 + 5, round);
        const QString name = QStringLiteral("/ours %1/\u00e9t\u00e9.bin").arg(round);
        connection->upload(bucket, name, {}, ours, QUuid());
        EXPECT_EQ(run(boto, {QStringLiteral("cat"), QStringLiteral("gs://%1%2").arg(bucket, name)}), ours);

        const QByteArray theirs = NorvikTest::randomBytes(2 * MiB + 3, 10 + round);
        const QString target = QStringLiteral("/theirs/%1.bin").arg(round);
        run(boto, {QStringLiteral("cp"), write(QStringLiteral("theirs.bin"), theirs),
                   QStringLiteral("gs://%1%2").arg(bucket, target)});
        EXPECT_EQ(download(*connection, bucket, target), theirs);
    }
}

} // namespace
