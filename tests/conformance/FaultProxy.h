#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

// The TCP fault proxy of tests/servers (fault_proxy.py) as a child of the test: started with
// its options, listening on a free port of 127.0.0.1, ended with the object.
class FaultProxy
{
public:
    // target "host:port"; options as the script takes them, e.g. {"--mode", "reset", "--after", "1048576"}.
    FaultProxy(const QString& target, const QStringList& options);
    ~FaultProxy();

    // 0 when the proxy did not start.
    quint16 port() const { return m_port; }
    // From now on new connections pass unbroken.
    void release();
    // The connections accepted so far.
    int connections();

private:
    QProcess m_process;
    quint16 m_port = 0;
    int m_connections = 0;
};
