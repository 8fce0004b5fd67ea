#include "info/AmazonS3Info.h"
#include "info/S3LikeRegionListUpdater.h"
#include "info/WasabiInfo.h"

#include <gtest/gtest.h>

using namespace Norvik::Cloud;
using Info::RegionMap;
using Info::S3LikeRegionListUpdater;

namespace {

QByteArray regionList(const QByteArray& regions)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<RegionList xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
           "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"><Regions>" +
           regions + "</Regions></RegionList>";
}

} // namespace

TEST(RegionList, BuiltInListsAreCompleteAndUsedUntilAFetch)
{
    const RegionMap amazon =
        S3LikeRegionListUpdater::instance(S3LikeRegionListUpdater::AmazonS3).defaultRegions();
    EXPECT_EQ(amazon.size(), 28);
    EXPECT_EQ(amazon.value(QStringLiteral("us-east-1")),
              qMakePair(QStringLiteral("US East (Northern Virginia)"), QStringLiteral("s3")));
    EXPECT_EQ(amazon.value(QStringLiteral("il-central-1")),
              qMakePair(QStringLiteral("Israel (Tel Aviv)"), QStringLiteral("s3.il-central-1")));
    // The symbolic names of these two rows are crossed in the file; only the display names count.
    EXPECT_EQ(amazon.value(QStringLiteral("ap-northeast-3")).first,
              QStringLiteral("Asia Pacific (Osaka-Local)"));
    EXPECT_EQ(amazon.value(QStringLiteral("ap-northeast-2")).first, QStringLiteral("Asia Pacific (Seoul)"));
    EXPECT_EQ(amazon.value(QStringLiteral("ap-southeast-4")).first,
              QStringLiteral("Asia Pacific (Melbourne)"));
    for (auto it = amazon.constBegin(); it != amazon.constEnd(); ++it) {
        if (it.key() != QLatin1String("us-east-1")) {
            EXPECT_EQ(it.value().second, QStringLiteral("s3.") + it.key());
        }
        EXPECT_FALSE(it.value().first.isEmpty()) << it.key().toStdString();
    }

    const RegionMap wasabi =
        S3LikeRegionListUpdater::instance(S3LikeRegionListUpdater::Wasabi).defaultRegions();
    EXPECT_EQ(wasabi.size(), 13);
    EXPECT_EQ(wasabi.value(QStringLiteral("us-central-1")).first,
              QStringLiteral("US Central (Plano, Texas)"));
    EXPECT_EQ(wasabi.value(QStringLiteral("ap-southeast-1")),
              qMakePair(QStringLiteral("Asia Pacific (Singapore)"), QStringLiteral("s3.ap-southeast-1")));
    // Any selector other than Amazon's is Wasabi's.
    EXPECT_EQ(&S3LikeRegionListUpdater::instance(static_cast<S3LikeRegionListUpdater::Type>(7)),
              &S3LikeRegionListUpdater::instance(S3LikeRegionListUpdater::Wasabi));

    // Request paths never download: without a fetched list the descriptors answer from the built-in one.
    EXPECT_TRUE(S3LikeRegionListUpdater::instance(S3LikeRegionListUpdater::AmazonS3).regions().isEmpty());
    EXPECT_EQ(Info::AmazonS3().regions(false), amazon);
    EXPECT_EQ(Info::NorvikUbAmazonS3().regions(false), amazon);
    EXPECT_EQ(Info::Wasabi().regions(false), wasabi);
    EXPECT_EQ(Info::NorvikUbWasabi().regions(false), wasabi);
}

TEST(RegionList, ParseTakesIdAndDisplayNameAndDerivesThePrefix)
{
    RegionMap out;
    ASSERT_TRUE(S3LikeRegionListUpdater::parse(
        regionList("<Region><Id>0</Id><Name>US</Name><DisplayName>Virginia</DisplayName>"
                   "<Endpoint>us-east-1</Endpoint></Region>"
                   // The file's own idea of a host is never read.
                   "<Region><DisplayName>Oregon</DisplayName><Endpoint>us-west-2</Endpoint>"
                   "<Prefix>s3-us-west-2</Prefix><Name>s3-us-west-2</Name></Region>"
                   "<Region><Endpoint>eu-south-2</Endpoint></Region>"
                   "<Region><DisplayName>No id</DisplayName></Region>"
                   "<Region><DisplayName>Empty id</DisplayName><Endpoint></Endpoint></Region>"
                   "<Other><Endpoint>xx-1</Endpoint></Other>"),
        out));
    const RegionMap expected{
        {QStringLiteral("us-east-1"), {QStringLiteral("Virginia"), QStringLiteral("s3")}},
        {QStringLiteral("us-west-2"), {QStringLiteral("Oregon"), QStringLiteral("s3.us-west-2")}},
        {QStringLiteral("eu-south-2"), {QString(), QStringLiteral("s3.eu-south-2")}},
    };
    EXPECT_EQ(out, expected);

    ASSERT_TRUE(S3LikeRegionListUpdater::parse(regionList(""), out));
    EXPECT_TRUE(out.isEmpty());
}

TEST(RegionList, ParseRefusesTextThatIsNoRegionListAndLeavesNothingBehind)
{
    const RegionMap filled{{QStringLiteral("stale"), {QStringLiteral("Stale"), QStringLiteral("s3.stale")}}};
    const QList<QPair<const char*, QByteArray>> refused = {
        {"empty", QByteArray()},
        {"not XML", "us-east-1;us-west-2"},
        {"unclosed", "<RegionList><Regions><Region><Endpoint>us-east-1</Endpoint>"},
        {"HTML page", "<html><body><h1>404 Not Found</h1></body></html>"},
        {"no Regions", "<RegionList><Region><Endpoint>us-east-1</Endpoint></Region></RegionList>"},
        {"other root", "<Regions><Region><Endpoint>us-east-1</Endpoint></Region></Regions>"},
        {"JSON", "{\"RegionList\":{\"Regions\":[]}}"},
    };
    for (const auto& [what, text] : refused) {
        RegionMap out = filled;
        EXPECT_FALSE(S3LikeRegionListUpdater::parse(text, out)) << what;
        EXPECT_TRUE(out.isEmpty()) << what;
    }
}

TEST(RegionList, MissingResourceLeavesAUsableUpdaterWithNoDefaults)
{
    S3LikeRegionListUpdater updater(QStringLiteral("http://127.0.0.1:9/none.xml"),
                                    QStringLiteral(":no-such.xml"));
    EXPECT_TRUE(updater.defaultRegions().isEmpty());
    EXPECT_TRUE(updater.regions().isEmpty());
    EXPECT_TRUE(updater.currentRegions(false).isEmpty());
}
