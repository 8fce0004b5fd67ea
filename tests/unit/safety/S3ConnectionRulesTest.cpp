// The S3 connection never batch-deletes with signature version 2.

#include "S3TestConfig.h"

#include "connection/Exception.h"
#include "engine/JobFormat.h"
#include "operations/MultipleDelete.h"
#include "s3/CloudAmazonS3Like.h"

#include <gtest/gtest.h>

namespace {

using namespace Norvik::Cloud;

// Counts the batch deletes that reach it instead of sending them.
struct BatchRecorder : Api::CloudAmazonS3Like
{
    BatchRecorder()
        : CloudAmazonS3Like(Type::AmazonS3)
    {
    }
    QJsonArray delete_(const QString&, const QJsonArray&) override { return ++batches, QJsonArray(); }
    using CloudAmazonS3Like::delete_;
    int batches = 0;
};

TEST(S3ConnectionRules, BatchDeletesAreRefusedWithSignatureVersion2)
{
    const QJsonObject job{
        {JobFormat::MultipleDelete::ObjectInfoList, QJsonArray{QJsonObject{{"name", "/a"}}}}};
    for (const QString signature : {"V2", "V4"}) {
        BatchRecorder s3;
        ASSERT_TRUE(
            s3.setConfig(NorvikTest::s3Config(QUrl("http://127.0.0.1:1"), signature, {}, Name::AmazonS3)));
        if (signature == "V2")
            EXPECT_THROW(multipleDelete(&s3, job), Api::Exception::UnsupportedOperation);
        else
            multipleDelete(&s3, job);
        EXPECT_EQ(s3.batches, signature == "V2" ? 0 : 1);
    }
}

} // namespace
