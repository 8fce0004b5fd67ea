#include "operations/ContainerParams.h"

#include "TestSupport.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

namespace ContainerParams = Norvik::Cloud::ContainerParams;

namespace {

QJsonObject json(const char* text)
{
    return QJsonDocument::fromJson(text).object();
}

} // namespace

TEST(ContainerParamsTest, S3LikeNeedsOnlyANameAndWritesTheRegionOnlyWhenThereIsOne)
{
    const ContainerParams::AmazonS3Like nameOnly(json(R"({"name":"a"})"));
    EXPECT_TRUE(nameOnly.isValid());
    EXPECT_EQ(nameOnly.name(), QStringLiteral("a"));
    EXPECT_FALSE(nameOnly.useRegion());
    EXPECT_EQ(nameOnly.json(), json(R"({"name":"a"})"));

    const ContainerParams::AmazonS3Like withRegion(json(R"({"name":"a","region":"eu-west-1"})"));
    EXPECT_TRUE(withRegion.useRegion());
    EXPECT_EQ(withRegion.json(), json(R"({"name":"a","region":"eu-west-1"})"));

    // The family's keys are lower case: "Name" is no name here.
    const ContainerParams::AmazonS3Like wrongCase(json(R"({"Name":"a","region":"eu-west-1"})"));
    EXPECT_FALSE(wrongCase.isValid());
    EXPECT_TRUE(wrongCase.name().isEmpty());
    EXPECT_TRUE(wrongCase.region().isEmpty());

    EXPECT_TRUE(ContainerParams::AmazonS3Like(QStringLiteral("b")).isValid());
    EXPECT_FALSE(ContainerParams::AmazonS3Like(QStringLiteral("b")).useRegion());
    EXPECT_FALSE(ContainerParams::AmazonS3Like().isValid());
}

TEST(ContainerParamsTest, AmazonS3NeedsNameAndRegionAndIsEmptyWhenInvalid)
{
    const ContainerParams::AmazonS3 nameOnly(json(R"({"name":"a"})"));
    EXPECT_FALSE(nameOnly.isValid());
    EXPECT_TRUE(nameOnly.name().isEmpty());

    const ContainerParams::AmazonS3 both(json(R"({"name":"a","region":""})"));
    EXPECT_TRUE(both.isValid());
    // Every field is written, the empty region too.
    EXPECT_EQ(both.json(), json(R"({"name":"a","region":""})"));

    const ContainerParams::AmazonS3 fromFields(QStringLiteral("a"), QString());
    EXPECT_TRUE(fromFields.isValid());
    EXPECT_EQ(ContainerParams::AmazonS3(fromFields.json()).name(), QStringLiteral("a"));
}

TEST(ContainerParamsTest, AzureReadsItsAccessTypeWithoutRequiringIt)
{
    const ContainerParams::AzureBlob nameOnly(json(R"({"name":"box"})"));
    EXPECT_TRUE(nameOnly.isValid());
    EXPECT_TRUE(nameOnly.accessType().isEmpty());

    const ContainerParams::AzureBlob full(json(R"({"name":"box","AccessType":"blob"})"));
    EXPECT_EQ(full.accessType(), QStringLiteral("blob"));
    EXPECT_EQ(full.json(), json(R"({"name":"box","AccessType":"blob"})"));

    EXPECT_FALSE(ContainerParams::AzureBlob(json(R"({"AccessType":"blob"})")).isValid());
    EXPECT_TRUE(ContainerParams::AzureBlob(QString(), QString()).isValid());
}

TEST(ContainerParamsTest, GoogleTestsPresenceFromJsonButEmptinessFromFields)
{
    const ContainerParams::GoogleStorage presentButEmpty(
        json(R"({"Name":"g","Region":"","StorageType":"STANDARD"})"));
    EXPECT_TRUE(presentButEmpty.isValid());
    EXPECT_EQ(presentButEmpty.storageType(), QStringLiteral("STANDARD"));

    EXPECT_FALSE(ContainerParams::GoogleStorage(json(R"({"Name":"g","Region":"EU"})")).isValid());
    EXPECT_FALSE(
        ContainerParams::GoogleStorage(json(R"({"name":"g","Region":"EU","StorageType":"S"})")).isValid());

    EXPECT_FALSE(
        ContainerParams::GoogleStorage(QStringLiteral("g"), QString(), QStringLiteral("STANDARD")).isValid());
    const ContainerParams::GoogleStorage full(QStringLiteral("g"), QStringLiteral("EU"),
                                              QStringLiteral("NEARLINE"));
    EXPECT_TRUE(full.isValid());
    EXPECT_EQ(full.json(), json(R"({"Name":"g","Region":"EU","StorageType":"NEARLINE"})"));
}

TEST(ContainerParamsTest, BackBlazeAndOpenStackUseCapitalisedKeys)
{
    const ContainerParams::BackBlaze b2(json(R"({"Name":"bucket","AccessType":"allPrivate"})"));
    EXPECT_TRUE(b2.isValid());
    EXPECT_EQ(b2.json(), json(R"({"Name":"bucket","AccessType":"allPrivate"})"));
    EXPECT_FALSE(ContainerParams::BackBlaze(json(R"({"Name":"bucket"})")).isValid());
    EXPECT_FALSE(ContainerParams::BackBlaze(QStringLiteral("bucket"), QString()).isValid());

    const ContainerParams::OpenStack swift(json(R"({"Name":"c"})"));
    EXPECT_TRUE(swift.isValid());
    EXPECT_EQ(swift.json(), json(R"({"Name":"c"})"));
    EXPECT_FALSE(ContainerParams::OpenStack(json(R"({"name":"c"})")).isValid());
    EXPECT_FALSE(ContainerParams::OpenStack(QString()).isValid());
    // Present counts, even when empty.
    EXPECT_TRUE(ContainerParams::OpenStack(json(R"({"Name":""})")).isValid());
}
