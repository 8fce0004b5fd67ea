#include "ScriptedSource.h"

#include <NorvikStreams/SourceFileException.h>

namespace NorvikTest {

ScriptedSource::ScriptedSource(qint64 length, Access access, qint64 piece)
    : m_length(length)
    , m_access(access)
    , m_piece(piece)
{
    // Unbuffered, so that every read reaches readData() and pos() is where the next byte is.
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

char ScriptedSource::byteAt(qint64 offset)
{
    // Period 251, a prime, so that no power-of-two block repeats the same bytes.
    return static_cast<char>((offset * 7 + offset / 251) % 251);
}

QByteArray ScriptedSource::bytes(qint64 from, qint64 count)
{
    QByteArray data(static_cast<int>(count), Qt::Uninitialized);
    for (qint64 i = 0; i < count; ++i)
        data[static_cast<int>(i)] = byteAt(from + i);
    return data;
}

void ScriptedSource::breakAt(qint64 offset, std::function<void()> action)
{
    m_breakAt = offset;
    m_action = std::move(action);
}

bool ScriptedSource::seek(qint64 pos)
{
    if (isSequential() || !QIODevice::seek(pos))
        return false;
    m_offset = pos;
    return true;
}

qint64 ScriptedSource::readData(char* data, qint64 maxSize)
{
    ++m_readCalls;
    const qint64 offset = m_offset.load();
    if (m_breakAt >= 0 && offset >= m_breakAt) {
        if (m_action)
            m_action();
        setErrorString(QStringLiteral("Input/output error"));
        return -1;
    }
    qint64 count = std::min({maxSize, m_piece, end() - offset});
    if (m_breakAt >= 0)
        count = std::min(count, m_breakAt - offset);
    if (count <= 0)
        return isSequential() && offset >= end() ? -1 : 0;
    for (qint64 i = 0; i < count; ++i)
        data[i] = byteAt(offset + i);
    m_offset = offset + count;
    return count;
}

std::function<void()> throwModified(const QString& path)
{
    return [path] { throw Norvik::Stream::Exception::SourceFileModified(path); };
}

std::function<void()> throwDeleted(const QString& path)
{
    return [path] { throw Norvik::Stream::Exception::SourceFileDeleted(path); };
}

} // namespace NorvikTest
