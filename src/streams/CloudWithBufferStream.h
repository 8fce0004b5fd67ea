#pragma once

#include "streams/ICloudStream.h"

#include <QByteArray>
#include <QUuid>

namespace Norvik::Cloud::Stream {

// A cloud stream that serves reads from a buffer of bufferSize bytes and refills it, when it is
// empty, through the engine: one automatic download per refill, so that many small reads cost
// one request per buffer and a broken transfer is continued. A refill blocks the reader in a
// nested event loop, so the reader's thread must be able to run one. Progress is reported under
// parentId. A failed refill makes read() return -1 with the operation's message in errorString().
class CloudWithBufferStream : public ICloudStream
{
    Q_OBJECT

public:
    CloudWithBufferStream(const QMap<QString, QVariant>& config, const QString& path, long long size,
                          const QUuid& parentId, int bufferSize, QObject* parent = nullptr);
    ~CloudWithBufferStream() override;

    bool open(OpenMode mode) override { return ICloudStream::open(mode); }
    // Unlike other cloud streams, seeking to exactly the end fails; a seek inside what is
    // buffered keeps the rest of the buffer, any other drops it.
    bool seek(qint64 pos) override;
    bool atEnd() const override { return m_position >= m_size && m_buffer.isEmpty(); }

protected:
    qint64 readData(char* data, qint64 maxSize) override;

private:
    bool readToBuffer();

    QByteArray m_buffer;
    const int m_capacity;
    const QUuid m_parentId;
};

} // namespace Norvik::Cloud::Stream
