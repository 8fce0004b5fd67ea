#include "storage/MultipartUpload.h"

#include <QMutexLocker>

namespace Norvik::Cloud::Api {

MultipartUpload& MultipartUpload::instance()
{
    static MultipartUpload uploads;
    return uploads;
}

void MultipartUpload::registrate(const QByteArray& uploadId, const Entry& entry)
{
    QMutexLocker locker(&m_mutex);
    m_uploads.insert(uploadId, entry);
}

MultipartUpload::Entry MultipartUpload::get(const QByteArray& uploadId)
{
    QMutexLocker locker(&m_mutex);
    return m_uploads[uploadId];
}

void MultipartUpload::remove(const QByteArray& uploadId)
{
    QMutexLocker locker(&m_mutex);
    m_uploads.remove(uploadId);
}

void MultipartUpload::add(const QByteArray& uploadId, unsigned long long size)
{
    QMutexLocker locker(&m_mutex);
    m_uploads[uploadId].first += size;
}

bool MultipartUpload::take(const QByteArray& uploadId, Entry& entry)
{
    QMutexLocker locker(&m_mutex);
    const auto it = m_uploads.find(uploadId);
    if (it == m_uploads.end())
        return false;
    entry = it.value();
    m_uploads.erase(it);
    return true;
}

} // namespace Norvik::Cloud::Api
