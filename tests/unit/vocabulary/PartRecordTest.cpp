#include "connection/MultipartListPartObject.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

#include <limits>

using namespace Norvik::Cloud;

// Part sizes and numbers travel between threads as JSON: as decimal texts they survive values a
// double would round.
TEST(MultipartListPartObject, NumbersAreDecimalTextsAndSurviveBeyondDoublePrecision)
{
    const Api::MultipartListPartObject fromService(
        QJsonObject{{QStringLiteral("PartNumber"), QStringLiteral("3")},
                    {QStringLiteral("Size"), QStringLiteral("5242880")},
                    {QStringLiteral("ETag"), QStringLiteral("\"9b2cf535f27731c974343645a3985328\"")}});
    EXPECT_EQ(fromService.partNumber(), 3u);
    EXPECT_EQ(fromService.size(), 5242880u);
    EXPECT_EQ(fromService.eTag(), QByteArray("\"9b2cf535f27731c974343645a3985328\""));

    Api::MultipartListPartObject part;
    part.setPartNumber(10000);
    part.setSize(std::numeric_limits<quint64>::max());
    EXPECT_TRUE(part.json().value(QStringLiteral("Size")).isString());
    EXPECT_EQ(part.json().value(QStringLiteral("PartNumber")).toString(), QStringLiteral("10000"));
    const Api::MultipartListPartObject read(
        QJsonDocument::fromJson(QJsonDocument(part.json()).toJson()).object());
    EXPECT_EQ(read.size(), std::numeric_limits<quint64>::max());

    // A number where a text belongs, or a text that is no number, reads as 0 rather than as garbage.
    EXPECT_EQ(Api::MultipartListPartObject(QJsonObject{{QStringLiteral("Size"), 5242880}}).size(), 0u);
    EXPECT_EQ(
        Api::MultipartListPartObject(QJsonObject{{QStringLiteral("Size"), QStringLiteral("5MB")}}).size(),
        0u);
}
