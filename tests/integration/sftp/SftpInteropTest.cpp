// What the SFTP storage writes, OpenSSH's sftp and rclone's sftp backend read byte for byte,
// and the other way round.

#include "SftpServerSupport.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QTemporaryDir>

using SftpServer::Auth;

namespace {

TEST(SftpInterop, ReferenceClientsAndWeReadWhatTheOthersWrite)
{
    const auto config = SftpServer::config("interop", Auth::Ed25519);
    auto storage = SftpServer::connect(config);
    const QString base = config.value("Path").toString() + '/';
    QTemporaryDir scratch;
    const QString key = SftpServer::keyFile(Auth::Ed25519), port = QString::number(SftpServer::port());
    const QString knownHosts = SftpServer::folder() + "/known_hosts";
    const auto openssh = [&](const QString& commands) {
        SftpServer::run("sftp",
                        {"-b", "-", "-P", port, "-i", key, "-o", "BatchMode=yes", "-o",
                         "StrictHostKeyChecking=yes", "-o", "UserKnownHostsFile=" + knownHosts,
                         "cloudtest@127.0.0.1"},
                        commands.toUtf8());
    };
    const auto rclone = [&](const QString& command, const QString& path, const QByteArray& input = {}) {
        return SftpServer::run("rclone",
                               {command, ":sftp:" + base + path, "--sftp-host=127.0.0.1",
                                "--sftp-port=" + port, "--sftp-user=cloudtest", "--sftp-key-file=" + key,
                                "--sftp-known-hosts-file=" + knownHosts, "--config=/dev/null"},
                               input);
    };

    const QByteArray ours = NorvikTest::randomBytes(3 * 1024 * 1024 + 17, 5);
    storage->upload({}, "our dir/ours #1.bin", {}, ours, {});
    openssh(QString("get \"%1our dir/ours #1.bin\" \"%2\"\n").arg(base, scratch.filePath("got")));
    EXPECT_TRUE(SftpServer::readFile(scratch.filePath("got")) == ours) << "OpenSSH sftp read";
    EXPECT_TRUE(rclone("cat", "our dir/ours #1.bin") == ours) << "rclone read";

    const QByteArray byOpenssh = NorvikTest::randomBytes(2 * 1024 * 1024 + 3, 6);
    const QByteArray byRclone = NorvikTest::randomBytes(1024 * 1024 + 5, 7);
    QFile local(scratch.filePath("put"));
    ASSERT_TRUE(local.open(QIODevice::WriteOnly) && local.write(byOpenssh) == byOpenssh.size());
    local.close();
    openssh(QString("mkdir \"%1theirs\"\nput \"%2\" \"%1theirs/by sftp\"\n").arg(base, local.fileName()));
    rclone("rcat", "theirs/by rclone", byRclone);
    for (const auto& [name, data] :
         {std::make_pair("theirs/by sftp", byOpenssh), std::make_pair("theirs/by rclone", byRclone)}) {
        QBuffer read;
        read.open(QIODevice::WriteOnly);
        QMap<QString, QVariant> meta;
        storage->download({}, name, read, meta, {});
        EXPECT_TRUE(read.data() == data) << name;
    }
}

} // namespace
