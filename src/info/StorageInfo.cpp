#include "info/StorageInfo.h"

#include <limits>

namespace Norvik::Cloud::Info {

namespace {

constexpr quint64 LargestFile = static_cast<quint64>(std::numeric_limits<qint64>::max());

} // namespace

FileSystem::FileSystem()
    : Base(Type::FileSystem)
{
    m_minChunkSize = 1;
    m_maxChunkSize = 100 * MiB;
    m_maxChunkCount = 0;
    m_maxFileSize = LargestFile;
    m_supportEmptyFolder = true;
    m_supportMultipartThread = false;
    m_encryptionContainer = 3;
    m_compressionContainer = 3;
    m_supportSignedUrl = true;
}

FileSystem::~FileSystem() = default;

Sftp::Sftp(Type type)
    : Base(type)
{
    m_minChunkSize = 1;
    m_maxChunkSize = 100 * MiB;
    m_maxChunkCount = 0;
    m_maxFileSize = LargestFile;
    m_supportEmptyFolder = true;
    m_supportMultipartThread = false;
    m_supportMultipart = false;
    m_encryptionContainer = 3;
    m_compressionContainer = 3;
}

Sftp::~Sftp() = default;

} // namespace Norvik::Cloud::Info
