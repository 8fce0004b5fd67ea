#pragma once

#include <QIODevice>
#include <QMap>
#include <QString>
#include <QVariant>

namespace Norvik::Cloud::Stream {

// A read-only device whose bytes are an object in a cloud, read with random access like a file.
// The caller gives the object's length; it is not looked up. Writing, or opening for anything but
// reading, throws Norvik::Stream::Exception::UnsupportedOperation. close() leaves the stream as
// it is, so that a reader handing it to code that closes devices does not lose its connection.
class ICloudStream : public QIODevice
{
    Q_OBJECT

public:
    ICloudStream(const QMap<QString, QVariant>& config, const QString& path, long long size, QObject* parent);
    ~ICloudStream() override;

    bool isSequential() const override { return false; }
    // False for an empty configuration.
    bool open(OpenMode mode) override;
    void close() override {}
    qint64 pos() const override { return m_position; }
    qint64 size() const override { return m_size; }
    // Seeking exactly to the end is allowed, beyond it not.
    bool seek(qint64 pos) override;
    bool atEnd() const override { return m_position >= m_size; }
    bool reset() override;
    bool canReadLine() const override { return false; }

protected:
    qint64 writeData(const char* data, qint64 len) override;

    const QMap<QString, QVariant> m_config;
    const QString m_path;
    const long long m_size;
    long long m_position = 0;
};

} // namespace Norvik::Cloud::Stream
