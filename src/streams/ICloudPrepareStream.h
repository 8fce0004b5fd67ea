#pragma once

#include "streams/ICloudStream.h"

#include <atomic>

namespace Norvik::Cloud::Stream {

// A cloud stream that first brings the whole object to local temporary files through the
// engine, in the background, and then serves reads from them. open() returns at once; the
// caller learns of readiness from readyRead() or waitForReadyRead(). Until then seeking and
// reading answer false or 0.
class ICloudPrepareStream : public ICloudStream
{
    Q_OBJECT

public:
    ICloudPrepareStream(const QMap<QString, QVariant>& config, const QString& path, unsigned long long size,
                        const QString& temporaryTemplate, QObject* parent);
    ~ICloudPrepareStream() override;

    bool atEnd() const override;
    bool reset() override;
    bool seek(qint64 pos) override;
    bool readyToRead() const { return m_ready.load(); }

    // Polls the ready flag without running events, so it must be called from another thread
    // than the one that runs this stream's slots. -1 waits for ever.
    bool waitForReadyRead(int msecs) override;

    static int subtractFromTimeout(int timeout, int elapsed);

protected:
    const QString m_temporaryTemplate;

private slots:
    void onReadyReadNotification() { m_ready.store(true); }

private:
    std::atomic<bool> m_ready{false};
};

} // namespace Norvik::Cloud::Stream
