#include "connection/AmazonCloudError.h"
#include "connection/BackBlazeCloudError.h"
#include "connection/CloudErrorFactory.h"
#include "connection/FileSourceCloudError.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace Norvik::Cloud;

namespace {

QByteArray encode(const QJsonObject& object)
{
    return QJsonDocument(object).toJson().toBase64();
}

QSharedPointer<Error::CloudErrorBase> rebuild(const QByteArray& record)
{
    return Error::CloudErrorFactory()(record);
}

const QByteArray SkewedBody = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                              "<Error><Code>RequestTimeTooSkewed</Code>"
                              "<Message>The difference between the request time and the current time is too "
                              "large.</Message>"
                              "<RequestTime>Mon, 20 Nov 2023 10:00:00 GMT</RequestTime>"
                              "<ServerTime>2023-11-20T10:20:00Z</ServerTime>"
                              "<MaxAllowedSkewMilliseconds>900000</MaxAllowedSkewMilliseconds>"
                              "<RequestId>4442587FB7D0A2F9</RequestId></Error>";

} // namespace

// What a client receives must rebuild into the same class with the same fields: each record's
// text form, read back through the factory.
TEST(CloudErrorRecord, EveryRecordRoundTripsThroughTheFactoryAsItsOwnClass)
{
    Error::FileSource::SourceFileModified modified;
    modified.setMessage(QStringLiteral("The file changed"));
    modified.setPath(QStringLiteral("/home/ana/Documents/été.odt"));
    auto readModified = rebuild(modified.toByteArray()).dynamicCast<Error::FileSource::SourceFileModified>();
    ASSERT_TRUE(readModified);
    EXPECT_EQ(readModified->type(), 90001);
    EXPECT_EQ(readModified->path(), modified.path());
    EXPECT_EQ(readModified->message(), modified.message());

    // The text is Base64 of JSON, as clients store it.
    EXPECT_EQ(QJsonDocument::fromJson(QByteArray::fromBase64(modified.toByteArray()))
                  .object()
                  .value(QStringLiteral("type"))
                  .toInt(),
              90001);

    auto skewed = Error::Amazon::RequestTimeTooSkewed::fromResponse(SkewedBody);
    ASSERT_TRUE(skewed);
    auto readSkewed = rebuild(skewed->toByteArray()).dynamicCast<Error::Amazon::RequestTimeTooSkewed>();
    ASSERT_TRUE(readSkewed);
    EXPECT_EQ(readSkewed->requestTime(), skewed->requestTime());
    EXPECT_EQ(readSkewed->serverTime(), skewed->serverTime());
    EXPECT_EQ(readSkewed->diffSecs(), -1200);
    EXPECT_EQ(readSkewed->rawBody(), QString::fromUtf8(SkewedBody));
    EXPECT_EQ(readSkewed->message(), skewed->message());

    Error::BackBlaze::FileNotPresent notPresent;
    notPresent.setRawBody(QStringLiteral("{\"code\":\"file_not_present\"}"));
    auto readNotPresent = rebuild(notPresent.toByteArray()).dynamicCast<Error::BackBlaze::FileNotPresent>();
    ASSERT_TRUE(readNotPresent);
    EXPECT_EQ(readNotPresent->rawBody(), notPresent.rawBody());

    auto readIllegal = rebuild(Error::PathContainsIllegalSymbols().toByteArray());
    ASSERT_TRUE(readIllegal.dynamicCast<Error::PathContainsIllegalSymbols>());
}

TEST(CloudErrorRecord, FactoryRefusesMalformedAndMistypedRecords)
{
    const QJsonObject pathRecord{{QStringLiteral("type"), 90001},
                                 {QStringLiteral("path"), QStringLiteral("/p")}};
    ASSERT_TRUE(rebuild(encode(pathRecord)));

    const QList<QPair<const char*, QByteArray>> refused = {
        {"empty object", QByteArrayLiteral("e30=")},
        {"empty text", QByteArray()},
        {"not Base64", QByteArrayLiteral("{\"type\": 90001}")},
        {"Base64 of no JSON", QByteArrayLiteral("not json").toBase64()},
        {"Base64 of an array", QByteArrayLiteral("[90001]").toBase64()},
        {"type 0", encode({{QStringLiteral("type"), 0}})},
        {"unknown type", encode({{QStringLiteral("type"), 4242}})},
        {"type as text", encode({{QStringLiteral("type"), QStringLiteral("1001")}})},
        {"fractional type", encode({{QStringLiteral("type"), 1001.5}})},
        {"type beyond int", encode({{QStringLiteral("type"), 4294968297.0}})},
        {"message not a string", encode({{QStringLiteral("type"), 1001}, {QStringLiteral("message"), 7}})},
        {"raw body not a string",
         encode({{QStringLiteral("type"), 20001}, {QStringLiteral("raw_body"), true}})},
        {"path missing", encode({{QStringLiteral("type"), 90002}})},
        {"path not a string", encode({{QStringLiteral("type"), 90001}, {QStringLiteral("path"), 1}})},
        {"server time missing",
         encode({{QStringLiteral("type"), 10001}, {QStringLiteral("RequestTime"), QStringLiteral("")}})},
        {"request time not a string", encode({{QStringLiteral("type"), 10001},
                                              {QStringLiteral("ServerTime"), QStringLiteral("")},
                                              {QStringLiteral("RequestTime"), 3}})},
    };
    for (const auto& [what, record] : refused)
        EXPECT_FALSE(rebuild(record)) << what;
}

TEST(CloudErrorRecord, ReaderOfOneClassRefusesAnotherClassAndRecovers)
{
    Error::FileSource::SourceFileModified modified;
    modified.setPath(QStringLiteral("/modified"));
    Error::FileSource::SourceFileDeleted deleted;
    deleted.setPath(QStringLiteral("/deleted"));

    Error::FileSource::SourceFileDeleted reader;
    EXPECT_FALSE(reader.fromByteArray(modified.toByteArray()));
    // A failed read leaves the object half filled, but the next read is judged afresh.
    EXPECT_TRUE(reader.fromByteArray(deleted.toByteArray()));
    EXPECT_EQ(reader.path(), QStringLiteral("/deleted"));
    EXPECT_EQ(reader.type(), 90002);

    Error::BackBlaze::FileNotPresent notPresent;
    EXPECT_FALSE(notPresent.fromByteArray(Error::PathContainsIllegalSymbols().toByteArray()));
    Error::Amazon::S3TransferAcceleration acceleration;
    EXPECT_FALSE(acceleration.fromByteArray(notPresent.toByteArray()));
    Error::Amazon::RequestTimeTooSkewed skewed;
    EXPECT_FALSE(skewed.fromByteArray(acceleration.toByteArray()));
    Error::PathContainsIllegalSymbols illegal;
    EXPECT_FALSE(illegal.fromByteArray(deleted.toByteArray()));

    // The plain reader takes any record.
    Error::CloudErrorBase plain;
    EXPECT_TRUE(plain.fromByteArray(deleted.toByteArray()));
    EXPECT_EQ(plain.type(), 90002);
}

TEST(CloudErrorRecord, BackBlazeIllegalPathIsRebuiltAsTheGeneralRecord)
{
    const QByteArray body = R"({"status":400,"code":"bad_request",)"
                            R"("message":"File names must not contain DELETE"})";
    auto record = Error::BackBlaze::PathContainsIllegalSymbols::fromResponse(body);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->type(), 1001);

    auto rebuilt = rebuild(record->toByteArray());
    ASSERT_TRUE(rebuilt.dynamicCast<Error::PathContainsIllegalSymbols>());
    EXPECT_FALSE(rebuilt.dynamicCast<Error::BackBlaze::PathContainsIllegalSymbols>());
    EXPECT_EQ(rebuilt->message(), QStringLiteral("File names must not contain DELETE"));
}

TEST(CloudErrorRecord, ClockSkewIsReadFromTheServiceAnswer)
{
    auto skewed = Error::Amazon::RequestTimeTooSkewed::fromResponse(SkewedBody);
    ASSERT_TRUE(skewed);
    EXPECT_EQ(skewed->message(),
              QStringLiteral("The difference between the request time and the current time is too large."));
    EXPECT_EQ(skewed->requestTime().toUTC(), QDateTime(QDate(2023, 11, 20), QTime(10, 0), Qt::UTC));
    EXPECT_EQ(skewed->serverTime().toUTC(), QDateTime(QDate(2023, 11, 20), QTime(10, 20), Qt::UTC));
    // The request was made 20 minutes before the service's time.
    EXPECT_EQ(skewed->diffSecs(), -1200);

    // Version 4 requests carry a time that is not RFC 2822: the skew is unknown, not wrong.
    QByteArray v4Body = SkewedBody;
    v4Body.replace("Mon, 20 Nov 2023 10:00:00 GMT", "20231120T100000Z");
    auto v4 = Error::Amazon::RequestTimeTooSkewed::fromResponse(v4Body);
    ASSERT_TRUE(v4);
    EXPECT_EQ(v4->diffSecs(), 0);

    EXPECT_FALSE(Error::Amazon::RequestTimeTooSkewed::fromResponse(
        "<Error><Code>AccessDenied</Code><Message>Access Denied</Message></Error>"));
    EXPECT_FALSE(Error::Amazon::RequestTimeTooSkewed::fromResponse("<html><body>503</body></html>"));
    EXPECT_FALSE(Error::Amazon::RequestTimeTooSkewed::fromResponse("RequestTimeTooSkewed"));
    EXPECT_FALSE(Error::Amazon::RequestTimeTooSkewed::fromResponse(QByteArray()));
}

TEST(CloudErrorRecord, ServiceAnswersAreRecognisedOnlyByTheirExactCodesAndTexts)
{
    using Error::Amazon::S3TransferAcceleration;
    EXPECT_TRUE(S3TransferAcceleration::fromResponse("<Error><Code>InvalidRequest</Code><Message>S3 Transfer "
                                                     "Acceleration is disabled on this bucket</Message>"
                                                     "</Error>"));
    EXPECT_FALSE(S3TransferAcceleration::fromResponse(
        "<Error><Code>InvalidRequest</Code><Message>s3 transfer acceleration is disabled</Message></Error>"));
    EXPECT_FALSE(S3TransferAcceleration::fromResponse(
        "<Error><Code>InvalidArgument</Code><Message>S3 Transfer Acceleration</Message></Error>"));

    using Error::BackBlaze::FileNotPresent;
    auto notPresent = FileNotPresent::fromResponse(
        R"({"status":400,"code":"file_not_present","message":"File not present: 4_z27c88f1d182b150646ff0b16"})");
    ASSERT_TRUE(notPresent);
    EXPECT_EQ(notPresent->message(), QStringLiteral("File not present: 4_z27c88f1d182b150646ff0b16"));
    EXPECT_TRUE(notPresent->rawBody().contains(QStringLiteral("file_not_present")));
    EXPECT_FALSE(FileNotPresent::fromResponse(R"({"status":400,"code":"bad_request","message":"x"})"));
    EXPECT_FALSE(FileNotPresent::fromResponse("file_not_present"));
    EXPECT_FALSE(FileNotPresent::fromResponse(R"(["file_not_present"])"));

    using IllegalPath = Error::BackBlaze::PathContainsIllegalSymbols;
    EXPECT_TRUE(IllegalPath::fromResponse(
        R"({"code":"bad_request","message":"File names must not contain unicode characters with codes less than 32: a\u0001b"})"));
    EXPECT_FALSE(IllegalPath::fromResponse(
        R"({"code":"bad_request","message":"file names must not contain DELETE"})"));
    EXPECT_FALSE(
        IllegalPath::fromResponse(R"({"code":"bad_json","message":"File names must not contain DELETE"})"));
}
