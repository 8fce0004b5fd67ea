#include "AmazonServerSupport.h"

#include "TestSupport.h"
#include "connection/Exception.h"
#include "info/Config.h"
#include "operations/ArchiveOption.h"

#include <QBuffer>
#include <QJsonArray>
#include <QJsonObject>
#include <QThread>
#include <QUuid>

#include <gtest/gtest.h>

using namespace Norvik::Cloud;
namespace Keys = Config::AmazonS3;
using Option = Api::ArchiveAmazonS3Option;

class AmazonConnection : public NorvikTest::AmazonBucketTest
{
};

// Single and multipart uploads carry class and encryption; the server refuses both on parts,
// so a multipart upload that completes has sent them on the initiation only.
TEST_F(AmazonConnection, ClassAndEncryptionGoOnNewObjectsNotOnParts)
{
    auto config = NorvikTest::amazonConfig(server);
    config.insert(Keys::StorageClass::Key, Keys::StorageClass::Value::Standard_IA);
    config.insert(Keys::UseSSE, true);
    auto ia = connect(config);
    ia->upload(bucket, "/single.bin", {}, QByteArray("single"), QUuid());

    const QByteArray first = NorvikTest::randomBytes(5 * 1024 * 1024, 3);
    const QByteArray uploadId = ia->beginMultipartUpload(bucket, "/multi.bin", {});
    const QByteArray tag1 = ia->uploadMultipart(bucket, "/multi.bin", uploadId, 1, first, QUuid());
    const QByteArray tag2 = ia->uploadMultipart(bucket, "/multi.bin", uploadId, 2, "tail", QUuid());
    ia->endMultipartUpload(bucket, "/multi.bin", uploadId, {{1, tag1}, {2, tag2}});

    for (const char* path : {"/single.bin", "/multi.bin"}) {
        SCOPED_TRACE(path);
        const auto headers = s3->header(bucket, path);
        EXPECT_EQ(headers.value("x-amz-storage-class"), "STANDARD_IA");
        EXPECT_EQ(headers.value("x-amz-server-side-encryption"), "AES256");
    }
    EXPECT_EQ(download("/multi.bin"), first + "tail");
}

// Deep Archive has no Expedited tier: the request goes out again as Standard, and the object
// is read once the restore has finished.
TEST_F(AmazonConnection, RestoreFromDeepArchive)
{
    server.control("restore-delay?seconds=1.5");
    auto config = NorvikTest::amazonConfig(server);
    config.insert(Keys::StorageClass::Key, Keys::StorageClass::Value::GlacierDeepArchive);
    connect(config)->upload(bucket, "/cold.txt", {}, QByteArray("cold data"), QUuid());
    EXPECT_THROW(download("/cold.txt"), Api::Exception::InvalidObjectState);
    s3->prepareForDownload(bucket, "/cold.txt", Option(Option::Expedited, 2).toJson());
    EXPECT_TRUE(NorvikTest::waitFor([&] { return s3->checkReadyForDownload(bucket, "/cold.txt"); }, 10000));
    EXPECT_EQ(download("/cold.txt"), "cold data");
}
