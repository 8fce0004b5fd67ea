#include "FaultProxy.h"

FaultProxy::FaultProxy(const QString& target, const QStringList& options)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QStringLiteral("python3"),
                    QStringList{QStringLiteral(NORVIK_FAULT_PROXY), QStringLiteral("--target"), target} +
                        options);
    if (m_process.waitForStarted(5000) && m_process.waitForReadyRead(10000))
        m_port = static_cast<quint16>(m_process.readLine().trimmed().toUInt());
}

FaultProxy::~FaultProxy()
{
    // Closing its stdin ends the proxy; terminate is the fallback.
    m_process.closeWriteChannel();
    if (!m_process.waitForFinished(3000)) {
        m_process.terminate();
        m_process.waitForFinished(3000);
    }
}

void FaultProxy::release()
{
    m_process.write("pass\n");
    m_process.waitForBytesWritten(3000);
}

int FaultProxy::connections()
{
    // The proxy prints a line per connection it accepts; a short wait lets the last ones arrive.
    m_process.waitForReadyRead(200);
    while (m_process.canReadLine())
        if (m_process.readLine().trimmed() == "connection")
            ++m_connections;
    return m_connections;
}
