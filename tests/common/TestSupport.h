#pragma once

#include <NorvikCore/GlobalConfig.h>

#include <QByteArray>
#include <QString>

#include <functional>
#include <ostream>

namespace NorvikTest {

// The global configuration of the test programs: retry waits are a thousandth of the real ones,
// so that a suite exercising retries never sleeps for long, and a case that stalls a server on
// purpose may shorten the connect time-out (which covers the TLS handshake) and the low-speed
// time for the transfers it starts.
class TestGlobalConfig : public Norvik::Core::GlobalConfig
{
public:
    double retryWaitFactor() const override { return 0.001; }
    int connectTimeout() const override;
    int lowSpeedTime() const override;
    // Both time-outs; 0 restores the defaults.
    static void setShortTimeouts(int seconds);
};

// Installs a global configuration whose retry waits are a thousandth of the real ones, so
// that a suite exercising retries never sleeps for long. Everything else keeps its default.
void installFastRetries();
// The same, for a TLS test server that serves a service's own host names: trusts the CA in
// caFile and connects every host name to 127.0.0.1:port.
void installLocalServerNames(const QString& caFile, int port);
// With those names installed: connects host to 127.0.0.1:port instead (a fault proxy, say).
void routeServerName(const QString& host, quint16 port);

// Runs the Qt event loop of the calling thread until condition() is true or timeoutMs have
// passed. Returns the last value of condition().
bool waitFor(const std::function<bool()>& condition, int timeoutMs = 10000);

// Deterministic pseudo-random bytes: the same seed always gives the same data.
QByteArray randomBytes(qsizetype size, quint32 seed = 1);

// The folder of the running test binary's scratch space, made empty on first use.
QString scratchDir(const QString& name);

} // namespace NorvikTest

// Readable failure messages for Qt's text types in GoogleTest assertions.
QT_BEGIN_NAMESPACE
inline void PrintTo(const QString& text, std::ostream* out)
{
    *out << '"' << text.toStdString() << '"';
}
inline void PrintTo(const QByteArray& bytes, std::ostream* out)
{
    *out << '"' << bytes.toStdString() << '"';
}
QT_END_NAMESPACE
