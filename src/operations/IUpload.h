#pragma once

#include "engine/IOperation.h"

#include <QJsonObject>
#include <QMap>
#include <QMutex>
#include <QString>
#include <QUuid>
#include <QVariant>

#include <atomic>

class QIODevice;

namespace Norvik::Cloud::Operation {

// The base of every upload: the cloud path, the caller's source device, the object's metadata
// and what the upload has produced so far.
//
// makeJob() and resultJob() take the operation's mutex and hand over to makeJobPrivate() and
// resultJobPrivate(), so that a concrete upload is a stage machine that never sees a lock. The
// device stays the caller's and must outlive the operation.
class IUpload : public IOperation
{
    Q_OBJECT

public:
    IUpload(const QString& type, const QMap<QString, QVariant>& config, const QString& path,
            const QMap<QString, QVariant>& meta, QIODevice* device, QObject* parent);
    ~IUpload() override;

    QJsonDocument makeJob() override;
    // Ignores a document that is null or no object.
    void resultJob(const QJsonDocument& result) override;

    // Bytes handed over to the storage so far.
    unsigned long long size() const { return m_size.load(); }
    // The listing object of the uploaded object; empty until the upload has succeeded.
    QJsonObject info() const;
    // A buffer that already holds the start of the source (the whole object, or the first
    // part), read by someone else; the upload takes it instead of reading the device again.
    void setStartPartId(const QUuid& id);

    const QString& path() const { return m_path; }
    QIODevice* device() const { return m_device; }
    const QMap<QString, QVariant>& metadata() const { return m_metadata; }

protected:
    // Both run under the operation's mutex, on the task thread.
    virtual QJsonDocument makeJobPrivate() = 0;
    virtual void resultJobPrivate(const QJsonObject& result) = 0;

    // Takes the start part id and clears it; null when none was given. Under the mutex.
    QUuid takeStartPartId();
    // Written on the task thread before the final state change, read by the client after it.
    void setSize(unsigned long long size) { m_size.store(size); }
    void addSize(unsigned long long size) { m_size.fetch_add(size); }
    void setInfo(const QJsonObject& info);

    QMutex m_mutex;

private:
    const QString m_path;
    QIODevice* const m_device;
    std::atomic<unsigned long long> m_size{0};
    const QMap<QString, QVariant> m_metadata;
    mutable QMutex m_infoMutex;
    QJsonObject m_info;
    QUuid m_startPartId;
};

} // namespace Norvik::Cloud::Operation
