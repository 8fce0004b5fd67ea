#pragma once

#include <QByteArray>
#include <QMap>
#include <QMutex>
#include <QPair>
#include <QString>

namespace Norvik::Cloud::Api {

// The open multipart uploads of the file system storage, process-wide: for each upload id the
// bytes appended so far and the destination file. Held in memory only, so an upload id does
// not survive a restart.
class MultipartUpload
{
public:
    using Entry = QPair<unsigned long long, QString>;

    static MultipartUpload& instance();

    void registrate(const QByteArray& uploadId, const Entry& entry);
    // An unknown id yields (0, empty path), and that entry is added.
    Entry get(const QByteArray& uploadId);
    void remove(const QByteArray& uploadId);
    // Counts size more bytes as appended.
    void add(const QByteArray& uploadId, unsigned long long size);
    // Removes the entry and hands it out; false for an unknown id.
    bool take(const QByteArray& uploadId, Entry& entry);

private:
    MultipartUpload() = default;

    QMutex m_mutex;
    QMap<QByteArray, Entry> m_uploads;
};

} // namespace Norvik::Cloud::Api
