#pragma once

#include <QJsonObject>
#include <QList>
#include <QStringList>

namespace Norvik::Cloud {
class IOperation;
namespace Api {
class IConnection;
}
} // namespace Norvik::Cloud

// Plays the engine on the test's own thread: asks an operation for jobs the way a task thread
// does, runs them through the job boundary (OperationJob::exec) on a connection given by the
// test, and hands the results back. Jobs given out together are "in flight" together, which
// lets a test see the operation's flow control; their results may be handed back in reverse
// order, as parallel jobs can finish in any order.
class JobRunner
{
public:
    enum class Order
    {
        AsSent,
        Reversed,
    };

    explicit JobRunner(Norvik::Cloud::Api::IConnection& connection, Order order = Order::AsSent);

    // Every job the operation gives now, until it gives a null document.
    QList<QJsonObject> collect(Norvik::Cloud::IOperation& operation);
    QJsonObject run(const QJsonObject& job);
    // Hands a result over and lets the queued state change take effect.
    void deliver(Norvik::Cloud::IOperation& operation, const QJsonObject& result);

    // Runs rounds of collect, run and deliver until the operation has ended. False when it
    // has not ended and gives no more jobs (it waits for something outside), or after
    // maxRounds.
    bool drive(Norvik::Cloud::IOperation& operation, int maxRounds = 100000);

    // The types of all jobs sent, in order.
    QStringList jobTypes;
    // The most jobs given out in one round.
    int maxInFlight = 0;
    QList<QJsonObject> results;

private:
    Norvik::Cloud::Api::IConnection& m_connection;
    Order m_order;
};

// The job's type, for readable assertions.
QString jobType(const QJsonObject& job);
