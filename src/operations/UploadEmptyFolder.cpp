#include "operations/UploadEmptyFolder.h"

#include "connection/IConnection.h"
#include "connection/OperationException.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud {

namespace Operation {

UploadEmptyFolder::UploadEmptyFolder(const QMap<QString, QVariant>& config, const QString& path,
                                     QObject* parent)
    : IUpload(OperationType::UploadEmptyFolder, config, path, QMap<QString, QVariant>(), nullptr, parent)
{
}

UploadEmptyFolder::~UploadEmptyFolder() = default;

QJsonDocument UploadEmptyFolder::makeJobPrivate()
{
    if (m_stage != StageIdle)
        return QJsonDocument();
    m_stage = StageSent;
    QString folder = path();
    if (!folder.endsWith(QLatin1Char('/')))
        folder += QLatin1Char('/');
    QJsonObject job = createJob(JobFormat::UploadEmptyFolder::Type);
    job.insert(JobFormat::UploadEmptyFolder::Path, folder);
    return QJsonDocument(job);
}

void UploadEmptyFolder::resultJobPrivate(const QJsonObject& result)
{
    if (m_stage != StageSent)
        return;
    m_stage = StageDone;
    if (isSuccess(result)) {
        setInfo(result.value(JobFormat::Result::ResultData).toObject());
        changeState(StateComplete, QString());
    } else {
        failWithResult(result);
    }
}

} // namespace Operation

QJsonDocument uploadEmptyFolder(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    const QString container = job.value(OperationConfig::ContainerName).toString();
    const QString path = job.value(JobFormat::UploadEmptyFolder::Path).toString();
    if (!connection->supportEmptyFolder()) {
        NorvikDebug("NKC").warning() << "this cloud does not support empty folders";
        throw Api::Exception::UnsupportedOperation(Operation::UploadEmptyFolder::tr(
            "Empty files or folders are not accepted by the storage provider"));
    }
    NorvikDebug("NKC").debug() << "Start upload job: container:" << container << "uploadPath:" << path;
    const QJsonObject object = connection->upload(container, path, QMap<QString, QVariant>(), QByteArray(),
                                                  QUuid(job.value(JobFormat::Id).toString()));
    NorvikDebug("NKC").debug() << "Finished upload job: container:" << container << "uploadPath:" << path
                               << "upload size:" << 0;
    return JobResult::success(job, object);
}

} // namespace Norvik::Cloud
