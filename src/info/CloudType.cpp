#include "info/CloudType.h"

namespace Norvik::Cloud {

namespace Name {
const QString FileSystem = QStringLiteral("FileSystem");
const QString AmazonS3 = QStringLiteral("AmazonS3");
const QString AzureBlob = QStringLiteral("AzureBlob");
const QString OracleCloud = QStringLiteral("OracleCloud");
const QString Rackspace = QStringLiteral("Rackspace");
const QString Openstack = QStringLiteral("Openstack");
const QString GoogleStorage = QStringLiteral("GoogleStorage");
const QString SoftLayer = QStringLiteral("SoftLayer");
const QString HPCloud = QStringLiteral("HPCloud");
const QString HPHelion = QStringLiteral("HPHelion");
const QString AmazonS3Like = QStringLiteral("S3Compatible");
const QString Scality = QStringLiteral("Scality");
const QString DreamObjects = QStringLiteral("DreamObjects");
const QString Cloudian = QStringLiteral("Cloudian");
const QString ThinkOn = QStringLiteral("ThinkOn");
const QString Aruba = QStringLiteral("Aruba");
const QString Tiscali = QStringLiteral("Tiscali");
const QString Seeweb = QStringLiteral("Seeweb");
const QString CenturyLink = QStringLiteral("CenturyLink");
const QString AmazonS3Chinese = QStringLiteral("AmazonS3Chinese");
const QString Minio = QStringLiteral("Minio");
const QString Dunkel = QStringLiteral("Dunkel");
const QString Connectria = QStringLiteral("Connectria");
const QString HostEurope = QStringLiteral("HostEurope");
const QString GreenQloud = QStringLiteral("GreenQloud");
const QString Constant = QStringLiteral("Constant");
const QString Webzilla = QStringLiteral("Webzilla");
const QString Verizon = QStringLiteral("Verizon");
const QString Wasabi = QStringLiteral("Wasabi");
const QString AlibabaCloud = QStringLiteral("AlibabaCloud");
const QString BackBlaze = QStringLiteral("BackBlaze");
const QString Sftp = QStringLiteral("Sftp");
const QString NorvikUbWasabi = QStringLiteral("Wasabi (UB)");
const QString NorvikUbWasabiStage = QStringLiteral("Wasabi (UB) Stage");
const QString WasabiStage = QStringLiteral("Wasabi Stage");
const QString NorvikUbAmazonS3 = QStringLiteral("AmazonS3 (UB)");
const QString KTR_CLOUD = QStringLiteral("KTR_CLOUD");
} // namespace Name

const QMap<Type, QString> TypeName = {
    {Type::FileSystem, Name::FileSystem},
    {Type::AmazonS3, Name::AmazonS3},
    {Type::AzureBlob, Name::AzureBlob},
    {Type::GoogleStorage, Name::GoogleStorage},
    {Type::Openstack, Name::Openstack},
    {Type::OracleCloud, Name::OracleCloud},
    {Type::Rackspace, Name::Rackspace},
    {Type::SoftLayer, Name::SoftLayer},
    {Type::HPCloud, Name::HPCloud},
    {Type::HPHelion, Name::HPHelion},
    {Type::AmazonS3Like, Name::AmazonS3Like},
    {Type::Scality, Name::Scality},
    {Type::DreamObjects, Name::DreamObjects},
    {Type::Cloudian, Name::Cloudian},
    {Type::ThinkOn, Name::ThinkOn},
    {Type::Aruba, Name::Aruba},
    {Type::Tiscali, Name::Tiscali},
    {Type::Seeweb, Name::Seeweb},
    {Type::CenturyLink, Name::CenturyLink},
    {Type::AmazonS3Chinese, Name::AmazonS3Chinese},
    {Type::Dunkel, Name::Dunkel},
    {Type::Minio, Name::Minio},
    {Type::Connectria, Name::Connectria},
    {Type::HostEurope, Name::HostEurope},
    {Type::GreenQloud, Name::GreenQloud},
    {Type::Constant, Name::Constant},
    {Type::Webzilla, Name::Webzilla},
    {Type::Verizon, Name::Verizon},
    {Type::Wasabi, Name::Wasabi},
    {Type::BackBlaze, Name::BackBlaze},
    {Type::AlibabaCloud, Name::AlibabaCloud},
    {Type::KTR_CLOUD, Name::KTR_CLOUD},
    {Type::NorvikUbWasabi, Name::NorvikUbWasabi},
    {Type::NorvikUbWasabiStage, Name::NorvikUbWasabiStage},
    {Type::WasabiStage, Name::WasabiStage},
    {Type::NorvikUbAmazonS3, Name::NorvikUbAmazonS3},
    {Type::Sftp, Name::Sftp},
};

const QSet<Type> S3Compatible = {Type::AmazonS3Like, Type::Scality,        Type::DreamObjects,
                                 Type::Cloudian,     Type::ThinkOn,        Type::Aruba,
                                 Type::Tiscali,      Type::Seeweb,         Type::CenturyLink,
                                 Type::Minio,        Type::Dunkel,         Type::Connectria,
                                 Type::HostEurope,   Type::GreenQloud,     Type::Constant,
                                 Type::Webzilla,     Type::Verizon,        Type::Wasabi,
                                 Type::AlibabaCloud, Type::NorvikUbWasabi, Type::NorvikUbWasabiStage,
                                 Type::WasabiStage};
const QSet<Type> AmazonS3 = {Type::AmazonS3, Type::AmazonS3Chinese, Type::NorvikUbAmazonS3};
const QSet<Type> OpenStack = {Type::OracleCloud, Type::Rackspace, Type::Openstack,
                              Type::SoftLayer,   Type::HPCloud,   Type::HPHelion};
const QSet<Type> NetworkConnection = {Type::Sftp};
const QSet<Type> DepricatedTypes = {
    Type::OracleCloud,     Type::Rackspace,    Type::Openstack,    Type::SoftLayer, Type::HPCloud,
    Type::Scality,         Type::DreamObjects, Type::Cloudian,     Type::ThinkOn,   Type::CenturyLink,
    Type::AmazonS3Chinese, Type::Verizon,      Type::AlibabaCloud, Type::Sftp};

} // namespace Norvik::Cloud
