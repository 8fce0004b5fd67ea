#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QObject>
#include <QString>
#include <QUuid>
#include <QVariant>

#include <atomic>

namespace Norvik::Cloud {

// What a client holds while its work is under way, and what the engine asks for work.
//
// A task thread calls makeJob() to get the next job document (a null document when nothing
// may be sent now) and resultJob() with each result. Both run on that task thread; the
// getters run on the client's thread. State changes are queued to the thread that owns the
// object, so every signal reaches the client on its own thread, and that thread must run a
// Qt event loop: without one the operation never ends.
class IOperation : public QObject
{
    Q_OBJECT

public:
    // The integers are compared by the engine and by clients and never change.
    enum State
    {
        StateCreated = 0,
        StateQueued = 1,
        StateRunning = 2,
        StateComplete = 3,
        StateError = 4,
    };
    Q_ENUM(State)

    IOperation(const QString& type, const QMap<QString, QVariant>& config, QObject* parent);
    ~IOperation() override;

    // Queues the operation for a task thread. Called twice, it is served twice.
    virtual void exec();
    virtual QJsonDocument makeJob() = 0;
    virtual void resultJob(const QJsonDocument& result) = 0;

    // Drops the engine's reference; the object lives on while the client holds one.
    void remove();

    State state() const { return m_state.load(); }
    bool isComplite() const;
    bool isError() const { return state() == StateError; }
    const QString& errorMessage() const { return m_errorMessage; }
    int errorCode() const { return m_errorCode; }
    const QString& cloudError() const { return m_cloudError; }
    const QUuid& id() const { return m_id; }
    const QString& type() const { return m_type; }
    const QMap<QString, QVariant>& cloudConfig() const { return m_config; }

signals:
    void started();
    void finished();
    void signalChangeState(int state, const QString& message, QPrivateSignal);

public slots:
    void onChangeState(int state, const QString& message);

protected:
    // Takes effect later, on the thread that owns the object, whatever thread calls it.
    void changeState(State state, const QString& message);

    // A job document of the given job type: the whole configuration, "type" and "id".
    QJsonObject createJob(const QString& jobType) const;
    // Ends the operation in state 4 with what a failed result carries. A result without
    // error keys (no connection, or a connection call that returned false) gives code 0
    // and empty texts.
    void failWithResult(const QJsonObject& result);
    // True only when "status" is exactly "Success"; a result without "status" is a failure.
    static bool isSuccess(const QJsonObject& result);

    // Written on the task thread before the final changeState, so that a slot of finished()
    // reads them safely.
    void setErrorCode(int code) { m_errorCode = code; }
    void setCloudError(const QString& cloudError) { m_cloudError = cloudError; }
    void setCloudConfig(const QMap<QString, QVariant>& config) { m_config = config; }

private:
    // The engine moves operations through states 1 and 2.
    friend class OperationManager;
    friend class OperationTask;

    // Read by the task thread without a lock while the client's thread writes it.
    std::atomic<State> m_state{StateCreated};
    const QUuid m_id;
    QMap<QString, QVariant> m_config;
    const QString m_type;
    QString m_errorMessage;
    int m_errorCode = 0;
    QString m_cloudError;
};

} // namespace Norvik::Cloud
