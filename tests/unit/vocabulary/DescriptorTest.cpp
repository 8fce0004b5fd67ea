#include "info/AmazonS3Info.h"
#include "info/AzureBlobInfo.h"
#include "info/BackBlazeInfo.h"
#include "info/Config.h"
#include "info/GoogleStorageInfo.h"
#include "info/InfoFactory.h"
#include "info/OpenStackInfo.h"
#include "info/S3CompatibleInfo.h"
#include "info/StorageInfo.h"
#include "info/WasabiInfo.h"

#include <NorvikCore/Version.h>

#include <gtest/gtest.h>

#include <limits>
#include <typeinfo>

using namespace Norvik::Cloud;

namespace {

constexpr quint64 MiB = 1024ull * 1024;
constexpr quint64 GiB = 1024 * MiB;
constexpr quint64 TiB = 1024 * GiB;
constexpr quint64 Largest = std::numeric_limits<qint64>::max();

// What the engine reads from a descriptor when it plans a transfer.
struct Limits
{
    int type;
    quint64 minChunk, maxChunk, maxCount, maxFile, maxDelete;
    bool multipart, parallelParts, emptyFolder, signedUrl, archive, continueUpload;
    int encryption, compression;
    quint64 syntheticBlock; // 0: no synthetic backups
};

// clang-format off
const QList<Limits> Table = {
    // type  min      max        count  file      delete mp     par    folder url    arch   cont   E  C  synthetic
    {1,  1,       100 * MiB, 0,     Largest,  0,    true,  false, true,  true,  false, false, 3, 3, 0},
    {2,  5 * MiB, 5 * GiB,   10000, 5 * TiB,  1000, true,  true,  true,  true,  true,  true,  3, 1, 5 * MiB},
    {3,  1,       100 * MiB, 50000, 8 * TiB,  0,    true,  true,  false, true,  true,  true,  3, 1, 1 * MiB},
    {4,  5 * MiB, 5 * GiB,   2048,  10 * TiB, 0,    true,  true,  false, true,  false, false, 3, 1, 0},
    {5,  5 * MiB, 5 * GiB,   1000,  10 * TiB, 0,    true,  true,  false, true,  false, false, 3, 1, 0},
    {6,  5 * MiB, 5 * GiB,   1000,  10 * TiB, 0,    true,  true,  false, true,  false, false, 3, 1, 0},
    {7,  5 * MiB, 5 * GiB,   20000, 5 * TiB,  0,    true,  true,  false, true,  false, false, 3, 1, 0},
    {8,  5 * MiB, 5 * GiB,   1000,  10 * TiB, 0,    true,  true,  false, true,  false, false, 3, 1, 0},
    {9,  5 * MiB, 5 * GiB,   1000,  10 * TiB, 0,    true,  true,  false, true,  false, false, 3, 1, 0},
    {11, 5 * MiB, 5 * GiB,   10000, 5 * TiB,  0,    true,  true,  true,  true,  false, true,  3, 1, 0},
    {13, 5 * MiB, 5 * GiB,   10000, 10 * TiB, 0,    true,  true,  true,  true,  false, true,  3, 1, 0},
    {15, 5 * MiB, 5 * GiB,   10000, 5 * TiB,  0,    true,  true,  true,  true,  false, true,  3, 1, 0},
    {20, 5 * MiB, 5 * GiB,   10000, 5 * TiB,  1000, true,  true,  true,  true,  true,  true,  3, 1, 5 * MiB},
    {21, 5 * MiB, 5 * GiB,   10000, 5 * TiB,  0,    true,  true,  false, true,  false, true,  3, 1, 0},
    {28, 5 * MiB, 5 * GiB,   10000, 5 * TiB,  0,    true,  true,  true,  true,  false, true,  3, 1, 0},
    {29, 5 * MiB, 5 * GiB,   10000, 5 * TiB,  1000, true,  true,  true,  true,  false, true,  3, 1, 5 * MiB},
    {30, 5 * MiB, 5 * GiB,   10000, 48 * TiB, 1000, true,  true,  true,  true,  false, true,  3, 1, 0},
    {31, 5 * MiB, 100 * MiB, 10000, 10 * TiB, 0,    true,  true,  false, true,  false, true,  3, 3, 5 * MiB},
    {33, 1,       100 * MiB, 0,     Largest,  0,    false, false, true,  false, false, false, 3, 3, 0},
    {34, 5 * MiB, 5 * GiB,   10000, 5 * TiB,  1000, true,  true,  true,  true,  false, true,  3, 1, 5 * MiB},
    {35, 5 * MiB, 5 * GiB,   10000, 5 * TiB,  1000, true,  true,  true,  true,  false, true,  3, 1, 5 * MiB},
    {36, 5 * MiB, 5 * GiB,   10000, 5 * TiB,  1000, true,  true,  true,  true,  false, true,  3, 1, 5 * MiB},
    {37, 5 * MiB, 5 * GiB,   10000, 5 * TiB,  1000, true,  true,  true,  true,  true,  true,  3, 1, 5 * MiB},
};
// clang-format on

QSharedPointer<Info::AmazonS3Like> s3Info(Type type)
{
    return Info::InfoFactory::create(type).dynamicCast<Info::AmazonS3Like>();
}

} // namespace

TEST(CloudDescriptor, TransferLimitsOfEveryService)
{
    for (const Limits& row : Table) {
        const auto info = Info::InfoFactory::create(static_cast<Type>(row.type));
        ASSERT_TRUE(info) << row.type;
        SCOPED_TRACE(::testing::Message() << "type " << row.type);
        EXPECT_EQ(static_cast<int>(info->type()), row.type);
        EXPECT_EQ(info->minChunkSize(), row.minChunk);
        EXPECT_EQ(info->maxChunkSize(), row.maxChunk);
        EXPECT_EQ(info->maxChunkCount(), row.maxCount);
        EXPECT_EQ(info->maxFileSize(), row.maxFile);
        EXPECT_EQ(info->maxDeleteCount(), row.maxDelete);
        EXPECT_EQ(info->supportMultipart(), row.multipart);
        EXPECT_EQ(info->supportMultipartThread(), row.parallelParts);
        EXPECT_EQ(info->supportEmptyFolder(), row.emptyFolder);
        EXPECT_EQ(info->supportSignedUrl(), row.signedUrl);
        EXPECT_EQ(info->supportArchive(), row.archive);
        EXPECT_EQ(info->supportContinueUpload(), row.continueUpload);
        EXPECT_EQ(info->encryptionContainer(), row.encryption);
        EXPECT_EQ(info->compressionContainer(), row.compression);
        EXPECT_EQ(info->supportSynthetic(), row.syntheticBlock != 0);
        EXPECT_EQ(info->syntheticMinBlockSize(), row.syntheticBlock);
        EXPECT_EQ(info->maxFilePathLength(), 255);
        EXPECT_EQ(info->versionDelimiter(), QStringLiteral("$"));
    }
}

// Whatever the service, a part plan must be possible: the smallest part fits below the largest,
// and the largest object can be reached within the part count where there is one.
TEST(CloudDescriptor, EveryNamedTypeHasAConsistentDescriptor)
{
    int made = 0;
    for (auto it = TypeName.constBegin(); it != TypeName.constEnd(); ++it) {
        SCOPED_TRACE(it.value().toStdString());
        const auto byType = Info::InfoFactory::create(it.key());
        if (it.key() == Type::KTR_CLOUD) {
            EXPECT_FALSE(byType);
            continue;
        }
        ASSERT_TRUE(byType);
        ++made;
        const auto byName = Info::InfoFactory::create(it.value());
        ASSERT_TRUE(byName);
        EXPECT_EQ(typeid(*byName), typeid(*byType));
        EXPECT_EQ(byName->type(), byType->type());
        const auto byConfig = Info::InfoFactory::create(QMap<QString, QVariant>{{Config::Type, it.value()}});
        ASSERT_TRUE(byConfig);
        EXPECT_EQ(byConfig->type(), byType->type());

        EXPECT_EQ(byType->type(), it.key() == Type::HPHelion ? Type::HPCloud : it.key());
        EXPECT_LE(byType->minChunkSize(), byType->maxChunkSize());
        EXPECT_LE(byType->maxChunkSize(), byType->maxFileSize());
        EXPECT_GE(byType->minChunkSize(), 1u);
        if (byType->supportSynthetic()) {
            EXPECT_GT(byType->syntheticMinBlockSize(), 0u);
        }
        if (!byType->supportMultipart()) {
            EXPECT_FALSE(byType->supportMultipartThread());
        }
    }
    EXPECT_EQ(made, 36);
}

TEST(CloudDescriptor, UnknownTypesAndNamesGiveNoDescriptor)
{
    EXPECT_FALSE(Info::InfoFactory::create(static_cast<Type>(32)));
    EXPECT_FALSE(Info::InfoFactory::create(Type::KTR_CLOUD));
    EXPECT_FALSE(Info::InfoFactory::create(static_cast<Type>(0)));
    EXPECT_FALSE(Info::InfoFactory::create(static_cast<Type>(99)));
    EXPECT_FALSE(Info::InfoFactory::create(QStringLiteral("AmazonS3Like")));
    EXPECT_FALSE(Info::InfoFactory::create(QStringLiteral("amazons3")));
    EXPECT_FALSE(Info::InfoFactory::create(QString()));
    EXPECT_FALSE(Info::InfoFactory::create(QMap<QString, QVariant>{}));
    EXPECT_EQ(Info::InfoFactory::create(QStringLiteral("S3Compatible"))->type(), Type::AmazonS3Like);
    EXPECT_EQ(Info::InfoFactory::create(QStringLiteral("Wasabi (UB) Stage"))->type(),
              Type::NorvikUbWasabiStage);
}

namespace {

struct S3Expected
{
    Type type;
    QList<Info::AmazonS3Like::Signature> signatures;
    Info::AmazonS3Like::Signature defaultSignature;
    const char* host; // nullptr: no default endpoint
    bool supportRegions;
    const char* defaultRegion;
    bool versioning;
    bool verifyHost;
};

} // namespace

TEST(CloudDescriptor, SignaturesHostsAndRegionsOfTheS3Family)
{
    using S = Info::AmazonS3Like;
    const QList<S3Expected> table = {
        {Type::AmazonS3Like, {S::V2}, S::V2, nullptr, false, "us-east-1", false, true},
        {Type::Scality, {S::V2}, S::V2, nullptr, false, "us-east-1", false, true},
        {Type::Webzilla, {S::V2}, S::V2, nullptr, false, "us-east-1", false, true},
        {Type::AmazonS3, {S::V2, S::V4}, S::V4, "amazonaws.com", false, "us-east-1", true, false},
        {Type::NorvikUbAmazonS3, {S::V2, S::V4}, S::V4, "amazonaws.com", false, "us-east-1", true, false},
        {Type::AmazonS3Chinese,
         {S::V2, S::V4},
         S::V4,
         "cn-north-1.amazonaws.com.cn",
         false,
         "cn-north-1",
         true,
         false},
        {Type::Wasabi, {S::V2, S::V4}, S::V4, "wasabisys.com", true, "us-east-1", true, false},
        {Type::NorvikUbWasabi, {S::V2, S::V4}, S::V4, "wasabisys.com", true, "us-east-1", true, false},
        {Type::WasabiStage, {S::V2, S::V4}, S::V4, "wasabibeta.com", true, "us-east-1", true, false},
        {Type::NorvikUbWasabiStage, {S::V2, S::V4}, S::V4, "wasabibeta.com", true, "us-east-1", true, false},
        {Type::Minio, {S::V2, S::V4}, S::V4, nullptr, false, "us-east-1", false, true},
        {Type::DreamObjects,
         {S::V2, S::V4},
         S::V2,
         "objects-us-east-1.dream.io",
         false,
         "us-east-1",
         false,
         true},
        {Type::ThinkOn, {S::V2, S::V4}, S::V2, "s3.thinkon.com", false, "us-east-1", false, true},
        {Type::Verizon, {S::V2, S::V4}, S::V2, "cloud.verizon.com", false, "us-east-1", false, true},
        {Type::AlibabaCloud, {S::V4}, S::V4, "aliyuncs.com", true, "oss-cn-hangzhou", false, true},
    };
    for (const S3Expected& row : table) {
        SCOPED_TRACE(TypeName.value(row.type).toStdString());
        const auto info = s3Info(row.type);
        ASSERT_TRUE(info);
        EXPECT_EQ(info->supportSignature(), row.signatures);
        EXPECT_EQ(info->defaultSignature(), row.defaultSignature);
        EXPECT_TRUE(info->supportSignature().contains(info->defaultSignature()));
        EXPECT_EQ(info->supportRegions(), row.supportRegions);
        EXPECT_EQ(info->defaultRegion(), QLatin1String(row.defaultRegion));
        EXPECT_EQ(info->supportVersioning(), row.versioning);
        EXPECT_EQ(info->verifyHostOnSslCheck(), row.verifyHost);

        QUrl endpoint = info->defaultEndpoint();
        if (!row.host) {
            EXPECT_TRUE(endpoint.isEmpty());
            continue;
        }
        // The connection gives the host its scheme; nothing else of the URL may get in the way.
        EXPECT_TRUE(endpoint.scheme().isEmpty());
        EXPECT_EQ(endpoint.host(), QLatin1String(row.host));
        endpoint.setScheme(QStringLiteral("https"));
        EXPECT_EQ(endpoint.toString(), QStringLiteral("https://") + QLatin1String(row.host));

        // Where the host varies by region, the default region must be one the service offers.
        if (row.supportRegions) {
            EXPECT_TRUE(info->regions(false).contains(info->defaultRegion()));
        }
    }
    // The plain protocol has no region table, whatever the caller allows.
    EXPECT_TRUE(s3Info(Type::Cloudian)->regions(true).isEmpty());
}

TEST(CloudDescriptor, FixedRegionTables)
{
    const auto china = s3Info(Type::AmazonS3Chinese);
    const Info::RegionMap chinaRegions{
        {QStringLiteral("cn-north-1"), {QStringLiteral("China"), QStringLiteral("cn-north-1")}}};
    EXPECT_EQ(china->regions(false), chinaRegions);
    EXPECT_EQ(china->regions(true), chinaRegions);

    const auto stage = s3Info(Type::NorvikUbWasabiStage);
    const Info::RegionMap stageRegions{
        {QStringLiteral("us-east-1"), {QStringLiteral("US East 1 (N. Virginia)"), QStringLiteral("s3")}},
        {QStringLiteral("us-west-1"), {QStringLiteral("US West (Oregon)"), QStringLiteral("s3.us-west-1")}}};
    EXPECT_EQ(stage->regions(true), stageRegions);

    const Info::RegionMap alibaba = s3Info(Type::AlibabaCloud)->regions(false);
    EXPECT_EQ(alibaba.size(), 17);
    for (auto it = alibaba.constBegin(); it != alibaba.constEnd(); ++it) {
        EXPECT_EQ(it.value().second, it.key());
        EXPECT_TRUE(it.key().startsWith(QLatin1String("oss-")));
        EXPECT_FALSE(it.value().first.isEmpty());
    }
    EXPECT_EQ(alibaba.value(QStringLiteral("oss-ap-southeast-3")).first,
              QStringLiteral("Asia Pacific SE 3 (Kuala Lumpur)"));
    EXPECT_EQ(alibaba.value(QStringLiteral("oss-cn-zhangjiakou")).first,
              QStringLiteral("China North 3 (zhangjiakou)"));
}

TEST(CloudDescriptor, UserAgentsCarryTheLibraryVersion)
{
    const QVersionNumber version = Norvik::Core::Version::number();
    const QString majorMinor =
        QStringLiteral("%1.%2").arg(version.majorVersion()).arg(version.minorVersion());
    EXPECT_EQ(s3Info(Type::AmazonS3)->userAgent(), QStringLiteral("APN/1.0 Norvik/1.0 Backup/") + majorMinor);
    EXPECT_EQ(s3Info(Type::AmazonS3Chinese)->userAgent(), s3Info(Type::AmazonS3)->userAgent());
    EXPECT_EQ(s3Info(Type::Wasabi)->userAgent(),
              QStringLiteral("Norvik/Backup/%1.%2").arg(majorMinor).arg(version.microVersion()));
    const QString plain = s3Info(Type::Minio)->userAgent();
    EXPECT_TRUE(plain.startsWith(QStringLiteral("Norvik Backup (") + majorMinor + QStringLiteral(") (")))
        << plain.toStdString();
    EXPECT_TRUE(plain.endsWith(QLatin1Char(')')));
}

TEST(CloudDescriptor, OpenStackProvidersOfferTheirIdentityServices)
{
    const auto endpointsOf = [](Type type) {
        return Info::InfoFactory::create(type).dynamicCast<Info::OpenStack>();
    };
    const auto rackspace = endpointsOf(Type::Rackspace);
    ASSERT_TRUE(rackspace);
    EXPECT_EQ(rackspace->endpoints().keys(),
              (QStringList{QStringLiteral("UK-based"), QStringLiteral("US-based")}));
    EXPECT_TRUE(rackspace->supportAuthV1());
    EXPECT_TRUE(rackspace->supportAuthV2());
    EXPECT_FALSE(rackspace->supportAuthV3());

    const auto oracle = endpointsOf(Type::OracleCloud);
    EXPECT_EQ(oracle->endpoints().size(), 7);
    EXPECT_TRUE(oracle->endpoints().contains(QStringLiteral("EMEA Commercial 3 (em3)")));
    const auto softLayer = endpointsOf(Type::SoftLayer);
    EXPECT_EQ(softLayer->endpoints().size(), 18);
    EXPECT_TRUE(softLayer->endpoints().contains(QStringLiteral("US Dallas")));
    EXPECT_TRUE(softLayer->endpoints().contains(QStringLiteral("Chennai")));

    for (Type type : {Type::Openstack, Type::HPCloud, Type::HPHelion}) {
        const auto info = endpointsOf(type);
        EXPECT_TRUE(info->endpoints().isEmpty());
        EXPECT_TRUE(info->supportAuthV1() && info->supportAuthV2() && info->supportAuthV3());
    }
    EXPECT_TRUE(endpointsOf(Type::Openstack)->needToSetAccountTempUrlKeyIfMissing());

    // Identity addresses are used as given: they must be complete, secure URLs.
    for (Type type : {Type::Rackspace, Type::OracleCloud, Type::SoftLayer}) {
        for (const QUrl& url : endpointsOf(type)->endpoints()) {
            EXPECT_TRUE(url.isValid()) << url.toString().toStdString();
            EXPECT_EQ(url.scheme(), QStringLiteral("https"));
            EXPECT_FALSE(url.host().isEmpty());
        }
    }
}

TEST(CloudDescriptor, ServiceSpecificChoices)
{
    const auto azure = Info::InfoFactory::create(Type::AzureBlob).dynamicCast<Info::AzureBlob>();
    ASSERT_TRUE(azure);
    EXPECT_EQ(azure->defaultEndpoint().host(), QStringLiteral("blob.core.windows.net"));
    EXPECT_EQ(azure->accountTypes(),
              (QStringList{QStringLiteral("Public"), QStringLiteral("Germany"), QStringLiteral("China"),
                           QStringLiteral("Government"), QStringLiteral("AzureStack")}));
    // Every national cloud that the connection looks up has a host; Public and AzureStack have none.
    const auto national = azure->accountTypeEndpoint();
    EXPECT_EQ(national.keys(), (QStringList{QStringLiteral("China"), QStringLiteral("Germany"),
                                            QStringLiteral("Government")}));
    for (const QUrl& host : national)
        EXPECT_TRUE(host.scheme().isEmpty() && host.host().startsWith(QLatin1String("blob.core.")));
    EXPECT_TRUE(azure->accessType().contains(QString()));
    EXPECT_TRUE(azure->accessType().contains(QStringLiteral("container")));

    const auto b2 = Info::InfoFactory::create(Type::BackBlaze).dynamicCast<Info::BackBlaze>();
    ASSERT_TRUE(b2);
    EXPECT_EQ(b2->defaultEndpoint().host(), QStringLiteral("api.backblazeb2.com"));
    EXPECT_EQ(b2->containerAccessType().keys(),
              (QStringList{QStringLiteral("allPrivate"), QStringLiteral("allPublic")}));

    const auto google = Info::InfoFactory::create(Type::GoogleStorage).dynamicCast<Info::GoogleStorage>();
    ASSERT_TRUE(google);
    EXPECT_EQ(google->defaultEndpoint().host(), QStringLiteral("storage.googleapis.com"));
    EXPECT_TRUE(google->storageType().contains(QStringLiteral("NEARLINE")));
    EXPECT_TRUE(google->regions().contains(QStringLiteral("EU")));

    const auto sftp = Info::InfoFactory::create(Type::Sftp).dynamicCast<Info::Sftp>();
    ASSERT_TRUE(sftp);
    EXPECT_EQ(sftp->defaultPort(), 22);
    EXPECT_TRUE(sftp->defaultKeepAlive());
    EXPECT_TRUE(sftp->defaultUseProxy());
}
