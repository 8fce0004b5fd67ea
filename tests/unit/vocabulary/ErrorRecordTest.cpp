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
