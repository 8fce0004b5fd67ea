#include "JobRunner.h"

#include "engine/IOperation.h"
#include "engine/JobFormat.h"
#include "engine/OperationJob.h"

#include <QCoreApplication>
#include <QJsonDocument>

#include <algorithm>

using namespace Norvik::Cloud;

JobRunner::JobRunner(Api::IConnection& connection, Order order)
    : m_connection(connection)
    , m_order(order)
{
}

QList<QJsonObject> JobRunner::collect(IOperation& operation)
{
    QList<QJsonObject> jobs;
    for (;;) {
        const QJsonDocument job = operation.makeJob();
        if (job.isNull() || !job.isObject())
            break;
        jobs.append(job.object());
        jobTypes.append(jobType(job.object()));
    }
    maxInFlight = std::max(maxInFlight, static_cast<int>(jobs.size()));
    return jobs;
}

QJsonObject JobRunner::run(const QJsonObject& job)
{
    const QJsonObject result = OperationJob::exec(&m_connection, QJsonDocument(job)).object();
    results.append(result);
    return result;
}

void JobRunner::deliver(IOperation& operation, const QJsonObject& result)
{
    operation.resultJob(QJsonDocument(result));
    QCoreApplication::processEvents();
}

bool JobRunner::drive(IOperation& operation, int maxRounds)
{
    for (int round = 0; round < maxRounds; ++round) {
        QCoreApplication::processEvents();
        if (operation.isComplite())
            return true;
        QList<QJsonObject> jobs = collect(operation);
        if (jobs.isEmpty()) {
            QCoreApplication::processEvents();
            return operation.isComplite();
        }
        QList<QJsonObject> done;
        for (const QJsonObject& job : jobs)
            done.append(run(job));
        if (m_order == Order::Reversed)
            std::reverse(done.begin(), done.end());
        for (const QJsonObject& result : done)
            deliver(operation, result);
    }
    return operation.isComplite();
}

QString jobType(const QJsonObject& job)
{
    return job.value(JobFormat::Type).toString();
}
