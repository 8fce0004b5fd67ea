

#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

// Runs the helper, which leaves one part in folder at its exit, and returns the part's path.
QString partLeftAtExit(const QString& folder)
{
    QProcess helper;
    helper.start(QStringLiteral(STREAMS_FOLDER_HELPER), {folder});
    EXPECT_TRUE(helper.waitForFinished(30000) && helper.exitCode() == 0) << helper.exitCode();
    return QString::fromLocal8Bit(helper.readAllStandardOutput().trimmed());
}

TEST(TemporaryFolderTest, AtExitAFolderMadeForThePartsIsRemovedWithThem)
{
    const QString folder = NorvikTest::scratchDir(QStringLiteral("lifetime-own")) + QStringLiteral("/parts");
    const QString part = partLeftAtExit(folder);
    ASSERT_FALSE(part.isEmpty());
    EXPECT_TRUE(part.startsWith(folder + QLatin1Char('/'))) << part.toStdString();
    EXPECT_FALSE(QFile::exists(part));
    EXPECT_FALSE(QDir(folder).exists());
}

} // namespace
