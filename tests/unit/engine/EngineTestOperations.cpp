#include "EngineTestOperations.h"

#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "info/Config.h"

#include <QMutexLocker>
#include <QUuid>

namespace NorvikTest {

using namespace Norvik::Cloud;

ProbeOperation::ProbeOperation(const QMap<QString, QVariant>& config, QObject* parent)
    : IOperationSimple(QStringLiteral("Probe"), config, parent)
{
}

QJsonObject ProbeOperation::lastResult() const
{
    QMutexLocker lock(&m_recordMutex);
    return m_lastResult;
}

QJsonDocument ProbeOperation::execJob()
{
    m_makeJobThread.store(QThread::currentThread());
    QJsonObject job = createJob(QStringLiteral("probe"));
    m_phase = PhaseSent;
    return QJsonDocument(job);
}

void ProbeOperation::execResult(const QJsonObject& result)
{
    m_resultThread.store(QThread::currentThread());
    {
        QMutexLocker lock(&m_recordMutex);
        m_lastResult = result;
    }
    ++m_execResultCount;
    m_phase = PhaseDone;
    if (isSuccess(result))
        changeState(StateComplete, QString());
    else
        failWithResult(result);
}

HoldingOperation::HoldingOperation(const QMap<QString, QVariant>& config, QObject* parent)
    : IOperation(QStringLiteral("Holding"), config, parent)
{
}

QJsonDocument HoldingOperation::makeJob()
{
    QMutexLocker lock(&m_mutex);
    ++m_makeJobCount;
    m_threads.insert(QThread::currentThread());
    if (m_sent)
        return QJsonDocument();
    m_sent = true;
    return QJsonDocument(createJob(QStringLiteral("hold")));
}

void HoldingOperation::resultJob(const QJsonDocument& result)
{
    QMutexLocker lock(&m_mutex);
    m_results.append(result.object());
}

QList<QJsonObject> HoldingOperation::results() const
{
    QMutexLocker lock(&m_mutex);
    return m_results;
}

QSet<QThread*> HoldingOperation::servingThreads() const
{
    QMutexLocker lock(&m_mutex);
    return m_threads;
}

QMap<QString, QVariant> probeConfig()
{
    return {{Config::Id, QUuid::createUuid()},
            {OperationConfig::ContainerName, QStringLiteral("bucket")},
            {Config::AmazonS3Like::SecretKey, QStringLiteral("s3cr3t")}};
}

} // namespace NorvikTest
