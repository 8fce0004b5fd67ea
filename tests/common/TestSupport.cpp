#include "TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QMutex>
#include <QMutexLocker>
#include <QThread>

#include <atomic>
#include <random>

namespace NorvikTest {

namespace {

std::atomic<int> shortTimeout{0};

class LocalServerNamesConfig : public TestGlobalConfig
{
public:
    LocalServerNamesConfig(const QString& caFile, int port)
        : m_caFile(caFile)
        , m_server(QStringLiteral("::127.0.0.1:%1").arg(port))
    {
    }
    QString caCertificatesPath() const override { return m_caFile; }
    QStringList connectTo() const override
    {
        QMutexLocker lock(&m_mutex);
        return m_routes + QStringList{m_server};
    }
    void addRoute(const QString& host, quint16 port)
    {
        QMutexLocker lock(&m_mutex);
        m_routes.prepend(QStringLiteral("%1::127.0.0.1:%2").arg(host).arg(port));
    }

private:
    const QString m_caFile;
    const QString m_server;
    mutable QMutex m_mutex;
    QStringList m_routes;
};

LocalServerNamesConfig* s_serverNames = nullptr;

} // namespace

int TestGlobalConfig::connectTimeout() const
{
    return shortTimeout.load() > 0 ? shortTimeout.load() : GlobalConfig::connectTimeout();
}

int TestGlobalConfig::lowSpeedTime() const
{
    return shortTimeout.load() > 0 ? shortTimeout.load() : GlobalConfig::lowSpeedTime();
}

void TestGlobalConfig::setShortTimeouts(int seconds)
{
    shortTimeout.store(seconds);
}

void installFastRetries()
{
    Norvik::Core::GlobalConfig::install(new TestGlobalConfig);
}

void installLocalServerNames(const QString& caFile, int port)
{
    s_serverNames = new LocalServerNamesConfig(caFile, port);
    Norvik::Core::GlobalConfig::install(s_serverNames);
}

void routeServerName(const QString& host, quint16 port)
{
    if (s_serverNames)
        s_serverNames->addRoute(host, port);
}

bool waitFor(const std::function<bool()>& condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return condition();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
    return true;
}

QByteArray randomBytes(qsizetype size, quint32 seed)
{
    QByteArray data(static_cast<int>(size), Qt::Uninitialized);
    std::mt19937 engine(seed);
    int i = 0;
    for (; i + 4 <= data.size(); i += 4) {
        const quint32 value = engine();
        memcpy(data.data() + i, &value, 4);
    }
    for (; i < data.size(); ++i)
        data[i] = static_cast<char>(engine() & 0xff);
    return data;
}

QString scratchDir(const QString& name)
{
    const QString base = QDir::tempPath() + QStringLiteral("/norvik-tests/") +
                         QCoreApplication::applicationName() + QLatin1Char('/') + name;
    QDir dir(base);
    dir.removeRecursively();
    QDir().mkpath(base);
    return base;
}

} // namespace NorvikTest
