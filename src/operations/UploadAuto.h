#pragma once

#include "operations/IUpload.h"

#include <QSharedPointer>

namespace Norvik::Cloud::Operation {

class UploadMultipart;
class UploadOnce;

// The upload a client normally asks for: one request or multipart, decided from what the
// storage can do, the source's length and "ChunkSize", and then carried out by an inner
// UploadOnce or UploadMultipart whose jobs go out under this operation's id.
//
// A source of unknown length is read one part ahead to find out which it is; that buffer then
// becomes the first part or the whole object, so no byte is read twice. The inner operations
// are never registered with the engine: their jobs and results pass through this one, and the
// chosen one's finished() ends this operation. The multipart upload's id is not forwarded:
// a caller who wants to continue it later connects to updateUploadInfo() of
// uploadMultipartOperation() itself.
class UploadAuto : public IUpload
{
    Q_OBJECT

public:
    enum UploadType
    {
        Undecided = 0,
        Once = 1,
        Multipart = 2,
    };

    UploadAuto(const QMap<QString, QVariant>& config, const QString& path,
               const QMap<QString, QVariant>& meta, QIODevice* device, QObject* parent = nullptr);
    ~UploadAuto() override;

    int uploadType() const { return m_uploadType; }
    QSharedPointer<UploadOnce> uploadOnceOperation() const { return m_once; }
    QSharedPointer<UploadMultipart> uploadMultipartOperation() const { return m_multipart; }

protected:
    QJsonDocument makeJobPrivate() override;
    void resultJobPrivate(const QJsonObject& result) override;

private slots:
    void onFinished();

private:
    enum Stage
    {
        StageUndecided = 0,
        StageForwarding = 2,
    };

    void init();
    // Reads the first part of a source of unknown length; false when it has to wait.
    bool decideByReading(unsigned long long chunk);
    QJsonDocument upload();
    IUpload* inner() const;

    int m_stage = StageUndecided;
    int m_uploadType = Undecided;
    QSharedPointer<UploadOnce> m_once;
    QSharedPointer<UploadMultipart> m_multipart;
};

} // namespace Norvik::Cloud::Operation
