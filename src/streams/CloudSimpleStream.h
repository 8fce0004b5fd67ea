#pragma once

#include "streams/ICloudStream.h"

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Stream {

// A cloud stream that fetches exactly what each read asks for, with one synchronous request on
// the reader's thread: no engine threads, no retry, no buffer. Failures of the connection reach
// the reader as exceptions. Opens once; the connection lives until the stream is destroyed.
class CloudSimpleStream : public ICloudStream
{
    Q_OBJECT

public:
    CloudSimpleStream(const QMap<QString, QVariant>& config, const QString& path, unsigned long long size,
                      QObject* parent = nullptr);
    ~CloudSimpleStream() override;

    bool open(OpenMode mode) override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;

private:
    Api::IConnection* m_connection = nullptr;
};

} // namespace Stream
} // namespace Norvik::Cloud
