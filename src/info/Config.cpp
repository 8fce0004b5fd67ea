#include "info/Config.h"

namespace Norvik::Cloud {

namespace Config {
const QString Type = QStringLiteral("CloudType");
const QString Id = QStringLiteral("CloudId");
namespace FileSystem {
const QString Path = QStringLiteral("Path");
} // namespace FileSystem
namespace AmazonS3Like {
const QString AccessKey = QStringLiteral("AccessKey");
const QString SecretKey = QStringLiteral("SecretKey");
const QString SecurityToken = QStringLiteral("SecurityToken");
const QString Region = QStringLiteral("Region");
namespace Signature {
const QString Key = QStringLiteral("Signature");
namespace Value {
const QString V4 = QStringLiteral("V4");
const QString V2 = QStringLiteral("V2");
} // namespace Value
} // namespace Signature
} // namespace AmazonS3Like
namespace AmazonS3 {
const QString UseAccelerate = QStringLiteral("UseAccelerate");
const QString UseSSE = QStringLiteral("UseSSE");
namespace StorageClass {
const QString Key = QStringLiteral("StorageClass");
namespace Value {
const QString Standard = QStringLiteral("Standard");
const QString Standard_IA = QStringLiteral("Standard-IA");
const QString RRS = QStringLiteral("RRS");
const QString OneZone_IA = QStringLiteral("OneZoneIa");
const QString Glacier = QStringLiteral("Glacier");
const QString IntelligentTiering = QStringLiteral("IntelligentTiering");
const QString GlacierDeepArchive = QStringLiteral("GlacierDeepArchive");
const QString Glacier_IR = QStringLiteral("Glacier-IR");
} // namespace Value
} // namespace StorageClass
namespace Glacier {
const QString Key = QStringLiteral("Glacier");
namespace Value {
} // namespace Value
} // namespace Glacier
} // namespace AmazonS3
namespace AzureBlob {
const QString Username = QStringLiteral("Username");
const QString Password = QStringLiteral("Password");
namespace StorageClass {
const QString Key = QStringLiteral("StorageClass");
namespace Value {
const QString Default = QStringLiteral("Default");
const QString Hot = QStringLiteral("Hot");
const QString Cool = QStringLiteral("Cool");
const QString Archive = QStringLiteral("Archive");
} // namespace Value
} // namespace StorageClass
namespace AccountTypes {
const QString Key = QStringLiteral("Type");
namespace Value {
const QString Public = QStringLiteral("Public");
const QString Germany = QStringLiteral("Germany");
const QString China = QStringLiteral("China");
const QString Government = QStringLiteral("Government");
const QString AzureStack = QStringLiteral("AzureStack");
} // namespace Value
} // namespace AccountTypes
} // namespace AzureBlob
namespace BackBlaze {
const QString AccountId = QStringLiteral("AccountId");
const QString ApplicationKey = QStringLiteral("ApplicationKey");
const QString TestMode = QStringLiteral("TestMode");
} // namespace BackBlaze
namespace GoogleStorage {
const QString AuthType = QStringLiteral("AuthType");
namespace Auth_AccessAndSecretKey {
const QString AccessKey = QStringLiteral("AccessKey");
const QString SecretKey = QStringLiteral("SecretKey");
} // namespace Auth_AccessAndSecretKey
namespace Auth_ServiceAccount {
const QString PrivateKey = QStringLiteral("PrivateKey");
const QString HostKeySha256 = QStringLiteral("HostKeySha256");
const QString ProjectId = QStringLiteral("ProjectId");
const QString ServiceAccount = QStringLiteral("ServiceAccount");
} // namespace Auth_ServiceAccount
namespace Auth_InstalledApplication {
const QString InitCode = QStringLiteral("InitCode");
const QString RefreshToken = QStringLiteral("RefreshToken");
const QString ProjectId = QStringLiteral("ProjectId");
} // namespace Auth_InstalledApplication
} // namespace GoogleStorage
namespace OpenStack {
const QString AuthType = QStringLiteral("AuthType");
const QString Username = QStringLiteral("Username");
const QString ApiKey = QStringLiteral("ApiKey");
const QString UseInternalUrl = QStringLiteral("UseInternalUrl");
const QString SegmentPrefix = QStringLiteral("SegmentPrefix");
namespace Auth_Keystore_V2 {
const QString Region = QStringLiteral("Region");
const QString TenantId = QStringLiteral("TenantId");
const QString TenantName = QStringLiteral("TenantName");
} // namespace Auth_Keystore_V2
namespace Auth_Keystore_V3 {
const QString DomainId = QStringLiteral("DomainId");
const QString DomainName = QStringLiteral("DomainName");
const QString Region = QStringLiteral("Region");
namespace UseScope {
const QString Key = QStringLiteral("UseScope");
const QString ProjectId = QStringLiteral("ProjectId");
const QString ProjectName = QStringLiteral("ProjectName");
} // namespace UseScope
} // namespace Auth_Keystore_V3
} // namespace OpenStack
namespace Network {
const QString Address = QStringLiteral("Address");
const QString Port = QStringLiteral("Port");
const QString KeepAlive = QStringLiteral("KeepAlive");
const QString UseProxy = QStringLiteral("UseProxy");
namespace Sftp {
const QString Path = QStringLiteral("Path");
const QString User = QStringLiteral("User");
const QString Password = QStringLiteral("Password");
const QString PrivateKey = QStringLiteral("PrivateKey");
const QString HostKeySha256 = QStringLiteral("HostKeySha256");
} // namespace Sftp
} // namespace Network
} // namespace Config
namespace Api {
namespace Config {
namespace Http {
const QString Endpoint = QStringLiteral("Endpoint");
const QString UseSsl = QStringLiteral("UseSsl");
} // namespace Http
} // namespace Config
} // namespace Api

} // namespace Norvik::Cloud
