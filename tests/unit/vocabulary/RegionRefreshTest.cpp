#include "info/AmazonS3Info.h"
#include "info/S3LikeRegionListUpdater.h"
#include "info/WasabiInfo.h"

#include <NorvikCore/GlobalConfig.h>

#include <QThread>

#include <gtest/gtest.h>
#include <httplib.h>

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <thread>

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

// A web service on 127.0.0.1 whose answers the tests set, and which counts what it was asked.
class RegionListServer
{
public:
    RegionListServer()
    {
        m_server.Get(".*", [this](const httplib::Request& request, httplib::Response& response) {
            Answer answer;
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                ++m_requests[request.path];
                answer = m_answers.count(request.path) ? m_answers[request.path] : Answer{404, "", 0};
            }
            if (answer.delayMs)
                std::this_thread::sleep_for(std::chrono::milliseconds(answer.delayMs));
            response.status = answer.status;
            response.set_content(answer.body, "application/xml");
        });
        m_port = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
        while (!m_server.is_running())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ~RegionListServer()
    {
        m_server.stop();
        m_thread.join();
    }

    int port() const { return m_port; }
    QString url(const QString& path) const
    {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(path);
    }

    void answer(const std::string& path, int status, const QByteArray& body, int delayMs = 0)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_answers[path] = Answer{status, body.toStdString(), delayMs};
    }
    int requests(const std::string& path)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_requests[path];
    }

private:
    struct Answer
    {
        int status;
        std::string body;
        int delayMs;
    };

    httplib::Server m_server;
    int m_port = 0;
    std::thread m_thread;
    std::mutex m_mutex;
    std::map<std::string, Answer> m_answers;
    std::map<std::string, int> m_requests;
};

RegionListServer* g_server = nullptr;

class LocalRegionService : public Norvik::Core::GlobalConfig
{
public:
    explicit LocalRegionService(int port)
        : m_port(port)
    {
    }
    // A base with a path of its own and a trailing slash: the list's path goes below it.
    QUrl regionListBaseUrl() const override
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1/lists/").arg(m_port));
    }
    double retryWaitFactor() const override { return 0.001; }

private:
    int m_port;
};

// The process-wide lists take their address when first used, so the service must be there
// before any test runs.
class RegionServiceEnvironment : public ::testing::Environment
{
public:
    void SetUp() override
    {
        g_server = new RegionListServer;
        Norvik::Core::GlobalConfig::install(new LocalRegionService(g_server->port()));
    }
    void TearDown() override
    {
        delete g_server;
        g_server = nullptr;
    }
};

const auto* const g_environment = ::testing::AddGlobalTestEnvironment(new RegionServiceEnvironment);

} // namespace

// Every way a download can fail leaves no fetched list behind, also when one was there.
TEST(RegionListDownload, FailedDownloadsLeaveTheFetchedListEmpty)
{
    g_server->answer("/fail.xml", 200, regionList({QStringLiteral("eu-west-1")}));
    S3LikeRegionListUpdater updater(g_server->url(QStringLiteral("/fail.xml")),
                                    QStringLiteral(":regions.wasabi.xml"));

    const QList<QPair<const char*, std::function<void()>>> failures = {
        {"empty body", [] { g_server->answer("/fail.xml", 200, QByteArray()); }},
        {"not XML", [] { g_server->answer("/fail.xml", 200, "<RegionList><Regions><Region>"); }},
        {"no region list",
         [] { g_server->answer("/fail.xml", 200, "<html><body>maintenance</body></html>"); }},
        {"not found", [] { g_server->answer("/fail.xml", 404, "<html><body>404</body></html>"); }},
        {"server error with a list",
         [] { g_server->answer("/fail.xml", 500, regionList({QStringLiteral("a-1")})); }},
    };
    for (const auto& [what, breakIt] : failures) {
        g_server->answer("/fail.xml", 200, regionList({QStringLiteral("eu-west-1")}));
        ASSERT_TRUE(updater.reload()) << what;
        ASSERT_EQ(updater.regions().size(), 1) << what;
        breakIt();
        EXPECT_FALSE(updater.reload()) << what;
        EXPECT_TRUE(updater.regions().isEmpty()) << what;
        EXPECT_EQ(updater.defaultRegions().size(), 13) << what;
    }
}

// Job threads have no event loop of their own, and several may ask at once: one download serves
// them all.
TEST(RegionListDownload, ConcurrentRequestsShareOneDownload)
{
    g_server->answer("/slow.xml", 200, regionList({QStringLiteral("ap-x-1")}), 300);
    S3LikeRegionListUpdater updater(g_server->url(QStringLiteral("/slow.xml")),
                                    QStringLiteral(":regions.s3.xml"));

    std::atomic<int> sawFetched{0};
    QList<QThread*> threads;
    for (int i = 0; i < 4; ++i) {
        threads << QThread::create([&] {
            if (updater.currentRegions(true).contains(QStringLiteral("ap-x-1")))
                ++sawFetched;
        });
        threads.last()->start();
    }
    for (QThread* thread : threads) {
        EXPECT_TRUE(thread->wait(10000));
        delete thread;
    }
    EXPECT_EQ(sawFetched.load(), 4);
    EXPECT_EQ(g_server->requests("/slow.xml"), 1);
}

// The rule the descriptors follow: request paths never download; a configuration check may,
// until one download has succeeded; after that the list stays for the life of the process.
TEST(RegionListRefresh, DescriptorsFetchOnDemandAndOnlyUntilOneDownloadSucceeded)
{
    const std::string path = "/lists/AmazonS3Regions.xml";
    const Info::AmazonS3 amazon;
    const RegionMap builtIn = amazon.regions(false);
    ASSERT_EQ(builtIn.size(), 28);
    EXPECT_EQ(S3LikeRegionListUpdater::instance(S3LikeRegionListUpdater::AmazonS3).url(),
              g_server->url(QString::fromStdString(path)));

    EXPECT_EQ(amazon.regions(false), builtIn);
    EXPECT_EQ(g_server->requests(path), 0);

    g_server->answer(path, 200, QByteArray());
    EXPECT_EQ(amazon.regions(true), builtIn);
    EXPECT_EQ(g_server->requests(path), 1);

    g_server->answer(path, 200, "not xml at all");
    EXPECT_EQ(amazon.regions(true), builtIn);
    EXPECT_EQ(g_server->requests(path), 2);

    // A valid but empty list is no list to work with.
    g_server->answer(path, 200, regionList({}));
    EXPECT_EQ(amazon.regions(true), builtIn);
    EXPECT_EQ(g_server->requests(path), 3);

    g_server->answer(path, 200, regionList({QStringLiteral("us-east-1"), QStringLiteral("mx-central-1")}));
    const RegionMap fetched = amazon.regions(true);
    EXPECT_EQ(fetched.keys(), (QStringList{QStringLiteral("mx-central-1"), QStringLiteral("us-east-1")}));
    EXPECT_EQ(g_server->requests(path), 4);

    g_server->answer(path, 200, regionList({QStringLiteral("zz-later-1")}));
    EXPECT_EQ(amazon.regions(true), fetched);
    EXPECT_EQ(amazon.regions(false), fetched);
    EXPECT_EQ(Info::NorvikUbAmazonS3().regions(true), fetched);
    EXPECT_EQ(g_server->requests(path), 4);

    // Wasabi has a list of its own, untouched by Amazon's.
    const std::string wasabiPath = "/lists/WasabiRegions.xml";
    const Info::Wasabi wasabi;
    EXPECT_EQ(wasabi.regions(false).size(), 13);
    g_server->answer(wasabiPath, 200, regionList({QStringLiteral("us-east-1")}));
    EXPECT_EQ(wasabi.regions(true).keys(), QStringList{QStringLiteral("us-east-1")});
    EXPECT_EQ(g_server->requests(wasabiPath), 1);
    EXPECT_EQ(amazon.regions(false), fetched);
}
