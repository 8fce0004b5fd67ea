#pragma once

#include "engine/IOperation.h"

#include <QJsonArray>
#include <QMutex>

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

namespace Operation {

// One page of a container's contents. The caller lists the next page with a new Listing that
// starts at marker(), until marker() comes back empty.
class Listing : public IOperation
{
    Q_OBJECT

public:
    Listing(const QMap<QString, QVariant>& config, const QString& prefix, const QString& marker,
            const QString& delimiter, unsigned short maxCount, QObject* parent = nullptr);
    ~Listing() override;

    QJsonDocument makeJob() override;
    void resultJob(const QJsonDocument& result) override;

    const QString& prefix() const { return m_prefix; }
    // Where the next page starts; empty until a page has arrived, and after the last page.
    QString marker() const;
    const QString& delimiter() const { return m_delimiter; }
    unsigned short maxCount() const { return m_maxCount; }
    // The listing objects of this page.
    QJsonArray data() const;

private:
    enum Stage
    {
        StageIdle = 0,
        StageSent = 1,
        StageDone = 2,
    };

    QJsonDocument execJob();
    void execResult(const QJsonObject& result);

    QMutex m_mutex;
    int m_stage = StageIdle;
    const QString m_prefix;
    const QString m_startMarker;
    const QString m_delimiter;
    const unsigned short m_maxCount;
    // Written on the task thread before the final state change; read by the client after it.
    mutable QMutex m_resultMutex;
    QString m_marker;
    QJsonArray m_data;
};

} // namespace Operation

// Job "listing": one page, and the marker of the next one under "marker".
QJsonDocument listing(Api::IConnection* connection, const QJsonObject& job);

} // namespace Norvik::Cloud
