#include "LogCapture.h"
#include "TestSupport.h"

#include "connection/CloudErrorFactory.h"
#include "connection/Exception.h"
#include "engine/JobFormat.h"
#include "engine/OperationJob.h"
#include "info/Config.h"
#include "storage/CloudFileSystem.h"

#include <NorvikStreams/SourceFileException.h>

#include <gtest/gtest.h>

#include <QJsonObject>
#include <QUuid>

#include <cctype>
#include <functional>
#include <stdexcept>

using namespace Norvik::Cloud;
namespace Exception = Norvik::Cloud::Api::Exception;
using NorvikTest::LogCapture;

namespace {

const QString ThrowingJob = QStringLiteral("test_throwing_job");

// What the throwing job function throws next. exec() runs on the test's thread here, so a
// plain global is enough.
std::function<void()> g_raise;

QJsonDocument throwingJob(Api::IConnection*, const QJsonObject&)
{
    g_raise();
    ADD_FAILURE() << "the job function was expected to throw";
    return QJsonDocument();
}

const QByteArray SkewBody = "<Error><Code>RequestTimeTooSkewed</Code><Message>clock is off</Message>"
                            "<RequestTime>Mon, 20 Nov 2023 10:00:00 GMT</RequestTime>"
                            "<ServerTime>2023-11-20T10:20:00Z</ServerTime></Error>";
const QByteArray AccelerationBody =
    "<Error><Code>InvalidRequest</Code><Message>S3 Transfer Acceleration is not configured</Message></Error>";
const QByteArray FileNotPresentBody =
    R"({"status":400,"code":"file_not_present","message":"File not present"})";
const QByteArray IllegalNameBody =
    R"({"status":400,"code":"bad_request","message":"File names must not contain unicode characters with codes less than 32"})";

// One row of the failure map as a client sees it. code -1: no "ErrorCode" in the result;
// cloudErrorType 0: no "CloudError".
struct FailureCase
{
    const char* name;
    std::function<void()> raise;
    int code;
    QString message;
    int cloudErrorType;
};

template <class E, class... Args>
std::function<void()> raise(Args... args)
{
    return [=] { throw E(args...); };
}

QString text(const char* literal)
{
    return QString::fromUtf8(literal);
}

// One row per distinct outcome: classes with a row of their own, classes that must land on the
// row of their nearest listed base, and what is no member of the family at all. Codes that the
// conformance and reliability runs see end to end (wrong credentials, unsupported operations,
// network and service failures) are left to them.
const std::vector<FailureCase>& failureCases()
{
    static const std::vector<FailureCase> cases = {
        {"BadRequest", raise<Exception::BadRequest>(QByteArray("body-1"), text("bad")), 7, "bad", 0},
        {"ContainerDoesNotExist",
         raise<Exception::ContainerDoesNotExist>(QByteArray("body-2"), text("no bucket")), 6, "no bucket", 0},
        {"InvalidObjectState", raise<Exception::InvalidObjectState>(QByteArray("body-10"), text("glacier")),
         18, "glacier", 0},
        {"NoContent with a body", raise<Exception::NoContent>(404, QByteArray("body-11"), text("gone")), 13,
         "gone", 0},
        {"NotSupportedStorageClass",
         raise<Exception::NotSupportedStorageClass>(QByteArray("body-12"), text("tier")), 20, "tier", 0},
        {"DataWritingError", raise<Exception::DataWritingError>(), 23, "Data writing was interrupted.", 0},
        {"ComputerClockIsNotSynchronize with a skew record",
         raise<Exception::ComputerClockIsNotSynchronize>(SkewBody, text("skew")), 29, "skew", 10001},
        {"S3TransferAccelerationError",
         raise<Exception::S3TransferAccelerationError>(AccelerationBody, text("acc")), 29, "acc", 10002},
        {"BackBlaze::FileNotPresent",
         raise<Exception::BackBlaze::FileNotPresent>(FileNotPresentBody, text("fnp")), 13, "fnp", 20001},
        {"CreateDestinationFileError",
         raise<Exception::CreateDestinationFileError>(QByteArray("body-19"), text("mkdir"),
                                                      text("/restore/a")),
         14, "mkdir", 0},
        {"PermissionError ReadAndList",
         raise<Exception::PermissionError>(Exception::PermissionError::ReadAndList), 24, "Permission error",
         0},
        {"PermissionError of an unknown type",
         raise<Exception::PermissionError>(static_cast<Exception::PermissionError::Type>(9)), -1,
         "Permission error", 0},
        {"AllAccessDisabled", raise<Exception::AllAccessDisabled>(QByteArray("body-21"), text("off")), 10,
         "off", 0},
        {"SslProblem", raise<Exception::SslProblem>(60, text("cert")), 5, "cert", 0},
        {"Terminated", raise<Exception::Terminated>(), 21, "Command is terminated by user", 0},
        {"InternalError", raise<Exception::InternalError>(text("bug")), 3, "bug", 0},
        {"FileNotFound", raise<Exception::FileNotFound>(37, text("no file"), text("/key")), 13, "no file", 0},
        {"Base", raise<Exception::Base>(text("base"), false), 1, "base", 0},

        // Classes without a row of their own.
        {"AccessDenied", raise<Exception::AccessDenied>(QByteArray("b"), text("denied")), 2, "denied", 0},
        // Not the library's own InternalError: a service's 500 is a cloud operation failure.
        {"BackBlaze::InternalError",
         raise<Exception::BackBlaze::InternalError>(QByteArray("b"), text("b2 500")), 2, "b2 500", 0},
        {"BackBlaze::PathContainsIllegalSymbols",
         raise<Exception::BackBlaze::PathContainsIllegalSymbols>(IllegalNameBody, text("b2 name")), 29,
         "b2 name", 1001},
        // A client runtime failure is not a network failure, and only its subclass has a row.
        {"ClientRuntimeError", raise<Exception::ClientRuntimeError>(26, text("read callback")), 1,
         "read callback", 0},

        // Not members of the family.
        // Same name as a family member, other library: no code 8 here.
        {"streams' UnsupportedOperation",
         raise<Norvik::Stream::Exception::UnsupportedOperation>(text("no seek")), 1, "no seek", 0},
        {"std::runtime_error", raise<std::runtime_error>("boom"), 1, "boom", 0},
        {"bare QString", raise<QString>(text("listing walked off")), 1, "Unknown error", 0},
    };
    return cases;
}

class JobExec : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { OperationJob::addJobFunction(ThrowingJob, &throwingJob); }

    static QJsonObject job(const QString& type)
    {
        return {{JobFormat::Type, type},
                {JobFormat::Id, QUuid::createUuid().toString()},
                {JobFormat::TaskId, QUuid::createUuid().toString()},
                {Config::Type, QStringLiteral("FileSystem")},
                {QStringLiteral("Path"), QStringLiteral("/kept/as/given")}};
    }

    Api::CloudFileSystem m_connection;
};

class JobExecFailure : public JobExec, public ::testing::WithParamInterface<FailureCase>
{
};

TEST_P(JobExecFailure, ExceptionBecomesItsErrorResult)
{
    const FailureCase& failure = GetParam();
    LogCapture log;
    g_raise = failure.raise;
    const QJsonObject sent = job(ThrowingJob);

    const QJsonDocument document = OperationJob::exec(&m_connection, QJsonDocument(sent));

    ASSERT_TRUE(document.isObject());
    const QJsonObject result = document.object();
    EXPECT_EQ(result.value(JobFormat::Result::Status::Key).toString(), QStringLiteral("Error"));
    if (failure.code < 0) {
        EXPECT_FALSE(result.contains(JobFormat::Result::ErrorCode))
            << result.value(JobFormat::Result::ErrorCode).toInt();
    } else {
        EXPECT_EQ(result.value(JobFormat::Result::ErrorCode).toInt(-1), failure.code);
    }
    EXPECT_EQ(result.value(JobFormat::Result::ErrorMessage).toString(), failure.message);

    if (failure.cloudErrorType == 0) {
        EXPECT_FALSE(result.contains(JobFormat::Result::CloudError));
    } else {
        const QSharedPointer<Error::CloudErrorBase> record =
            Error::CloudErrorFactory()(result.value(JobFormat::Result::CloudError).toString().toUtf8());
        ASSERT_TRUE(record);
        EXPECT_EQ(record->type(), failure.cloudErrorType);
    }

    // The error result is the job itself: nothing of the job is lost.
    for (auto it = sent.constBegin(); it != sent.constEnd(); ++it)
        EXPECT_EQ(result.value(it.key()), it.value()) << it.key().toStdString();

    // Every failure leaves one warning line.
    EXPECT_EQ(log.count({QStringLiteral("WARNING")}), 1) << log.lines().join('\n').toStdString();
}

INSTANTIATE_TEST_SUITE_P(FailureMap, JobExecFailure, ::testing::ValuesIn(failureCases()),
                         [](const ::testing::TestParamInfo<FailureCase>& param) {
                             std::string name;
                             for (const char c : std::string(param.param.name))
                                 name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             return name;
                         });

TEST_F(JobExec, UnknownTypeIsAnErrorWithoutCode)
{
    const QJsonObject sent = job(QStringLiteral("no_such_job"));
    const QJsonObject result = OperationJob::exec(&m_connection, QJsonDocument(sent)).object();
    EXPECT_EQ(result.value(JobFormat::Result::Status::Key).toString(), QStringLiteral("Error"));
    EXPECT_FALSE(result.contains(JobFormat::Result::ErrorCode));
    EXPECT_EQ(result.value(JobFormat::Id), sent.value(JobFormat::Id));
}

} // namespace
