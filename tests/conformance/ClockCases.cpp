// A client whose clock is an hour off. CTest runs these cases (reliability.clock.<row>) with
// Debian's libfaketime preloaded and reading its offset from FAKETIME_TIMESTAMP_FILE, so that
// the suite makes its container with the true clock and the case turns the clock away. Without
// that file they are not for any storage.

#include "Conformance.h"

#include "connection/AmazonCloudError.h"
#include "engine/OperationManager.h"

#include <QBuffer>
#include <QDateTime>
#include <QFile>

namespace {

using Conformance::Capabilities;
using Norvik::Cloud::IOperation;
using Norvik::Cloud::OperationManager;
using Norvik::Cloud::Error::Amazon::RequestTimeTooSkewed;

// Seconds since the epoch by the kernel's boot time and uptime: files that faketime leaves alone.
qint64 trueNow()
{
    QFile stat(QStringLiteral("/proc/stat"));
    QFile uptime(QStringLiteral("/proc/uptime"));
    if (!stat.open(QIODevice::ReadOnly) || !uptime.open(QIODevice::ReadOnly))
        return 0;
    qint64 boot = 0;
    for (const QByteArray& line : stat.readAll().split('\n'))
        if (line.startsWith("btime "))
            boot = line.mid(6).trimmed().toLongLong();
    return boot + static_cast<qint64>(uptime.readAll().split(' ').value(0).toDouble());
}

bool clockCanBeTurned(const Capabilities& caps)
{
    return caps.reportsClockSkew && qEnvironmentVariableIsSet("FAKETIME_TIMESTAMP_FILE");
}

bool setClockOffset(const char* offset)
{
    QFile file(QString::fromLocal8Bit(qgetenv("FAKETIME_TIMESTAMP_FILE")));
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(offset) > 0;
}

// The clock is an hour ahead while it lives.
struct ClockAnHourAhead
{
    ClockAnHourAhead() { ok = setClockOffset("+3600\n"); }
    ~ClockAnHourAhead() { setClockOffset("+0\n"); }
    bool ok;
};

CONFORMANCE_CASE(ClockSkewIsReported, clockCanBeTurned)
{
    const ClockAnHourAhead ahead;
    ASSERT_TRUE(ahead.ok);
    const qint64 off = QDateTime::currentSecsSinceEpoch() - trueNow();
    ASSERT_GT(std::abs(off), 1800) << "the clock is not off: is faketime's library loaded?";

    QBuffer device;
    device.setData(QByteArray(1000, 'c'));
    device.open(QIODevice::ReadOnly);
    const auto upload =
        OperationManager::instance().upload(config(), path(QStringLiteral("skewed")), {}, &device);
    ASSERT_TRUE(run(upload, IOperation::StateError));
    EXPECT_EQ(upload->errorCode(), 29) << upload->errorMessage().toStdString();

    RequestTimeTooSkewed record;
    ASSERT_TRUE(record.fromByteArray(upload->cloudError().toUtf8())) << upload->cloudError().toStdString();
    EXPECT_EQ(record.type(), RequestTimeTooSkewed::TypeNumber);
    EXPECT_TRUE(record.rawBody().contains(QLatin1String("RequestTimeTooSkewed")));
    if (caps().reportsServerTime) {
        ASSERT_TRUE(record.serverTime().isValid()) << record.rawBody().toStdString();
        // The server's time is the true one, an hour from ours.
        EXPECT_LT(std::abs(record.serverTime().toSecsSinceEpoch() - trueNow()), 120);
    } else {
        EXPECT_FALSE(record.serverTime().isValid());
    }
}

} // namespace
