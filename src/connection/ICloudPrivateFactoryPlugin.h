#pragma once

#include "info/CloudType.h"

#include <QtPlugin>

namespace Norvik::Cloud::Api {

class CloudAmazonS3Private;
class CloudAmazonS3LikePrivate;
class CloudAzureBlobPrivate;
class CloudGoogleStoragePrivate;
class CloudOpenStackPrivate;
class CloudBackBlazePrivate;
class StorageSftpPrivate;

// What a custom cloud plug-in offers: the hidden implementation objects of the service
// connections, made by the plug-in instead of by this library. A plug-in is a Qt plug-in whose
// root object implements this interface. Each function returns a new object that the asking
// connection owns, or null when the plug-in has none, which the connection takes as a fault of
// the configuration.
//
// The order of the functions is the binary contract with plug-ins built elsewhere: new
// functions go at the end, and none is ever removed or reordered.
class ICloudPrivateFactoryPlugin
{
public:
    virtual ~ICloudPrivateFactoryPlugin() = default;

    virtual CloudAmazonS3Private* createAmazonS3(Type type) = 0;
    virtual CloudAzureBlobPrivate* createAzureBlob() = 0;
    virtual CloudGoogleStoragePrivate* createGoogleStorage() = 0;
    virtual CloudAmazonS3LikePrivate* createAmazonS3Like(Type type) = 0;
    virtual CloudOpenStackPrivate* createOpenStack() = 0;
    virtual CloudBackBlazePrivate* createBackBlaze() = 0;
    virtual StorageSftpPrivate* createStorageSftp() = 0;
};

} // namespace Norvik::Cloud::Api

#define NorvikCloudPrivateFactoryPlugin_iid "com.Norvik.Plugin.ICloudPrivateFactoryPlugin"

Q_DECLARE_INTERFACE(Norvik::Cloud::Api::ICloudPrivateFactoryPlugin, NorvikCloudPrivateFactoryPlugin_iid)
