#include "connection/CloudPrivateFactory.h"

#include "connection/ExceptionBase.h"
#include "connection/ICloudPrivateFactoryPlugin.h"

#include <NorvikCore/GlobalConfig.h>
#include <NorvikCore/NorvikDebug.h>

#include <QFileInfo>
#include <QLibrary>
#include <QMutexLocker>
#include <QPluginLoader>

// Built-in private classes, one include each.
#include "azure/CloudAzureBlobPrivate.h"
#include "backblaze/CloudBackBlazePrivate.h"
#include "s3/CloudAmazonS3LikePrivate.h"
#include "s3/CloudAmazonS3Private.h"

namespace Norvik::Cloud::Api {

CloudPrivateFactory::CloudPrivateFactory() = default;

CloudPrivateFactory::~CloudPrivateFactory()
{
    // The loader leaves the library mapped; its root object is ours to end.
    delete m_plugin;
}

CloudPrivateFactory& CloudPrivateFactory::instance()
{
    static CloudPrivateFactory factory;
    return factory;
}

template <class Private, class... Args>
Private* CloudPrivateFactory::create(Private* (ICloudPrivateFactoryPlugin::*fromPlugin)(Args...),
                                     Args... args)
{
    if (!Core::GlobalConfig::instance().useCustomCloudPlugin())
        return new Private(args...);
    if (loadCustomCloudPlugin() && m_plugin)
        return (m_plugin->*fromPlugin)(args...);
    return nullptr;
}

CloudAmazonS3Private* CloudPrivateFactory::createAmazonS3(Type type)
{
    return create<CloudAmazonS3Private>(&ICloudPrivateFactoryPlugin::createAmazonS3, type);
}

CloudAmazonS3LikePrivate* CloudPrivateFactory::createAmazonS3Like(Type type)
{
    return create<CloudAmazonS3LikePrivate>(&ICloudPrivateFactoryPlugin::createAmazonS3Like, type);
}

CloudBackBlazePrivate* CloudPrivateFactory::createBackBlaze()
{
    return create<CloudBackBlazePrivate>(&ICloudPrivateFactoryPlugin::createBackBlaze);
}

CloudAzureBlobPrivate* CloudPrivateFactory::createAzureBlob()
{
    return create<CloudAzureBlobPrivate>(&ICloudPrivateFactoryPlugin::createAzureBlob);
}

bool CloudPrivateFactory::loadCustomCloudPlugin()
{
    QMutexLocker lock(&m_mutex);
    if (m_loaded)
        return true;
    NorvikDebug("NKC").debug() << "Load Custom Cloud plugin";

    const Core::GlobalConfig& config = Core::GlobalConfig::instance();
    const QString path =
        QStringLiteral("%1/%2.%3")
            .arg(config.cloudPluginFolder(), config.cloudPluginBaseName(), QStringLiteral("so"));
    if (!QFileInfo::exists(path)) {
        NorvikDebug("NKC").error() << "Custom cloud plugin doesn't exist: path" << path;
        throw Exception::InternalError(QStringLiteral("Custom cloud plugin doesn't exist"));
    }

    QPluginLoader loader(path);
    // The plug-in resolves its own symbols first, so that private copies of libraries it
    // carries do not bind to the application's. AddressSanitizer cannot follow such a library
    // (RTLD_DEEPBIND bypasses its interceptors), so sanitizer builds load it plainly.
#if defined(__SANITIZE_ADDRESS__)
    loader.setLoadHints(QLibrary::LoadHints());
#else
    loader.setLoadHints(QLibrary::DeepBindHint);
#endif
    QObject* const root = loader.instance();
    if (!root) {
        const QString message = QStringLiteral("%1 %2").arg(tr("Error on load Custom Cloud plugin, message:"),
                                                            loader.errorString());
        NorvikDebug("NKC").error() << message;
        throw Exception::InternalError(message);
    }
    m_plugin = qobject_cast<ICloudPrivateFactoryPlugin*>(root);
    if (!m_plugin) {
        const QString message = QStringLiteral("Error on load Custom Cloud plugin. Interface is corrupted");
        NorvikDebug("NKC").error() << message;
        throw Exception::InternalError(message);
    }
    m_loaded = true;
    return true;
}

} // namespace Norvik::Cloud::Api
