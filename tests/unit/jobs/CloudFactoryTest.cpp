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

TEST(CloudFactory, TypeWithANameButNoClassIsUnsupported)
{
    LogCapture log;
    QMap<QString, QVariant> config = fileSystemConfig(QStringLiteral("/tmp"));
    config.insert(Config::Type, QStringLiteral("KTR_CLOUD"));

    EXPECT_EQ(CloudFactory::create(config), nullptr);
    EXPECT_EQ(log.count({QStringLiteral("WARNING"),
                         QStringLiteral("This cloud type dont support! type: KTR_CLOUD")}),
              1)
        << log.lines().join('\n').toStdString();
}

TEST(CloudFactory, Name2TypeIsTheInverseOfTheNames)
{
    for (auto it = TypeName.cbegin(); it != TypeName.cend(); ++it)
        EXPECT_EQ(CloudFactory::name2Type(it.value()), static_cast<int>(it.key()))
            << it.value().toStdString();
    EXPECT_EQ(CloudFactory::name2Type(QStringLiteral("Sftp")), 33);
    EXPECT_EQ(CloudFactory::name2Type(QStringLiteral("sftp")), -1);
    EXPECT_EQ(CloudFactory::name2Type(QString()), -1);
    EXPECT_EQ(CloudFactory::name2Type(QStringLiteral("32")), -1);
}

// Counts every query of the plug-in's location, which must not be made without plug-in mode.
class BuiltInOnlyConfig : public Norvik::Core::GlobalConfig
{
public:
    explicit BuiltInOnlyConfig(std::atomic<int>& queries)
        : m_queries(queries)
    {
    }
    bool useCustomCloudPlugin() const override { return false; }
    QString cloudPluginFolder() const override
    {
        ++m_queries;
        return QStringLiteral("/nonexistent");
    }
    QString cloudPluginBaseName() const override
    {
        ++m_queries;
        return QStringLiteral("nothing");
    }

private:
    std::atomic<int>& m_queries;
};

TEST(CloudPrivateFactory, WithoutPluginModeMakesTheBuiltInClasses)
{
    static std::atomic<int> pluginQueries{0};
    Norvik::Core::GlobalConfig::install(new BuiltInOnlyConfig(pluginQueries));
    LogCapture log;

    const std::unique_ptr<Api::CloudAmazonS3Private> amazon(
        Api::CloudPrivateFactory::instance().createAmazonS3(Type::AmazonS3Chinese));
    const std::unique_ptr<Api::CloudAmazonS3LikePrivate> like(
        Api::CloudPrivateFactory::instance().createAmazonS3Like(Type::Minio));

    EXPECT_NE(amazon, nullptr);
    EXPECT_NE(like, nullptr);
    // The compatible services get the general class, not Amazon's own.
    EXPECT_EQ(dynamic_cast<Api::CloudAmazonS3Private*>(like.get()), nullptr);
    // Nothing of the plug-in path ran.
    EXPECT_EQ(pluginQueries.load(), 0);
    EXPECT_EQ(log.count({QStringLiteral("Load Custom Cloud plugin")}), 0);
    Norvik::Core::GlobalConfig::install(nullptr);
}

} // namespace
