// What is particular to Azure Blob, against azurite: a wrong key, the continuation of a block
// upload by its id, the expiry of a shared-access URL, and the archive tier.

#include "AzuriteSupport.h"

#include "connection/CloudHttp.h"
#include "connection/Exception.h"
#include "engine/IOperation.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "info/Config.h"
#include "operations/UploadMultipart.h"

#include "TestSupport.h"

#include <QBuffer>
#include <QDateTime>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

namespace {

using Norvik::Cloud::IOperation;
using Norvik::Cloud::OperationManager;
using Norvik::Cloud::Api::CloudAzureBlob;
using Norvik::Cloud::Api::CloudHttp;
namespace Exception = Norvik::Cloud::Api::Exception;
namespace Azurite = NorvikTest::Azurite;
namespace OperationConfig = Norvik::Cloud::OperationConfig;

constexpr int MiB = 1024 * 1024;

bool run(const QSharedPointer<IOperation>& operation)
{
    if (!operation)
        return false;
    operation->exec();
    return NorvikTest::waitFor([&] { return operation->isComplite(); }, 120000);
}

// The status of a plain GET, as a browser or curl fetches a shared URL.
QByteArray curlStatus(const QString& url)
{
    QProcess curl;
    curl.start(QStringLiteral("curl"), {"-s", "-o", "/dev/null", "-w", "%{http_code}", url});
    curl.waitForFinished(30000);
    return curl.readAllStandardOutput();
}

class AzuriteTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { OperationManager::instance(); }

    void SetUp() override
    {
        ASSERT_FALSE(Azurite::pathStyleEndpoint().isEmpty()) << "the azurite fixture did not start";
        azure = Azurite::connect(config);
        ASSERT_TRUE(azure);
        container = Azurite::newContainer(*azure, "family");
        config.insert(OperationConfig::ContainerName, container);
    }

    QMap<QString, QVariant> config = Azurite::config();
    std::unique_ptr<CloudAzureBlob> azure;
    QString container;
};

TEST_F(AzuriteTest, WrongKeyIsRefusedAsACredentialsError)
{
    const QString wrongKey = QString::fromLatin1(QByteArray("not the key of this account").toBase64());
    auto wrong = Azurite::connect(Azurite::config(wrongKey));
    ASSERT_TRUE(wrong);
    try {
        wrong->header(container, QStringLiteral("/any"));
        ADD_FAILURE() << "a request with a wrong key went through";
    } catch (const Exception::Operation& e) {
        EXPECT_EQ(e.code(), 403);
    }

    QMap<QString, QVariant> wrongConfig = Azurite::config(wrongKey);
    wrongConfig.insert(OperationConfig::ContainerName, container);
    const auto listing =
        OperationManager::instance().listing(wrongConfig, QString(), QString(), QString(), 10);
    ASSERT_TRUE(run(listing));
    EXPECT_EQ(listing->state(), IOperation::StateError);
    EXPECT_EQ(listing->errorCode(), 9) << listing->errorMessage().toStdString();
    listing->remove();
}

TEST_F(AzuriteTest, ContinuedUploadSendsOnlyTheMissingBlocks)
{
    config.insert(OperationConfig::ChunkSize, MiB);
    const QByteArray source = NorvikTest::randomBytes(3 * MiB + 100, 14);
    const QString path = QStringLiteral("/continued/data.bin");
    // An earlier run sent the first two blocks, the second one with data that have changed since.
    const QByteArray uploadId = azure->beginMultipartUpload(container, path, {});
    azure->uploadMultipart(container, path, uploadId, 1, source.left(MiB), QUuid());
    azure->uploadMultipart(container, path, uploadId, 2, QByteArray(MiB, 'x'), QUuid());

    QBuffer device;
    device.setData(source);
    device.open(QIODevice::ReadOnly);
    const quint64 putsBefore = CloudHttp::requestPutCount().first;
    const auto upload = OperationManager::instance().uploadMultipart(config, path, {}, &device, uploadId);
    ASSERT_TRUE(run(upload));
    ASSERT_EQ(upload->state(), IOperation::StateComplete) << upload->errorMessage().toStdString();
    upload->remove();
    // Blocks 2, 3 and 4, then the block list.
    EXPECT_EQ(CloudHttp::requestPutCount().first - putsBefore, 4u);
    EXPECT_EQ(Azurite::downloadAll(*azure, container, path), source);
}

TEST_F(AzuriteTest, SignedUrlWorksUntilItExpires)
{
    const QString path = QStringLiteral("/shared/report.txt");
    azure->upload(container, path, {}, QByteArray("shared for a moment"), QUuid());
    EXPECT_TRUE(azure->signUrl(container, path, false, QDateTime::currentDateTimeUtc()).isEmpty());

    // The service reads the expiry to the second.
    const QDateTime expires = QDateTime::currentDateTimeUtc().addSecs(3);
    const QString url = azure->signUrl(container, path, false, expires);
    EXPECT_EQ(curlStatus(url), "200");
    while (QDateTime::currentDateTimeUtc() <= expires.addSecs(1))
        QThread::msleep(200);
    EXPECT_EQ(curlStatus(url), "403");
}

TEST_F(AzuriteTest, ArchivedBlobIsReadableOnlyBetweenRestoreAndFinish)
{
    QMap<QString, QVariant> archiving = config;
    archiving.insert(Norvik::Cloud::Config::AzureBlob::StorageClass::Key, QStringLiteral("Archive"));
    auto archive = Azurite::connect(archiving);
    ASSERT_TRUE(archive);
    const QString path = QStringLiteral("/cold/archive.bin");
    const QByteArray data = NorvikTest::randomBytes(4096, 3);
    archive->upload(container, path, {}, data, QUuid());

    EXPECT_FALSE(archive->checkReadyForDownload(container, path));
    EXPECT_THROW(Azurite::downloadAll(*archive, container, path), Exception::InvalidObjectState);

    archive->prepareForDownload(container, path, {});
    ASSERT_TRUE(archive->checkReadyForDownload(container, path));
    EXPECT_EQ(Azurite::downloadAll(*archive, container, path), data);

    archive->finalizeDownloaded(container, path);
    EXPECT_FALSE(archive->checkReadyForDownload(container, path));
}

} // namespace
