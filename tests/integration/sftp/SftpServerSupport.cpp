#include "SftpServerSupport.h"

#include "connection/CloudFactory.h"
#include "storage/StorageSftp.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QUrl>
#include <QUuid>

namespace SftpServer {

namespace {

QString runFolder()
{
    const QString run = qEnvironmentVariable("CLOUDTEST_RUN");
    return run.isEmpty() ? QStringLiteral("/tmp/norvik-cloudtest") : run;
}

quint16 portOf(const char* variable)
{
    QFile file(qEnvironmentVariable(variable));
    if (!file.open(QIODevice::ReadOnly)) {
        ADD_FAILURE() << "no endpoint file in " << variable << ": the server fixture did not run";
        return 0;
    }
    return static_cast<quint16>(QUrl(QString::fromUtf8(file.readAll().trimmed())).port());
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        ADD_FAILURE() << "cannot read " << path.toStdString();
    return file.readAll();
}

} // namespace

quint16 sftpPort()
{
    static const quint16 port = portOf("NORVIK_SFTP_ENDPOINT_FILE");
    return port;
}

quint16 ftpPort()
{
    static const quint16 port = portOf("NORVIK_FTP_ENDPOINT_FILE");
    return port;
}

QString sftpFolder()
{
    return runFolder() + QStringLiteral("/sftp");
}

QString sftpHome()
{
    return sftpFolder() + QStringLiteral("/home/cloudtest");
}

QString ftpHome()
{
    return runFolder() + QStringLiteral("/ftp/home/cloudftp");
}

QString keyFile(Auth auth)
{
    return sftpFolder() +
           (auth == Auth::Rsa ? QStringLiteral("/client_rsa") : QStringLiteral("/client_ed25519"));
}

QString hostKeySha256(const QString& kind)
{
    return QString::fromLatin1(readFile(sftpFolder() + QStringLiteral("/hostkey_sha256_") + kind).trimmed());
}

QMap<QString, QVariant> config(const QString& folder, Auth auth)
{
    QDir(sftpHome() + QLatin1Char('/') + folder).removeRecursively();
    QDir().mkpath(sftpHome() + QLatin1Char('/') + folder);
    // The server writes as its user: the folder is that user's.
    run(QStringLiteral("chown"), {QStringLiteral("-R"), QStringLiteral("cloudtest:"), sftpHome()});
    QMap<QString, QVariant> map;
    map.insert(QStringLiteral("CloudType"), QStringLiteral("Sftp"));
    map.insert(QStringLiteral("CloudId"), QUuid::createUuid());
    map.insert(QStringLiteral("Address"), QStringLiteral("127.0.0.1"));
    map.insert(QStringLiteral("Port"), int(sftpPort()));
    map.insert(QStringLiteral("UseProxy"), false);
    map.insert(QStringLiteral("Path"), QString(sftpHome() + QLatin1Char('/') + folder));
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
    EXPECT_NE(connection, nullptr) << "the factory refused the SFTP configuration";
    return std::unique_ptr<Norvik::Cloud::Api::StorageSftp>(connection);
}

QByteArray run(const QString& program, const QStringList& arguments, const QByteArray& input)
{
    QProcess process;
    process.start(program, arguments);
    if (!input.isEmpty())
        process.write(input);
    process.closeWriteChannel();
    const bool finished = process.waitForFinished(300000);
    const QByteArray out = process.readAllStandardOutput();
    if (!finished || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        ADD_FAILURE() << program.toStdString() << " " << arguments.join(' ').toStdString()
                      << " failed: " << process.readAllStandardError().toStdString()
                      << process.errorString().toStdString();
    return out;
}

} // namespace SftpServer
