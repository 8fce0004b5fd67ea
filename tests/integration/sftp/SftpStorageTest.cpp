// The SFTP storage against sshd: what only this family does. The behaviour every storage shares is the
// conformance suite's.

#include "SftpServerSupport.h"

#include "TestSupport.h"
#include "connection/Exception.h"
#include "connection/ListingObject.h"

#include <NorvikCore/NorvikDebug.h>

#include <QBuffer>

using namespace Norvik::Cloud;
using SftpServer::Auth;

namespace {

void writeFile(const QString& path, const QByteArray& data)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(data) == data.size());
}

TEST(SftpListing, TreeWalkResumesByMarkerAfterItsWalkWasEvicted)
{
    const auto config = SftpServer::config("walk");
    const QString root = config.value("Path").toString();
    QStringList expected{"empty/"};
    for (const char* name : {"a/1", "a/2", "a/b/3", "a/b/c/4", "d/5", "6", "7", "e/8", "e/9"}) {
        writeFile(root + '/' + name, name);
        expected << name;
    }
    QDir().mkpath(root + "/empty");
    SftpServer::run("chown", {"-R", "cloudtest:", root});
    auto storage = SftpServer::connect(config);
    const auto others = SftpServer::connect(SftpServer::config("walk-others"));
    for (int i = 0; i <= Api::StorageSftp::MaxCachedWalks; ++i)
        others->upload({}, QString::number(i), {}, QByteArray("m"), {});
    const auto page = [](auto& walker, QString& marker, const QString& prefix, quint16 count) {
        QStringList names;
        for (const QJsonValue& value : walker->listing({}, prefix, marker, {}, count).array())
            names << Api::ListingObject(value.toObject()).name();
        return names;
    };
    QString marker;
    QStringList listed = page(storage, marker, {}, 3);
    ASSERT_FALSE(marker.isEmpty());
    // Walks of other listings push this one out of the cache.
    for (int i = 0; i <= Api::StorageSftp::MaxCachedWalks; ++i) {
        QString other;
        page(others, other, QString::number(i), 0);
    }
    int walkedAgain = 0;
    NorvikDebug::setThreshold(NorvikDebug::Level::InfoHigh);
    NorvikDebug::setSink([&walkedAgain](NorvikDebug::Level, const QString&, const QString& message) {
        walkedAgain += message.contains("walking again");
    });
    int pages = 1;
    for (; !marker.isEmpty() && pages < 20; ++pages)
        listed << page(storage, marker, {}, 3);
    NorvikDebug::setSink(nullptr);
    EXPECT_EQ(walkedAgain, 1) << "only the evicted walk is walked again";
    listed.sort();
    expected.sort();
    EXPECT_EQ(listed, expected) << "every entry once, none repeated, none lost";
    EXPECT_EQ(pages, 4);
}

TEST(SftpSignIn, KeysPasswordsAndHostKeys)
{
    QStringList hostKeys;
    for (const char* type : {"ed25519", "rsa"})
        hostKeys << SftpServer::readFile(SftpServer::folder() + "/hostkey_sha256_" + type).trimmed();
    for (Auth auth : {Auth::Password, Auth::Ed25519, Auth::Rsa}) {
        auto config = SftpServer::config("signin", auth);
        EXPECT_NO_THROW(SftpServer::connect(config)->checkConfig({}, config)) << int(auth);
        // Without a pinned key, the key the server showed comes back for pinning; pinned, it works.
        EXPECT_TRUE(hostKeys.contains(config.value("HostKeySha256").toString()));
        EXPECT_NO_THROW(SftpServer::connect(config)->upload({}, "pinned.txt", {}, QByteArray("p"), {}));
    }
    const auto uploadWith = [](const char* key, const char* value) {
        auto config = SftpServer::config("signin");
        config.insert(key, value);
        SftpServer::connect(config)->upload({}, "x", {}, QByteArray("x"), {});
    };
    EXPECT_THROW(uploadWith("Password", "not-the-password"), Api::Exception::InvalidAutorizationAccount);
    EXPECT_THROW(uploadWith("HostKeySha256", "SHA256:47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU"),
                 Api::Exception::SslProblem);
    EXPECT_FALSE(QFile::exists(SftpServer::sftpHome() + "/signin/x")) << "nothing sent to an unknown host";

    // Nothing leaves the base folder.
    auto storage = SftpServer::connect(SftpServer::config("signin"));
    for (const char* path : {"../escaped", "a/../../escaped", "a\\..\\..\\escaped", "../"})
        EXPECT_THROW(storage->upload({}, path, {}, QByteArray("x"), {}), Api::Exception::InvalidArgument)
            << path;
    EXPECT_FALSE(QFile::exists(SftpServer::sftpHome() + "/escaped"));
}

} // namespace
