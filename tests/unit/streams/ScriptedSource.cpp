#include "ScriptedSource.h"

#include <NorvikStreams/SourceFileException.h>

#include <algorithm>
#include <cstring>

ScriptedSource::ScriptedSource(const QByteArray& data, Access access, qint64 chunkSize)
    : m_data(data)
    , m_access(access)
    , m_chunkSize(chunkSize)
{
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

bool ScriptedSource::isSequential() const
{
    return m_access == Access::Sequential;
}

qint64 ScriptedSource::size() const
{
    // A pipe does not know its length.
    return m_access == Access::Sequential ? 0 : m_data.size();
}

qint64 ScriptedSource::bytesAvailable() const
{
    return m_data.size() - m_offset;
}

bool ScriptedSource::atEnd() const
{
    return m_offset >= m_data.size();
}

bool ScriptedSource::seek(qint64 pos)
{
    if (!QIODevice::seek(pos))
        return false;
    m_offset = pos;
    return true;
}

qint64 ScriptedSource::readData(char* data, qint64 maxSize)
{
    ++m_readCalls;
    if (m_throwAt >= 0 && m_offset >= m_throwAt)
        throw Norvik::Stream::Exception::SourceFileModified(QStringLiteral("/scripted/source"));
    if (m_failAt >= 0 && m_offset >= m_failAt) {
        setErrorString(QStringLiteral("scripted read failure"));
        return -1;
    }
    qint64 count = std::min({maxSize, m_chunkSize, static_cast<qint64>(m_data.size()) - m_offset});
    if (m_failAt >= 0)
        count = std::min(count, m_failAt - m_offset);
    if (m_throwAt >= 0)
        count = std::min(count, m_throwAt - m_offset);
    if (count <= 0)
        return m_access == Access::Sequential && m_offset >= m_data.size() ? -1 : 0;
    std::memcpy(data, m_data.constData() + m_offset, static_cast<size_t>(count));
    m_offset += count;
    return count;
}

qint64 ScriptedSource::writeData(const char*, qint64)
{
    return -1;
}
