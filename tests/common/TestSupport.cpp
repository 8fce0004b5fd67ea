#include "TestSupport.h"

#include <NorvikCore/GlobalConfig.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>

#include <random>

namespace NorvikTest {

namespace {

class FastRetryConfig : public Norvik::Core::GlobalConfig
{
public:
    double retryWaitFactor() const override { return 0.001; }
};

class LocalServerNamesConfig : public FastRetryConfig
{
public:
    LocalServerNamesConfig(const QString& caFile, int port)
        : m_caFile(caFile)
        , m_connectTo(QStringLiteral("::127.0.0.1:%1").arg(port))
    {
    }
    QString caCertificatesPath() const override { return m_caFile; }
    QStringList connectTo() const override { return {m_connectTo}; }

private:
    const QString m_caFile;
    const QString m_connectTo;
};

} // namespace

void installFastRetries()
{
    Norvik::Core::GlobalConfig::install(new FastRetryConfig);
}

void installLocalServerNames(const QString& caFile, int port)
{
    Norvik::Core::GlobalConfig::install(new LocalServerNamesConfig(caFile, port));
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
