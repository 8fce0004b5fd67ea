#include "connection/CloudFileMetaData.h"

#include <NorvikCore/FileInfo.h>

#include <QStringList>

#include <limits>

namespace Norvik::Cloud::Api {

const QString CloudFileMetaData::ContentEncoding = QStringLiteral("ContentEncoding");
const QString CloudFileMetaData::FilePermissions = QStringLiteral("FilePermissions");
const QString CloudFileMetaData::RealSize = QStringLiteral("RealSize");
const QString CloudFileMetaData::EncryptionHeader = QStringLiteral("EncryptionHeader");
const QString CloudFileMetaData::ContentType = QStringLiteral("Content-Type");

namespace {

const QChar FieldSeparator = QLatin1Char(';');
const QString GzipEncoding = QStringLiteral("gzip");
const QString CompressionMark = QStringLiteral("GZip");
// Follows the compression mark in the text form; its meaning belongs to the container format.
const QString CompressionLevel = QStringLiteral("0");

const QString HtmlSuffix = QStringLiteral("html");
const QString HtmlMimeType = QStringLiteral("text/html");

struct PermissionBit
{
    int bit;
    QFileDevice::Permission permission;
};

// The unix layout: owner, group, others, each read, write, execute.
const PermissionBit PermissionBits[] = {
    {0400, QFileDevice::ReadOwner}, {0200, QFileDevice::WriteOwner}, {0100, QFileDevice::ExeOwner},
    {0040, QFileDevice::ReadGroup}, {0020, QFileDevice::WriteGroup}, {0010, QFileDevice::ExeGroup},
    {0004, QFileDevice::ReadOther}, {0002, QFileDevice::WriteOther}, {0001, QFileDevice::ExeOther},
};

// Key sizes travel in bits; a count that is no whole number of bytes or does not fit the
// record is as unreadable as a missing field.
bool keySizeFromBits(const QString& text, unsigned short& keySize)
{
    bool ok = false;
    const qulonglong bits = text.toULongLong(&ok);
    if (!ok || bits % 8 != 0 || bits / 8 > std::numeric_limits<unsigned short>::max())
        return false;
    keySize = static_cast<unsigned short>(bits / 8);
    return true;
}

bool saltFromBase64(const QString& text, QByteArray& salt)
{
    for (const QChar c : text) {
        if (c.unicode() > 0x7f)
            return false;
    }
    const auto decoded =
        QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (decoded.decodingStatus != QByteArray::Base64DecodingStatus::Ok)
        return false;
    salt = decoded.decoded;
    return true;
}

} // namespace

CloudFileMetaData::Encryption::Encryption(Version version, long long number, const QString& name,
                                          unsigned short keySize, const QByteArray& salt, bool compression)
    : m_init(true)
    , m_version(version)
    , m_number(number)
    , m_name(name)
    , m_keySize(keySize)
    , m_salt(salt)
    , m_compression(compression)
{
}

CloudFileMetaData::Encryption CloudFileMetaData::Encryption::fromString(const QString& text)
{
    const QStringList fields = text.split(FieldSeparator, Qt::KeepEmptyParts);
    const QString& version = fields.first();

    // Version 1: "1;number;name;bits;salt;;GZip;0", version 2: "2;number;name;bits;GZip;0".
    int minimumFields = 0;
    if (version == QLatin1String("1"))
        minimumFields = 5;
    else if (version == QLatin1String("2"))
        minimumFields = 4;
    else
        return Encryption();
    if (fields.size() < minimumFields)
        return Encryption();

    bool ok = false;
    const long long number = fields.at(1).toLongLong(&ok);
    unsigned short keySize = 0;
    if (!ok || !keySizeFromBits(fields.at(3), keySize))
        return Encryption();

    if (version == QLatin1String("1")) {
        QByteArray salt;
        if (!saltFromBase64(fields.at(4), salt))
            return Encryption();
        // Only the compression fields in their place count: a "GZip" elsewhere means nothing.
        const bool compression = fields.size() > 7 && fields.at(6) == CompressionMark;
        return Encryption(Version1, number, fields.at(2), keySize, salt, compression);
    }
    const bool compression = fields.size() > 4 && fields.at(4) == CompressionMark;
    return Encryption(Version2, number, fields.at(2), keySize, QByteArray(), compression);
}

QString CloudFileMetaData::Encryption::toString() const
{
    if (!m_init)
        return QString();

    QStringList fields;
    fields << QString::number(static_cast<int>(m_version)) << QString::number(m_number) << m_name
           << QString::number(static_cast<unsigned>(m_keySize) * 8);
    if (m_version == Version1)
        fields << QString::fromLatin1(m_salt.toBase64()) << QString();
    if (m_compression)
        fields << CompressionMark << CompressionLevel;
    else
        fields << QString() << QString();
    return fields.join(FieldSeparator);
}

bool CloudFileMetaData::Encryption::operator==(const Encryption& other) const
{
    return m_init == other.m_init && m_version == other.m_version && m_number == other.m_number &&
           m_name == other.m_name && m_keySize == other.m_keySize && m_salt == other.m_salt &&
           m_compression == other.m_compression;
}

CloudFileMetaData::CloudFileMetaData(const Norvik::Core::FS::FileInfo& file)
    : m_realSize(file.size())
    , m_permission(file.permissions())
{
    if (file.suffix() == HtmlSuffix)
        m_contentType = Content::Html;
}

CloudFileMetaData::CloudFileMetaData(const QMap<QString, QVariant>& metaData)
{
    auto it = metaData.constFind(ContentEncoding);
    if (it != metaData.constEnd())
        m_compression = it->toString() == GzipEncoding;

    it = metaData.constFind(RealSize);
    if (it != metaData.constEnd()) {
        bool ok = false;
        const long long size = it->toLongLong(&ok);
        if (ok)
            m_realSize = size;
    }

    it = metaData.constFind(FilePermissions);
    if (it != metaData.constEnd()) {
        bool ok = false;
        const int bits = it->toInt(&ok);
        if (ok)
            m_permission = permissionsFromInt(bits);
    }

    it = metaData.constFind(EncryptionHeader);
    if (it != metaData.constEnd())
        m_encryption = Encryption::fromString(it->toString());

    it = metaData.constFind(ContentType);
    if (it != metaData.constEnd() && it->toString() == HtmlMimeType)
        m_contentType = Content::Html;
}

QMap<QString, QVariant> CloudFileMetaData::metaData(bool omitSizeAndPermissions) const
{
    QMap<QString, QVariant> result;
    if (m_compression)
        result.insert(ContentEncoding, GzipEncoding);
    if (!omitSizeAndPermissions) {
        result.insert(RealSize, QString::number(m_realSize));
        result.insert(FilePermissions, permissionsToInt(m_permission));
    }
    if (m_encryption.isInit())
        result.insert(EncryptionHeader, m_encryption.toString());
    if (m_contentType == Content::Html)
        result.insert(ContentType, HtmlMimeType);
    return result;
}

QFileDevice::Permissions CloudFileMetaData::permissionsFromInt(int bits)
{
    QFileDevice::Permissions permissions;
    for (const PermissionBit& row : PermissionBits) {
        if (bits & row.bit)
            permissions |= row.permission;
    }
    return permissions;
}

int CloudFileMetaData::permissionsToInt(QFileDevice::Permissions permissions)
{
    int bits = 0;
    for (const PermissionBit& row : PermissionBits) {
        if (permissions.testFlag(row.permission))
            bits |= row.bit;
    }
    return bits;
}

} // namespace Norvik::Cloud::Api
