#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

// Small helpers for job functions, which answer with their own job object plus status keys.
namespace Norvik::Cloud::JobResult {

// The job with "status" "Success" and, unless data is undefined, "result_data".
QJsonDocument success(QJsonObject job, const QJsonValue& data = QJsonValue(QJsonValue::Undefined));

// The job with "status" "Error" and no error keys: a connection call that answered false.
QJsonDocument failure(QJsonObject job);

// The job with "status" "Error", "ErrorCode" and "ErrorMessage": a job that could not even
// start because what its document names is gone. Such a job still answers, so that its
// operation ends and frees its buffers instead of waiting for ever.
QJsonDocument failure(QJsonObject job, int code, const QString& message);

} // namespace Norvik::Cloud::JobResult
