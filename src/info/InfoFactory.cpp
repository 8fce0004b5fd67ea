#include "info/InfoFactory.h"

#include "info/AmazonS3Info.h"
#include "info/AzureBlobInfo.h"
#include "info/BackBlazeInfo.h"
#include "info/Config.h"
#include "info/GoogleStorageInfo.h"
#include "info/OpenStackInfo.h"
#include "info/S3CompatibleInfo.h"
#include "info/StorageInfo.h"
#include "info/WasabiInfo.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud::Info {

namespace {

QSharedPointer<Base> unsupported(const QString& name)
{
    NorvikDebug("NKC").warning() << "This cloud type dont support! type:" << name;
    return {};
}

} // namespace

QSharedPointer<Base> InfoFactory::create(Type type)
{
    switch (type) {
    case Type::FileSystem:
        return QSharedPointer<FileSystem>::create();
    case Type::AmazonS3:
        return QSharedPointer<AmazonS3>::create();
    case Type::AzureBlob:
        return QSharedPointer<AzureBlob>::create();
    case Type::OracleCloud:
        return QSharedPointer<OracleCloud>::create();
    case Type::Rackspace:
        return QSharedPointer<Rackspace>::create();
    case Type::Openstack:
        return QSharedPointer<OpenStack>::create(Type::Openstack);
    case Type::GoogleStorage:
        return QSharedPointer<GoogleStorage>::create();
    case Type::SoftLayer:
        return QSharedPointer<SoftLayer>::create();
    case Type::HPCloud:
    case Type::HPHelion:
        return QSharedPointer<HPCloud>::create();
    case Type::AmazonS3Like:
    case Type::Scality:
    case Type::Cloudian:
    case Type::Aruba:
    case Type::Tiscali:
    case Type::Seeweb:
    case Type::CenturyLink:
    case Type::Dunkel:
    case Type::Connectria:
    case Type::HostEurope:
    case Type::GreenQloud:
    case Type::Constant:
    case Type::Webzilla:
        return QSharedPointer<AmazonS3Like>::create(type);
    case Type::DreamObjects:
        return QSharedPointer<DreamObjects>::create();
    case Type::ThinkOn:
        return QSharedPointer<ThinkOn>::create();
    case Type::AmazonS3Chinese:
        return QSharedPointer<AmazonS3Chinese>::create();
    case Type::Minio:
        return QSharedPointer<Minio>::create();
    case Type::Verizon:
        return QSharedPointer<Verizon>::create();
    case Type::Wasabi:
        return QSharedPointer<Wasabi>::create();
    case Type::AlibabaCloud:
        return QSharedPointer<AlibabaCloud>::create();
    case Type::BackBlaze:
        return QSharedPointer<BackBlaze>::create();
    case Type::Sftp:
        return QSharedPointer<Sftp>::create(Type::Sftp);
    case Type::NorvikUbWasabi:
        return QSharedPointer<NorvikUbWasabi>::create();
    case Type::NorvikUbWasabiStage:
        return QSharedPointer<NorvikUbWasabiStage>::create();
    case Type::WasabiStage:
        return QSharedPointer<WasabiStage>::create();
    case Type::NorvikUbAmazonS3:
        return QSharedPointer<NorvikUbAmazonS3>::create();
    case Type::KTR_CLOUD:
        break;
    }
    const QString name = TypeName.value(type);
    return unsupported(name.isEmpty() ? QString::number(static_cast<int>(type)) : name);
}

QSharedPointer<Base> InfoFactory::create(const QString& name)
{
    for (auto it = TypeName.constBegin(); it != TypeName.constEnd(); ++it) {
        if (it.value() == name)
            return create(it.key());
    }
    return unsupported(name);
}

QSharedPointer<Base> InfoFactory::create(const QMap<QString, QVariant>& config)
{
    return create(config.value(Config::Type).toString());
}

} // namespace Norvik::Cloud::Info
