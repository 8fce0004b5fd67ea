#include <NorvikCore/NorvikDebug.h>

#include "TestSupport.h"

#include <QMutex>
#include <QStringList>
#include <QUrl>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

struct CapturedLine
{
    NorvikDebug::Level level;
    QString category;
    QString message;
};

// Captures every line for the duration of a test and restores the defaults afterwards.
class LogCapture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_previous = NorvikDebug::threshold();
        NorvikDebug::setSink([this](NorvikDebug::Level level, const QString& category, const QString& message) {
            QMutexLocker lock(&m_mutex);
            m_lines.push_back({level, category, message});
        });
    }
    void TearDown() override
    {
        NorvikDebug::setSink({});
        NorvikDebug::setThreshold(m_previous);
    }
    std::vector<CapturedLine> lines()
    {
        QMutexLocker lock(&m_mutex);
        return m_lines;
    }

private:
    QMutex m_mutex;
    std::vector<CapturedLine> m_lines;
    NorvikDebug::Level m_previous = NorvikDebug::Level::Warning;
};

TEST_F(LogCapture, BuildsOneLineWithSpacesAndNoQuotes)
{
    NorvikDebug::setThreshold(NorvikDebug::Level::Debug);
    NorvikDebug("NKC").warning() << "path:" << QStringLiteral("a b/c") << "size:" << 42ULL << "ok:" << true
                                 << QUrl(QStringLiteral("http://h/x"));
    const auto captured = lines();
    ASSERT_EQ(captured.size(), 1u);
    EXPECT_EQ(captured[0].level, NorvikDebug::Level::Warning);
    EXPECT_EQ(captured[0].category, QStringLiteral("NKC"));
    EXPECT_EQ(captured[0].message, QStringLiteral("path: a b/c size: 42 ok: true QUrl(http://h/x)"));
}

TEST_F(LogCapture, ThresholdDropsLowerLevelsOnly)
{
    NorvikDebug::setThreshold(NorvikDebug::Level::InfoHigh);
    NorvikDebug log;
    log.debug() << "d";
    log.info() << "i";
    log.infoH() << "ih";
    log.warning() << "w";
    log.error() << "e";
    const auto captured = lines();
    QStringList messages;
    for (const auto& line : captured)
        messages << line.message;
    EXPECT_EQ(messages, (QStringList{QStringLiteral("ih"), QStringLiteral("w"), QStringLiteral("e")}));
    EXPECT_FALSE(NorvikDebug::isEnabled(NorvikDebug::Level::Info));
    EXPECT_TRUE(NorvikDebug::isEnabled(NorvikDebug::Level::Error));

    NorvikDebug::setThreshold(NorvikDebug::Level::Off);
    log.error() << "silenced";
    EXPECT_EQ(lines().size(), captured.size());
}

TEST_F(LogCapture, FullDebugTracesEntryAndExitAtDebugLevelOnly)
{
    NorvikDebug::setThreshold(NorvikDebug::Level::Info);
    {
        NorvikFullDebug trace("void f(int)");
    }
    EXPECT_TRUE(lines().empty());

    NorvikDebug::setThreshold(NorvikDebug::Level::Debug);
    {
        NorvikFullDebug trace("void g(int)");
        NorvikDebug().info() << "inside";
    }
    const auto captured = lines();
    ASSERT_EQ(captured.size(), 3u);
    EXPECT_EQ(captured[0].message, QStringLiteral("enter: void g(int)"));
    EXPECT_EQ(captured[1].message, QStringLiteral("inside"));
    EXPECT_TRUE(captured[2].message.startsWith(QStringLiteral("leave: void g(int) ms:")));
}

TEST_F(LogCapture, LinesFromManyThreadsArriveWhole)
{
    NorvikDebug::setThreshold(NorvikDebug::Level::Debug);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 200; ++i)
                NorvikDebug().info() << "thread:" << t << "line:" << i;
        });
    for (auto& thread : threads)
        thread.join();
    const auto captured = lines();
    ASSERT_EQ(captured.size(), 1600u);
    for (const auto& line : captured)
        EXPECT_TRUE(line.message.startsWith(QStringLiteral("thread: ")) && line.message.contains(QStringLiteral(" line: ")))
            << line.message.toStdString();
}

TEST_F(LogCapture, MovedLineIsLoggedOnce)
{
    NorvikDebug::setThreshold(NorvikDebug::Level::Debug);
    {
        NorvikDebug::Line first = NorvikDebug().error();
        first << "one";
        NorvikDebug::Line second(std::move(first));
        second << "two";
    }
    const auto captured = lines();
    ASSERT_EQ(captured.size(), 1u);
    EXPECT_EQ(captured[0].message, QStringLiteral("one two"));
}

} // namespace
