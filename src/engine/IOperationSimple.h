#pragma once

#include "engine/IOperation.h"

#include <QMutex>

namespace Norvik::Cloud {

// An operation that is exactly one job: execJob() builds it once, execResult() ends the
// operation with its result. Both run under the operation's mutex, on the task thread.
//
// execJob() builds the document with createJob(), adds the record's keys, sets the phase to
// PhaseSent and returns it. execResult() sets the phase to PhaseDone and ends the operation
// with changeState(StateComplete) or failWithResult().
class IOperationSimple : public IOperation
{
    Q_OBJECT

public:
    IOperationSimple(const QString& type, const QMap<QString, QVariant>& config, QObject* parent);

    QJsonDocument makeJob() override;
    void resultJob(const QJsonDocument& result) override;

protected:
    enum Phase
    {
        PhaseIdle = 0, // nothing sent
        PhaseSent = 1, // the job is out, its result awaited
        PhaseDone = 2, // the result arrived; later results are ignored
    };

    virtual QJsonDocument execJob() = 0;
    virtual void execResult(const QJsonObject& result) = 0;

    QMutex m_mutex;
    int m_phase = PhaseIdle;
};

} // namespace Norvik::Cloud
