#pragma once

#include "engine/IOperationSimple.h"

#include <QJsonObject>

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation::Archive {

// Asks the storage to bring an archived object back. A refusal of the service still
// completes the operation: result() tells what happened.
class PrepareForDownload : public IOperationSimple
{
    Q_OBJECT

public:
    enum Result
    {
        NoResult = 0,
        Started = 1,
        NotAvailable = 2,      // the service cannot restore now; message() has its text
        AlreadyInProgress = 3, // a restore runs already
    };

    PrepareForDownload(const QMap<QString, QVariant>& config, const QString& path, const QJsonObject& options,
                       QObject* parent = nullptr);
    ~PrepareForDownload() override;

    const QString& path() const { return m_path; }
    const QJsonObject& options() const { return m_options; }
    int result() const { return m_result; }
    const QString& message() const { return m_message; }

protected:
    QJsonDocument execJob() override;
    void execResult(const QJsonObject& result) override;

private:
    const QString m_path;
    const QJsonObject m_options;
    int m_result = NoResult;
    QString m_message;
};

} // namespace Operation::Archive

// Job "archive_PrepareForDownload": the outer status stays "Success" when the service refuses;
// the inner status says why.
QJsonDocument ArchivePrepareForDownload(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
