#include "operations/IUpload.h"

#include <QMutexLocker>

namespace Norvik::Cloud::Operation {

IUpload::IUpload(const QString& type, const QMap<QString, QVariant>& config, const QString& path,
                 const QMap<QString, QVariant>& meta, QIODevice* device, QObject* parent)
    : IOperation(type, config, parent)
    , m_path(path)
    , m_device(device)
    , m_metadata(meta)
{
}

IUpload::~IUpload() = default;

QJsonDocument IUpload::makeJob()
{
    QMutexLocker lock(&m_mutex);
    return makeJobPrivate();
}

void IUpload::resultJob(const QJsonDocument& result)
{
    QMutexLocker lock(&m_mutex);
    if (result.isNull() || !result.isObject())
        return;
    resultJobPrivate(result.object());
}

QJsonObject IUpload::info() const
{
    QMutexLocker lock(&m_infoMutex);
    return m_info;
}

void IUpload::setInfo(const QJsonObject& info)
{
    QMutexLocker lock(&m_infoMutex);
    m_info = info;
}

void IUpload::setStartPartId(const QUuid& id)
{
    // The operation that filled the buffer calls this from its own task-thread pass, while it
    // holds its own mutex: the order of the two locks is always that one first.
    QMutexLocker lock(&m_mutex);
    m_startPartId = id;
}

QUuid IUpload::takeStartPartId()
{
    const QUuid id = m_startPartId;
    m_startPartId = QUuid();
    return id;
}

} // namespace Norvik::Cloud::Operation
