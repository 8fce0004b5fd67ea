#pragma once

#include "streams/TemporaryFileManager.h"

#include <QSharedPointer>

class QIODevice;

namespace Norvik::Cloud {

// One entry of TemporaryFileManager: an open device positioned at the start of a part, and
// the length of the part.
class TemporaryFileManager::TemporaryFile
{
public:
    TemporaryFile(const QSharedPointer<QIODevice>& file, long long size);
    virtual ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    virtual long long size() const;
    QSharedPointer<QIODevice> file() const { return m_file; }

private:
    QSharedPointer<QIODevice> m_file;
    long long m_size;
};

} // namespace Norvik::Cloud
