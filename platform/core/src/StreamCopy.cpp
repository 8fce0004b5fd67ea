#include "NorvikCore/StreamCopy.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QIODevice>

#include <algorithm>

namespace Norvik::Utility {

StreamCopy::StreamCopy(int blockSize)
    : m_blockSize(blockSize > 0 ? blockSize : 16384)
{
}

long long StreamCopy::exec(QIODevice& destination, QIODevice& source, long long size)
{
    m_error.clear();
    if (size <= 0)
        return 0;
    if (!source.isReadable()) {
        m_error = QCoreApplication::translate("StreamCopy", "source is not open for reading");
        return 0;
    }
    if (!destination.isWritable()) {
        m_error = QCoreApplication::translate("StreamCopy", "destination is not open for writing");
        return 0;
    }
    QByteArray block(m_blockSize, Qt::Uninitialized);
    long long copied = 0;
    while (copied < size) {
        const qint64 wanted = std::min<long long>(m_blockSize, size - copied);
        const qint64 got = source.read(block.data(), wanted);
        if (got < 0) {
            m_error = source.errorString();
            break;
        }
        if (got == 0)
            break; // the source ended early; the caller compares the count
        qint64 written = 0;
        while (written < got) {
            const qint64 n = destination.write(block.constData() + written, got - written);
            if (n <= 0) {
                m_error = destination.errorString();
                return copied + written;
            }
            written += n;
        }
        copied += got;
    }
    return copied;
}

QString StreamCopy::errorString() const
{
    return m_error;
}

} // namespace Norvik::Utility
