#pragma once

// The servers of the fixtures: sshd and vsftpd on 127.0.0.1, ports from the endpoint files,
// users and keys from the launchers' folders.

#include "connection/CloudFactory.h"
#include "storage/StorageSftp.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QProcess>
#include <QUrl>
#include <QUuid>

#include <memory>

namespace SftpServer {

enum class Auth
{
    Password,
    Ed25519,
    Rsa
};

inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        ADD_FAILURE() << "cannot read " << path.toStdString() << ": did the server fixture run?";
    return file.readAll();
}

inline quint16 port(const char* endpointVariable = "NORVIK_SFTP_ENDPOINT_FILE")
{
    return quint16(QUrl(QString(readFile(qEnvironmentVariable(endpointVariable)).trimmed())).port());
}

// Keys, known_hosts and fingerprints of a launcher.
inline QString folder(const QString& server = QStringLiteral("sftp"))
{
    return qEnvironmentVariable("CLOUDTEST_RUN", "/tmp/norvik-cloudtest") + '/' + server;
}

inline QString sftpHome()
{
    return folder() + "/home/cloudtest";
}
inline QString keyFile(Auth auth)
{
    return folder() + (auth == Auth::Rsa ? "/client_rsa" : "/client_ed25519");
}

// Runs a program and gives its output; a test failure when it fails.
inline QByteArray run(const QString& program, const QStringList& arguments, const QByteArray& input = {})
{
    QProcess process;
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(300000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        ADD_FAILURE() << program.toStdString() << " failed: " << process.readAllStandardError().toStdString()
                      << process.errorString().toStdString();
    return process.readAllStandardOutput();
}

// A configuration for an empty folder below the SFTP user's home.
inline QMap<QString, QVariant> config(const QString& name, Auth auth = Auth::Password)
{
    const QString path = sftpHome() + '/' + name;
    QDir(path).removeRecursively();
    QDir().mkpath(path);
    run("chown", {"cloudtest:", path});
    QMap<QString, QVariant> map{{"CloudType", "Sftp"},    {"CloudId", QUuid::createUuid()},
                                {"Address", "127.0.0.1"}, {"Port", int(port())},
                                {"UseProxy", false},      {"Path", path},
                                {"User", "cloudtest"}};
    if (auth == Auth::Password)
        map.insert("Password", "cloudtest-pw");
    else
        map.insert("PrivateKey", readFile(keyFile(auth)));
    return map;
}

inline std::unique_ptr<Norvik::Cloud::Api::StorageSftp> connect(const QMap<QString, QVariant>& config)
{
    auto* connection =
        dynamic_cast<Norvik::Cloud::Api::StorageSftp*>(Norvik::Cloud::Api::CloudFactory::create(config));
    EXPECT_NE(connection, nullptr) << "the factory refused the configuration";
    return std::unique_ptr<Norvik::Cloud::Api::StorageSftp>(connection);
}

} // namespace SftpServer
