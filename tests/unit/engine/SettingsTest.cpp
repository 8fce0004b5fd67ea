#include "engine/OperationManager.h"

#include <gtest/gtest.h>

#include <QRegularExpression>

using Norvik::Cloud::OperationManager;

// These run without ever starting the engine: the settings are class-level and are read
// when the engine starts.

TEST(Settings, ThreadCountHasAFloorOfOne)
{
    EXPECT_EQ(OperationManager::threadCount(), 10);
    OperationManager::setThreadCount(0);
    EXPECT_EQ(OperationManager::threadCount(), 1);
    OperationManager::setThreadCount(-7);
    EXPECT_EQ(OperationManager::threadCount(), 1);
    OperationManager::setThreadCount(3);
    EXPECT_EQ(OperationManager::threadCount(), 3);
    OperationManager::setThreadCount(10);
}

TEST(Settings, MemoryBudgetDefaultIsAlsoItsFloor)
{
    const quint64 floor = 104857600;
    EXPECT_EQ(OperationManager::memoryUsed(), floor);
    OperationManager::setMemoryUsed(0);
    EXPECT_EQ(OperationManager::memoryUsed(), floor);
    OperationManager::setMemoryUsed(floor - 1);
    EXPECT_EQ(OperationManager::memoryUsed(), floor);
    OperationManager::setMemoryUsed(quint64(8) << 30);
    EXPECT_EQ(OperationManager::memoryUsed(), quint64(8) << 30);
    OperationManager::setMemoryUsed(floor);
}

TEST(Settings, TemporaryFolderIsFreshPerProcessAndStoredAsGiven)
{
    const QString original = OperationManager::temporaryFileFolderPath();
    const QRegularExpression form(
        QStringLiteral("^/tmp/\\{[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}\\}$"));
    EXPECT_TRUE(form.match(original).hasMatch()) << original.toStdString();

    OperationManager::setTemporaryFileFolderPath(QStringLiteral("relative/not checked"));
    EXPECT_EQ(OperationManager::temporaryFileFolderPath(), QStringLiteral("relative/not checked"));
    OperationManager::setTemporaryFileFolderPath(QString());
    EXPECT_TRUE(OperationManager::temporaryFileFolderPath().isEmpty());
    OperationManager::setTemporaryFileFolderPath(original);
}
