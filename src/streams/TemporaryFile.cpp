#include "streams/TemporaryFile.h"

#include <QIODevice>

namespace Norvik::Cloud {

TemporaryFileManager::TemporaryFile::TemporaryFile(const QSharedPointer<QIODevice>& file, long long size)
    : m_file(file)
    , m_size(size)
{
}

TemporaryFileManager::TemporaryFile::~TemporaryFile() = default;

long long TemporaryFileManager::TemporaryFile::size() const
{
    return m_size;
}

} // namespace Norvik::Cloud
