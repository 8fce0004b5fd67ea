#include "operations/Listing.h"

#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"

#include <NorvikCore/NorvikDebug.h>

#include <QMutexLocker>

namespace Norvik::Cloud {

namespace Operation {

Listing::Listing(const QMap<QString, QVariant>& config, const QString& prefix, const QString& marker,
                 const QString& delimiter, unsigned short maxCount, QObject* parent)
    : IOperation(OperationType::Listing, config, parent)
    , m_prefix(prefix)
    , m_startMarker(marker)
    , m_delimiter(delimiter)
    , m_maxCount(maxCount)
{
}

Listing::~Listing() = default;

QString Listing::marker() const
{
    QMutexLocker lock(&m_resultMutex);
    return m_marker;
}

QJsonArray Listing::data() const
{
    QMutexLocker lock(&m_resultMutex);
    return m_data;
}

QJsonDocument Listing::makeJob()
{
    QMutexLocker lock(&m_mutex);
    if (m_stage != StageIdle)
        return QJsonDocument();
    return execJob();
}

void Listing::resultJob(const QJsonDocument& result)
{
    QMutexLocker lock(&m_mutex);
    if (result.isNull() || !result.isObject())
        return;
    if (m_stage == StageSent)
        execResult(result.object());
}

QJsonDocument Listing::execJob()
{
    QJsonObject job = createJob(JobFormat::Listing::Type);
    job.insert(JobFormat::Listing::Marker, m_startMarker);
    job.insert(JobFormat::Listing::Prefix, m_prefix);
    job.insert(JobFormat::Listing::Delimiter, m_delimiter);
    job.insert(JobFormat::Listing::MaxCount, int(m_maxCount));
    m_stage = StageSent;
    return QJsonDocument(job);
}

void Listing::execResult(const QJsonObject& result)
{
    m_stage = StageDone;
    const QJsonValue page = result.value(JobFormat::Result::ResultData);
    if (!isSuccess(result) || !page.isArray()) {
        failWithResult(result);
        return;
    }
    {
        QMutexLocker lock(&m_resultMutex);
        m_data = page.toArray();
        if (result.contains(JobFormat::Listing::Result::Marker))
            m_marker = result.value(JobFormat::Listing::Result::Marker).toString();
    }
    changeState(StateComplete, QString());
}

} // namespace Operation

QJsonDocument listing(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    const QString container = job.value(OperationConfig::ContainerName).toString();
    QString marker = job.value(JobFormat::Listing::Marker).toString();
    const QString prefix = job.value(JobFormat::Listing::Prefix).toString();
    const QString delimiter = job.value(JobFormat::Listing::Delimiter).toString();
    const auto maxCount = static_cast<quint16>(job.value(JobFormat::Listing::MaxCount).toInt());

    NorvikDebug("NKC").debug() << "Start Listing job";
    const QJsonDocument page = connection->listing(container, prefix, marker, delimiter, maxCount);
    NorvikDebug("NKC").debug() << "Finished Listing job";

    QJsonObject result = job;
    result.insert(JobFormat::Listing::Result::Marker, marker);
    return JobResult::success(result, page.array());
}

} // namespace Norvik::Cloud
