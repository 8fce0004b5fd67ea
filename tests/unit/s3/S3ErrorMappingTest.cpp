// From an error answer of an S3 service to one exception: the mapping by status and code,
// the fallbacks for services that send less, and what the transport and the S3 request loop
// then do with each class.

#include "s3/CloudAmazonS3LikePrivate.h"

#include "connection/AmazonCloudError.h"
#include "connection/Exception.h"
#include "info/Config.h"

#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <NorvikCore/GlobalConfig.h>

#include <gmock/gmock.h>

#include <functional>
#include <typeinfo>

namespace {

using Norvik::Cloud::Type;
using Norvik::Cloud::Api::CloudAmazonS3LikePrivate;
using Server = NorvikTest::ScriptedHttpServer;
using HeaderMap = CloudAmazonS3LikePrivate::HeaderMap;
namespace Exception = Norvik::Cloud::Api::Exception;
namespace Keys = Norvik::Cloud::Config::AmazonS3Like;

const QString Unhandled = QStringLiteral("Unhandled runtime exception, please contact Support");

QByteArray errorDocument(const QString& code, const QString& message = QString(),
                         const QList<QPair<QString, QString>>& more = {})
{
    QByteArray body = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Error><Code>" + code.toUtf8() + "</Code>";
    if (!message.isNull())
        body += "<Message>" + message.toUtf8() + "</Message>";
    for (const auto& element : more)
        body += "<" + element.first.toUtf8() + ">" + element.second.toUtf8() + "</" + element.first.toUtf8() +
                ">";
    body += "<RequestId>4442587FB7D0A2F9</RequestId></Error>";
    return body;
}

// What an exception of the Operation branch carried.
struct Thrown
{
    const std::type_info* type = nullptr;
    int code = -1;
    bool retry = false;
    QString message;
    QByteArray data;
};

Thrown thrownBy(const std::function<void()>& call)
{
    try {
        call();
    } catch (const Exception::Operation& e) {
        return {&typeid(e), e.code(), e.retry(), e.message(), e.data()};
    }
    return {};
}

// The private half with credentials, as the connections configure it.
class S3Private : public CloudAmazonS3LikePrivate
{
public:
    S3Private()
        : CloudAmazonS3LikePrivate(Type::AmazonS3Like)
    {
        EXPECT_TRUE(setConfig({{Keys::AccessKey, "key"}, {Keys::SecretKey, "secret"}}));
    }
};

struct MappingRow
{
    const char* name;
    int status;
    QByteArray body;
    const std::type_info& type;
    int code;
    bool retry;
    QString message;
};

void PrintTo(const MappingRow& row, std::ostream* out)
{
    *out << row.name;
}

class ErrorMapping : public ::testing::TestWithParam<MappingRow>
{
};

TEST_P(ErrorMapping, ThrowsTheClassCodeRetryFlagAndTextOfTheRow)
{
    const MappingRow& row = GetParam();
    S3Private s3;
    const Thrown thrown =
        thrownBy([&] { s3.exceptionFactory(HeaderMap(), HeaderMap(), row.status, row.body); });
    ASSERT_NE(thrown.type, nullptr) << "nothing of the Operation branch was thrown";
    EXPECT_EQ(*thrown.type, row.type) << "thrown: " << thrown.type->name();
    EXPECT_EQ(thrown.code, row.code);
    EXPECT_EQ(thrown.retry, row.retry);
    EXPECT_EQ(thrown.message, row.message);
    // The body travels with the exception, for the logs.
    EXPECT_EQ(thrown.data, row.body);
}

const QString SkewText = QStringLiteral(
    "Your computer clock is not synchronized. For security reasons, Amazon generates errors when "
    "your clock is not synchronized. Check out https://time.is to synchronize your clock.");

// clang-format off
INSTANTIATE_TEST_SUITE_P(BadRequest, ErrorMapping, ::testing::Values(
    MappingRow{"MalformedAuthorizationWithRegion", 400,
        errorDocument("AuthorizationHeaderMalformed", "the region 'us-east-1' is wrong", {{"Region", "eu-west-1"}}),
        typeid(Exception::WrongRegion), 400, false, "the region 'us-east-1' is wrong"},
    MappingRow{"MalformedAuthorizationWithoutRegionFallsThrough", 400,
        errorDocument("AuthorizationHeaderMalformed", "malformed"),
        typeid(Exception::Operation), 400, false, "malformed"},
    MappingRow{"InvalidRequestAskingForVersion4", 400,
        errorDocument("InvalidRequest", "The authorization mechanism you have provided is not supported. Please use AWS4-HMAC-SHA256."),
        typeid(Exception::WrongAutorizationType), 400, false,
        "The authorization mechanism you have provided is not supported. Please use AWS4-HMAC-SHA256."},
    MappingRow{"InvalidRequestAboutAcceleration", 400,
        errorDocument("InvalidRequest", "S3 Transfer Acceleration is not configured on this bucket"),
        typeid(Exception::S3TransferAccelerationError), 400, false,
        "S3 Transfer Acceleration is not configured on this bucket"},
    MappingRow{"OtherInvalidRequest", 400, errorDocument("InvalidRequest", "Missing required header"),
        typeid(Exception::InvalidRequest), 400, false, "Missing required header"},
    MappingRow{"InvalidArgumentNamedGetsTheDefaultText", 400,
        errorDocument("InvalidArgument", QString(), {{"ArgumentName", "x-amz-acl"}}),
        typeid(Exception::InvalidArgument), 400, false, "Invalid Argument"},
    MappingRow{"InvalidBucketName", 400, errorDocument("InvalidBucketName", QString(), {{"BucketName", "A_B"}}),
        typeid(Exception::InvalidContainerName), 400, false, "The specified bucket is not valid."},
    MappingRow{"RequestTimeoutIsRetryable", 400, errorDocument("RequestTimeout"),
        typeid(Exception::RequestTimeout), 400, true,
        "Your socket connection to the server was not read from or written to within the timeout period."},
    MappingRow{"EntityTooSmallShowsTheLaterShortText", 400, errorDocument("EntityTooSmall"),
        typeid(Exception::MultipartUploadError), 400, false,
        "Your proposed upload is smaller than the minimum allowed object size."},
    MappingRow{"InvalidPartKeepsTheServiceMessage", 400, errorDocument("InvalidPart", "part 2 is missing"),
        typeid(Exception::MultipartUploadError), 400, false, "part 2 is missing"},
    MappingRow{"UnknownCodeWithoutMessage", 400, errorDocument("SomethingNew"),
        typeid(Exception::Operation), 400, false, Unhandled},
    MappingRow{"EmptyBody", 400, QByteArray(), typeid(Exception::Operation), 400, false, Unhandled}));

INSTANTIATE_TEST_SUITE_P(Forbidden, ErrorMapping, ::testing::Values(
    MappingRow{"AccessDenied", 403, errorDocument("AccessDenied"),
        typeid(Exception::AccessDenied), 403, false, "Access Denied"},
    MappingRow{"SignatureDoesNotMatch", 403, errorDocument("SignatureDoesNotMatch", "check your key"),
        typeid(Exception::SignatureDoesNotMatch), 403, false, "check your key"},
    MappingRow{"UnknownAccessKey", 403, errorDocument("InvalidAccessKeyId"),
        typeid(Exception::InvalidAutorizationAccount), 403, false,
        "The AWS access key Id you provided does not exist in our records."},
    MappingRow{"ClockSkewAlwaysShowsTheAdvice", 403,
        errorDocument("RequestTimeTooSkewed", "The difference is too large.",
                      {{"RequestTime", "Wed, 31 Jan 2024 23:00:00 GMT"}, {"ServerTime", "2024-01-31T23:20:00Z"}}),
        typeid(Exception::ComputerClockIsNotSynchronize), 403, false, SkewText},
    MappingRow{"AuthMethodNotRecognizedIgnoresTheServiceText", 403,
        errorDocument("AuthMethodNotRecognized", "whatever the service says"),
        typeid(Exception::InvalidAutorizationAccount), 403, false, "Cloud storage unsupported this auth method"},
    MappingRow{"InvalidTierIsRetryable", 403, errorDocument("InvalidTier", "no expedited"),
        typeid(Exception::ArchiveInvalidTier), 403, true,
        "Retrieval option is not supported by this storage class."},
    MappingRow{"UnknownCode", 403, errorDocument("AccountProblem", "account problem"),
        typeid(Exception::Operation), 403, false, "account problem"},
    MappingRow{"NoDocument", 403, QByteArray(), typeid(Exception::Operation), 403, false, Unhandled}));

INSTANTIATE_TEST_SUITE_P(NotFound, ErrorMapping, ::testing::Values(
    MappingRow{"NoBodyMeansNoObject", 404, QByteArray(),
        typeid(Exception::NoContent), 404, false, "No Content"},
    MappingRow{"NoSuchBucket", 404, errorDocument("NoSuchBucket"),
        typeid(Exception::ContainerDoesNotExist), 404, false, "The specified bucket does not exist."},
    MappingRow{"NoSuchKeyKeeps404", 404, errorDocument("NoSuchKey"),
        typeid(Exception::NoContent), 404, false, "The specified key does not exist."},
    MappingRow{"NoSuchUpload", 404, errorDocument("NoSuchUpload"),
        typeid(Exception::MultipartInvalidUploadId), 404, false,
        "The specified multipart upload does not exist. The upload ID might be invalid, or the multipart upload "
        "might have been aborted or completed."},
    MappingRow{"UnknownCode", 404, errorDocument("NoSuchWebsiteConfiguration", "no website"),
        typeid(Exception::Operation), 404, false, "no website"}));

INSTANTIATE_TEST_SUITE_P(OtherStatuses, ErrorMapping, ::testing::Values(
    MappingRow{"NoContent", 204, QByteArray(), typeid(Exception::NoContent), 204, false, "No Content"},
    MappingRow{"TemporaryRedirectWithoutEndpoint", 307, errorDocument("TemporaryRedirect", "go elsewhere"),
        typeid(Exception::Operation), 307, false, "go elsewhere"},
    MappingRow{"RestoreAlreadyInProgress", 409, errorDocument("RestoreAlreadyInProgress"),
        typeid(Exception::ArchiveRestoreAlreadyInProgress), 409, false, "Object restore is already in progress."},
    MappingRow{"InternalErrorIgnoresTheServiceText", 500, errorDocument("InternalError", "oops"),
        typeid(Exception::Operation), 500, true, "We encountered an internal error. Please try again."},
    MappingRow{"NotImplemented", 501, errorDocument("NotImplemented", "no such feature"),
        typeid(Exception::NotImplemented), 501, false, "no such feature"},
    MappingRow{"HtmlServiceUnavailable", 503, "<html><h1>503 Service Unavailable</h1></html>",
        typeid(Exception::TemporarilyUnavailable), 503, true, "Service Unavailable"},
    MappingRow{"SlowDown", 503, errorDocument("SlowDown"),
        typeid(Exception::SlowDown), 503, true, "Please reduce your request rate."},
    MappingRow{"UnknownServiceUnavailableStaysRetryable", 503, errorDocument("Maintenance", "down for maintenance"),
        typeid(Exception::TemporarilyUnavailable), 503, true, "down for maintenance"},
    MappingRow{"UnlistedStatusIsRetryable", 502, "<html>bad gateway</html>",
        typeid(Exception::Operation), 502, true, "Unknown operation (http) error"}));
// clang-format on

TEST(ErrorMappingDetails, ExceptionsCarryWhatTheirCallersReadBack)
{
    S3Private s3;
    try {
        s3.exceptionFactory(
            {}, {}, 400,
            errorDocument("AuthorizationHeaderMalformed", "wrong region", {{"Region", "ap-south-1"}}));
        FAIL() << "nothing thrown";
    } catch (const Exception::WrongRegion& e) {
        EXPECT_EQ(e.region(), "ap-south-1");
    }
    const HeaderMap responseHeaders{{"x-amz-bucket-region", "eu-central-1"}, {"server", "AmazonS3"}};
    try {
        s3.exceptionFactory(
            {}, responseHeaders, 307,
            errorDocument("TemporaryRedirect", QString(),
                          {{"Endpoint", "bucket.s3.eu-central-1.amazonaws.com"}, {"Bucket", "bucket"}}));
        FAIL() << "nothing thrown";
    } catch (const Exception::TemporaryRedirect& e) {
        EXPECT_EQ(e.code(), 307);
        EXPECT_FALSE(e.retry());
        EXPECT_EQ(e.endpoint().host(), "bucket.s3.eu-central-1.amazonaws.com");
        EXPECT_EQ(e.headers(), responseHeaders);
        EXPECT_EQ(e.message(), "You are being redirected to the bucket while DNS updates.");
    }
    try {
        s3.exceptionFactory({}, {{"location", "https://elsewhere.example/bucket/"}}, 301, QByteArray());
        FAIL() << "nothing thrown";
    } catch (const Exception::MovedPermanently& e) {
        EXPECT_EQ(e.endpoint(), QUrl("https://elsewhere.example/bucket/"));
    }
}

// --- Through the transport and the S3 request loop -----------------------------------------

class ErrorHandling : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.start()) << server.errorString().toStdString();
        s3.setEndpoint(server.url(QStringLiteral("/")));
        attempts = Norvik::Core::GlobalConfig::instance().retryAttempts();
        ASSERT_GE(attempts, 2);
    }

    // Every request is answered with status and body.
    void answerAlways(int status, const QByteArray& body)
    {
        server.setHandler(
            [status, body](const Server::Request&) { return Server::Response::make(status, body); });
    }

    Thrown getObject()
    {
        return thrownBy([this] {
            HeaderMap headers;
            QByteArray out;
            s3.get(QStringLiteral("bucket"), QStringLiteral("/key"), QUrlQuery(), headers, true, out);
        });
    }

    Server server;
    S3Private s3;
    int attempts = 0;
};

TEST_F(ErrorHandling, DefiniteAnswersLeaveOnTheFirstAttempt)
{
    answerAlways(403, errorDocument("AccessDenied"));
    EXPECT_EQ(*getObject().type, typeid(Exception::AccessDenied));
    EXPECT_EQ(server.requestCount(), 1);

    server.clearRequests();
    answerAlways(404, errorDocument("NoSuchKey"));
    EXPECT_EQ(*getObject().type, typeid(Exception::NoContent));
    EXPECT_EQ(server.requestCount(), 1);

    // A redirect that names no endpoint is below 400 and not retryable: one attempt.
    server.clearRequests();
    answerAlways(307, errorDocument("TemporaryRedirect", "moved"));
    const Thrown redirect = getObject();
    EXPECT_EQ(*redirect.type, typeid(Exception::Operation));
    EXPECT_EQ(redirect.code, 307);
    EXPECT_EQ(server.requestCount(), 1);
}

TEST_F(ErrorHandling, InternalErrorsAreRetriedByTheTransportOnly)
{
    answerAlways(500, errorDocument("InternalError", "oops"));
    const Thrown thrown = getObject();
    EXPECT_EQ(*thrown.type, typeid(Exception::Operation));
    EXPECT_EQ(thrown.message, "We encountered an internal error. Please try again.");
    EXPECT_EQ(server.requestCount(), attempts);
}

TEST_F(ErrorHandling, SignatureMismatchIsSignedAgainAndRepeated)
{
    int calls = 0;
    server.setHandler([&calls](const Server::Request&) {
        return ++calls == 1 ? Server::Response::make(403, errorDocument("SignatureDoesNotMatch"))
                            : Server::Response::ok("content");
    });
    HeaderMap headers;
    QByteArray out;
    s3.get(QStringLiteral("bucket"), QStringLiteral("/key"), QUrlQuery(), headers, true, out);
    EXPECT_EQ(out, "content");
    ASSERT_EQ(server.requestCount(), 2);
    // The second attempt carries one signature of its own, not the first one's as well.
    EXPECT_EQ(server.requests().at(1).headerValues("Authorization").size(), 1);

    server.clearRequests();
    answerAlways(403, errorDocument("SignatureDoesNotMatch"));
    EXPECT_EQ(*getObject().type, typeid(Exception::SignatureDoesNotMatch));
    EXPECT_EQ(server.requestCount(), attempts);
}

TEST_F(ErrorHandling, SlowDownIsRetriedOnBothLevelsAndLeavesAsTemporarilyUnavailable)
{
    answerAlways(503, errorDocument("SlowDown"));
    const Thrown thrown = getObject();
    EXPECT_EQ(*thrown.type, typeid(Exception::TemporarilyUnavailable));
    EXPECT_EQ(thrown.message, "Please reduce your request rate.");
    EXPECT_EQ(server.requestCount(), attempts * attempts);
}

TEST_F(ErrorHandling, BrokenConnectionsAreRetriedOnBothLevels)
{
    server.setHandler([](const Server::Request&) {
        Server::Response response = Server::Response::ok("never delivered");
        response.raw = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n";
        response.closeAfterBodyBytes = 0;
        response.reset = true;
        return response;
    });
    try {
        HeaderMap headers;
        QByteArray out;
        s3.get(QStringLiteral("bucket"), QStringLiteral("/key"), QUrlQuery(), headers, true, out);
        FAIL() << "nothing thrown";
    } catch (const Exception::Network&) {
        // The class depends on how the reset reaches libcurl: a connection or TLS-level error.
    }
    EXPECT_EQ(server.requestCount(), attempts * attempts);
}

} // namespace
