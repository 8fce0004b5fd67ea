#include "TestSource.h"

#include <NorvikStreams/SourceFileException.h>

#include <algorithm>
#include <cstring>

TestSource::TestSource(const QByteArray& data, const QString& path)
    : m_data(data)
    , m_path(path)
{
    // Unbuffered, so that pos() inside readData() is where the next byte comes from.
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

void TestSource::breakAt(qint64 offset, Breakage how)
{
    m_breakAt = offset;
    m_breakage = how;
}

qint64 TestSource::size() const
{
    return m_data.size();
}

qint64 TestSource::readData(char* data, qint64 maxSize)
{
    const qint64 position = pos();
    qint64 count = std::min<qint64>(maxSize, m_data.size() - position);
    if (m_breakage != Breakage::None && position + count > m_breakAt) {
        // Everything before the break is delivered; the break shows on the read that reaches it.
        if (position < m_breakAt) {
            count = m_breakAt - position;
        } else {
            switch (m_breakage) {
            case Breakage::Modified:
                throw Norvik::Stream::Exception::SourceFileModified(m_path);
            case Breakage::Deleted:
                throw Norvik::Stream::Exception::SourceFileDeleted(m_path);
            case Breakage::ReadFailed:
                setErrorString(QStringLiteral("Input/output error"));
                return -1;
            case Breakage::None:
                break;
            }
        }
    }
    if (count <= 0)
        return count < 0 ? -1 : 0;
    std::memcpy(data, m_data.constData() + position, static_cast<size_t>(count));
    m_highest = std::max(m_highest, position + count);
    return count;
}

qint64 TestSource::writeData(const char*, qint64)
{
    return -1;
}
