// Faults on the wire between the client and the storage's server: connections reset before,
// inside and after a request, a server that stops answering, and bursts of error statuses.
// CTest runs these cases (reliability.wire.<row>) with NORVIK_WIRE_FAULTS set; without it they
// are not for any storage, so that the conformance rows stay short.
//
// Whatever happens, an upload or download ends either complete with the exact bytes or failed
// with a code that names a network or service failure; it never ends "complete" with a wrong
// object, and it gives up after a bounded number of connections.

#include "Conformance.h"
#include "FaultProxy.h"

#include "engine/OperationManager.h"

#include "TestSupport.h"

#include <QBuffer>

#include <iostream>

namespace {

using Conformance::Capabilities;
using Conformance::ConfigMap;
using Norvik::Cloud::IOperation;
using Norvik::Cloud::OperationManager;

bool wireFaultsAsked(const Capabilities& caps)
{
    return caps.routable && qEnvironmentVariableIsSet("NORVIK_WIRE_FAULTS");
}

// Codes of an operation that failed for the network's or the service's sake (and not, say,
// for bad credentials or a missing object, which no fault here can cause): a service error (2),
// a network failure (4), a connection broken while sending or receiving, which the HTTP transport
// reports as trouble of the secure connection (5) whether or not it was encrypted, and the
// runtime error of the file-server transport (1), which is how it reports a lost session.
bool isTransferFailure(int code)
{
    return code == 1 || code == 2 || code == 4 || code == 5;
}

// What a fault must end in. A stalled answer to a GET fails that request at once, by design,
// and only the loops of some storages' operations try again, so a stall may end either way.
enum class Expect
{
    Complete,
    Failure,
    Either
};

struct Fault
{
    const char* name;
    const char* options; // of the proxy; "BODY" stands for the direction of the transfer's body
    Expect expect;
};

// The connect time-out and low-speed time while a fault is on: a stalled or swallowed
// connection ends after this long, not after the minute of the defaults.
constexpr int FaultTimeoutSeconds = 3;

// Within the transport's retries (four attempts) every fault is overcome; a connection that is
// reset each time is not, and must end the operation.
const Fault Faults[] = {
    {"reset before the request", "--mode reset --direction up --after 0 --faults 2", Expect::Complete},
    {"reset inside the body", "--mode reset --direction BODY --after 65536 --faults 2", Expect::Complete},
    {"reset after the request", "--mode reset --direction down --after 0 --faults 2", Expect::Complete},
    {"server stalls", "--mode stall --direction down --after 0 --faults 1", Expect::Either},
    {"burst of 503", "--mode status --status 503 --faults 3", Expect::Complete},
    {"burst of 500", "--mode status --status 500 --faults 2", Expect::Complete},
    {"429 with Retry-After", "--mode status --status 429 --retry-after 1 --faults 2", Expect::Complete},
    {"503 with Retry-After", "--mode status --status 503 --retry-after 1 --faults 2", Expect::Complete},
    {"every connection reset", "--mode reset --direction up --after 0 --faults -1", Expect::Failure},
};

enum Transfer
{
    Single,
    Multipart,
    Download
};
const char* const TransferNames[] = {"single upload", "multipart upload", "download"};

// A bound on the connections of one operation that fails every time: the transport's attempts,
// times the storage's own loops, times the operation's own tries, with room for sign-in.
constexpr int MaxConnectionsOfFailure = 64;

class WireFaultTest : public Conformance::StorageTest
{
protected:
    // Runs the transfer through a proxy that makes the fault, then checks what it left.
    void check(Transfer transfer, const Fault& fault, const QByteArray& data, const QString& name)
    {
        SCOPED_TRACE(std::string(TransferNames[transfer]) + ", " + fault.name);
        ConfigMap routed = config();
        const QString target = Conformance::routeThrough(row(), routed, 0);
        QStringList options = QString::fromLatin1(fault.options).split(QLatin1Char(' '));
        const bool answersStatus = options.contains(QStringLiteral("status"));
        // One line of the table of outcomes: fault, storage, transfer, outcome.
        const auto report = [&](const std::string& outcome) {
            std::cout << "wire fault | " << fault.name << " | " << row().name.toStdString() << " | "
                      << TransferNames[transfer] << " | " << outcome << '\n';
        };
        if (answersStatus && !caps().plainHttp)
            return report("not made: the proxy cannot answer inside TLS");
        if (answersStatus && row().errorDocument) {
            const int status = options.at(options.indexOf(QStringLiteral("--status")) + 1).toInt();
            options << QStringLiteral("--body") << QString::fromUtf8(row().errorDocument(status))
                    << QStringLiteral("--content-type") << QString::fromUtf8(row().errorDocumentType);
        }
        options.replaceInStrings(QStringLiteral("BODY"),
                                 transfer == Download ? QStringLiteral("down") : QStringLiteral("up"));
        FaultProxy proxy(target,
                         options + QStringList{QStringLiteral("--connections"), QStringLiteral("-1")});
        ASSERT_NE(proxy.port(), 0);
        routed = config();
        Conformance::routeThrough(row(), routed, proxy.port());
        NorvikTest::TestGlobalConfig::setShortTimeouts(FaultTimeoutSeconds);

        QBuffer source;
        source.setData(data);
        source.open(QIODevice::ReadOnly);
        QBuffer out;
        out.open(QIODevice::WriteOnly);
        QSharedPointer<IOperation> operation =
            transfer == Download
                ? OperationManager::instance().DownloadAuto2Stream(routed, path(name), &out, false, 0, 0)
                : OperationManager::instance().uploadAuto(routed, path(name), {}, &source);
        ASSERT_TRUE(operation);
        operation->exec();
        const bool ended = NorvikTest::waitFor([&] { return operation->isComplite(); }, 300000);
        NorvikTest::TestGlobalConfig::setShortTimeouts(0);
        ASSERT_TRUE(ended) << "the operation did not end";
        operation->remove();
        const int connections = proxy.connections();
        const bool complete = operation->state() == IOperation::StateComplete;
        report((complete ? std::string("complete, exact")
                         : "failed, code " + std::to_string(operation->errorCode())) +
               " | " + std::to_string(connections) + " connections");

        if (complete) {
            const QByteArray got = transfer == Download ? out.data() : get(name);
            EXPECT_EQ(sha256(got), sha256(data)) << "complete, but not the object that was sent";
        } else {
            // A multipart upload whose only failure is its last result ends without that
            // result's code, as the multipart upload does by design.
            const bool soleLastPart = transfer == Multipart && operation->errorCode() == 0;
            EXPECT_TRUE(isTransferFailure(operation->errorCode()) || soleLastPart)
                << "code " << operation->errorCode() << ": " << operation->errorMessage().toStdString();
            if (transfer != Download)
                expectAbsentOrExact(name, data);
        }
        if (fault.expect == Expect::Complete) {
            EXPECT_TRUE(complete) << "code " << operation->errorCode() << ": "
                                  << operation->errorMessage().toStdString();
        } else if (fault.expect == Expect::Failure) {
            EXPECT_FALSE(complete);
        }
        EXPECT_LE(connections, MaxConnectionsOfFailure);
    }

    // An upload that failed may have left nothing, or the whole object, never a part of it.
    void expectAbsentOrExact(const QString& name, const QByteArray& data)
    {
        for (const Entry& entry : list(QString(), QString(), 1000)) {
            if (entry.name == name) {
                EXPECT_EQ(sha256(get(name)), sha256(data)) << "a failed upload left a different object";
            }
        }
    }
};

CONFORMANCE_FIXTURE_CASE(WireFaultsEndExactOrFailed, WireFaultTest, wireFaultsAsked)
{
    const QByteArray small = NorvikTest::randomBytes(300 * 1024 + 5, 41);
    const QByteArray large =
        NorvikTest::randomBytes(static_cast<qsizetype>(caps().partSize) * 2 + 100 * 1024 + 3, 42);
    ASSERT_TRUE(put("download.bin", large));
    int index = 0;
    for (const Fault& fault : Faults) {
        const QString name = QStringLiteral("upload-%1.bin").arg(index++);
        check(Single, fault, small, QStringLiteral("single-") + name);
        if (caps().multipart)
            check(Multipart, fault, large, QStringLiteral("multipart-") + name);
        check(Download, fault, large, QStringLiteral("download.bin"));
    }
}

} // namespace
