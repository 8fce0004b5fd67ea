#pragma once

#include <QByteArray>
#include <QMap>
#include <QMutex>
#include <QString>
#include <QVariant>

namespace Norvik::Cloud::Api {

// The metadata of each multipart upload between its begin and its block list, for the whole
// process: the service takes metadata only with the block list, and the connection that
// commits may not be the one that began.
class AzureBlobMultipartFileMetaData
{
public:
    static AzureBlobMultipartFileMetaData& instance();

    void add(const QByteArray& uploadId, const QMap<QString, QVariant>& metaData);
    // Empty for an unknown id.
    QMap<QString, QVariant> get(const QByteArray& uploadId);
    void remove(const QByteArray& uploadId);

private:
    AzureBlobMultipartFileMetaData() = default;

    QMutex m_mutex;
    QMap<QByteArray, QMap<QString, QVariant>> m_metaData;
};

} // namespace Norvik::Cloud::Api
