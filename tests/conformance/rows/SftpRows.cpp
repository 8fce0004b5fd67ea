// An SFTP server (OpenSSH's sshd of the "sftp" fixture), signed in with a password or with a
// key. No containers, no multipart, no signed URLs; files keep only their permission bits.

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

constexpr int AuthorizationCode = 9;

QString launcherFolder()
{
    const QString run = qEnvironmentVariable("CLOUDTEST_RUN");
    return (run.isEmpty() ? QStringLiteral("/tmp/norvik-cloudtest") : run) + QStringLiteral("/sftp");
}

QByteArray readKey(const QString& name)
{
    QFile file(launcherFolder() + QLatin1Char('/') + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A folder of this run in the test user's home, owned by that user, who writes there.
QString runFolder()
{
    static const QString folder = [] {
        const QString path = launcherFolder() + QStringLiteral("/home/cloudtest/conformance-") +
                             QUuid::createUuid().toString(QUuid::WithoutBraces);
        QDir().mkpath(path);
        if (const passwd* user = getpwnam("cloudtest")) [[maybe_unused]]
            const int ignored = chown(QFile::encodeName(path).constData(), user->pw_uid, user->pw_gid);
        return path;
    }();
    return folder;
}

Conformance::Row sftpRow(const QString& name, bool withKey)
{
    return {
        name,
        [withKey] {
            const QUrl endpoint(Conformance::serverEndpoint(QStringLiteral("sftp")));
            if (endpoint.isEmpty())
                return Conformance::ConfigMap();
            Conformance::ConfigMap config{
                {Config::Type, Norvik::Cloud::Name::Sftp},   {Config::Id, QUuid::createUuid()},
                {Config::Network::Address, endpoint.host()}, {Config::Network::Port, endpoint.port()},
                {Config::Network::UseProxy, false},          {Sftp::Path, runFolder()},
                {Sftp::User, QStringLiteral("cloudtest")},
            };
            if (withKey)
                config.insert(Sftp::PrivateKey, readKey(QStringLiteral("client_ed25519")));
            else
                config.insert(Sftp::Password, QStringLiteral("cloudtest-pw"));
            return config;
        },
        nullptr,
        [withKey](Conformance::ConfigMap& config) {
            // A key that the server does not know: its own host key.
            if (withKey)
                config.insert(Sftp::PrivateKey, readKey(QStringLiteral("ssh_host_ed25519_key")));
            else
                config.insert(Sftp::Password, QStringLiteral("not-the-password"));
        },
        AuthorizationCode,
        // Permission bits are set on upload, but nothing is read back from the server.
        {},
        {},
    };
}

[[maybe_unused]] const bool added = Conformance::addRow(sftpRow(QStringLiteral("sftp.password"), false)) &&
                                    Conformance::addRow(sftpRow(QStringLiteral("sftp.key"), true));

} // namespace
