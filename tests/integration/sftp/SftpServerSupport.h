#pragma once

#include "storage/StorageSftp.h"

#include <QMap>
#include <QVariant>

#include <memory>

// The servers of the fixtures: sshd and vsftpd on 127.0.0.1, ports from the endpoint files,
// users and keys from the launchers' folders.
namespace SftpServer {

enum class Auth
{
    Password,
    Ed25519,
    Rsa
};

quint16 port(const char* endpointVariable = "NORVIK_SFTP_ENDPOINT_FILE");
QString folder(const QString& server = QStringLiteral("sftp")); // keys, known_hosts, fingerprints
QString sftpHome();
QString keyFile(Auth auth);
QByteArray readFile(const QString& path);

// A configuration for an empty folder below the SFTP user's home.
QMap<QString, QVariant> config(const QString& name, Auth auth = Auth::Password);
std::unique_ptr<Norvik::Cloud::Api::StorageSftp> connect(const QMap<QString, QVariant>& config);

// Runs a program and gives its output; a test failure when it fails.
QByteArray run(const QString& program, const QStringList& arguments, const QByteArray& input = {});

} // namespace SftpServer
