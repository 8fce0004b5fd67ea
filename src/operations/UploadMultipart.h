#pragma once

#include "operations/IUpload.h"

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QMap>
#include <QMutex>

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// Cuts the source into parts of "ChunkSize" bytes and sends them through the storage's
// multipart interface: begin, one job per part, end.
//
// Parts are read strictly in order on the task thread, each into a buffer of the memory budget
// (or a temporary file when a part is as large as the whole budget), and sent in parallel when
// the storage allows it, at most threadCount() at a time; otherwise one at a time, each after
// the previous one succeeded.
//
// A failed upload is never aborted at the service: updateUploadInfo() has handed the caller
// the upload id, and a new operation given that id continues the upload. It lists the parts the
// service already holds, reads the source again from the device's current position, and skips
// every part whose content the service already has. When the service has no parts for the id,
// a new upload begins, with a new id.
class UploadMultipart : public IUpload
{
    Q_OBJECT

public:
    // A non-empty uploadInfo continues the upload of that id.
    UploadMultipart(const QMap<QString, QVariant>& config, const QString& path,
                    const QMap<QString, QVariant>& meta, QIODevice* device, const QByteArray& uploadInfo,
                    QObject* parent = nullptr);
    ~UploadMultipart() override;

    // The service's id of the upload: what the caller keeps to continue it later.
    QByteArray multipartUploadInfo() const;

signals:
    // A new upload has begun at the service with this id. Delivered on the thread that owns
    // the operation, before its finished().
    void updateUploadInfo(const QByteArray& uploadInfo);

protected:
    QJsonDocument makeJobPrivate() override;
    void resultJobPrivate(const QJsonObject& result) override;

private:
    enum Stage
    {
        StageNotBegun = 0,
        StageBeginSent = 1,
        StageListSent = 2,
        StageParts = 3,
        StageReadyToEnd = 4,
        StageEndSent = 5,
        StageFinished = 6,
    };

    QJsonDocument beginMultipart();
    QJsonDocument uploadPart();
    QJsonDocument endMultipart();
    void beginResult(const QJsonObject& result);
    void listResult(const QJsonObject& result);
    void uploadPartResult(const QJsonObject& result);
    void endResult(const QJsonObject& result);

    // Where the next part waits for its job; id is null when it could not be filled now.
    struct Buffer
    {
        QUuid id;
        QString type;
        // Set when the buffer can never be had; a null id without it means "ask again later".
        QString failure;
        // The failure came after bytes were taken from the source: a read failure of it.
        bool sourceConsumed = false;
    };
    Buffer fillBuffer(bool toFile);
    static qint64 bufferSize(const QString& type, const QUuid& id);
    // The length of a part that did not meet the end of the source.
    unsigned long long fullPart(const QString& type) const;
    static void releaseBuffer(const QString& type, const QUuid& id);
    // The source could not be read: no new part starts, and the operation ends now or, with
    // parts in flight, when the last of them is in. storeMessage says whether the message
    // survives until then.
    void failReading(int code, const QString& cloudError, const QString& message, bool storeMessage);
    void fail(int code, const QString& message);
    void setUploadInfo(const QByteArray& uploadInfo);
    void removeUploadInfoFromConfig();
    unsigned int succeededParts() const { return static_cast<unsigned int>(m_results.size()); }

    const unsigned long long m_partSize;
    const bool m_parallel;
    int m_stage = StageNotBegun;
    mutable QMutex m_uploadInfoMutex;
    QByteArray m_uploadInfo;
    // Parts handed out so far; also the number of the last one, as numbers start at 1.
    unsigned int m_partCount = 0;
    // Part results received, good or bad.
    unsigned int m_finishedParts = 0;
    // A failure has been noted: no new part starts, and later results count as failed.
    bool m_failed = false;
    // The message the operation ends with once the last part in flight is in.
    QString m_failMessage;
    // Part number to the tag the service gave it, for the parts that succeeded.
    QMap<unsigned long long, QByteArray> m_results;
    // Part number to part object: what the service already held when the upload continued.
    QMap<unsigned int, QJsonObject> m_listedParts;
    // Buffer id to buffer type of the parts out; what is left here when the operation goes
    // (removed while parts were in flight) is freed then.
    QHash<QUuid, QString> m_partsOut;
};

} // namespace Operation

// Job "UploadMultipartBegin": begins an upload and answers with its id.
QJsonDocument uploadMultipartBegin(Api::IConnection* connection, const QJsonObject& job);
// Job "UploadMultipartListParts": answers with every part the service holds for "UploadInfo".
QJsonDocument uploadMultipartParts(Api::IConnection* connection, const QJsonObject& job);
// Job "UploadMultipartPart": uploads one parked part, or only confirms it when the service
// already holds this very content, and answers with the part's tag.
QJsonDocument uploadPart(Api::IConnection* connection, const QJsonObject& job);
// Job "UploadMultipartEnd": completes the upload from its part list and answers with the new
// object's listing object.
QJsonDocument uploadMultipartEnd(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
