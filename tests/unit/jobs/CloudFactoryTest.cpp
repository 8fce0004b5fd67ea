#include "LogCapture.h"
#include "TestSupport.h"

#include "connection/CloudFactory.h"
#include "connection/CloudPrivateFactory.h"
#include "connection/IConnection.h"
#include "info/CloudType.h"
#include "info/Config.h"
#include "s3/CloudAmazonS3Private.h"
#include "storage/CloudFileSystem.h"

#include <NorvikCore/GlobalConfig.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QUuid>

#include <atomic>
#include <memory>

using namespace Norvik::Cloud;
using Api::CloudFactory;
using NorvikTest::LogCapture;

namespace {

QMap<QString, QVariant> fileSystemConfig(const QString& root)
{
    return {{Config::Type, QStringLiteral("FileSystem")},
            {Config::Id, QUuid::createUuid()},
            {Config::FileSystem::Path, root}};
}

TEST(CloudFactory, MakesAConfiguredFileSystemConnection)
{
    const QString root = NorvikTest::scratchDir(QStringLiteral("factory-root"));
    const QMap<QString, QVariant> config = fileSystemConfig(root);

    const std::unique_ptr<Api::IConnection> connection(CloudFactory::create(config));

    ASSERT_TRUE(connection);
    EXPECT_NE(dynamic_cast<Api::CloudFileSystem*>(connection.get()), nullptr);
    EXPECT_EQ(connection->type(), Type::FileSystem);
    // setConfig ran with the whole map: the id is the configuration's, and the root is used.
    EXPECT_EQ(connection->id(), config.value(Config::Id).toUuid());
    connection->upload(QString(), QStringLiteral("/written.txt"), {}, QByteArray("abc"), QUuid::createUuid());
    EXPECT_TRUE(QFile::exists(QDir(root).filePath(QStringLiteral("written.txt"))));
}

TEST(CloudFactory, RefusesWhatItCannotMake)
{
    LogCapture log;
    const QString root = NorvikTest::scratchDir(QStringLiteral("factory-refused"));

    QMap<QString, QVariant> noType = fileSystemConfig(root);
    noType.remove(Config::Type);
    EXPECT_EQ(CloudFactory::create(noType), nullptr);

    // The type's name is matched exactly.
    for (const QString& name : {QStringLiteral("filesystem"), QStringLiteral("FILESYSTEM"),
                                QStringLiteral(" FileSystem"), QString(), QStringLiteral("1")}) {
        QMap<QString, QVariant> config = fileSystemConfig(root);
        config.insert(Config::Type, name);
        EXPECT_EQ(CloudFactory::create(config), nullptr) << name.toStdString();
    }
    // Neither a missing type nor an unknown name is worth a log line.
    EXPECT_EQ(log.count({QStringLiteral("WARNING")}), 0) << log.lines().join('\n').toStdString();

    // The base refuses a configuration without "CloudId"; the file system one refuses an
    // empty root.
    QMap<QString, QVariant> noId = fileSystemConfig(root);
    noId.remove(Config::Id);
    EXPECT_EQ(CloudFactory::create(noId), nullptr);
    QMap<QString, QVariant> noRoot = fileSystemConfig(QString());
    EXPECT_EQ(CloudFactory::create(noRoot), nullptr);
}

} // namespace
