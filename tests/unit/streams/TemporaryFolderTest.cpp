#include "streams/TemporaryFile.h"
#include "streams/TemporaryFileManager.h"

#include "engine/OperationManager.h"

#include "LogCapture.h"
#include "TestSupport.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

using Norvik::Cloud::OperationManager;
using Norvik::Cloud::TemporaryFileManager;

namespace {

// The temporary folder is to be made where a plain file stands in the way.
TEST(TemporaryFolderTest, AFolderThatCannotBeMadeFailsEachAddUntilItCanBe)
{
    const QString scratch = NorvikTest::scratchDir(QStringLiteral("blocked"));
    const QString blocker = scratch + QStringLiteral("/not-a-folder");
    ASSERT_TRUE(QFile(blocker).open(QIODevice::WriteOnly));
    const QString folder = blocker + QStringLiteral("/parts");
    OperationManager::setTemporaryFileFolderPath(folder);

    NorvikTest::LogCapture log;
    TemporaryFileManager& files = TemporaryFileManager::instance(); // built here, without its folder
    EXPECT_EQ(log.count({"WARNING", "Error create path for temporary files, path:", folder, "message:"}), 1);

    QBuffer device;
    device.setData(QByteArray(64, 'd'));
    device.open(QIODevice::ReadOnly);
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_FALSE(files.tryAdd(64, device).second.isEmpty());
        EXPECT_EQ(device.pos(), 0);
    }

    // Once the way is clear the folder is made, and parts go into it.
    ASSERT_TRUE(QFile::remove(blocker));
    const auto [id, error] = files.tryAdd(64, device);
    ASSERT_FALSE(id.isNull()) << error.toStdString();
    const auto entry = files.get(id);
    const QString path = qobject_cast<QFile*>(entry->file().data())->fileName();
    EXPECT_EQ(QFileInfo(path).absolutePath(), QFileInfo(folder).absoluteFilePath());
    EXPECT_EQ(entry->file()->readAll(), QByteArray(64, 'd'));
    files.remove(id);
}

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
