#pragma once

#include "info/CloudType.h"

#include <QString>

namespace Norvik::Cloud::Info {

// What a storage service supports and how large things may be on it, as plain data. The engine
// asks these questions of a descriptor (through the connection) and never tests a service by
// name. Descriptors are constant once built, and the application builds them without a
// connection to show what a service offers. Subclasses change the defaults in their
// constructors.
class Base
{
public:
    static const QString VersionDelimiter;    // "$"
    static const QString VersionDelimiterOld; // ":", of objects written by older versions

    explicit Base(Type type);
    Base(const Base&) = default;
    Base& operator=(const Base&) = default;
    virtual ~Base();

    Type type() const { return m_type; }
    bool supportEmptyFolder() const { return m_supportEmptyFolder; }
    bool supportSignedUrl() const { return m_supportSignedUrl; }
    // Whether the parts of one upload may travel in parallel.
    bool supportMultipartThread() const { return m_supportMultipartThread; }
    quint64 minChunkSize() const { return m_minChunkSize; }
    quint64 maxChunkSize() const { return m_maxChunkSize; }
    // Most parts of one object; 0 means no limit.
    quint64 maxChunkCount() const { return m_maxChunkCount; }
    quint64 maxFileSize() const { return m_maxFileSize; }
    // Objects in one batch delete; 0 means that the storage has no batch delete.
    quint64 maxDeleteCount() const { return m_maxDeleteCount; }
    int maxFilePathLength() const { return m_maxFilePathLength; }
    // Container kinds by which the engine chooses how encrypted and compressed data is prepared.
    int encryptionContainer() const { return m_encryptionContainer; }
    int compressionContainer() const { return m_compressionContainer; }
    // Has an archive tier, reached through Api::IArchive.
    bool supportArchive() const { return m_supportArchive; }
    // Separates an object's name from its version.
    QString versionDelimiter() const { return m_versionDelimiter; }
    bool supportMultipart() const { return m_supportMultipart; }
    // A broken multipart upload can be continued from its upload id.
    bool supportContinueUpload() const { return m_supportContinueUpload; }
    bool verifyHostOnSslCheck() const { return m_verifyHostOnSslCheck; }
    // A synthetic full backup can be assembled on the service from blocks of at least this size.
    bool supportSynthetic() const { return m_supportSynthetic; }
    quint64 syntheticMinBlockSize() const { return m_syntheticMinBlockSize; }

protected:
    static constexpr quint64 KiB = 1024;
    static constexpr quint64 MiB = 1024 * KiB;
    static constexpr quint64 GiB = 1024 * MiB;
    static constexpr quint64 TiB = 1024 * GiB;

    Type m_type;
    bool m_supportEmptyFolder = false;
    bool m_supportSignedUrl = false;
    bool m_supportMultipartThread = true;
    quint64 m_minChunkSize = 5 * MiB;
    quint64 m_maxChunkSize = 500 * MiB;
    quint64 m_maxChunkCount = 10000;
    quint64 m_maxFileSize = 5 * GiB;
    quint64 m_maxDeleteCount = 0;
    int m_maxFilePathLength = 255;
    int m_encryptionContainer = 1;
    int m_compressionContainer = 1;
    bool m_supportArchive = false;
    QString m_versionDelimiter;
    bool m_supportMultipart = true;
    bool m_supportContinueUpload = false;
    bool m_verifyHostOnSslCheck = true;
    bool m_supportSynthetic = false;
    quint64 m_syntheticMinBlockSize = 0;
};

} // namespace Norvik::Cloud::Info
