#pragma once

#include "connection/IConnection.h"

#include <QByteArray>
#include <QMap>
#include <QString>

#include <functional>

// A storage held in memory whose multipart uploads keep their parts apart, as S3 does, so that
// an interrupted upload can be continued: the parts are listed (in pages, to exercise the
// marker loop) and a part whose content is already there is confirmed without a new upload.
// Parts may arrive in any order; the object is assembled at the end in the order of the part
// list. Used from one thread only.
class MemoryStorage : public Norvik::Cloud::Api::IConnection
{
public:
    struct Upload
    {
        QString path;
        QMap<quint64, QByteArray> parts;
    };

    MemoryStorage();

    // The tag of a part: its MD5 in hex, in quotes, like an S3 ETag.
    static QByteArray tagOf(const QByteArray& data);

    QMap<QString, QByteArray> objects;
    QMap<QByteArray, Upload> uploads;
    // How often each part number really went up (confirmed parts do not count).
    QMap<quint64, int> partUploads;
    int listPageSize = 2;
    // The part listing hands back the marker it was given, as a broken service might.
    bool markerStuck = false;
    int listCalls = 0;
    int beginCalls = 0;
    // Runs before a part is stored; may throw to make that part fail.
    std::function<void(quint64 partId)> beforePart;

    void checkConfig(const QString& container, QMap<QString, QVariant>& config) override;
    QJsonDocument listing(const QString& container, const QString& prefix, QString& marker,
                          const QString& delimiter, quint16 maxCount) override;
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       const QByteArray& data, const QUuid& operationId) override;
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       QSharedPointer<QIODevice> device, qint64 size, const QUuid& operationId) override;
    void download(const QString& container, const QString& path, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    bool delete_(const QString& container, const QJsonObject& object) override;
    QJsonArray delete_(const QString& container, const QJsonArray& objects) override;
    QByteArray beginMultipartUpload(const QString& container, const QString& path,
                                    const QMap<QString, QVariant>& metaData) override;
    QJsonObject endMultipartUpload(const QString& container, const QString& path, const QByteArray& uploadId,
                                   const QList<QPair<quint64, QByteArray>>& parts) override;
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                               quint64 partId, const QByteArray& data, const QUuid& operationId) override;
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                               quint64 partId, QSharedPointer<QIODevice> device, qint64 size,
                               const QUuid& operationId) override;
    void abortMultipartUpload(const QString& container, const QString& path,
                              const QByteArray& uploadId) override;
    QJsonArray listPartsMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                                  quint64& partSize) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partId, const QJsonArray& parts,
                                            const QByteArray& data) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partId, const QJsonArray& parts,
                                            QSharedPointer<QIODevice> device, qint64 size) override;
    QByteArray download(const QString& container, const QString& path, qint64 position, qint64 size,
                        QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    void download(const QString& container, const QString& path, qint64 position, qint64 size, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    QMap<QByteArray, QByteArray> header(const QString& container, const QString& path) override;
    void setHeader(const QString& container, const QString& path,
                   const QMap<QByteArray, QByteArray>& headers) override;
    QString signUrl(const QString& container, const QString& path, bool useSsl,
                    const QDateTime& expires) override;

private:
    static QByteArray readPart(QIODevice& device, qint64 size);
    const QByteArray& object(const QString& path) const;
    int m_nextUpload = 0;
};
