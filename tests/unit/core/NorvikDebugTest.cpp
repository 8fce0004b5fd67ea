#include <NorvikCore/NorvikDebug.h>

#include "LogCapture.h"

#include <QUrl>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using NorvikTest::LogCapture;

TEST(NorvikDebug, BuildsOneLineWithSpacesAndNoQuotesAboveTheThreshold)
{
    LogCapture log;
    NorvikDebug::setThreshold(NorvikDebug::Level::InfoHigh);
    NorvikDebug log1("NKC");
    log1.warning() << "path:" << QStringLiteral("a b/c") << "size:" << 42ULL << "ok:" << true
                   << QUrl(QStringLiteral("http://h/x"));
    log1.info() << "dropped";
    {
        NorvikDebug::Line first = log1.error();
        first << "one";
        NorvikDebug::Line second(std::move(first)); // a moved line is logged once
        second << "two";
    }
    EXPECT_EQ(log.lines(),
              (QStringList{QStringLiteral("WARNING path: a b/c size: 42 ok: true QUrl(http://h/x)"),
                           QStringLiteral("ERROR one two")}));
    NorvikDebug::setThreshold(NorvikDebug::Level::Off);
    log1.error() << "silenced";
    EXPECT_EQ(log.lines().size(), 2);
}

TEST(NorvikDebug, LinesFromManyThreadsArriveWhole)
{
    LogCapture log;
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 200; ++i)
                NorvikDebug().info() << "thread:" << t << "line:" << i;
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(log.count({QStringLiteral("INFO thread: "), QStringLiteral(" line: ")}), 1600);
    EXPECT_EQ(log.lines().size(), 1600);
}
