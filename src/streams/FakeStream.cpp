#include "streams/FakeStream.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud {

namespace {

const char* const Unsupported = "stream don't support this operation";

} // namespace

TemporaryFileManager::TemporaryFake::FakeStream::FakeStream(QIODevice* source, QObject* parent)
    : QIODevice(parent)
    , m_source(source)
{
    // A bare Unbuffered flag would make isOpen() true on a closed stream.
    if (sourceOpen())
        setOpenMode(m_source->openMode() | QIODevice::Unbuffered);
}

TemporaryFileManager::TemporaryFake::FakeStream::~FakeStream() = default;

bool TemporaryFileManager::TemporaryFake::FakeStream::isSequential() const
{
    if (sourceOpen())
        (void)m_source->isSequential();
    return false;
}

bool TemporaryFileManager::TemporaryFake::FakeStream::open(OpenMode mode)
{
    if (!(mode & QIODevice::ReadOnly)) {
        NorvikDebug("NKC").warning()
            << "virtual bool "
               "Norvik::Cloud::TemporaryFileManager::TemporaryFake::FakeStream::open(QIODevice::OpenMode)"
            << Unsupported;
        return false;
    }
    mode |= QIODevice::Unbuffered;
    if (!m_source)
        return false;
    if (!m_source->isOpen()) {
        m_source->close();
        if (!m_source->open(mode))
            return false;
    }
    return QIODevice::open(mode);
}

void TemporaryFileManager::TemporaryFake::FakeStream::close()
{
    if (sourceOpen())
        m_source->close();
    QIODevice::close();
}

qint64 TemporaryFileManager::TemporaryFake::FakeStream::pos() const
{
    return sourceOpen() ? m_source->pos() : 0;
}

qint64 TemporaryFileManager::TemporaryFake::FakeStream::size() const
{
    return sourceOpen() ? m_source->size() : 0;
}

bool TemporaryFileManager::TemporaryFake::FakeStream::seek(qint64 pos)
{
    m_calculatedSize = pos;
    if (!sourceOpen() || !m_source->seek(pos))
        return false;
    // Keeps QIODevice's own idea of the position in step, which its read() relies on.
    return QIODevice::seek(pos);
}

bool TemporaryFileManager::TemporaryFake::FakeStream::atEnd() const
{
    return sourceOpen() ? m_source->atEnd() : false;
}

bool TemporaryFileManager::TemporaryFake::FakeStream::reset()
{
    m_calculatedSize = 0;
    if (!sourceOpen() || !m_source->reset())
        return false;
    return QIODevice::seek(0);
}

qint64 TemporaryFileManager::TemporaryFake::FakeStream::bytesAvailable() const
{
    return sourceOpen() ? m_source->bytesAvailable() : 0;
}

qint64 TemporaryFileManager::TemporaryFake::FakeStream::bytesToWrite() const
{
    return sourceOpen() ? m_source->bytesToWrite() : 0;
}

bool TemporaryFileManager::TemporaryFake::FakeStream::canReadLine() const
{
    return sourceOpen() ? m_source->canReadLine() : false;
}

bool TemporaryFileManager::TemporaryFake::FakeStream::isUnbuffered() const
{
    return true;
}

qint64 TemporaryFileManager::TemporaryFake::FakeStream::readData(char* data, qint64 maxSize)
{
    if (!m_source)
        return -1;
    const qint64 count = m_source->read(data, maxSize);
    // A failed read (-1) is counted too; the upload that saw it fails anyway.
    m_calculatedSize += count;
    return count;
}

qint64 TemporaryFileManager::TemporaryFake::FakeStream::writeData(const char*, qint64)
{
    NorvikDebug("NKC").warning()
        << "virtual qint64 Norvik::Cloud::TemporaryFileManager::TemporaryFake::FakeStream::writeData(const "
           "char*, qint64)"
        << Unsupported;
    return 0;
}

bool TemporaryFileManager::TemporaryFake::FakeStream::sourceOpen() const
{
    return m_source && m_source->isOpen();
}

} // namespace Norvik::Cloud
