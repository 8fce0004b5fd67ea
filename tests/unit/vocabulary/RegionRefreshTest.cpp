#include "info/AmazonS3Info.h"
#include "info/S3LikeRegionListUpdater.h"

#include <NorvikCore/GlobalConfig.h>

#include "ScriptedHttpServer.h"
#include <gtest/gtest.h>

#include <QMutex>

#include <algorithm>

using namespace Norvik::Cloud;
using Info::RegionMap;
using Info::S3LikeRegionListUpdater;

namespace {

QByteArray regionList(const QStringList& ids)
{
    QByteArray xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<RegionList><Regions>";
    for (const QString& id : ids)
        xml += "<Region><Id>1</Id><Name>N</Name><DisplayName>Region " + id.toUtf8() +
               "</DisplayName><Endpoint>" + id.toUtf8() + "</Endpoint></Region>";
    return xml + "</Regions></RegionList>";
}

// The web service of the region lists on 127.0.0.1: it answers each path as the tests set it.
struct Answer
{
    int status = 404;
    QByteArray body;
    int delayMs = 0;
};
NorvikTest::ScriptedHttpServer* g_server = nullptr;
QMutex g_mutex;
QMap<QByteArray, Answer> g_answers;

void answer(const QByteArray& path, int status, const QByteArray& body, int delayMs = 0)
{
    QMutexLocker lock(&g_mutex);
    g_answers.insert(path, {status, body, delayMs});
}

int requests(const QByteArray& path)
{
    const auto all = g_server->requests();
    return static_cast<int>(
        std::count_if(all.cbegin(), all.cend(), [&](const auto& r) { return r.path() == path; }));
}

QString url(const QByteArray& path)
{
    return g_server->url(QString::fromUtf8(path)).toString();
}

// A base with a path of its own and a trailing slash: the list's path goes below it.
class LocalRegionService : public Norvik::Core::GlobalConfig
{
public:
    QUrl regionListBaseUrl() const override { return g_server->url(QStringLiteral("/lists/")); }
    double retryWaitFactor() const override { return 0.001; }
};

// The process-wide lists take their address when first used, so the service must be there
// before any test runs.
class RegionServiceEnvironment : public ::testing::Environment
{
public:
    void SetUp() override
    {
        g_server = new NorvikTest::ScriptedHttpServer;
        g_server->setHandler([](const NorvikTest::ScriptedHttpServer::Request& request) {
            QMutexLocker lock(&g_mutex);
            const Answer answer = g_answers.value(request.path());
            auto response = NorvikTest::ScriptedHttpServer::Response::make(answer.status, answer.body);
            response.delayMs = answer.delayMs;
            return response;
        });
        ASSERT_TRUE(g_server->start());
        Norvik::Core::GlobalConfig::install(new LocalRegionService);
    }
    void TearDown() override
    {
        delete g_server;
        g_server = nullptr;
    }
};

const auto* const g_environment = ::testing::AddGlobalTestEnvironment(new RegionServiceEnvironment);

} // namespace

// The rule the descriptors follow: request paths never download; a configuration check may,
// until one download has succeeded; after that the list stays for the life of the process.
TEST(RegionListRefresh, DescriptorsFetchOnDemandAndOnlyUntilOneDownloadSucceeded)
{
    const QByteArray path = "/lists/AmazonS3Regions.xml";
    const Info::AmazonS3 amazon;
    const RegionMap builtIn = amazon.regions(false);
    ASSERT_EQ(builtIn.size(), 28);
    EXPECT_EQ(S3LikeRegionListUpdater::instance(S3LikeRegionListUpdater::AmazonS3).url(), url(path));

    EXPECT_EQ(amazon.regions(false), builtIn);
    EXPECT_EQ(requests(path), 0);

    // Failed downloads, a valid but empty list among them, keep the built-in list and are tried again.
    int calls = 0;
    for (const QByteArray& body : {QByteArray(), QByteArray("not xml at all"), regionList({})}) {
        answer(path, 200, body);
        EXPECT_EQ(amazon.regions(true), builtIn);
        EXPECT_EQ(requests(path), ++calls);
    }

    answer(path, 200, regionList({QStringLiteral("us-east-1"), QStringLiteral("mx-central-1")}));
    const RegionMap fetched = amazon.regions(true);
    EXPECT_EQ(fetched.keys(), (QStringList{QStringLiteral("mx-central-1"), QStringLiteral("us-east-1")}));
    EXPECT_EQ(requests(path), 4);

    answer(path, 200, regionList({QStringLiteral("zz-later-1")}));
    EXPECT_EQ(amazon.regions(true), fetched);
    EXPECT_EQ(amazon.regions(false), fetched);
    EXPECT_EQ(Info::NorvikUbAmazonS3().regions(true), fetched);
    EXPECT_EQ(requests(path), 4);
}
