#include "connection/IConnection.h"

#include "info/Config.h"
#include "info/InfoBase.h"
#include "info/InfoFactory.h"

namespace Norvik::Cloud::Api {

IConnection::IConnection(Type type)
    : m_type(type)
    , m_info(Info::InfoFactory::create(type))
{
}

IConnection::~IConnection() = default;

bool IConnection::supportEmptyFolder() const
{
    return m_info && m_info->supportEmptyFolder();
}

quint64 IConnection::minimumChunkSize() const
{
    return m_info ? m_info->minChunkSize() : 0;
}

quint64 IConnection::maximumChunkSize() const
{
    return m_info ? m_info->maxChunkSize() : 0;
}

quint64 IConnection::maximumChunkCount() const
{
    return m_info ? m_info->maxChunkCount() : 0;
}

bool IConnection::supportMultypartThread() const
{
    return m_info && m_info->supportMultipartThread();
}

quint64 IConnection::maxDeleteCount() const
{
    return m_info ? m_info->maxDeleteCount() : 0;
}

bool IConnection::setConfig(const QMap<QString, QVariant>& config)
{
    const auto it = config.constFind(Norvik::Cloud::Config::Id);
    if (it == config.constEnd())
        return false;
    m_id = it->toUuid();
    return true;
}

} // namespace Norvik::Cloud::Api
