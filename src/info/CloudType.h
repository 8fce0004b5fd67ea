#pragma once

#include <QMap>
#include <QSet>
#include <QString>

namespace Norvik::Cloud {

// The kinds of storage the library can reach. The integers are part of the contract with
// clients and plug-ins and never change; 32 is unused. Scoped, so that the enumerators do not
// collide with the type sets below (the set AmazonS3 beside the type AmazonS3).
enum class Type : int
{
    FileSystem = 1,
    AmazonS3 = 2,
    AzureBlob = 3,
    OracleCloud = 4,
    Rackspace = 5,
    Openstack = 6,
    GoogleStorage = 7,
    SoftLayer = 8,
    HPCloud = 9,
    HPHelion = 10,
    AmazonS3Like = 11,
    Scality = 12,
    DreamObjects = 13,
    Cloudian = 14,
    ThinkOn = 15,
    Aruba = 16,
    Tiscali = 17,
    Seeweb = 18,
    CenturyLink = 19,
    AmazonS3Chinese = 20,
    Minio = 21,
    Dunkel = 22,
    Connectria = 23,
    HostEurope = 24,
    GreenQloud = 25,
    Constant = 26,
    Webzilla = 27,
    Verizon = 28,
    Wasabi = 29,
    AlibabaCloud = 30,
    BackBlaze = 31,
    Sftp = 33,
    NorvikUbWasabi = 34,
    NorvikUbWasabiStage = 35,
    WasabiStage = 36,
    NorvikUbAmazonS3 = 37,
    KTR_CLOUD = 38,
};

inline uint qHash(Type type, uint seed = 0) noexcept
{
    return ::qHash(static_cast<int>(type), seed);
}

// The text of each type, as clients give it under "CloudType": the wire form of a type.
namespace Name {
extern const QString FileSystem;
extern const QString AmazonS3;
extern const QString AzureBlob;
extern const QString OracleCloud;
extern const QString Rackspace;
extern const QString Openstack;
extern const QString GoogleStorage;
extern const QString SoftLayer;
extern const QString HPCloud;
extern const QString HPHelion;
extern const QString AmazonS3Like;
extern const QString Scality;
extern const QString DreamObjects;
extern const QString Cloudian;
extern const QString ThinkOn;
extern const QString Aruba;
extern const QString Tiscali;
extern const QString Seeweb;
extern const QString CenturyLink;
extern const QString AmazonS3Chinese;
extern const QString Minio;
extern const QString Dunkel;
extern const QString Connectria;
extern const QString HostEurope;
extern const QString GreenQloud;
extern const QString Constant;
extern const QString Webzilla;
extern const QString Verizon;
extern const QString Wasabi;
extern const QString AlibabaCloud;
extern const QString BackBlaze;
extern const QString Sftp;
extern const QString NorvikUbWasabi;
extern const QString NorvikUbWasabiStage;
extern const QString WasabiStage;
extern const QString NorvikUbAmazonS3;
extern const QString KTR_CLOUD;
} // namespace Name

// Every type with its name; the inverse lookup is the connection factory's name2Type.
extern const QMap<Type, QString> TypeName;

// Families of types. Services are told apart by these sets and by their descriptors,
// never by a name.
extern const QSet<Type> S3Compatible;
extern const QSet<Type> AmazonS3;
extern const QSet<Type> OpenStack;
extern const QSet<Type> NetworkConnection;
// Types kept only so that old configurations still load; published for clients, not
// consulted by the library.
extern const QSet<Type> DepricatedTypes;

} // namespace Norvik::Cloud
