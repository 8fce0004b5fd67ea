#pragma once

#include "engine/IOperationSimple.h"

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation::Archive {

// Tells the storage that the application has read a restored object.
class FinalizeDownloaded : public IOperationSimple
{
    Q_OBJECT

public:
    FinalizeDownloaded(const QMap<QString, QVariant>& config, const QString& path, QObject* parent = nullptr);
    ~FinalizeDownloaded() override;

    const QString& path() const { return m_path; }

protected:
    QJsonDocument execJob() override;
    void execResult(const QJsonObject& result) override;

private:
    const QString m_path;
};

} // namespace Operation::Archive

// Job "archive_FinalizeDownloaded".
QJsonDocument ArchiveFinalizeDownloaded(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
