#include "backblaze/UploadBigfileInfo.h"

#include <QMutexLocker>

namespace Norvik::Cloud::Api {

UploadBigfileInfo& UploadBigfileInfo::instance()
{
    static UploadBigfileInfo store;
    return store;
}

QJsonObject UploadBigfileInfo::get(const QByteArray& fileId, const QUuid& connectionId)
{
    QMutexLocker lock(&m_mutex);
    return m_files.value(fileId).value(connectionId);
}

void UploadBigfileInfo::update(const QByteArray& fileId, const QUuid& connectionId, const QJsonObject& info)
{
    QMutexLocker lock(&m_mutex);
    m_files[fileId].insert(connectionId, info);
}

void UploadBigfileInfo::reset(const QByteArray& fileId, const QUuid& connectionId)
{
    QMutexLocker lock(&m_mutex);
    const auto file = m_files.find(fileId);
    if (file == m_files.end())
        return;
    file->remove(connectionId);
    if (file->isEmpty())
        m_files.erase(file);
}

void UploadBigfileInfo::remove(const QByteArray& fileId)
{
    QMutexLocker lock(&m_mutex);
    m_files.remove(fileId);
}

} // namespace Norvik::Cloud::Api
