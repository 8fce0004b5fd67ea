#pragma once

#include "engine/IOperationSimple.h"

#include <QJsonObject>
#include <QMutex>
#include <QSet>
#include <QThread>

#include <atomic>

namespace NorvikTest {

// A one-job operation as the real ones are built: one job of type "probe", and the result
// ends it. It records where its engine calls ran and what came back.
class ProbeOperation : public Norvik::Cloud::IOperationSimple
{
    Q_OBJECT

public:
    explicit ProbeOperation(const QMap<QString, QVariant>& config, QObject* parent = nullptr);

    QJsonObject lastResult() const;
    QThread* makeJobThread() const { return m_makeJobThread.load(); }
    QThread* resultThread() const { return m_resultThread.load(); }
    int execResultCount() const { return m_execResultCount.load(); }

protected:
    QJsonDocument execJob() override;
    void execResult(const QJsonObject& result) override;

private:
    mutable QMutex m_recordMutex;
    QJsonObject m_lastResult;
    std::atomic<QThread*> m_makeJobThread{nullptr};
    std::atomic<QThread*> m_resultThread{nullptr};
    std::atomic<int> m_execResultCount{0};
};

// Sends one job, then holds its task thread: it never ends by itself, so it stays running
// until it is removed. Counts the engine's calls and remembers every thread that served it.
class HoldingOperation : public Norvik::Cloud::IOperation
{
    Q_OBJECT

public:
    explicit HoldingOperation(const QMap<QString, QVariant>& config, QObject* parent = nullptr);

    QJsonDocument makeJob() override;
    void resultJob(const QJsonDocument& result) override;

    int makeJobCount() const { return m_makeJobCount.load(); }
    QSet<QThread*> servingThreads() const;
    // Every result handed to it, in order.
    QList<QJsonObject> results() const;
    int resultCount() const { return results().size(); }

private:
    mutable QMutex m_mutex;
    bool m_sent = false;
    QList<QJsonObject> m_results;
    QSet<QThread*> m_threads;
    std::atomic<int> m_makeJobCount{0};
};

// A configuration with an id and a secret but no cloud type: no connection can be made from
// it, so a job thread sends every job back as its own failed result.
QMap<QString, QVariant> probeConfig();

} // namespace NorvikTest
