// The SFTP storage against OpenSSH's sshd (and vsftpd for its listings): what only this family
// does. The behaviour shared by every storage is the conformance suite's.

#include "SftpServerSupport.h"

#include "TestSupport.h"
#include "connection/Exception.h"
#include "connection/ListingObject.h"
#include "storage/FSFtpInfo.h"
#include "storage/StorageFtpPrivate.h"
#include "storage/StorageSftp.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <csignal>
#include <sys/types.h>
#include <utime.h>

using namespace Norvik::Cloud;
using SftpServer::Auth;

namespace {

void writeFile(const QString& path, const QByteArray& data)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(data);
}

// Files of every kind a listing can show, made on the server's disk directly.
void makeListingFixture(const QString& root)
{
    QDir(root).removeRecursively();
    writeFile(root + "/plain.txt", "twelve bytes");
    writeFile(root + "/name  with   blanks", "x");
    writeFile(root + "/odd #%?*\"<>|.bin", "odd");
    writeFile(root + "/файл.txt", "unicode");
    QDir().mkpath(root + "/folder");
    QFile big(root + "/big.img");
    ASSERT_TRUE(big.open(QIODevice::WriteOnly));
    ASSERT_TRUE(big.resize(5LL * 1024 * 1024 * 1024 + 3)); // sparse
    big.close();
    QFile::link("plain.txt", root + "/link");
    const utimbuf old{946684800, 946684800}; // 2000-01-01
    utime(QFile::encodeName(root + "/plain.txt").constData(), &old);
}

// Reads the server's long listing of folder and compares each entry with the disk.
void expectListingMatchesDisk(Api::StorageFtpPrivate& storage, const QString& scheme,
                              const QString& remoteFolder, const QString& localFolder)
{
    QByteArray listing;
    storage.get(Api::StorageFtpPrivate::generateUrl(scheme, "127.0.0.1", remoteFolder), listing, QUuid());
    QSet<QString> seen;
    for (const QString& line : QString::fromUtf8(listing).split('\n', Qt::SkipEmptyParts)) {
        const Api::FSFtpInfo info(remoteFolder, line);
        if (!info.isValid())
            continue;
        seen.insert(info.name());
        // A link shows its own name and target; the disk knows it by its name.
        const QString name = info.isLink() ? info.name().section(" -> ", 0, 0) : info.name();
        const QFileInfo disk(localFolder + '/' + name);
        ASSERT_TRUE(disk.exists() || disk.isSymLink()) << scheme.toStdString() << ": " << line.toStdString();
        EXPECT_EQ(info.isFolder(), disk.isDir() && !disk.isSymLink()) << line.toStdString();
        EXPECT_EQ(info.isLink(), disk.isSymLink()) << line.toStdString();
        if (!disk.isDir() && !disk.isSymLink()) {
            EXPECT_EQ(info.size(), static_cast<quint64>(disk.size())) << line.toStdString();
            const QDateTime modified = disk.lastModified().toUTC();
            // Old files are listed by day, recent ones by minute.
            if (modified.secsTo(QDateTime::currentDateTimeUtc()) > 180 * 86400)
                EXPECT_EQ(info.lastModified().date(), modified.date()) << line.toStdString();
            else
                EXPECT_LE(qAbs(info.lastModified().secsTo(modified)), 60) << line.toStdString();
        }
    }
    // vsftpd hides names it cannot show; every other entry must come through.
    const QStringList expected =
        QDir(localFolder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System);
    EXPECT_EQ(seen.size(), expected.size()) << scheme.toStdString() << " listing:\n" << listing.toStdString();
}

TEST(SftpListing, RealServersListingsReadLikeTheDisk)
{
    makeListingFixture(SftpServer::sftpHome() + "/listing");
    makeListingFixture(SftpServer::ftpHome() + "/listing");

    Api::StorageFtpPrivate sftp;
    Api::StorageFtpPrivate ftp;
    for (auto [storage, port, user, password] :
         {std::make_tuple(&sftp, SftpServer::sftpPort(), "cloudtest", "cloudtest-pw"),
          std::make_tuple(&ftp, SftpServer::ftpPort(), "cloudftp", "cloudftp-pw")}) {
        storage->setAddress("127.0.0.1");
        storage->setPort(port);
        storage->setUser(user);
        storage->setPassword(password);
    }
    expectListingMatchesDisk(sftp, "sftp", SftpServer::sftpHome() + "/listing/",
                             SftpServer::sftpHome() + "/listing");
    // vsftpd shows the user's home as its root.
    expectListingMatchesDisk(ftp, "ftp", "/listing/", SftpServer::ftpHome() + "/listing");
}

QStringList names(const QJsonDocument& page)
{
    QStringList result;
    for (const QJsonValue& value : page.array())
        result << Api::ListingObject(value.toObject()).name();
    return result;
}

TEST(SftpListing, TreeWalkResumesByMarkerAfterItsWalkWasEvicted)
{
    const auto config = SftpServer::config("walk");
    const QString root = config.value("Path").toString();
    QStringList expected;
    for (const char* name : {"a/1", "a/2", "a/b/3", "a/b/c/4", "d/5", "6", "7", "e/8", "e/9"}) {
        writeFile(root + '/' + name, name);
        expected << name;
    }
    QDir().mkpath(root + "/empty");
    expected << "empty/";
    SftpServer::run("chown", {"-R", "cloudtest:", root});
    auto storage = SftpServer::connect(config);
    ASSERT_TRUE(storage);

    QString marker;
    QStringList listed = names(storage->listing({}, {}, marker, {}, 3));
    ASSERT_EQ(listed.size(), 3);
    ASSERT_FALSE(marker.isEmpty());

    // Walks of other listings push this one out of the cache.
    for (int i = 0; i <= Api::StorageSftp::MaxCachedWalks; ++i) {
        QString other;
        storage->listing({}, QString("a/%1").arg(i), other, "/", 0);
    }

    int pages = 1;
    while (!marker.isEmpty() && pages < 20) {
        listed << names(storage->listing({}, {}, marker, {}, 3));
        ++pages;
    }
    listed.sort();
    expected.sort();
    EXPECT_EQ(listed, expected) << "every entry once, none repeated, none lost";
    EXPECT_EQ(pages, 4);
}

TEST(SftpSignIn, KeysPasswordsAndHostKeys)
{
    for (Auth auth : {Auth::Password, Auth::Ed25519, Auth::Rsa}) {
        auto config = SftpServer::config("signin", auth);
        auto storage = SftpServer::connect(config);
        ASSERT_TRUE(storage);
        EXPECT_NO_THROW(storage->checkConfig({}, config)) << int(auth);
        // Without a pinned key, the key the server showed is handed back for pinning.
        const QString seen = config.value("HostKeySha256").toString();
        EXPECT_TRUE(seen == SftpServer::hostKeySha256("ed25519") || seen == SftpServer::hostKeySha256("rsa"))
            << seen.toStdString();
        // Pinned to the key that the server shows, the connection works.
        auto pinned = SftpServer::connect(config);
        EXPECT_NO_THROW(pinned->upload({}, "pinned.txt", {}, QByteArray("p"), QUuid()));
    }

    auto wrongPassword = SftpServer::config("signin");
    wrongPassword.insert("Password", "not-the-password");
    EXPECT_THROW(SftpServer::connect(wrongPassword)->upload({}, "x", {}, QByteArray("x"), QUuid()),
                 Api::Exception::InvalidAutorizationAccount);

    auto unknownHost = SftpServer::config("signin");
    unknownHost.insert("HostKeySha256", "SHA256:47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU");
    EXPECT_THROW(SftpServer::connect(unknownHost)->upload({}, "x", {}, QByteArray("x"), QUuid()),
                 Api::Exception::SslProblem);
    EXPECT_FALSE(QFile::exists(unknownHost.value("Path").toString() + "/x"))
        << "nothing sent to an unknown host";
}

// A source that cuts every session of the server once, after some of its data went out.
class DroppingSource : public QBuffer
{
public:
    DroppingSource(const QByteArray& data, qint64 dropAt)
        : m_dropAt(dropAt)
    {
        setData(data);
    }
    int drops = 0;

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        if (drops == 0 && pos() >= m_dropAt) {
            ++drops;
            dropSessions();
        }
        return QBuffer::readData(data, maxSize);
    }

private:
    // sshd serves each session in processes below its listener: those go, the listener stays.
    static void dropSessions()
    {
        QFile pidFile(SftpServer::sftpFolder() + "/sshd.pid");
        ASSERT_TRUE(pidFile.open(QIODevice::ReadOnly));
        QSet<QByteArray> tree{pidFile.readLine().trimmed()};
        QList<int> sessions;
        for (bool grown = true; grown;) {
            grown = false;
            for (const QString& pid : QDir("/proc").entryList(QDir::Dirs)) {
                QFile stat("/proc/" + pid + "/stat");
                if (tree.contains(pid.toLatin1()) || !stat.open(QIODevice::ReadOnly))
                    continue;
                const QByteArray fields = stat.readAll();
                const QList<QByteArray> afterName = fields.mid(fields.lastIndexOf(')') + 2).split(' ');
                if (afterName.size() > 1 && tree.contains(afterName.at(1))) {
                    tree.insert(pid.toLatin1());
                    sessions << pid.toInt();
                    grown = true;
                }
            }
        }
        ASSERT_FALSE(sessions.isEmpty()) << "no session to drop";
        for (int pid : sessions)
            ::kill(pid, SIGKILL);
    }
    qint64 m_dropAt;
};

TEST(SftpTransfer, ConnectionDroppedMidUploadIsSentAgainWhole)
{
    NorvikTest::installFastRetries();
    const auto config = SftpServer::config("drop");
    auto storage = SftpServer::connect(config);
    const QByteArray data = NorvikTest::randomBytes(16 * 1024 * 1024, 17);
    auto source = QSharedPointer<DroppingSource>::create(data, 4 * 1024 * 1024);
    ASSERT_TRUE(source->open(QIODevice::ReadOnly));

    storage->upload({}, "deep/dropped.bin", {}, source, data.size(), QUuid());

    EXPECT_EQ(source->drops, 1);
    QFile stored(config.value("Path").toString() + "/deep/dropped.bin");
    ASSERT_TRUE(stored.open(QIODevice::ReadOnly));
    EXPECT_TRUE(stored.readAll() == data) << "the file on the server is the whole source, byte for byte";
}

} // namespace
