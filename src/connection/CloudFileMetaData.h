#pragma once

#include <QByteArray>
#include <QFileDevice>
#include <QMap>
#include <QString>
#include <QVariant>

namespace Norvik::Core::FS {
class FileInfo;
} // namespace Norvik::Core::FS

namespace Norvik::Cloud::Api {

// What the storage cannot know about a backed-up file: its true size before compression and
// encryption, its unix permissions, whether it is compressed, and how it is encrypted. Clients
// pass it as a map with the keys below; each connection turns the map into headers of its own
// and back.
class CloudFileMetaData
{
public:
    // Keys of the metadata map.
    static const QString ContentEncoding;  // "gzip" means compressed
    static const QString FilePermissions;  // the nine unix bits as a decimal integer
    static const QString RealSize;         // decimal text on output, any 64-bit number on input
    static const QString EncryptionHeader; // the text form of Encryption
    static const QString ContentType;      // a MIME type

    // The one content type the record knows; other types are simply not recorded.
    enum class Content
    {
        None = 0,
        Html = 1,
    };

    // Parameters of the encrypted container. The container is produced and consumed by the
    // application: this library only stores and forwards the parameters.
    class Encryption
    {
    public:
        enum Version
        {
            Version1 = 1,
            Version2 = 2,
        };

        // An uninitialised record: the object is not encrypted.
        Encryption() = default;
        // The name must not contain ';', the separator of the text form. The salt is kept by
        // version 1 only.
        Encryption(Version version, long long number, const QString& name, unsigned short keySize,
                   const QByteArray& salt, bool compression);

        // Reads the text form. A text that does not parse completely gives an uninitialised
        // record, never a half-filled one.
        static Encryption fromString(const QString& text);
        // The text form; empty for an uninitialised record.
        QString toString() const;

        bool isInit() const { return m_init; }
        Version version() const { return m_version; }
        long long number() const { return m_number; }
        const QString& name() const { return m_name; }
        // In bytes; the text form carries bits.
        unsigned short keySize() const { return m_keySize; }
        const QByteArray& salt() const { return m_salt; }
        // The data was compressed before it was encrypted.
        bool useCompression() const { return m_compression; }

        bool operator==(const Encryption& other) const;
        bool operator!=(const Encryption& other) const { return !(*this == other); }

    private:
        bool m_init = false;
        Version m_version = Version1;
        long long m_number = 0;
        QString m_name;
        unsigned short m_keySize = 0;
        QByteArray m_salt;
        bool m_compression = false;
    };

    CloudFileMetaData() = default;
    // Size and permissions of the file, and its content type when the suffix is known.
    explicit CloudFileMetaData(const Norvik::Core::FS::FileInfo& file);
    // Reads each key that is present; a key whose value cannot be read keeps the default.
    explicit CloudFileMetaData(const QMap<QString, QVariant>& metaData);
    virtual ~CloudFileMetaData() = default;
    CloudFileMetaData(const CloudFileMetaData&) = default;
    CloudFileMetaData& operator=(const CloudFileMetaData&) = default;

    // The map form. Size and permissions are left out when omitSizeAndPermissions is true;
    // the other keys appear only when they carry something.
    QMap<QString, QVariant> metaData(bool omitSizeAndPermissions = false) const;

    // True when the data is compressed, by itself or inside the encrypted container.
    bool useCompression() const { return m_compression || m_encryption.useCompression(); }
    void setUseCompression(bool compression) { m_compression = compression; }
    bool useEncryption() const { return m_encryption.isInit(); }

    long long realSize() const { return m_realSize; }
    void setRealSize(long long size) { m_realSize = size; }

    QFileDevice::Permissions permission() const { return m_permission; }
    void setPermission(QFileDevice::Permissions permission) { m_permission = permission; }

    const Encryption& encryption() const { return m_encryption; }
    void setEncryption(const Encryption& encryption) { m_encryption = encryption; }

    Content contentType() const { return m_contentType; }
    void setContentType(Content type) { m_contentType = type; }

    // The nine unix permission bits (rw-r--r-- is 420) to Qt's flags and back. Bits above the
    // nine are ignored; the Read/Write/ExeUser flags are neither read nor written.
    static QFileDevice::Permissions permissionsFromInt(int bits);
    static int permissionsToInt(QFileDevice::Permissions permissions);

private:
    bool m_compression = false;
    long long m_realSize = 0;
    QFileDevice::Permissions m_permission = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    Encryption m_encryption;
    Content m_contentType = Content::None;
};

} // namespace Norvik::Cloud::Api
