// The S3 connection driven by the engine, as the application uses it: job threads make the
// connection from the configuration, multipart uploads go part by part (and continue an
// interrupted upload by its id), downloads whole and in ranges, listings page by page.
// Against Swift's S3 layer.

#include "S3ServerSupport.h"

#include "connection/CloudHttp.h"
#include "connection/ListingObject.h"
#include "engine/IOperation.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "operations/DownloadBlob.h"
#include "operations/Listing.h"
#include "operations/UploadMultipart.h"

#include "TestSupport.h"

#include <QBuffer>
#include <QJsonArray>
#include <QJsonObject>

#include <gmock/gmock.h>

namespace {

using Norvik::Cloud::IOperation;
using Norvik::Cloud::OperationManager;
using Norvik::Cloud::Api::CloudHttp;
using Norvik::Cloud::Api::ListingObject;
using NorvikTest::downloadAll;
namespace Operation = Norvik::Cloud::Operation;
namespace OperationConfig = Norvik::Cloud::OperationConfig;

constexpr int MiB = 1024 * 1024;

class SwiftEngine : public NorvikTest::S3BucketTest
{
protected:
    static void SetUpTestSuite() { OperationManager::instance(); }

    void SetUp() override
    {
        NorvikTest::S3BucketTest::SetUp();
        if (HasFatalFailure())
            return;
        config = NorvikTest::configFor(server, GetParam());
        config.insert(OperationConfig::ContainerName, bucket);
        config.insert(OperationConfig::ChunkSize, 5 * MiB);
    }

    // Starts the operation and waits for its end; false when it did not end in time.
    static bool run(const QSharedPointer<IOperation>& operation)
    {
        if (!operation)
            return false;
        operation->exec();
        return NorvikTest::waitFor([&] { return operation->isComplite(); }, 120000);
    }

    QMap<QString, QVariant> config;
};

TEST_P(SwiftEngine, UploadsInPartsAndDownloadsWholeAndInRanges)
{
    OperationManager& manager = OperationManager::instance();
    const QByteArray source = NorvikTest::randomBytes(11 * MiB + 3, 81);
    QBuffer device;
    device.setData(source);
    device.open(QIODevice::ReadOnly);
    const auto upload = qSharedPointerCast<Operation::UploadMultipart>(
        manager.uploadMultipart(config, QStringLiteral("/engine/object.bin"), {}, &device, QByteArray()));
    ASSERT_TRUE(run(upload));
    ASSERT_EQ(upload->state(), IOperation::StateComplete) << upload->errorMessage().toStdString();
    EXPECT_FALSE(upload->multipartUploadInfo().isEmpty());
    upload->remove();
    EXPECT_EQ(downloadAll(*s3, bucket, QStringLiteral("/engine/object.bin")), source);

    QBuffer whole;
    whole.open(QIODevice::WriteOnly);
    const auto download = manager.download2Stream(config, QStringLiteral("/engine/object.bin"), &whole);
    ASSERT_TRUE(run(download));
    ASSERT_EQ(download->state(), IOperation::StateComplete) << download->errorMessage().toStdString();
    EXPECT_EQ(whole.data(), source);
    download->remove();

    // A range across the first part boundary.
    const auto blob = qSharedPointerCast<Operation::DownloadBlob>(
        manager.downloadBlob(config, QStringLiteral("/engine/object.bin"), 5 * MiB - 10, 19));
    ASSERT_TRUE(run(blob));
    ASSERT_EQ(blob->state(), IOperation::StateComplete) << blob->errorMessage().toStdString();
    EXPECT_EQ(blob->data(), source.mid(5 * MiB - 10, 20));
    blob->remove();
}

TEST_P(SwiftEngine, ContinuesAnInterruptedUploadWithoutSendingItsPartsAgain)
{
    const QByteArray source = NorvikTest::randomBytes(10 * MiB + 100, 82);
    const QString key = QStringLiteral("/engine/continued.bin");
    // An earlier run got as far as the first part.
    const QByteArray uploadId = s3->beginMultipartUpload(bucket, key, {});
    s3->uploadMultipart(bucket, key, uploadId, 1, source.left(5 * MiB), QUuid());

    QBuffer device;
    device.setData(source);
    device.open(QIODevice::ReadOnly);
    const quint64 putsBefore = CloudHttp::requestPutCount().first;
    const auto upload = qSharedPointerCast<Operation::UploadMultipart>(
        OperationManager::instance().uploadMultipart(config, key, {}, &device, uploadId));
    ASSERT_TRUE(run(upload));
    ASSERT_EQ(upload->state(), IOperation::StateComplete) << upload->errorMessage().toStdString();
    EXPECT_EQ(upload->multipartUploadInfo(), uploadId);
    upload->remove();
    // Parts 2 and 3 only.
    EXPECT_EQ(CloudHttp::requestPutCount().first - putsBefore, 2u);
    EXPECT_EQ(downloadAll(*s3, bucket, key), source);
}

TEST_P(SwiftEngine, ListsPageByPage)
{
    for (int i = 0; i < 5; ++i)
        s3->upload(bucket, QStringLiteral("/list/%1.txt").arg(i), {}, QByteArray::number(i), QUuid());
    QStringList names;
    QString marker;
    int pages = 0;
    do {
        const auto page = qSharedPointerCast<Operation::Listing>(
            OperationManager::instance().listing(config, QStringLiteral("/list/"), marker, QString(), 2));
        ASSERT_TRUE(run(page));
        ASSERT_EQ(page->state(), IOperation::StateComplete) << page->errorMessage().toStdString();
        for (const QJsonValue& entry : page->data())
            names << ListingObject(entry.toObject()).name();
        marker = page->marker();
        page->remove();
    } while (!marker.isEmpty() && ++pages < 10);
    EXPECT_EQ(names,
              (QStringList{"/list/0.txt", "/list/1.txt", "/list/2.txt", "/list/3.txt", "/list/4.txt"}));
}

INSTANTIATE_TEST_SUITE_P(Signature, SwiftEngine,
                         ::testing::Values(QStringLiteral("V2"), QStringLiteral("V4")),
                         [](const ::testing::TestParamInfo<QString>& param) {
                             return param.param.toStdString();
                         });

} // namespace
