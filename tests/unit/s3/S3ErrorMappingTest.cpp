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
#include <tuple>
#include <typeinfo>

namespace {

using Norvik::Cloud::Type;
using Norvik::Cloud::Api::CloudAmazonS3LikePrivate;
using Server = NorvikTest::ScriptedHttpServer;
using HeaderMap = CloudAmazonS3LikePrivate::HeaderMap;
namespace Exception = Norvik::Cloud::Api::Exception;
namespace Keys = Norvik::Cloud::Config::AmazonS3Like;

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
    bool retry;
};

void PrintTo(const MappingRow& row, std::ostream* out)
{
    *out << row.name;
}

class ErrorMapping : public ::testing::TestWithParam<MappingRow>
{
};

TEST_P(ErrorMapping, ThrowsTheClassAndRetryFlagOfTheRow)
{
    const MappingRow& row = GetParam();
    S3Private s3;
    const Thrown thrown =
        thrownBy([&] { s3.exceptionFactory(HeaderMap(), HeaderMap(), row.status, row.body); });
    ASSERT_NE(thrown.type, nullptr) << "nothing of the Operation branch was thrown";
    EXPECT_EQ(*thrown.type, row.type) << "thrown: " << thrown.type->name();
    EXPECT_EQ(thrown.code, row.status);
    EXPECT_EQ(thrown.retry, row.retry);
    EXPECT_FALSE(thrown.message.isEmpty());
    // The body travels with the exception, for the logs.
    EXPECT_EQ(thrown.data, row.body);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(ByStatusAndCode, ErrorMapping, ::testing::Values(
    MappingRow{"MalformedAuthorizationWithRegion", 400, errorDocument("AuthorizationHeaderMalformed", "m",
        {{"Region", "eu-west-1"}}), typeid(Exception::WrongRegion), false},
    MappingRow{"MalformedAuthorizationWithoutRegion", 400, errorDocument("AuthorizationHeaderMalformed", "m"),
        typeid(Exception::Operation), false},
    MappingRow{"InvalidRequestAskingForVersion4", 400, errorDocument("InvalidRequest",
        "The authorization mechanism you have provided is not supported. Please use AWS4-HMAC-SHA256."),
        typeid(Exception::WrongAutorizationType), false},
    MappingRow{"InvalidRequestAboutAcceleration", 400, errorDocument("InvalidRequest",
        "S3 Transfer Acceleration is not configured on this bucket"), typeid(Exception::S3TransferAccelerationError), false},
    MappingRow{"OtherInvalidRequest", 400, errorDocument("InvalidRequest", "x"), typeid(Exception::InvalidRequest), false},
    MappingRow{"InvalidArgument", 400, errorDocument("InvalidArgument", QString(), {{"ArgumentName", "x-amz-acl"}}), typeid(Exception::InvalidArgument), false},
    MappingRow{"InvalidBucketName", 400, errorDocument("InvalidBucketName"), typeid(Exception::InvalidContainerName), false},
    MappingRow{"RequestTimeout", 400, errorDocument("RequestTimeout"), typeid(Exception::RequestTimeout), true},
    MappingRow{"EntityTooSmall", 400, errorDocument("EntityTooSmall"), typeid(Exception::MultipartUploadError), false},
    MappingRow{"AccessDenied", 403, errorDocument("AccessDenied"), typeid(Exception::AccessDenied), false},
    MappingRow{"UnknownAccessKey", 403, errorDocument("InvalidAccessKeyId"), typeid(Exception::InvalidAutorizationAccount), false},
    MappingRow{"ClockSkew", 403, errorDocument("RequestTimeTooSkewed"), typeid(Exception::ComputerClockIsNotSynchronize), false},
    MappingRow{"InvalidTier", 403, errorDocument("InvalidTier"), typeid(Exception::ArchiveInvalidTier), true},
    MappingRow{"NoBodyMeansNoObject", 404, QByteArray(), typeid(Exception::NoContent), false},
    MappingRow{"NoSuchBucket", 404, errorDocument("NoSuchBucket"), typeid(Exception::ContainerDoesNotExist), false},
    MappingRow{"NoSuchUpload", 404, errorDocument("NoSuchUpload"), typeid(Exception::MultipartInvalidUploadId), false},
    MappingRow{"NoContent", 204, QByteArray(), typeid(Exception::NoContent), false},
    MappingRow{"RestoreInProgress", 409, errorDocument("RestoreAlreadyInProgress"), typeid(Exception::ArchiveRestoreAlreadyInProgress), false},
    MappingRow{"InternalError", 500, errorDocument("InternalError"), typeid(Exception::Operation), true},
    MappingRow{"NotImplemented", 501, errorDocument("NotImplemented", "x"), typeid(Exception::NotImplemented), false},
    MappingRow{"HtmlServiceUnavailable", 503, "<html>503</html>", typeid(Exception::TemporarilyUnavailable), true},
    MappingRow{"SlowDown", 503, errorDocument("SlowDown"), typeid(Exception::SlowDown), true}));
// clang-format on

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

// How many requests one call sends: definite answers one, errors the transport retries one
// round of attempts, and those the S3 request loop retries as well a round of rounds.
TEST_F(ErrorHandling, EachClassIsRetriedOnItsLevels)
{
    const std::tuple<int, QByteArray, const std::type_info&, int> cases[] = {
        {403, errorDocument("AccessDenied"), typeid(Exception::AccessDenied), 1},
        {404, errorDocument("NoSuchKey"), typeid(Exception::NoContent), 1},
        {307, errorDocument("TemporaryRedirect", "moved"), typeid(Exception::Operation), 1},
        {500, errorDocument("InternalError", "oops"), typeid(Exception::Operation), attempts},
        {503, errorDocument("SlowDown"), typeid(Exception::TemporarilyUnavailable), attempts * attempts},
    };
    for (const auto& [status, body, type, requests] : cases) {
        SCOPED_TRACE(body.toStdString());
        server.clearRequests();
        answerAlways(status, body);
        const Thrown thrown = getObject();
        ASSERT_NE(thrown.type, nullptr);
        EXPECT_EQ(*thrown.type, type) << thrown.type->name();
        EXPECT_EQ(server.requestCount(), requests);
    }
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

} // namespace
