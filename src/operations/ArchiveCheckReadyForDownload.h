#pragma once

#include "engine/IOperationSimple.h"

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation::Archive {

// Whether an object can be read now: it is outside the archive tiers, or its restore is done.
class CheckReadyForDownload : public IOperationSimple
{
    Q_OBJECT

public:
    CheckReadyForDownload(const QMap<QString, QVariant>& config, const QString& path,
                          QObject* parent = nullptr);
    ~CheckReadyForDownload() override;

    const QString& path() const { return m_path; }
    bool isReady() const { return m_ready; }

protected:
    QJsonDocument execJob() override;
    void execResult(const QJsonObject& result) override;

private:
    const QString m_path;
    bool m_ready = false;
};

} // namespace Operation::Archive

// Job "archive_CheckReadyForDownload": Ready or InProgress.
QJsonDocument ArchiveCheckReadyForDownload(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
