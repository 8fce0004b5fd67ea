#include "streams/CloudSimpleStream.h"

#include "connection/CloudFactory.h"
#include "connection/IConnection.h"
#include "engine/OperationConfig.h"

#include <NorvikCore/NorvikDebug.h>

#include <QUuid>

#include <cstring>

namespace Norvik::Cloud::Stream {

CloudSimpleStream::CloudSimpleStream(const QMap<QString, QVariant>& config, const QString& path,
                                     unsigned long long size, QObject* parent)
    : ICloudStream(config, path, static_cast<long long>(size), parent)
{
}

CloudSimpleStream::~CloudSimpleStream()
{
    delete m_connection;
}

bool CloudSimpleStream::open(OpenMode mode)
{
    if (m_connection)
        return false;
    if (mode & ReadOnly) {
        m_connection = Api::CloudFactory::create(m_config);
        if (!m_connection) {
            NorvikDebug("NKC").error() << "on create cloud api object for CloudSimpleStream";
            NorvikDebug("NKC").debug() << "cloud config:" << m_config;
            return false;
        }
    }
    return ICloudStream::open(mode);
}

qint64 CloudSimpleStream::readData(char* data, qint64 maxSize)
{
    if (!m_connection || atEnd() || maxSize <= 0)
        return 0;
    // The request is not cut at the object's end: the storage delivers what there is.
    QMap<QString, QVariant> meta;
    const QByteArray bytes = m_connection->download(m_config.value(OperationConfig::ContainerName).toString(),
                                                    m_path, m_position, maxSize - 1, meta, QUuid());
    const qint64 count = qMin<qint64>(bytes.size(), maxSize);
    std::memcpy(data, bytes.constData(), static_cast<size_t>(count));
    m_position += count;
    return count;
}

} // namespace Norvik::Cloud::Stream
