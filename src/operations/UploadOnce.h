#pragma once

#include "operations/IUpload.h"

#include <QByteArray>

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// Puts the whole source into the cloud as one object, with one request.
//
// The source is first parked in a buffer: in memory when it is smaller than the memory budget,
// in a temporary file otherwise. While no buffer can be had (the budget or the temporary-file
// slots are taken by others) the operation waits, asking again on every pass of its task
// thread, and reads nothing from the device meanwhile. A change of the source while it is read
// (the device throws) ends the upload; it is not retried.
class UploadOnce : public IUpload
{
    Q_OBJECT

public:
    UploadOnce(const QMap<QString, QVariant>& config, const QString& path,
               const QMap<QString, QVariant>& meta, QIODevice* device, QObject* parent = nullptr);
    ~UploadOnce() override;

protected:
    QJsonDocument makeJobPrivate() override;
    void resultJobPrivate(const QJsonObject& result) override;

private:
    enum Stage
    {
        StageFilling = 0, // no buffer yet
        StageSent = 1,    // the job is out
        StageDone = 2,    // the result has arrived, or the operation failed before sending
    };

    // Where the source waits for the job: a registry id and the name of the registry.
    struct Buffer
    {
        QUuid id;
        QString type;
        // Set when no buffer can ever be had; a null id without it means "ask again later".
        QString failure;
    };

    QJsonDocument uploadOnce();
    Buffer fillBuffer();
    Buffer fillFromUnknownLength();
    Buffer fillFromKnownLength(qint64 length);
    void uploadOnceResult(const QJsonObject& result);
    void fail(int code, const QString& cloudError, const QString& message);

    int m_stage = StageFilling;
    // The buffer of the job that is out; freed by its result, or with the operation when the
    // client removed it before the result came.
    QUuid m_sentId;
    QString m_sentType;
    // A source of unknown length, read whole once and kept while no buffer can be had.
    QByteArray m_pending;
    bool m_pendingRead = false;
};

} // namespace Operation

// Job "upload_once": uploads the parked buffer and answers with the new object's listing
// object.
QJsonDocument uploadOnce(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
