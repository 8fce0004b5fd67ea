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

// ---------------------------------------------------------------- permissions

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

TEST(Permissions, ZeroIsKeptAndNotTakenForAbsent)
{
    const CloudFileMetaData record({{CloudFileMetaData::FilePermissions, 0}});
    EXPECT_EQ(record.permission(), QFileDevice::Permissions());
    EXPECT_EQ(record.metaData().value(CloudFileMetaData::FilePermissions), QVariant(0));
}

// ---------------------------------------------------------------- from a file

} // namespace
