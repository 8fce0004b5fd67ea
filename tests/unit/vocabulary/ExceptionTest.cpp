#include "connection/Exception.h"
#include "connection/AmazonCloudError.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <functional>

using namespace Norvik::Cloud::Api;

namespace {

struct Expected
{
    const char* name;
    std::function<void()> raise;
    int status;
    bool retry;
};

} // namespace

// The job boundary maps classes to result codes and the request loops retry by retry(): every
// class of the service branch must carry the status and retry flag its constructor fixes.
TEST(ExceptionFamily, OperationClassesFixTheirStatusAndRetryFlag)
{
    const QByteArray body = "<Error/>";
    const QString text = QStringLiteral("text");
    const QList<Expected> table = {
        {"InvalidData", [&] { throw Exception::InvalidData(body); }, 200, false},
        {"NoContent()", [] { throw Exception::NoContent(); }, 204, false},
        {"NoContent(404)", [&] { throw Exception::NoContent(404, body, text); }, 404, false},
        {"UnsupportedOperation", [] { throw Exception::UnsupportedOperation(); }, 0, false},
        {"WrongAutorizationType", [&] { throw Exception::WrongAutorizationType(body, text); }, 400, false},
        {"ContainerDoesNotExist", [&] { throw Exception::ContainerDoesNotExist(body, text); }, 404, false},
        {"InvalidArgument", [&] { throw Exception::InvalidArgument(body, text, text); }, 400, false},
        {"InvalidContainerName", [&] { throw Exception::InvalidContainerName(body, text, text); }, 400,
         false},
        {"WrongRegion", [&] { throw Exception::WrongRegion(body, text, text); }, 400, false},
        {"TemporaryRedirect", [&] { throw Exception::TemporaryRedirect(body, text, QUrl(), {}); }, 307,
         false},
        {"MovedPermanently", [&] { throw Exception::MovedPermanently(body, text, QUrl()); }, 301, false},
        {"SignatureDoesNotMatch", [&] { throw Exception::SignatureDoesNotMatch(body, text); }, 403, false},
        {"BadRequest", [&] { throw Exception::BadRequest(body, text); }, 400, false},
        {"InvalidAutorizationAccount", [&] { throw Exception::InvalidAutorizationAccount(body, text); }, 403,
         false},
        {"ComputerClockIsNotSynchronize", [&] { throw Exception::ComputerClockIsNotSynchronize(body, text); },
         403, false},
        {"S3TransferAccelerationError", [&] { throw Exception::S3TransferAccelerationError(body, text); },
         400, false},
        {"PathContainsIllegalSymbols", [&] { throw Exception::PathContainsIllegalSymbols(body, text); }, 400,
         false},
        {"ContentSHA256Mismatch", [&] { throw Exception::ContentSHA256Mismatch(body, text); }, 400, false},
        {"RequestTimeout", [&] { throw Exception::RequestTimeout(body, text); }, 400, true},
        {"AccessDenied", [&] { throw Exception::AccessDenied(body, text); }, 403, false},
        {"CreateContainerError", [&] { throw Exception::CreateContainerError(body, text); }, 403, false},
        {"CreateDestinationFileError", [&] { throw Exception::CreateDestinationFileError(body, text, text); },
         403, false},
        {"InvalidObjectName", [&] { throw Exception::InvalidObjectName(body, text); }, 400, false},
        {"CreateObjectError", [&] { throw Exception::CreateObjectError(body, text); }, 400, false},
        {"DownloadDataError()", [] { throw Exception::DownloadDataError(); }, 0, false},
        {"DownloadDataError(416)", [&] { throw Exception::DownloadDataError(416, body, text); }, 416, false},
        {"InvalidObjectState", [&] { throw Exception::InvalidObjectState(body, text); }, 403, false},
        {"AllAccessDisabled", [&] { throw Exception::AllAccessDisabled(body, text); }, 403, false},
        {"ArchiveRestoreAlreadyInProgress",
         [&] { throw Exception::ArchiveRestoreAlreadyInProgress(body, text); }, 409, false},
        {"ArchiveNotAvailable", [&] { throw Exception::ArchiveNotAvailable(body, text); }, 503, true},
        {"ArchiveInvalidTier", [&] { throw Exception::ArchiveInvalidTier(body, text); }, 403, true},
        {"NotSupportedStorageClass", [&] { throw Exception::NotSupportedStorageClass(body, text); }, 400,
         false},
        {"InvalidResourceName", [&] { throw Exception::InvalidResourceName(body, text); }, 400, false},
        {"MultipartUploadError", [&] { throw Exception::MultipartUploadError(body, text); }, 400, false},
        {"MultipartInvalidUploadId", [&] { throw Exception::MultipartInvalidUploadId(body, text); }, 404,
         false},
        {"InvalidRequest", [&] { throw Exception::InvalidRequest(body, text); }, 400, false},
        {"PermissionError", [] { throw Exception::PermissionError(Exception::PermissionError::Delete); }, 401,
         false},
        {"TemporarilyUnavailable", [&] { throw Exception::TemporarilyUnavailable(body, text); }, 503, true},
        {"SlowDown", [&] { throw Exception::SlowDown(body, text); }, 503, true},
        {"NotImplemented", [&] { throw Exception::NotImplemented(body, text); }, 501, false},
        {"NoSuchLifecycleConfiguration", [&] { throw Exception::NoSuchLifecycleConfiguration(body, text); },
         404, false},
        {"ResumeIncomplete", [] { throw Exception::ResumeIncomplete("bytes=0-42", "md5"); }, 308, false},
        {"AutorizationResult", [] { throw Exception::AutorizationResult({}); }, 204, false},
        {"AzureBlob::RefreshSasToken", [&] { throw Exception::AzureBlob::RefreshSasToken(body, text); }, 403,
         false},
        {"BackBlaze::UnAuthorized", [&] { throw Exception::BackBlaze::UnAuthorized(body, text); }, 401,
         false},
        {"BackBlaze::TooManyRequests", [&] { throw Exception::BackBlaze::TooManyRequests(body, text); }, 429,
         false},
        {"BackBlaze::ServiceUnavailable", [&] { throw Exception::BackBlaze::ServiceUnavailable(body, text); },
         503, false},
        {"BackBlaze::AuthTokenLimit", [&] { throw Exception::BackBlaze::AuthTokenLimit(body, text); }, 400,
         false},
        {"BackBlaze::FileNotPresent", [&] { throw Exception::BackBlaze::FileNotPresent(body, text); }, 400,
         false},
        {"BackBlaze::InternalError", [&] { throw Exception::BackBlaze::InternalError(body, text); }, 500,
         false},
        {"BackBlaze::PathContainsIllegalSymbols",
         [&] { throw Exception::BackBlaze::PathContainsIllegalSymbols(body, text); }, 400, false},
    };
    for (const Expected& row : table) {
        try {
            row.raise();
            ADD_FAILURE() << row.name << " was not thrown";
        } catch (const Exception::Operation& e) {
            EXPECT_EQ(e.code(), row.status) << row.name;
            EXPECT_EQ(e.retry(), row.retry) << row.name;
        } catch (...) {
            ADD_FAILURE() << row.name << " is not an Exception::Operation";
        }
    }
}

TEST(ExceptionFamily, TransportFailuresAreRetriedAndCaughtByTheirBranch)
{
    const auto caughtAs = [](const std::function<void()>& raise) {
        QStringList levels;
        try {
            raise();
        } catch (const Exception::SslProblem& e) {
            levels << QStringLiteral("SslProblem");
            EXPECT_TRUE(e.retry());
        } catch (const Exception::Network& e) {
            levels << QStringLiteral("Network");
            EXPECT_TRUE(e.retry());
        } catch (const Exception::ClientRuntimeError& e) {
            levels << QStringLiteral("ClientRuntimeError");
            EXPECT_TRUE(e.retry());
        } catch (const Exception::Operation&) {
            levels << QStringLiteral("Operation");
        } catch (const Exception::Base& e) {
            levels << QStringLiteral("Base");
            EXPECT_FALSE(e.retry());
        }
        return levels.join(QString());
    };
    EXPECT_EQ(caughtAs([] { throw Exception::SslConnectionError(35, QStringLiteral("handshake")); }),
              QStringLiteral("SslProblem"));
    EXPECT_EQ(caughtAs([] { throw Exception::ConnectionError(7, QStringLiteral("refused")); }),
              QStringLiteral("Network"));
    EXPECT_EQ(caughtAs([] { throw Exception::HostNotResolved(6, QStringLiteral("dns")); }),
              QStringLiteral("Network"));
    EXPECT_EQ(caughtAs([] { throw Exception::NetworkTimeout(28, QStringLiteral("slow")); }),
              QStringLiteral("Network"));
    // A missing local file is no network trouble, though it is retried like one.
    EXPECT_EQ(
        caughtAs([] { throw Exception::FileNotFound(37, QStringLiteral("no file"), QStringLiteral("/x")); }),
        QStringLiteral("ClientRuntimeError"));
    EXPECT_EQ(caughtAs([] { throw Exception::Terminated(); }), QStringLiteral("Base"));
    EXPECT_EQ(caughtAs([] { throw Exception::InternalError(QStringLiteral("bug")); }),
              QStringLiteral("Base"));
    EXPECT_EQ(caughtAs([] { throw Exception::Unknown(); }), QStringLiteral("Base"));
    EXPECT_EQ(caughtAs([] { throw Exception::DataWritingError(); }), QStringLiteral("Base"));
    EXPECT_EQ(caughtAs([] { throw Exception::SlowDown({}, {}); }), QStringLiteral("Operation"));

    try {
        throw Exception::SslConnectionError(35, QStringLiteral("handshake failed"));
    } catch (const Norvik::Exception::Base& e) {
        // Caught at the root of the platform library, the message and the libcurl code are still there.
        EXPECT_EQ(e.message(), QStringLiteral("handshake failed"));
        EXPECT_STREQ(e.what(), "handshake failed");
        const auto* network = dynamic_cast<const Exception::Network*>(&e);
        ASSERT_NE(network, nullptr);
        EXPECT_EQ(network->code(), 35);
    }

    EXPECT_EQ(Exception::FileNotFound(37, QStringLiteral("m"), QStringLiteral("/x")).path(),
              QStringLiteral("/x"));
    EXPECT_FALSE(Exception::Operation(500, QByteArray(), QStringLiteral("x"), false).retry());
    EXPECT_TRUE(Exception::Network(7, QStringLiteral("x")).retry());
}

TEST(ExceptionFamily, DefaultMessagesAreTheUntranslatedLiterals)
{
    EXPECT_EQ(Exception::Terminated().message(), QStringLiteral("Command is terminated by user"));
    EXPECT_EQ(Exception::Unknown().message(), QStringLiteral("Unknown exception"));
    EXPECT_EQ(Exception::Unknown(QStringLiteral("given")).message(), QStringLiteral("given"));
    EXPECT_EQ(Exception::DataWritingError().message(), QStringLiteral("Data writing was interrupted."));
    EXPECT_EQ(Exception::InvalidData("x").message(), QStringLiteral("Invalid data format"));
    EXPECT_EQ(Exception::NoContent().message(), QStringLiteral("No Content"));
    EXPECT_EQ(Exception::UnsupportedOperation().message(),
              QStringLiteral("Operation is not supported in this cloud"));
    EXPECT_EQ(Exception::DownloadDataError().message(), QStringLiteral("Unknown error on download data"));
    EXPECT_EQ(Exception::AutorizationResult({}).message(), QStringLiteral("OpenStack autorization result"));

    EXPECT_TRUE(Exception::UnsupportedOperation().data().isEmpty());
    EXPECT_TRUE(Exception::NoContent().data().isEmpty());
    const Exception::PermissionError permission(Exception::PermissionError::ListFiles);
    EXPECT_EQ(permission.type(), 2);
    EXPECT_TRUE(permission.message().isEmpty());
    EXPECT_TRUE(permission.data().isEmpty());
}

TEST(ExceptionFamily, FieldsOfTheRicherClassesSurviveACopyAndRethrow)
{
    const QMap<QByteArray, QByteArray> headers{{"x-amz-bucket-region", "eu-central-1"}};
    try {
        try {
            throw Exception::TemporaryRedirect(
                "<Error/>", QStringLiteral("moved"),
                QUrl(QStringLiteral("https://b.s3.eu-central-1.amazonaws.com")), headers);
        } catch (const Exception::Operation& e) {
            // What a request loop does: keep a copy of the last failure and throw it later.
            const auto* redirect = dynamic_cast<const Exception::TemporaryRedirect*>(&e);
            ASSERT_NE(redirect, nullptr);
            const Exception::TemporaryRedirect stored(*redirect);
            throw stored;
        }
    } catch (const Exception::TemporaryRedirect& e) {
        EXPECT_EQ(e.headers(), headers);
        EXPECT_EQ(e.endpoint().host(), QStringLiteral("b.s3.eu-central-1.amazonaws.com"));
        EXPECT_EQ(e.data(), QByteArray("<Error/>"));
        EXPECT_EQ(e.message(), QStringLiteral("moved"));
    }

    const Exception::ResumeIncomplete resume("bytes=0-1023", "a1b2");
    EXPECT_EQ(resume.range(), QByteArray("bytes=0-1023"));
    EXPECT_EQ(resume.hash(), QByteArray("a1b2"));
    EXPECT_TRUE(resume.message().isEmpty());
    EXPECT_EQ(Exception::WrongRegion({}, {}, QStringLiteral("us-west-2")).region(),
              QStringLiteral("us-west-2"));
    EXPECT_EQ(Exception::InvalidArgument({}, {}, QStringLiteral("max-keys")).argument(),
              QStringLiteral("max-keys"));
    EXPECT_EQ(Exception::InvalidContainerName({}, {}, QStringLiteral("B")).name(), QStringLiteral("B"));
    EXPECT_EQ(Exception::CreateDestinationFileError({}, {}, QStringLiteral("/t")).path(),
              QStringLiteral("/t"));
}

// Only these classes carry a record, and only when the body is what the record describes: a
// null record keeps "CloudError" out of the result.
TEST(ExceptionFamily, ClassesWithCloudErrorsBuildThemFromTheBody)
{
    const QByteArray skewBody = "<Error><Code>RequestTimeTooSkewed</Code><Message>skew</Message>"
                                "<RequestTime>Mon, 20 Nov 2023 10:00:00 GMT</RequestTime>"
                                "<ServerTime>2023-11-20T09:59:00Z</ServerTime></Error>";
    const Exception::ComputerClockIsNotSynchronize skew(skewBody, QStringLiteral("clock"));
    auto record = skew.cloudError().dynamicCast<Norvik::Cloud::Error::Amazon::RequestTimeTooSkewed>();
    ASSERT_TRUE(record);
    EXPECT_EQ(record->diffSecs(), 60);
    EXPECT_FALSE(Exception::ComputerClockIsNotSynchronize("<Error><Code>AccessDenied</Code></Error>", {})
                     .cloudError());

    const QByteArray accelerationBody =
        "<Error><Code>InvalidRequest</Code>"
        "<Message>S3 Transfer Acceleration is not configured</Message></Error>";
    EXPECT_EQ(Exception::S3TransferAccelerationError(accelerationBody, {}).cloudError()->type(), 10002);
    EXPECT_FALSE(Exception::S3TransferAccelerationError("<Error><Code>InvalidRequest</Code></Error>", {})
                     .cloudError());

    EXPECT_EQ(Exception::BackBlaze::FileNotPresent(R"({"code":"file_not_present","message":"gone"})", {})
                  .cloudError()
                  ->message(),
              QStringLiteral("gone"));
    EXPECT_FALSE(Exception::BackBlaze::FileNotPresent("not json", {}).cloudError());

    try {
        throw Exception::BackBlaze::PathContainsIllegalSymbols(
            R"({"code":"bad_request","message":"File names must not contain DELETE"})",
            QStringLiteral("name"));
    } catch (const Exception::PathContainsIllegalSymbols& e) {
        ASSERT_TRUE(e.cloudError());
        EXPECT_EQ(e.cloudError()->type(), 1001);
        EXPECT_EQ(e.code(), 400);
    }

    EXPECT_FALSE(Exception::PathContainsIllegalSymbols("{}", {}).cloudError());
    EXPECT_FALSE(Exception::AccessDenied(skewBody, {}).cloudError());
}

TEST(ExceptionFamily, LegacyAuthorisationResultCarriesTokenAndStorageAddress)
{
    const Exception::AutorizationResult both({{"x-subject-token", "subject"},
                                              {"x-auth-token", "auth"},
                                              {"x-storage-url", "https://swift.example.net/v1/AUTH_acc"}});
    EXPECT_EQ(both.token(), QByteArray("subject"));
    EXPECT_EQ(both.endpoint(), QUrl(QStringLiteral("https://swift.example.net/v1/AUTH_acc/")));
    // The storage address is a base for relative paths.
    EXPECT_EQ(both.endpoint().resolved(QUrl(QStringLiteral("container/object"))).path(),
              QStringLiteral("/v1/AUTH_acc/container/object"));

    const Exception::AutorizationResult legacy(
        {{"x-auth-token", "auth"}, {"x-storage-url", "https://swift.example.net/v1/AUTH_acc/"}});
    EXPECT_EQ(legacy.token(), QByteArray("auth"));
    EXPECT_EQ(legacy.endpoint().toString(), QStringLiteral("https://swift.example.net/v1/AUTH_acc/"));

    const Exception::AutorizationResult empty({});
    EXPECT_TRUE(empty.token().isEmpty());
    EXPECT_TRUE(empty.endpoint().isEmpty());
    EXPECT_EQ(empty.code(), 204);
}
