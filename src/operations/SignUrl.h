#pragma once

#include "engine/IOperationSimple.h"

#include <QDateTime>

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// A URL through which the object can be fetched without credentials until expires. Storages
// that cannot sign give what they can (a local folder gives a file: URL without expiry).
class SignUrl : public IOperationSimple
{
    Q_OBJECT

public:
    SignUrl(const QMap<QString, QVariant>& config, const QString& path, bool useSsl, const QDateTime& expires,
            QObject* parent = nullptr);
    ~SignUrl() override;

    const QString& path() const { return m_path; }
    bool useSsl() const { return m_useSsl; }
    const QDateTime& expires() const { return m_expires; }
    // The URL; empty until the operation has completed.
    QString data() const;

protected:
    QJsonDocument execJob() override;
    void execResult(const QJsonObject& result) override;

private:
    const QString m_path;
    const bool m_useSsl;
    const QDateTime m_expires;
    mutable QMutex m_resultMutex;
    QString m_url;
};

} // namespace Operation

// Job "sign_url": answers with the URL.
QJsonDocument signUrl(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
