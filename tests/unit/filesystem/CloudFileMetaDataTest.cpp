#include "connection/CloudFileMetaData.h"

#include <NorvikCore/FileInfo.h>

#include "TestSupport.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

using Norvik::Cloud::Api::CloudFileMetaData;
using Encryption = CloudFileMetaData::Encryption;

const QByteArray Salt = QByteArray::fromHex("00ff10203a3b3c3d");

// ---------------------------------------------------------------- encryption text form

TEST(EncryptionText, WritesBothVersionsFieldByField)
{
    const QString salt = QString::fromLatin1(Salt.toBase64());
    EXPECT_EQ(Encryption(Encryption::Version1, 7, "AES", 32, Salt, true).toString(),
              QString("1;7;AES;256;%1;;GZip;0").arg(salt));
    EXPECT_EQ(Encryption(Encryption::Version1, 7, "AES", 32, Salt, false).toString(),
              QString("1;7;AES;256;%1;;;").arg(salt));
    EXPECT_EQ(Encryption(Encryption::Version2, -3, "Twofish", 16, QByteArray(), true).toString(),
              "2;-3;Twofish;128;GZip;0");
    // Version 2 has no salt field, whatever the record holds.
    EXPECT_EQ(Encryption(Encryption::Version2, 3, "Twofish", 24, Salt, false).toString(),
              "2;3;Twofish;192;;");
    EXPECT_EQ(Encryption().toString(), QString());
}

TEST(EncryptionText, ReadsBackWhatItWrites)
{
    const Encryption records[] = {
        Encryption(Encryption::Version1, 7, "AES", 32, Salt, true),
        Encryption(Encryption::Version1, 0, "", 0, QByteArray(), false),
        Encryption(Encryption::Version1, 9223372036854775807LL, "Serpent-CBC", 65535, QByteArray(64, 'x'),
                   false),
        Encryption(Encryption::Version2, -1, "Twofish", 16, QByteArray(), true),
        Encryption(Encryption::Version2, 1, QString::fromUtf8("Schlüssel ✓"), 1, QByteArray(), false),
    };
    for (const Encryption& record : records) {
        const Encryption back = Encryption::fromString(record.toString());
        EXPECT_TRUE(back.isInit()) << record.toString().toStdString();
        EXPECT_EQ(back, record) << record.toString().toStdString();
    }
}

TEST(EncryptionText, KeySizeTravelsInBits)
{
    const Encryption parsed = Encryption::fromString("2;1;AES;256;;");
    ASSERT_TRUE(parsed.isInit());
    EXPECT_EQ(parsed.keySize(), 32);
    EXPECT_EQ(parsed.version(), Encryption::Version2);
    EXPECT_EQ(parsed.number(), 1);
    EXPECT_EQ(parsed.name(), "AES");
    EXPECT_FALSE(parsed.useCompression());
}

TEST(EncryptionText, CompressionCountsOnlyInItsOwnField)
{
    const QString salt = QString::fromLatin1(Salt.toBase64());
    const Encryption full = Encryption::fromString(QString("1;5;AES;256;%1;;GZip;0").arg(salt));
    ASSERT_TRUE(full.isInit());
    EXPECT_TRUE(full.useCompression());
    EXPECT_EQ(full.salt(), Salt);

    // Without both compression fields the record is uncompressed, even with a "GZip" elsewhere.
    for (const char* form :
         {"1;5;AES;256;%1;GZip", "1;5;AES;256;%1;;GZip", "1;5;AES;256;%1;GZip;;0", "1;5;AES;256;%1"}) {
        const QString text = QString(form).arg(salt);
        const Encryption parsed = Encryption::fromString(text);
        ASSERT_TRUE(parsed.isInit()) << text.toStdString();
        EXPECT_FALSE(parsed.useCompression()) << text.toStdString();
    }

    EXPECT_TRUE(Encryption::fromString("2;5;AES;256;GZip").useCompression());
    EXPECT_FALSE(Encryption::fromString("2;5;AES;256;gzip;0").useCompression());
    EXPECT_FALSE(Encryption::fromString("2;5;AES;256").useCompression());
}

TEST(EncryptionText, AnythingIncompleteOrMalformedIsUninitialised)
{
    const QString texts[] = {
        "",
        ";",
        "0;1;AES;256;;",
        "3;1;AES;256;;",
        " 2;1;AES;256;;",
        "v2;1;AES;256;;",
        "1;1;AES;256",         // version 1 needs the salt field
        "2;1;AES",             // version 2 needs the key size
        "2;x;AES;256;;",       // number is not a number
        "2;;AES;256;;",        // nor is an empty one
        "2;1;AES;;;",          // no key size
        "2;1;AES;12;;",        // bits that make no whole byte
        "2;1;AES;-256;;",      // negative key size
        "2;1;AES;524288;;",    // 65536 bytes: more than the record holds
        "1;1;AES;256;%%%%;;;", // salt that is not Base64
        "1;1;AES;256;c2Fsd✓;;;",
    };
    for (const QString& text : texts) {
        const Encryption parsed = Encryption::fromString(text);
        EXPECT_FALSE(parsed.isInit()) << text.toStdString();
        EXPECT_EQ(parsed, Encryption()) << text.toStdString();
        EXPECT_TRUE(parsed.toString().isEmpty()) << text.toStdString();
    }
}

// ---------------------------------------------------------------- the map form

TEST(MetaDataMap, OnlyTheExactGzipEncodingMeansCompressed)
{
    EXPECT_TRUE(CloudFileMetaData({{CloudFileMetaData::ContentEncoding, "gzip"}}).useCompression());
    for (const char* encoding : {"GZIP", "Gzip", "deflate", "", "gzip "}) {
        const CloudFileMetaData record({{CloudFileMetaData::ContentEncoding, encoding}});
        EXPECT_FALSE(record.useCompression()) << encoding;
        EXPECT_FALSE(record.metaData().contains(CloudFileMetaData::ContentEncoding)) << encoding;
    }
}

TEST(MetaDataMap, FullRecordRoundTrips)
{
    const QString encryption = Encryption(Encryption::Version1, 3, "AES", 32, Salt, true).toString();
    const QMap<QString, QVariant> given{
        {CloudFileMetaData::ContentEncoding, "gzip"},
        {CloudFileMetaData::RealSize, QVariant::fromValue<qint64>(5000000000LL)},
        {CloudFileMetaData::FilePermissions, 0754},
        {CloudFileMetaData::EncryptionHeader, encryption},
        {CloudFileMetaData::ContentType, "text/html"},
    };
    const CloudFileMetaData record(given);
    EXPECT_TRUE(record.useCompression());
    EXPECT_TRUE(record.useEncryption());
    EXPECT_EQ(record.realSize(), 5000000000LL);
    EXPECT_EQ(record.contentType(), CloudFileMetaData::Content::Html);

    const QMap<QString, QVariant> back = record.metaData(false);
    ASSERT_EQ(back.size(), 5);
    EXPECT_EQ(back.value(CloudFileMetaData::ContentEncoding).toString(), "gzip");
    // The size goes out as decimal text, so that it survives any header or JSON form.
    EXPECT_EQ(back.value(CloudFileMetaData::RealSize).userType(), QMetaType::QString);
    EXPECT_EQ(back.value(CloudFileMetaData::RealSize).toString(), "5000000000");
    EXPECT_EQ(back.value(CloudFileMetaData::FilePermissions).toInt(), 0754);
    EXPECT_EQ(back.value(CloudFileMetaData::EncryptionHeader).toString(), encryption);
    EXPECT_EQ(back.value(CloudFileMetaData::ContentType).toString(), "text/html");

    const CloudFileMetaData again(back);
    EXPECT_EQ(again.metaData(false), back);
    EXPECT_EQ(again.encryption(), record.encryption());
}

TEST(MetaDataMap, OmittingSizeAndPermissionsKeepsTheRest)
{
    const CloudFileMetaData record({{CloudFileMetaData::RealSize, "12"},
                                    {CloudFileMetaData::FilePermissions, 0644},
                                    {CloudFileMetaData::ContentEncoding, "gzip"}});
    const QMap<QString, QVariant> map = record.metaData(true);
    EXPECT_EQ(map.keys(), QStringList{CloudFileMetaData::ContentEncoding});
}

TEST(MetaDataMap, AbsentKeysGiveTheDefaults)
{
    const CloudFileMetaData record{QMap<QString, QVariant>()};
    EXPECT_FALSE(record.useCompression());
    EXPECT_FALSE(record.useEncryption());
    EXPECT_EQ(record.realSize(), 0);
    EXPECT_EQ(record.permission(), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    EXPECT_EQ(record.contentType(), CloudFileMetaData::Content::None);

    const QMap<QString, QVariant> map = record.metaData(false);
    EXPECT_EQ(map.size(), 2);
    EXPECT_EQ(map.value(CloudFileMetaData::RealSize).toString(), "0");
    EXPECT_EQ(map.value(CloudFileMetaData::FilePermissions).toInt(), 0600);
}

TEST(MetaDataMap, UnreadableValuesKeepTheDefaults)
{
    const CloudFileMetaData record({{CloudFileMetaData::RealSize, "twelve"},
                                    {CloudFileMetaData::FilePermissions, "rw-r--r--"},
                                    {CloudFileMetaData::EncryptionHeader, "2;x;AES;256;;"},
                                    {CloudFileMetaData::ContentType, "application/json"}});
    EXPECT_EQ(record.realSize(), 0);
    EXPECT_EQ(record.permission(), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    EXPECT_FALSE(record.useEncryption());
    EXPECT_EQ(record.contentType(), CloudFileMetaData::Content::None);
    const QMap<QString, QVariant> map = record.metaData(false);
    EXPECT_FALSE(map.contains(CloudFileMetaData::EncryptionHeader));
    EXPECT_FALSE(map.contains(CloudFileMetaData::ContentType));
}

TEST(MetaDataMap, RealSizeAcceptsTextAndNumbers)
{
    EXPECT_EQ(CloudFileMetaData({{CloudFileMetaData::RealSize, "9007199254740993"}}).realSize(),
              9007199254740993LL);
    EXPECT_EQ(CloudFileMetaData({{CloudFileMetaData::RealSize, QVariant::fromValue<quint32>(4000000000U)}})
                  .realSize(),
              4000000000LL);
    EXPECT_EQ(CloudFileMetaData({{CloudFileMetaData::RealSize, -1}}).realSize(), -1);
}

TEST(MetaDataMap, EmptyEncryptionHeaderIsLeftOut)
{
    const CloudFileMetaData record({{CloudFileMetaData::EncryptionHeader, ""}});
    EXPECT_FALSE(record.useEncryption());
    EXPECT_FALSE(record.metaData().contains(CloudFileMetaData::EncryptionHeader));
}

TEST(MetaDataMap, CompressionInsideTheEncryptionCounts)
{
    CloudFileMetaData record;
    record.setEncryption(Encryption(Encryption::Version2, 1, "AES", 32, QByteArray(), true));
    EXPECT_TRUE(record.useCompression());
    EXPECT_TRUE(record.useEncryption());
    // The outer encoding stays unset: the container, not the transport, is compressed.
    EXPECT_FALSE(record.metaData().contains(CloudFileMetaData::ContentEncoding));

    record.setEncryption(Encryption(Encryption::Version2, 1, "AES", 32, QByteArray(), false));
    EXPECT_FALSE(record.useCompression());
}

// ---------------------------------------------------------------- permissions

TEST(Permissions, UnixBitsMapToOwnerGroupAndOthers)
{
    EXPECT_EQ(CloudFileMetaData::permissionsFromInt(420), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                              QFileDevice::ReadGroup |
                                                              QFileDevice::ReadOther);
    EXPECT_EQ(CloudFileMetaData::permissionsFromInt(0100), QFileDevice::ExeOwner);
    EXPECT_EQ(CloudFileMetaData::permissionsFromInt(0020), QFileDevice::WriteGroup);
    EXPECT_EQ(CloudFileMetaData::permissionsFromInt(0001), QFileDevice::ExeOther);
    EXPECT_EQ(CloudFileMetaData::permissionsFromInt(0), QFileDevice::Permissions());
}

TEST(Permissions, EveryNineBitValueRoundTrips)
{
    for (int bits = 0; bits < 512; ++bits) {
        const QFileDevice::Permissions flags = CloudFileMetaData::permissionsFromInt(bits);
        ASSERT_EQ(CloudFileMetaData::permissionsToInt(flags), bits);
        // The "user" flags mirror the owner in Qt but are never part of the stored value.
        ASSERT_FALSE(flags & (QFileDevice::ReadUser | QFileDevice::WriteUser | QFileDevice::ExeUser)) << bits;

        const CloudFileMetaData record({{CloudFileMetaData::FilePermissions, bits}});
        ASSERT_EQ(record.permission(), flags);
        ASSERT_EQ(record.metaData().value(CloudFileMetaData::FilePermissions).toInt(), bits);
    }
}

TEST(Permissions, UserFlagsAndHighBitsAreIgnored)
{
    EXPECT_EQ(CloudFileMetaData::permissionsToInt(QFileDevice::ReadUser | QFileDevice::WriteUser |
                                                  QFileDevice::ExeUser),
              0);
    EXPECT_EQ(CloudFileMetaData::permissionsFromInt(01000 | 04000 | 0644),
              CloudFileMetaData::permissionsFromInt(0644));
}

TEST(Permissions, ZeroIsKeptAndNotTakenForAbsent)
{
    const CloudFileMetaData record({{CloudFileMetaData::FilePermissions, 0}});
    EXPECT_EQ(record.permission(), QFileDevice::Permissions());
    EXPECT_EQ(record.metaData().value(CloudFileMetaData::FilePermissions), QVariant(0));
}

// ---------------------------------------------------------------- from a file

TEST(MetaDataFromFile, TakesSizePermissionsAndKnownContentType)
{
    const QString dir = NorvikTest::scratchDir("metadata-file");
    const QString page = dir + "/index.html";
    const QString text = dir + "/notes.htm";
    for (const QString& path : {page, text}) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(NorvikTest::randomBytes(1234)), 1234);
        file.close();
        ASSERT_TRUE(file.setPermissions(QFileDevice::ReadOwner | QFileDevice::ExeOwner |
                                        QFileDevice::WriteGroup | QFileDevice::ReadOther));
    }

    const CloudFileMetaData html{Norvik::Core::FS::FileInfo(page)};
    EXPECT_EQ(html.realSize(), 1234);
    EXPECT_EQ(CloudFileMetaData::permissionsToInt(html.permission()), 0524);
    EXPECT_EQ(html.contentType(), CloudFileMetaData::Content::Html);
    EXPECT_EQ(html.metaData().value(CloudFileMetaData::ContentType).toString(), "text/html");
    EXPECT_EQ(html.metaData().value(CloudFileMetaData::RealSize).toString(), "1234");

    const CloudFileMetaData other{Norvik::Core::FS::FileInfo(text)};
    EXPECT_EQ(other.contentType(), CloudFileMetaData::Content::None);
    EXPECT_FALSE(other.metaData().contains(CloudFileMetaData::ContentType));
}

} // namespace
