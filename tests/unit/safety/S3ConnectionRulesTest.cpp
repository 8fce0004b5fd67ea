// Rules of the S3 connection that decide where requests go and which requests are made at
// all: batch deletes are never used with signature version 2, and Amazon's host names carry
// the region once, in the China partition too.

#include "S3TestConfig.h"

#include "connection/Exception.h"
#include "engine/JobFormat.h"
#include "operations/MultipleDelete.h"
#include "s3/CloudAmazonS3Like.h"
#include "s3/CloudAmazonS3Private.h"

#include <gtest/gtest.h>

namespace {

using namespace Norvik::Cloud;

// Counts the batch deletes that reach it instead of sending them.
class BatchRecorder : public Api::CloudAmazonS3Like
{
public:
    using CloudAmazonS3Like::CloudAmazonS3Like;
    QJsonArray delete_(const QString&, const QJsonArray&) override
    {
        ++batches;
        return {};
    }
    using CloudAmazonS3Like::delete_;
    int batches = 0;
};

TEST(S3ConnectionRules, BatchDeletesAreRefusedWithSignatureVersion2)
{
    const QJsonObject job{
        {JobFormat::MultipleDelete::ObjectInfoList, QJsonArray{QJsonObject{{"name", "/a"}}}}};
    for (const QString signature : {"V2", "V4"}) {
        SCOPED_TRACE(signature.toStdString());
        BatchRecorder s3(Type::AmazonS3);
        ASSERT_TRUE(s3.setConfig(
            NorvikTest::s3Config(QUrl("http://127.0.0.1:1"), signature, "us-east-1", Name::AmazonS3)));
        if (signature == "V2") {
            EXPECT_THROW(multipleDelete(&s3, job), Api::Exception::UnsupportedOperation);
            EXPECT_EQ(s3.batches, 0);
        } else {
            multipleDelete(&s3, job);
            EXPECT_EQ(s3.batches, 1);
        }
    }
}

TEST(S3ConnectionRules, AmazonHostsNameTheRegionOnce)
{
    const struct
    {
        Type type;
        const char* endpoint;
        const char* region;
        const char* expected;
    } cases[] = {
        {Type::AmazonS3, "https://amazonaws.com", "us-east-1", "https://bucket.s3.amazonaws.com"},
        {Type::AmazonS3, "https://amazonaws.com", "eu-west-1", "https://bucket.s3.eu-west-1.amazonaws.com"},
        {Type::AmazonS3Chinese, "https://cn-north-1.amazonaws.com.cn", "cn-north-1",
         "https://bucket.s3.cn-north-1.amazonaws.com.cn"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expected);
        Api::CloudAmazonS3Private amazon(c.type);
        ASSERT_TRUE(amazon.setConfig(NorvikTest::s3Config(QUrl(c.endpoint), "V4", c.region)));
        amazon.setSignature(Info::AmazonS3Like::V4);
        amazon.setEndpoint(QUrl(c.endpoint));
        EXPECT_EQ(amazon.requestEndpoint("bucket", true).toString(), c.expected);
    }
}

} // namespace
