#include "streams/ICloudStream.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikStreams/SourceFileException.h>

namespace Norvik::Cloud::Stream {

namespace {
const char* const Unsupported = "stream don't support this operation";
}

ICloudStream::ICloudStream(const QMap<QString, QVariant>& config, const QString& path, long long size,
                           QObject* parent)
    : QIODevice(parent)
    , m_config(config)
    , m_path(path)
    , m_size(size)
{
}

ICloudStream::~ICloudStream() = default;

bool ICloudStream::open(OpenMode mode)
{
    if (!(mode & ReadOnly)) {
        NorvikDebug("NKC").warning()
            << "virtual bool Norvik::Cloud::Stream::ICloudStream::open(QIODevice::OpenMode)" << Unsupported;
        throw Norvik::Stream::Exception::UnsupportedOperation(QString::fromLatin1(Unsupported));
    }
    if (m_config.isEmpty())
        return false;
    // Unbuffered: every read reaches readData() at this stream's own position.
    setOpenMode(mode | Unbuffered);
    return true;
}

bool ICloudStream::seek(qint64 pos)
{
    if (pos < 0 || pos > m_size)
        return false;
    m_position = pos;
    // Keeps QIODevice's own idea of the position in step, so that read() asks readData() here.
    if (isOpen())
        QIODevice::seek(pos);
    return true;
}

bool ICloudStream::reset()
{
    return ICloudStream::seek(0);
}

qint64 ICloudStream::writeData(const char*, qint64)
{
    NorvikDebug("NKC").warning()
        << "virtual qint64 Norvik::Cloud::Stream::ICloudStream::writeData(const char*, qint64)"
        << Unsupported;
    throw Norvik::Stream::Exception::UnsupportedOperation(QString::fromLatin1(Unsupported));
}

} // namespace Norvik::Cloud::Stream
