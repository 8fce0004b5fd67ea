#include "streams/ICloudPrepareStream.h"

#include <NorvikCore/NorvikDebug.h>

#include <QElapsedTimer>

#include <chrono>
#include <thread>

namespace Norvik::Cloud::Stream {

ICloudPrepareStream::ICloudPrepareStream(const QMap<QString, QVariant>& config, const QString& path,
                                         unsigned long long size, const QString& temporaryTemplate,
                                         QObject* parent)
    : ICloudStream(config, path, static_cast<long long>(size), parent)
    , m_temporaryTemplate(temporaryTemplate)
{
    connect(this, &QIODevice::readyRead, this, &ICloudPrepareStream::onReadyReadNotification);
}

ICloudPrepareStream::~ICloudPrepareStream() = default;

bool ICloudPrepareStream::atEnd() const
{
    return readyToRead() && ICloudStream::atEnd();
}

bool ICloudPrepareStream::reset()
{
    return readyToRead() && ICloudStream::reset();
}

bool ICloudPrepareStream::seek(qint64 pos)
{
    return readyToRead() && ICloudStream::seek(pos);
}

int ICloudPrepareStream::subtractFromTimeout(int timeout, int elapsed)
{
    if (timeout == -1)
        return -1;
    return qMax(0, timeout - elapsed);
}

bool ICloudPrepareStream::waitForReadyRead(int msecs)
{
    if (!isOpen()) {
        NorvikDebug("NKC").warning()
            << "ICloudPrepareStream::waitForReadyRead() is not allowed. stream not open";
        return false;
    }
    if (readyToRead())
        return true;
    QElapsedTimer timer;
    timer.start();
    while (!readyToRead()) {
        if (msecs != -1 && subtractFromTimeout(msecs, static_cast<int>(timer.elapsed())) < 1)
            return false;
        // A short pause rather than a hot spin: the download it waits for needs the processor.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace Norvik::Cloud::Stream
