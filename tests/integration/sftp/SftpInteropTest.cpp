// What our SFTP storage writes, OpenSSH's sftp and rclone's sftp backend read byte for byte,
// and the other way round.

#include "SftpServerSupport.h"

#include "TestSupport.h"
#include "connection/ListingObject.h"
#include "storage/StorageSftp.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>

using namespace Norvik::Cloud;
using SftpServer::Auth;

namespace {

QByteArray sha256(const QByteArray& data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex();
}

class SftpInterop : public testing::Test
{
protected:
    void SetUp() override
    {
        m_config = SftpServer::config("interop", Auth::Ed25519);
        m_storage = SftpServer::connect(m_config);
        ASSERT_TRUE(m_storage);
        ASSERT_TRUE(m_scratch.isValid());
    }

    QString remote(const QString& name) const { return m_config.value("Path").toString() + '/' + name; }

    // OpenSSH's client, run one batch of commands with the test key, the host key checked.
    void openssh(const QString& commands)
    {
        SftpServer::run(
            "sftp",
            {"-b", "-", "-P", QString::number(SftpServer::sftpPort()), "-i",
             SftpServer::keyFile(Auth::Ed25519), "-o", "BatchMode=yes", "-o", "StrictHostKeyChecking=yes",
             "-o", "UserKnownHostsFile=" + SftpServer::sftpFolder() + "/known_hosts", "cloudtest@127.0.0.1"},
            commands.toUtf8());
    }

    QStringList rcloneArguments(const QStringList& command, const QString& path) const
    {
        return command + QStringList{":sftp:" + path,
                                     "--sftp-host=127.0.0.1",
                                     "--sftp-port=" + QString::number(SftpServer::sftpPort()),
                                     "--sftp-user=cloudtest",
                                     "--sftp-key-file=" + SftpServer::keyFile(Auth::Ed25519),
                                     "--sftp-known-hosts-file=" + SftpServer::sftpFolder() + "/known_hosts",
                                     "--config=/dev/null"};
    }

    QByteArray download(const QString& name)
    {
        QByteArray data;
        QBuffer out(&data);
        out.open(QIODevice::WriteOnly);
        QMap<QString, QVariant> meta;
        m_storage->download({}, name, out, meta, QUuid());
        return data;
    }

    QMap<QString, QVariant> m_config;
    std::unique_ptr<Api::StorageSftp> m_storage;
    QTemporaryDir m_scratch;
};

TEST_F(SftpInterop, ReferenceClientsReadWhatWeWrite)
{
    const QByteArray data = NorvikTest::randomBytes(3 * 1024 * 1024 + 17, 5);
    const QString name = "our dir/ours #1.bin";
    m_storage->upload({}, name, {}, data, QUuid());

    const QString local = m_scratch.filePath("by-openssh.bin");
    openssh(QString("get \"%1\" \"%2\"\n").arg(remote(name), local));
    QFile fetched(local);
    ASSERT_TRUE(fetched.open(QIODevice::ReadOnly));
    EXPECT_EQ(sha256(fetched.readAll()), sha256(data)) << "OpenSSH sftp";

    EXPECT_EQ(sha256(SftpServer::run("rclone", rcloneArguments({"cat"}, remote(name)))), sha256(data))
        << "rclone sftp";
}

TEST_F(SftpInterop, WeReadWhatReferenceClientsWrite)
{
    const QByteArray first = NorvikTest::randomBytes(2 * 1024 * 1024 + 3, 6);
    const QByteArray second = NorvikTest::randomBytes(1024 * 1024 + 5, 7);
    const QString local = m_scratch.filePath("upload.bin");
    QFile file(local);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(first);
    file.close();

    openssh(QString("mkdir \"%1\"\nput \"%2\" \"%3\"\n")
                .arg(remote("theirs"), local, remote("theirs/from sftp.bin")));
    SftpServer::run("rclone", rcloneArguments({"rcat"}, remote("theirs/from rclone.bin")), second);

    EXPECT_EQ(sha256(download("theirs/from sftp.bin")), sha256(first));
    EXPECT_EQ(sha256(download("theirs/from rclone.bin")), sha256(second));
    QString marker;
    const QJsonArray listed = m_storage->listing({}, "theirs/", marker, "/", 10).array();
    ASSERT_EQ(listed.size(), 2);
    for (const QJsonValue& entry : listed) {
        const Api::ListingObject record(entry.toObject());
        EXPECT_EQ(record.size(),
                  static_cast<quint64>(record.name().endsWith("sftp.bin") ? first.size() : second.size()))
            << record.name().toStdString();
    }
}

} // namespace
