// An SFTP server (sshd of the "sftp" fixture), signed in with a password or with a key. No
// containers, no multipart, no signed URLs, no metadata read back.

#include "Conformance.h"

#include "info/CloudType.h"
#include "info/Config.h"

#include <QDir>
#include <QFile>
#include <QUrl>
#include <QUuid>

#include <pwd.h>
#include <unistd.h>

namespace {

namespace Config = Norvik::Cloud::Config;
namespace Sftp = Norvik::Cloud::Config::Network::Sftp;

// A file of the sftp launcher's folder.
QString launcherFile(const QString& name)
{
    return qEnvironmentVariable("CLOUDTEST_RUN", "/tmp/norvik-cloudtest") + "/sftp/" + name;
}

QByteArray readKey(const QString& name)
{
    QFile file(launcherFile(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

Conformance::Row sftpRow(const QString& name, bool withKey)
{
    const auto configure = [withKey] {
        const QUrl endpoint(Conformance::serverEndpoint(QStringLiteral("sftp")));
        if (endpoint.isEmpty())
            return Conformance::ConfigMap();
        // A folder of this run in the test user's home, the user's own.
        const QString path = launcherFile(QStringLiteral("home/cloudtest/conformance-") +
                                          QUuid::createUuid().toString(QUuid::Id128));
        QDir().mkpath(path);
        const passwd* user = getpwnam("cloudtest");
        if (!user || chown(QFile::encodeName(path).constData(), user->pw_uid, user->pw_gid) != 0)
            return Conformance::ConfigMap();
        Conformance::ConfigMap config{
            {Config::Type, Norvik::Cloud::Name::Sftp},   {Config::Id, QUuid::createUuid()},
            {Config::Network::Address, endpoint.host()}, {Config::Network::Port, endpoint.port()},
            {Config::Network::UseProxy, false},          {Sftp::Path, path},
            {Sftp::User, QStringLiteral("cloudtest")}};
        withKey ? config.insert(Sftp::PrivateKey, readKey("client_ed25519"))
                : config.insert(Sftp::Password, "cloudtest-pw");
        return config;
    };
    const auto breakCredentials = [withKey](Conformance::ConfigMap& config) {
        // A key that the server does not take: its own host key.
        withKey ? config.insert(Sftp::PrivateKey, readKey("ssh_host_ed25519_key"))
                : config.insert(Sftp::Password, "not-the-password");
    };
    return {name, configure, nullptr, breakCredentials, 9, {}, {}};
}

// The server's address and port give way to the proxy's.
QString routeThroughProxy(Conformance::ConfigMap& config, quint16 port)
{
    const QString target = config.value(Config::Network::Address).toString() + ':' +
                           config.value(Config::Network::Port).toString();
    config.insert(Config::Network::Address, QStringLiteral("127.0.0.1"));
    config.insert(Config::Network::Port, port);
    config.insert(Config::Id, QUuid::createUuid());
    return target;
}

[[maybe_unused]] const bool added = Conformance::addRow(sftpRow(QStringLiteral("sftp.password"), false)) &&
                                    Conformance::addRow(sftpRow(QStringLiteral("sftp.key"), true)) &&
                                    Conformance::addRoute(QStringLiteral("sftp.password"), routeThroughProxy);

} // namespace
