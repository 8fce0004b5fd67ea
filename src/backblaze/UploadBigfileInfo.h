#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QMap>
#include <QMutex>
#include <QUuid>

namespace Norvik::Cloud::Api {

// The part upload URLs of the large files in progress, per file and per connection: each
// connection sends its parts through a URL and token of its own. Process-wide, under a mutex.
class UploadBigfileInfo
{
public:
    static UploadBigfileInfo& instance();

    // The answer of the part URL request, or an empty object.
    QJsonObject get(const QByteArray& fileId, const QUuid& connectionId);
    void update(const QByteArray& fileId, const QUuid& connectionId, const QJsonObject& info);
    void reset(const QByteArray& fileId, const QUuid& connectionId);
    // The file is finished or cancelled: every connection's entry goes.
    void remove(const QByteArray& fileId);

private:
    UploadBigfileInfo() = default;

    QMutex m_mutex;
    QMap<QByteArray, QMap<QUuid, QJsonObject>> m_files;
};

} // namespace Norvik::Cloud::Api
