#include "connection/CloudFactory.h"

#include "connection/IConnection.h"
#include "info/CloudType.h"
#include "info/Config.h"

#include <NorvikCore/NorvikDebug.h>

// Connection classes, one include each.
#include "azure/CloudAzureBlob.h"
#include "backblaze/CloudBackBlaze.h"
#include "google/CloudGoogleStorage.h"
#include "s3/CloudAmazonS3Like.h"
#include "openstack/CloudOpenStack.h"
#include "s3/S3CompatibleServices.h"
#include "storage/CloudFileSystem.h"
#include "storage/StorageSftp.h"

namespace Norvik::Cloud::Api {

namespace {

using Maker = IConnection* (*)(Type type);

// For classes that serve exactly one type.
template <class Connection>
IConnection* make(Type)
{
    return new Connection();
}

// For classes that serve several types and are told which one.
template <class Connection>
IConnection* makeOfType(Type type)
{
    return new Connection(type);
}

// The connection class of each type. A type without a row has no class in this library and
// is refused. One row per type, by number:
//     {Type::AmazonS3, &make<CloudAmazonS3>},
//     {Type::AmazonS3Like, &makeOfType<CloudAmazonS3Like>},
const QMap<Type, Maker>& makers()
{
    static const QMap<Type, Maker> table = {
        {Type::FileSystem, &make<CloudFileSystem>},
        {Type::AzureBlob, &make<CloudAzureBlob>},
        // OpenStack Swift: the provider classes differ only in their descriptors.
        {Type::OracleCloud, &make<CloudOracle>},
        {Type::Rackspace, &make<CloudRackspace>},
        {Type::Openstack, &makeOfType<CloudOpenStack>},
        {Type::SoftLayer, &make<CloudSoftLayer>},
        {Type::HPCloud, &make<CloudHPCloud>},
        {Type::HPHelion, &make<CloudHPCloud>},
        {Type::GoogleStorage, &make<CloudGoogleStorage>},
        // Amazon S3 and the S3-compatible services.
        {Type::AmazonS3, &make<CloudAmazonS3>},
        {Type::AmazonS3Like, &makeOfType<CloudAmazonS3Like>},
        {Type::Scality, &make<CloudScality>},
        {Type::DreamObjects, &make<CloudDreamObjects>},
        {Type::Cloudian, &make<CloudCloudian>},
        {Type::ThinkOn, &make<CloudThinkOn>},
        {Type::Aruba, &make<CloudAruba>},
        {Type::Tiscali, &make<CloudTiscali>},
        {Type::Seeweb, &make<CloudSeeweb>},
        {Type::CenturyLink, &make<CloudCenturyLink>},
        {Type::AmazonS3Chinese, &make<CloudAmazonS3Chinese>},
        {Type::Minio, &make<CloudMinio>},
        {Type::Dunkel, &make<CloudDunkel>},
        {Type::Connectria, &make<CloudConnectria>},
        {Type::HostEurope, &make<CloudHostEurope>},
        {Type::GreenQloud, &make<CloudGreenQloud>},
        {Type::Constant, &make<CloudConstant>},
        {Type::Webzilla, &make<CloudWebzilla>},
        {Type::Verizon, &make<CloudVerizon>},
        {Type::Wasabi, &make<CloudWasabi>},
        {Type::AlibabaCloud, &make<CloudAlibaba>},
        {Type::NorvikUbWasabi, &make<CloudNorvikUbWasabi>},
        {Type::NorvikUbWasabiStage, &make<CloudNorvikUbWasabiStage>},
        {Type::WasabiStage, &make<CloudWasabiStage>},
        {Type::NorvikUbAmazonS3, &make<CloudNorvikUbAmazonS3>},
        {Type::BackBlaze, &make<CloudBackBlaze>},
        {Type::Sftp, &makeOfType<StorageSftp>},
    };
    return table;
}

} // namespace

IConnection* CloudFactory::create(const QMap<QString, QVariant>& config)
{
    const auto typeName = config.constFind(Norvik::Cloud::Config::Type);
    if (typeName == config.constEnd())
        return nullptr;
    const QString name = typeName->toString();
    const int number = name2Type(name);
    if (number < 0)
        return nullptr;

    const Type type = static_cast<Type>(number);
    const Maker maker = makers().value(type, nullptr);
    if (!maker) {
        NorvikDebug("NKC").warning() << "This cloud type dont support! type:" << name;
        return nullptr;
    }
    IConnection* connection = maker(type);
    if (!connection->setConfig(config)) {
        delete connection;
        return nullptr;
    }
    return connection;
}

int CloudFactory::name2Type(const QString& name)
{
    for (auto it = TypeName.cbegin(); it != TypeName.cend(); ++it) {
        if (it.value() == name)
            return static_cast<int>(it.key());
    }
    return -1;
}

} // namespace Norvik::Cloud::Api
