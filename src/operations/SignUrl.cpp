#include "operations/SignUrl.h"

#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"

#include <NorvikCore/NorvikDebug.h>

#include <QMutexLocker>

namespace Norvik::Cloud {

namespace Operation {

SignUrl::SignUrl(const QMap<QString, QVariant>& config, const QString& path, bool useSsl,
                 const QDateTime& expires, QObject* parent)
    : IOperationSimple(OperationType::SignUrl, config, parent)
    , m_path(path)
    , m_useSsl(useSsl)
    , m_expires(expires)
{
}

SignUrl::~SignUrl() = default;

QString SignUrl::data() const
{
    QMutexLocker lock(&m_resultMutex);
    return m_url;
}

QJsonDocument SignUrl::execJob()
{
    QJsonObject job = createJob(JobFormat::SignUrl::Type);
    job.insert(JobFormat::SignUrl::Path, m_path);
    job.insert(JobFormat::SignUrl::UseSsl, m_useSsl);
    job.insert(JobFormat::SignUrl::Expires, QJsonValue::fromVariant(QVariant(m_expires)));
    m_phase = PhaseSent;
    return QJsonDocument(job);
}

void SignUrl::execResult(const QJsonObject& result)
{
    m_phase = PhaseDone;
    const QJsonValue url = result.value(JobFormat::Result::ResultData);
    if (!isSuccess(result) || !url.isString()) {
        failWithResult(result);
        return;
    }
    {
        QMutexLocker lock(&m_resultMutex);
        m_url = url.toString();
    }
    changeState(StateComplete, QString());
}

} // namespace Operation

QJsonDocument signUrl(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    NorvikDebug("NKC").debug() << "Start SignUrl job";
    const QString container = job.value(OperationConfig::ContainerName).toString();
    const QString path = job.value(JobFormat::SignUrl::Path).toString();
    const bool useSsl = job.value(JobFormat::SignUrl::UseSsl).toBool();
    const QDateTime expires = job.value(JobFormat::SignUrl::Expires).toVariant().toDateTime();
    const QString url = connection->signUrl(container, path, useSsl, expires);
    NorvikDebug("NKC").debug() << "Finished SignUrl job";
    return JobResult::success(job, url);
}

} // namespace Norvik::Cloud
