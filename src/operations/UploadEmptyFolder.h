#pragma once

#include "operations/IUpload.h"

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// Creates an empty folder object: an empty upload whose path ends in a separator. A path
// given without the separator gets one, since a folder is what was asked for.
class UploadEmptyFolder : public IUpload
{
    Q_OBJECT

public:
    UploadEmptyFolder(const QMap<QString, QVariant>& config, const QString& path, QObject* parent = nullptr);
    ~UploadEmptyFolder() override;

protected:
    QJsonDocument makeJobPrivate() override;
    void resultJobPrivate(const QJsonObject& result) override;

private:
    enum Stage
    {
        StageIdle = 0,
        StageSent = 1,
        StageDone = 2,
    };

    int m_stage = StageIdle;
};

} // namespace Operation

// Job "upload_empty_folder": throws UnsupportedOperation, before anything reaches the storage,
// when the storage keeps no empty folders.
QJsonDocument uploadEmptyFolder(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
