// The S3 request layer: where a request goes (endpoint, path style, region prefixes), the
// region of a bucket found at configuration time, and the configuration of the connection.

#include "s3/CloudAmazonS3Like.h"
#include "s3/CloudAmazonS3LikePrivate.h"
#include "s3/CloudAmazonS3Private.h"

#include "connection/CloudFactory.h"
#include "connection/Exception.h"
#include "info/Config.h"

#include "S3TestConfig.h"
#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <gmock/gmock.h>

#include <memory>
#include <tuple>

namespace {

using Norvik::Cloud::Type;
using Norvik::Cloud::Api::CloudAmazonS3Like;
using Norvik::Cloud::Api::CloudAmazonS3LikePrivate;
using Norvik::Cloud::Api::CloudAmazonS3Private;
using Norvik::Cloud::Api::CloudFactory;
using Server = NorvikTest::ScriptedHttpServer;
using HeaderMap = CloudAmazonS3LikePrivate::HeaderMap;
using Signature = CloudAmazonS3LikePrivate::Signature;
namespace Exception = Norvik::Cloud::Api::Exception;
namespace Info = Norvik::Cloud::Info;
namespace Keys = Norvik::Cloud::Config::AmazonS3Like;

constexpr Signature V2 = Info::AmazonS3Like::V2;
constexpr Signature V4 = Info::AmazonS3Like::V4;

// --- Where requests go ----------------------------------------------------------------------

struct Route
{
    const char* name;
    Type type;
    bool pathStyleField;
    Signature signature;
    const char* endpoint;
    const char* region;
    bool accelerate;
    const char* bucket;
    bool useRegion;
    // The URL that a GET of "/dir/key" goes to, and the host that is signed.
    const char* url;
    const char* host;
};

void PrintTo(const Route& route, std::ostream* out)
{
    *out << route.name;
}

std::unique_ptr<CloudAmazonS3LikePrivate> privateFor(const Route& route)
{
    std::unique_ptr<CloudAmazonS3LikePrivate> s3;
    if (route.type != Type::AmazonS3Like && route.type != Type::AlibabaCloud) {
        auto amazon = std::make_unique<CloudAmazonS3Private>(route.type);
        amazon->setUseAccelerate(route.accelerate);
        s3 = std::move(amazon);
    } else {
        s3 = std::make_unique<CloudAmazonS3LikePrivate>(route.type);
    }
    EXPECT_TRUE(
        s3->setConfig({{Keys::AccessKey, "key"}, {Keys::SecretKey, "secret"}, {Keys::Region, route.region}}));
    s3->setSignature(route.signature);
    s3->setUsePathStyle(route.pathStyleField);
    s3->setEndpoint(QUrl(QString::fromLatin1(route.endpoint)));
    return s3;
}

class RequestRoute : public ::testing::TestWithParam<Route>
{
};

TEST_P(RequestRoute, GoesToTheUrlAndSignsTheHostOfTheRow)
{
    const Route& route = GetParam();
    const auto s3 = privateFor(route);
    HeaderMap headers;
    const auto request =
        s3->signature(CloudAmazonS3LikePrivate::GET, QString::fromLatin1(route.bucket),
                      QStringLiteral("/dir/key"), QUrlQuery(), headers, route.useRegion, nullptr, 0);
    EXPECT_EQ(request.first.toString(QUrl::FullyEncoded), QString::fromLatin1(route.url));
    EXPECT_EQ(headers.value("Host"), QByteArray(route.host));
}

// clang-format off
// A service without regions keeps the configured address as it is: port, path and all.
INSTANTIATE_TEST_SUITE_P(ServiceWithoutRegions, RequestRoute, ::testing::Values(
    Route{"PathStyleV2KeepsPortAndPath", Type::AmazonS3Like, true, V2, "http://127.0.0.1:9000/gateway/", "us-east-1",
          false, "bucket", true, "http://127.0.0.1:9000/gateway/bucket/dir/key", "127.0.0.1"},
    Route{"PathStyleV4KeepsThePortButTheAbsoluteResourceReplacesThePath", Type::AmazonS3Like, true, V4,
          "http://127.0.0.1:9000/gateway/", "us-east-1", false, "bucket", true,
          "http://127.0.0.1:9000/bucket/dir/key", "127.0.0.1"},
    Route{"VirtualHostLosesThePort", Type::AmazonS3Like, false, V4, "http://storage.example:9000/", "us-east-1",
          false, "bucket", true, "http://bucket.storage.example/dir/key", "bucket.storage.example"}));

// A service with regions (Alibaba's descriptor) builds its hosts from the region prefixes.
INSTANTIATE_TEST_SUITE_P(ServiceWithRegions, RequestRoute, ::testing::Values(
    Route{"VirtualHostInTheConfiguredRegion", Type::AlibabaCloud, false, V4, "https://aliyuncs.com/",
          "oss-eu-central-1", false, "bucket", true,
          "https://bucket.oss-eu-central-1.aliyuncs.com/dir/key", "bucket.oss-eu-central-1.aliyuncs.com"},
    Route{"VirtualHostInTheDefaultRegion", Type::AlibabaCloud, false, V4, "https://aliyuncs.com/",
          "oss-eu-central-1", false, "bucket", false,
          "https://bucket.oss-cn-hangzhou.aliyuncs.com/dir/key", "bucket.oss-cn-hangzhou.aliyuncs.com"},
    Route{"UpperCaseBucketGoesIntoTheResourceWithV4", Type::AlibabaCloud, false, V4, "https://aliyuncs.com/",
          "oss-eu-central-1", false, "Bucket", true,
          "https://oss-eu-central-1.aliyuncs.com/Bucket/dir/key", "oss-eu-central-1.aliyuncs.com"}));

// Amazon S3 chooses its hosts itself: region prefixes with V4 only, acceleration, and path
// style for names that cannot be host labels.
INSTANTIATE_TEST_SUITE_P(AmazonS3, RequestRoute, ::testing::Values(
    Route{"RegionPrefixWithV4", Type::AmazonS3, false, V4, "https://amazonaws.com/", "us-west-2", false,
          "bucket", true, "https://bucket.s3.us-west-2.amazonaws.com/dir/key", "bucket.s3.us-west-2.amazonaws.com"},
    Route{"NoRegionPrefixWithV2", Type::AmazonS3, false, V2, "https://amazonaws.com/", "us-west-2", false,
          "bucket", true, "https://bucket.s3.amazonaws.com/dir/key", "bucket.s3.amazonaws.com"},
    Route{"NoRegionPrefixBeforeTheRegionIsKnown", Type::AmazonS3, false, V4, "https://amazonaws.com/", "us-west-2",
          false, "bucket", false, "https://bucket.s3.amazonaws.com/dir/key", "bucket.s3.amazonaws.com"},
    Route{"AcceleratedWithV4", Type::AmazonS3, false, V4, "https://amazonaws.com/", "us-west-2", true,
          "bucket", true, "https://bucket.s3-accelerate.amazonaws.com/dir/key", "bucket.s3-accelerate.amazonaws.com"},
    Route{"ChinaPartitionNamesTheRegionOnce", Type::AmazonS3Chinese, false, V4, "https://cn-north-1.amazonaws.com.cn",
          "cn-north-1", false, "bucket", true, "https://bucket.s3.cn-north-1.amazonaws.com.cn/dir/key",
          "bucket.s3.cn-north-1.amazonaws.com.cn"},
    Route{"UpperCaseBucketIsPathStyleWithoutAcceleration", Type::AmazonS3, false, V4, "https://amazonaws.com/",
          "us-west-2", true, "Bucket", true, "https://s3.amazonaws.com/Bucket/dir/key", "s3.amazonaws.com"}));
// clang-format on

// --- Connections made by type ---------------------------------------------------------------

TEST(Configuration, IsRefusedWithoutMapKeysOrAddress)
{
    const auto complete =
        NorvikTest::s3Config(QUrl(QStringLiteral("http://127.0.0.1:9000/")), QStringLiteral("V4"));
    CloudAmazonS3Like s3(Type::Scality);
    EXPECT_FALSE(s3.setConfig({}));
    // Scality has no public host: an endpoint is needed. DreamObjects has one.
    auto withoutEndpoint = complete;
    withoutEndpoint.remove(Norvik::Cloud::Api::Config::Http::Endpoint);
    EXPECT_FALSE(s3.setConfig(withoutEndpoint));
    EXPECT_TRUE(CloudAmazonS3Like(Type::DreamObjects).setConfig(withoutEndpoint));

    // Plain HTTP unless asked otherwise, whatever scheme the address had.
    auto https = complete;
    https.insert(Norvik::Cloud::Api::Config::Http::Endpoint, QUrl(QStringLiteral("https://127.0.0.1:9000/")));
    ASSERT_TRUE(s3.setConfig(https));
    EXPECT_EQ(s3.endpoint().scheme(), "http");
    https.insert(Norvik::Cloud::Api::Config::Http::UseSsl, true);
    ASSERT_TRUE(s3.setConfig(https));
    EXPECT_EQ(s3.endpoint(), QUrl(QStringLiteral("https://127.0.0.1:9000/")));
}

// --- The region of a bucket -----------------------------------------------------------------

class BucketRegion : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.start()) << server.errorString().toStdString();
        ASSERT_TRUE(s3.setConfig(
            NorvikTest::s3Config(server.url(), QStringLiteral("V4"), QStringLiteral("eu-west-3"))));
    }

    void answer(int status, const QByteArray& body, const QByteArray& regionHeader = QByteArray())
    {
        server.setHandler([=](const Server::Request&) {
            Server::Response response = Server::Response::make(status, body);
            if (!regionHeader.isEmpty())
                response.withHeader("x-amz-bucket-region", regionHeader);
            return response;
        });
    }

    static QByteArray location(const QByteArray& text)
    {
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<LocationConstraint xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\">" +
               text + "</LocationConstraint>";
    }

    Server server;
    CloudAmazonS3Like s3{Type::AmazonS3Like};
};

TEST_F(BucketRegion, IsAskedOfTheLocationInTheDefaultRegion)
{
    answer(200, location("ap-south-1"));
    EXPECT_EQ(s3.checkBucketRegion(QStringLiteral("bucket")), "ap-south-1");
    ASSERT_EQ(server.requestCount(), 1);
    const Server::Request request = server.requests().at(0);
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.target, "/bucket/?location=");
    // The configured region may be the wrong one: the request is signed for the default.
    EXPECT_THAT(request.header("Authorization").toStdString(),
                ::testing::HasSubstr("/us-east-1/s3/aws4_request"));
}

TEST_F(BucketRegion, IsTranslatedOrTakenFromTheRefusalsThatNameIt)
{
    const QByteArray redirect =
        "<Error><Code>TemporaryRedirect</Code><Endpoint>bucket.s3.sa-east-1.amazonaws.com</Endpoint></Error>";
    const QByteArray malformed = "<Error><Code>AuthorizationHeaderMalformed</Code><Message>m</Message>";
    const std::tuple<int, QByteArray, QByteArray, QString> cases[] = {
        {200, location(""), {}, "us-east-1"},
        {200, "<LocationConstraint/>", {}, "us-east-1"},
        {200, location("EU"), {}, "eu-west-1"},
        {400, malformed + "<Region>eu-north-1</Region></Error>", {}, "eu-north-1"},
        {307, redirect, "sa-east-1", "sa-east-1"},
    };
    for (const auto& [status, body, header, region] : cases) {
        answer(status, body, header);
        EXPECT_EQ(s3.checkBucketRegion(QStringLiteral("bucket")), region) << body.toStdString();
    }
    // A refusal that does not say the region leaves as it came.
    answer(307, redirect);
    EXPECT_THROW(s3.checkBucketRegion(QStringLiteral("bucket")), Exception::TemporaryRedirect);
    answer(400, malformed + "</Error>");
    EXPECT_THROW(s3.checkBucketRegion(QStringLiteral("bucket")), Exception::Operation);
}

} // namespace
