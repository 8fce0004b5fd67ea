#include "azure/AzureBlobMultipartFileMetaData.h"

#include <QMutexLocker>

namespace Norvik::Cloud::Api {

AzureBlobMultipartFileMetaData& AzureBlobMultipartFileMetaData::instance()
{
    static AzureBlobMultipartFileMetaData store;
    return store;
}

void AzureBlobMultipartFileMetaData::add(const QByteArray& uploadId, const QMap<QString, QVariant>& metaData)
{
    QMutexLocker lock(&m_mutex);
    m_metaData.insert(uploadId, metaData);
}

QMap<QString, QVariant> AzureBlobMultipartFileMetaData::get(const QByteArray& uploadId)
{
    QMutexLocker lock(&m_mutex);
    return m_metaData.value(uploadId);
}

void AzureBlobMultipartFileMetaData::remove(const QByteArray& uploadId)
{
    QMutexLocker lock(&m_mutex);
    m_metaData.remove(uploadId);
}

} // namespace Norvik::Cloud::Api
