#include "LogCapture.h"
#include "TestSupport.h"

#include "connection/CloudPrivateFactory.h"
#include "connection/Exception.h"
#include "s3/CloudAmazonS3LikePrivate.h"
#include "s3/CloudAmazonS3Private.h"

#include <NorvikCore/GlobalConfig.h>

#include <gtest/gtest.h>

#include <QFile>

#include <memory>

using namespace Norvik::Cloud;
using Api::CloudPrivateFactory;
using NorvikTest::LogCapture;

namespace {

// Where the test's plug-ins are built; set by the build.
const QString PluginFolder = QStringLiteral(NORVIK_TEST_PLUGIN_DIR);

// Plug-in mode, with the plug-in at PluginFolder/<baseName>.so.
class PluginModeConfig : public Norvik::Core::GlobalConfig
{
public:
    explicit PluginModeConfig(const QString& baseName)
        : m_baseName(baseName)
    {
    }
    bool useCustomCloudPlugin() const override { return true; }
    QString cloudPluginFolder() const override { return PluginFolder; }
    QString cloudPluginBaseName() const override { return m_baseName; }

private:
    const QString m_baseName;
};

void usePlugin(const QString& baseName)
{
    Norvik::Core::GlobalConfig::install(new PluginModeConfig(baseName));
}

// The message of the InternalError that loading throws; empty when nothing was thrown.
QString loadFailure()
{
    try {
        CloudPrivateFactory::instance().loadCustomCloudPlugin();
    } catch (const Api::Exception::InternalError& e) {
        return e.message();
    }
    return QString();
}

// The factory loads a plug-in at most once per process, and only a successful load counts, so
// the whole life of the loader is one test: every kind of failure first, then the load that
// succeeds, then its objects.
TEST(CustomCloudPlugin, LoaderFailsClearlyUntilAGoodPluginIsThereThenKeepsIt)
{
    LogCapture log;

    // Missing file.
    usePlugin(QStringLiteral("absent_plugin"));
    ASSERT_FALSE(QFile::exists(PluginFolder + QStringLiteral("/absent_plugin.so")));
    EXPECT_EQ(loadFailure(), QStringLiteral("Custom cloud plugin doesn't exist"));
    // The connections' path to it fails the same way.
    EXPECT_THROW(CloudPrivateFactory::instance().createAmazonS3(Type::AmazonS3),
                 Api::Exception::InternalError);

    // A Qt plug-in for another interface.
    usePlugin(QStringLiteral("wrong_interface_plugin"));
    EXPECT_EQ(loadFailure(), QStringLiteral("Error on load Custom Cloud plugin. Interface is corrupted"));
    EXPECT_THROW(CloudPrivateFactory::instance().createAmazonS3Like(Type::Minio),
                 Api::Exception::InternalError);

    // Every failure left the loader free to try again; now it succeeds.
    usePlugin(QStringLiteral("test_cloud_plugin"));
    EXPECT_TRUE(CloudPrivateFactory::instance().loadCustomCloudPlugin());

    // The objects come from the plug-in, with the type passed through.
    const std::unique_ptr<Api::CloudAmazonS3Private> amazon(
        CloudPrivateFactory::instance().createAmazonS3(Type::AmazonS3Chinese));
    ASSERT_TRUE(amazon);
    EXPECT_EQ(amazon->endpoint(), QUrl(QStringLiteral("https://plugin.invalid/createAmazonS3/20")));
    const std::unique_ptr<Api::CloudAmazonS3LikePrivate> like(
        CloudPrivateFactory::instance().createAmazonS3Like(Type::Wasabi));
    ASSERT_TRUE(like);
    EXPECT_EQ(like->endpoint(), QUrl(QStringLiteral("https://plugin.invalid/createAmazonS3Like/29")));

    // Loaded once for the process: the location is not consulted again.
    usePlugin(QStringLiteral("absent_plugin"));
    EXPECT_TRUE(CloudPrivateFactory::instance().loadCustomCloudPlugin());
    const std::unique_ptr<Api::CloudAmazonS3Private> again(
        CloudPrivateFactory::instance().createAmazonS3(Type::AmazonS3));
    ASSERT_TRUE(again);
    EXPECT_EQ(again->endpoint(), QUrl(QStringLiteral("https://plugin.invalid/createAmazonS3/2")));
    EXPECT_EQ(log.count({QStringLiteral("ERROR")}), 4) << log.lines().join('\n').toStdString();
}

} // namespace
