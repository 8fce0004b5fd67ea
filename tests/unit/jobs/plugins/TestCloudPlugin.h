#pragma once

#include "connection/ICloudPrivateFactoryPlugin.h"

#include <QObject>

// A custom cloud plug-in as an application would ship one. Its S3 objects carry an endpoint
// of their own, "https://plugin.invalid/<function>/<type number>", by which a test tells them
// from the library's built-in ones. It has nothing for the other services.
class TestCloudPlugin : public QObject, public Norvik::Cloud::Api::ICloudPrivateFactoryPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID NorvikCloudPrivateFactoryPlugin_iid)
    Q_INTERFACES(Norvik::Cloud::Api::ICloudPrivateFactoryPlugin)

public:
    Norvik::Cloud::Api::CloudAmazonS3Private* createAmazonS3(Norvik::Cloud::Type type) override;
    Norvik::Cloud::Api::CloudAzureBlobPrivate* createAzureBlob() override { return nullptr; }
    Norvik::Cloud::Api::CloudGoogleStoragePrivate* createGoogleStorage() override { return nullptr; }
    Norvik::Cloud::Api::CloudAmazonS3LikePrivate* createAmazonS3Like(Norvik::Cloud::Type type) override;
    Norvik::Cloud::Api::CloudOpenStackPrivate* createOpenStack() override { return nullptr; }
    Norvik::Cloud::Api::CloudBackBlazePrivate* createBackBlaze() override { return nullptr; }
    Norvik::Cloud::Api::StorageSftpPrivate* createStorageSftp() override { return nullptr; }
};
