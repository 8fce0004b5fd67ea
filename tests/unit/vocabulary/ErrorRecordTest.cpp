#include "connection/CloudErrorFactory.h"

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

} // namespace

TEST(CloudErrorRecord, FactoryRefusesMalformedAndMistypedRecords)
{
    const QJsonObject pathRecord{{QStringLiteral("type"), 90001},
                                 {QStringLiteral("path"), QStringLiteral("/p")}};
    ASSERT_TRUE(rebuild(encode(pathRecord)));

    const QList<QPair<const char*, QByteArray>> refused = {
        {"empty object", QByteArrayLiteral("e30=")},
        {"not Base64", QByteArrayLiteral("{\"type\": 90001}")},
        {"Base64 of no JSON", QByteArrayLiteral("not json").toBase64()},
        {"unknown type", encode({{QStringLiteral("type"), 4242}})},
        {"type as text", encode({{QStringLiteral("type"), QStringLiteral("1001")}})},
        {"type beyond int", encode({{QStringLiteral("type"), 4294968297.0}})},
        {"message not a string", encode({{QStringLiteral("type"), 1001}, {QStringLiteral("message"), 7}})},
        {"raw body not a string",
         encode({{QStringLiteral("type"), 20001}, {QStringLiteral("raw_body"), true}})},
        {"path missing", encode({{QStringLiteral("type"), 90002}})},
        {"server time missing",
         encode({{QStringLiteral("type"), 10001}, {QStringLiteral("RequestTime"), QStringLiteral("")}})},
        {"request time not a string", encode({{QStringLiteral("type"), 10001},
                                              {QStringLiteral("ServerTime"), QStringLiteral("")},
                                              {QStringLiteral("RequestTime"), 3}})},
    };
    for (const auto& [what, record] : refused)
        EXPECT_FALSE(rebuild(record)) << what;
}
