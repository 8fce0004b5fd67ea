#pragma once

#include "engine/IOperation.h"

#include <QMutex>

class QIODevice;

namespace Norvik::Cloud::Operation {

// Copies one device into another on the task thread, in pieces of chunkSize bytes, without any
// job: a way to run a local copy under the engine's progress reporting and signals. Both
// devices stay the caller's. A failure ends the operation with code 15.
class StreamTransformation : public IOperation
{
    Q_OBJECT

public:
    StreamTransformation(QIODevice* in, QIODevice* out, unsigned long long chunkSize, QObject* parent);
    ~StreamTransformation() override;

    QJsonDocument makeJob() override;
    void resultJob(const QJsonDocument& result) override;

private:
    // Does all the work at once and never returns a job.
    QJsonDocument execJob();

    QIODevice* const m_in;
    QIODevice* const m_out;
    const unsigned long long m_chunkSize;
    QMutex m_mutex;
    int m_stage = 0;
};

} // namespace Norvik::Cloud::Operation
