#pragma once

#include "connection/Exception.h"
#include "connection/IConnection.h"

#include <QByteArray>
#include <QMap>
#include <QString>

#include <functional>

// A storage held in memory that takes uploads in parallel parts, as S3 does: the parts are kept
// apart and listed in pages (to exercise the marker loop); they may arrive in any order and are
// assembled at the end in the order of the part list. What the tests do not need is
// unsupported. Used from one thread only.
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
    // The part listing hands back the marker it was given, as a broken service might.
    bool markerStuck = false;
    int listCalls = 0;
    // Runs before a part is stored; may throw to make that part fail.
    std::function<void(quint64 partId)> beforePart;

    void checkConfig(const QString& container, QMap<QString, QVariant>& config) override;
    QJsonDocument listing(const QString&, const QString&, QString&, const QString&, quint16) override
    {
        unsupported();
    }
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       const QByteArray& data, const QUuid& operationId) override;
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       QSharedPointer<QIODevice> device, qint64 size, const QUuid& operationId) override;
    void download(const QString&, const QString&, QIODevice&, QMap<QString, QVariant>&, const QUuid&) override
    {
        unsupported();
    }
    bool delete_(const QString&, const QJsonObject&) override { unsupported(); }
    QJsonArray delete_(const QString&, const QJsonArray&) override { unsupported(); }
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
    QPair<bool, QByteArray> checkUploadPart(quint64, const QJsonArray&, const QByteArray&) override
    {
        unsupported();
    }
    QPair<bool, QByteArray> checkUploadPart(quint64, const QJsonArray&, QSharedPointer<QIODevice>,
                                            qint64) override
    {
        unsupported();
    }
    QByteArray download(const QString&, const QString&, qint64, qint64, QMap<QString, QVariant>&,
                        const QUuid&) override
    {
        unsupported();
    }
    void download(const QString&, const QString&, qint64, qint64, QIODevice&, QMap<QString, QVariant>&,
                  const QUuid&) override
    {
        unsupported();
    }
    QMap<QByteArray, QByteArray> header(const QString&, const QString&) override { unsupported(); }
    void setHeader(const QString&, const QString&, const QMap<QByteArray, QByteArray>&) override
    {
        unsupported();
    }
    QString signUrl(const QString&, const QString&, bool, const QDateTime&) override { unsupported(); }

private:
    [[noreturn]] static void unsupported() { throw Norvik::Cloud::Api::Exception::UnsupportedOperation(); }
    static QByteArray readPart(QIODevice& device, qint64 size);
    int m_nextUpload = 0;
};
