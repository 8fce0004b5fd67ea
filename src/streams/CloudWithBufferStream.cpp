#include "streams/CloudWithBufferStream.h"

#include "engine/OperationManager.h"
#include "operations/DownloadAuto2Stream.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikNetwork/ProgressReporter.h>

#include <QBuffer>
#include <QEventLoop>
#include <QTimer>

#include <cstring>

namespace Norvik::Cloud::Stream {

using Network::Utility::ProgressReporter;

CloudWithBufferStream::CloudWithBufferStream(const QMap<QString, QVariant>& config, const QString& path,
                                             long long size, const QUuid& parentId, int bufferSize,
                                             QObject* parent)
    : ICloudStream(config, path, size, parent)
    , m_capacity(bufferSize)
    , m_parentId(parentId)
{
}

CloudWithBufferStream::~CloudWithBufferStream() = default;

qint64 CloudWithBufferStream::readData(char* data, qint64 maxSize)
{
    qint64 delivered = 0;
    while (delivered < maxSize && m_position <= m_size) {
        // Bytes already delivered are never taken back: a read across the end returns them.
        if (m_buffer.isEmpty() && !readToBuffer() && m_buffer.isEmpty())
            return delivered > 0 ? delivered : -1;
        const int count = static_cast<int>(qMin<qint64>(m_buffer.size(), maxSize - delivered));
        std::memcpy(data + delivered, m_buffer.constData(), static_cast<size_t>(count));
        m_buffer.remove(0, count);
        m_position += count;
        delivered += count;
    }
    return delivered;
}

bool CloudWithBufferStream::readToBuffer()
{
    const long long count = qMin<long long>(m_capacity - m_buffer.size(), m_size - m_position);
    if (count <= 0) {
        NorvikDebug("NKC").debug() << "End of stream...";
        return false;
    }
    NorvikDebug("NKC").debug() << "Read to buffer, path:" << m_path << "pos:" << m_position
                               << "size:" << count;

    QByteArray bytes;
    QBuffer target(&bytes);
    target.open(QIODevice::ReadWrite);
    const QSharedPointer<IOperation> operation = OperationManager::instance().DownloadAuto2Stream(
        m_config, m_path, &target, true, static_cast<quint64>(count), static_cast<quint64>(m_position));
    if (!operation.dynamicCast<Operation::DownloadAuto2Stream>())
        return false;
    ProgressReporter::registrateDownload(operation->id(), m_path, static_cast<unsigned long long>(count),
                                         m_parentId);

    QEventLoop loop;
    QObject::connect(operation.data(), &IOperation::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(100, operation.data(), [operation] { operation->exec(); });
    loop.exec();

    const bool ok = operation->state() == IOperation::StateComplete && !operation->isError();
    operation->remove();
    if (ok) {
        target.close();
        m_buffer.append(bytes);
        ProgressReporter::finished(operation->id());
        NorvikDebug("NKC").debug() << "end read to buffer, path:" << m_path << "pos:" << m_position
                                   << "size:" << count << "buffer size:" << m_buffer.size();
        return true;
    }
    NorvikDebug("NKC").error() << "Error on download to buffer"
                               << "path:" << m_path << "position:" << m_position << "size:" << count
                               << "code:" << operation->errorCode()
                               << "message:" << operation->errorMessage();
    setErrorString(operation->errorMessage());
    ProgressReporter::error(operation->id());
    return false;
}

bool CloudWithBufferStream::seek(qint64 pos)
{
    if (pos == m_position)
        return true;
    if (pos >= m_size || pos < 0)
        return false;
    if (pos > m_position && pos < m_position + m_buffer.size())
        m_buffer.remove(0, static_cast<int>(pos - m_position));
    else
        m_buffer.clear();
    m_position = pos;
    if (isOpen())
        QIODevice::seek(pos);
    return true;
}

} // namespace Norvik::Cloud::Stream
