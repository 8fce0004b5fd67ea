#pragma once

#include <QString>

// The keys of a cloud configuration map, one constant per key. The texts are what clients
// put in the map; how each key is read and what its absence means is decided by the
// connection that reads it. The QString constants are initialised dynamically: use them from
// functions, not from the initialisers of other namespace-scope objects.

namespace Norvik::Cloud {

// Keys common to every connection. "CloudId" names one configuration: a changed
// configuration needs a new id, since a job thread keeps its connection while the id stays.
namespace Config {
extern const QString Type;
extern const QString Id;

// Local folder storage.
namespace FileSystem {
extern const QString Path;
} // namespace FileSystem

// The S3 protocol, shared by Amazon S3 and the compatible services.
namespace AmazonS3Like {
extern const QString AccessKey;
extern const QString SecretKey;
extern const QString SecurityToken;
extern const QString Region;

namespace Signature {
extern const QString Key;

// Only the exact text "V4" selects signature version 4; any other value means version 2.
namespace Value {
extern const QString V4;
extern const QString V2;
} // namespace Value
} // namespace Signature
} // namespace AmazonS3Like

// Amazon S3 only.
namespace AmazonS3 {
extern const QString UseAccelerate;
extern const QString UseSSE;

namespace StorageClass {
extern const QString Key;

namespace Value {
extern const QString Standard;
extern const QString Standard_IA;
extern const QString RRS;
extern const QString OneZone_IA;
extern const QString Glacier;
extern const QString IntelligentTiering;
extern const QString GlacierDeepArchive;
extern const QString Glacier_IR;
} // namespace Value
} // namespace StorageClass

namespace Glacier {
extern const QString Key;

// Retrieval tiers of an archive restore, given as integers in the job options.
namespace Value {
inline constexpr int Skip = 0;
inline constexpr int Expedited = 1;
inline constexpr int Standard = 2;
inline constexpr int Bulk = 3;
} // namespace Value
} // namespace Glacier
} // namespace AmazonS3

// Azure Blob storage.
namespace AzureBlob {
extern const QString Username;
extern const QString Password;

namespace StorageClass {
extern const QString Key;

namespace Value {
extern const QString Default;
extern const QString Hot;
extern const QString Cool;
extern const QString Archive;
} // namespace Value
} // namespace StorageClass

// The account type selects the endpoint; "AzureStack" needs an explicit "Endpoint".
namespace AccountTypes {
extern const QString Key;

namespace Value {
extern const QString Public;
extern const QString Germany;
extern const QString China;
extern const QString Government;
extern const QString AzureStack;
} // namespace Value
} // namespace AccountTypes
} // namespace AzureBlob

// Backblaze B2.
namespace BackBlaze {
extern const QString AccountId;
extern const QString ApplicationKey;
extern const QString TestMode;
} // namespace BackBlaze

// Google Cloud Storage. "AuthType" is read as an integer whose value selects the further keys.
namespace GoogleStorage {
extern const QString AuthType;

namespace Auth_AccessAndSecretKey {
inline constexpr int Key = 0;
extern const QString AccessKey;
extern const QString SecretKey;
} // namespace Auth_AccessAndSecretKey

namespace Auth_ServiceAccount {
inline constexpr int Key = 1;
extern const QString PrivateKey;
extern const QString ProjectId;
extern const QString ServiceAccount;
} // namespace Auth_ServiceAccount

namespace Auth_InstalledApplication {
inline constexpr int Key = 2;
extern const QString InitCode;
extern const QString RefreshToken;
extern const QString ProjectId;
} // namespace Auth_InstalledApplication
} // namespace GoogleStorage

// OpenStack Swift. "AuthType" is read as an integer: 1, or the Keystone version 2 or 3.
namespace OpenStack {
extern const QString AuthType;
inline constexpr int Auth_V1 = 1;
extern const QString Username;
extern const QString ApiKey;
extern const QString UseInternalUrl;
extern const QString SegmentPrefix;

namespace Auth_Keystore_V2 {
inline constexpr int Key = 2;
extern const QString Region;
extern const QString TenantId;
extern const QString TenantName;
} // namespace Auth_Keystore_V2

namespace Auth_Keystore_V3 {
inline constexpr int Key = 3;
extern const QString DomainId;
extern const QString DomainName;
extern const QString Region;

namespace UseScope {
extern const QString Key;
extern const QString ProjectId;
extern const QString ProjectName;
} // namespace UseScope
} // namespace Auth_Keystore_V3
} // namespace OpenStack

// Network storage reached through libcurl.
namespace Network {
extern const QString Address;
extern const QString Port;
extern const QString KeepAlive;
extern const QString UseProxy;

// SFTP servers, on top of the network keys.
namespace Sftp {
extern const QString Path;
extern const QString User;
extern const QString Password;
extern const QString PrivateKey;
// The server's host key as OpenSSH prints its SHA-256 fingerprint (Base64, with or without
// "SHA256:"). When set, a server that shows another key is refused.
extern const QString HostKeySha256;
} // namespace Sftp
} // namespace Network
} // namespace Config

namespace Api {
namespace Config {
// Keys read by every HTTP connection.
namespace Http {
extern const QString Endpoint;
extern const QString UseSsl;
} // namespace Http
} // namespace Config
} // namespace Api

} // namespace Norvik::Cloud
