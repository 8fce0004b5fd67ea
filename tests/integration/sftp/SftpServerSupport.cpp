#include "SftpServerSupport.h"

#include "connection/CloudFactory.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QUrl>
#include <QUuid>

namespace SftpServer {

QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        ADD_FAILURE() << "cannot read " << path.toStdString() << ": did the server fixture run?";
    return file.readAll();
}

quint16 port(const char* endpointVariable)
{
    return static_cast<quint16>(
        QUrl(QString::fromUtf8(readFile(qEnvironmentVariable(endpointVariable)).trimmed())).port());
}

QString folder(const QString& server)
{
    const QString run = qEnvironmentVariable("CLOUDTEST_RUN");
    return (run.isEmpty() ? QStringLiteral("/tmp/norvik-cloudtest") : run) + QLatin1Char('/') + server;
}

QString sftpHome()
{
    return folder() + QStringLiteral("/home/cloudtest");
}

QString keyFile(Auth auth)
{
    return folder() + (auth == Auth::Rsa ? QStringLiteral("/client_rsa") : QStringLiteral("/client_ed25519"));
}

QMap<QString, QVariant> config(const QString& name, Auth auth)
{
    const QString path = sftpHome() + QLatin1Char('/') + name;
    QDir(path).removeRecursively();
    QDir().mkpath(path);
    run(QStringLiteral("chown"), {QStringLiteral("cloudtest:"), path});
    QMap<QString, QVariant> map;
    map.insert(QStringLiteral("CloudType"), QStringLiteral("Sftp"));
    map.insert(QStringLiteral("CloudId"), QUuid::createUuid());
    map.insert(QStringLiteral("Address"), QStringLiteral("127.0.0.1"));
    map.insert(QStringLiteral("Port"), int(port()));
    map.insert(QStringLiteral("UseProxy"), false);
    map.insert(QStringLiteral("Path"), path);
    map.insert(QStringLiteral("User"), QStringLiteral("cloudtest"));
    if (auth == Auth::Password)
        map.insert(QStringLiteral("Password"), QStringLiteral("cloudtest-pw"));
    else
        map.insert(QStringLiteral("PrivateKey"), readFile(keyFile(auth)));
    return map;
}

std::unique_ptr<Norvik::Cloud::Api::StorageSftp> connect(const QMap<QString, QVariant>& config)
{
    auto* connection =
        dynamic_cast<Norvik::Cloud::Api::StorageSftp*>(Norvik::Cloud::Api::CloudFactory::create(config));
    EXPECT_NE(connection, nullptr) << "the factory refused the configuration";
    return std::unique_ptr<Norvik::Cloud::Api::StorageSftp>(connection);
}

QByteArray run(const QString& program, const QStringList& arguments, const QByteArray& input)
{
    QProcess process;
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    const bool finished = process.waitForFinished(300000);
    if (!finished || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        ADD_FAILURE() << program.toStdString() << " failed: " << process.readAllStandardError().toStdString()
                      << process.errorString().toStdString();
    return process.readAllStandardOutput();
}

} // namespace SftpServer
