#pragma once

#include "info/CloudType.h"

#include <QCoreApplication>
#include <QMutex>

namespace Norvik::Cloud::Api {

class CloudAmazonS3Private;
class CloudAmazonS3LikePrivate;
class CloudBackBlazePrivate;
class CloudAzureBlobPrivate;
class ICloudPrivateFactoryPlugin;

// Makes the hidden implementation objects of the service connections. Normally these are the
// library's own classes; when Core::GlobalConfig::useCustomCloudPlugin() is set, they all come
// from the plug-in "<cloudPluginFolder()>/<cloudPluginBaseName()>.so" instead, which is loaded
// on first need and kept for the life of the process.
//
// The connections call it from their constructors and own what they get. A null object means
// that the plug-in did not provide one; connections do not check for it.
//
// Adding a service: declare createX() below, and define it in the source file as one line
// through create(), naming the built-in class and the plug-in's function of the same name.
class CloudPrivateFactory
{
    Q_DECLARE_TR_FUNCTIONS(CloudPrivateFactory)

public:
    static CloudPrivateFactory& instance();

    // Throw Exception::InternalError when the plug-in is in force and cannot be loaded.
    CloudAmazonS3Private* createAmazonS3(Type type);
    CloudAmazonS3LikePrivate* createAmazonS3Like(Type type);
    CloudBackBlazePrivate* createBackBlaze();
    CloudAzureBlobPrivate* createAzureBlob();

    // Loads the plug-in once per process; true from then on. Every failure throws
    // Exception::InternalError and leaves the next call to try again.
    bool loadCustomCloudPlugin();

private:
    CloudPrivateFactory();
    ~CloudPrivateFactory();
    CloudPrivateFactory(const CloudPrivateFactory&) = delete;
    CloudPrivateFactory& operator=(const CloudPrivateFactory&) = delete;

    template <class Private, class... Args>
    Private* create(Private* (ICloudPrivateFactoryPlugin::*fromPlugin)(Args...), Args... args);

    QMutex m_mutex;
    bool m_loaded = false;
    // Written once under the mutex; read without it once loading has succeeded.
    ICloudPrivateFactoryPlugin* m_plugin = nullptr;
};

} // namespace Norvik::Cloud::Api
