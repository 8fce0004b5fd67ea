#include "operations/JobResult.h"

#include "engine/JobFormat.h"

namespace Norvik::Cloud::JobResult {

QJsonDocument success(QJsonObject job, const QJsonValue& data)
{
    job.insert(JobFormat::Result::Status::Key, JobFormat::Result::Status::Value::Success);
    if (!data.isUndefined())
        job.insert(JobFormat::Result::ResultData, data);
    return QJsonDocument(job);
}

QJsonDocument failure(QJsonObject job)
{
    job.insert(JobFormat::Result::Status::Key, JobFormat::Result::Status::Value::Error);
    return QJsonDocument(job);
}

QJsonDocument failure(QJsonObject job, int code, const QString& message)
{
    job.insert(JobFormat::Result::ErrorCode, code);
    job.insert(JobFormat::Result::ErrorMessage, message);
    return failure(job);
}

} // namespace Norvik::Cloud::JobResult
