#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVariant>

#include <memory>

namespace Norvik::Cloud::Api {
class StorageSftp;
}

// The test servers of the suite's fixtures: OpenSSH's sshd and vsftpd on 127.0.0.1, their
// ports from the endpoint files, their users and keys from the launchers' folders.
namespace SftpServer {

enum class Auth
{
    Password,
    Ed25519,
    Rsa
};

quint16 sftpPort();
quint16 ftpPort();
QString sftpFolder(); // the launcher's folder: keys, known_hosts, fingerprints
QString sftpHome();   // the SFTP user's home, where tests write
QString ftpHome();    // the FTP user's root, as a local path
QString keyFile(Auth auth);
// The host key fingerprint that OpenSSH prints for the key of this kind.
QString hostKeySha256(const QString& kind);

// A configuration for the folder below the SFTP user's home (made empty first).
QMap<QString, QVariant> config(const QString& folder, Auth auth = Auth::Password);
std::unique_ptr<Norvik::Cloud::Api::StorageSftp> connect(const QMap<QString, QVariant>& config);

// Runs a program; its standard output, or a test failure with its messages.
QByteArray run(const QString& program, const QStringList& arguments, const QByteArray& input = {});

} // namespace SftpServer
