#include "FileSystemStorageFixture.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"
#include "info/Config.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QSet>
#include <QUuid>

namespace {

using namespace Norvik::Cloud;
using Api::CloudFileSystem;
using Api::ListingObject;

QSet<QString> asSet(const QStringList& names)
{
    return QSet<QString>(names.cbegin(), names.cend());
}

class FileSystemListing : public FileSystemStorageTest
{
protected:
    void SetUp() override
    {
        FileSystemStorageTest::SetUp();
        writeFile("a/x.txt", "xxx");
        writeFile("a/y/z.bin", "zzzzz");
        writeFile("ab.txt", "ab");
        writeFile(".hidden", "h");
        ASSERT_TRUE(QDir(m_root).mkpath("b"));
        ASSERT_TRUE(QDir(m_root).mkpath("c/d"));
    }
};

// ---------------------------------------------------------------- configuration

TEST_F(FileSystemStorageTest, ConfigurationNeedsAPathAndAnId)
{
    CloudFileSystem storage;
    // Unconfigured, it must not fall back to the current folder of the process.
    QString marker;
    EXPECT_TRUE(thrown<Api::Exception::InternalError>(
        [&] { storage.upload(QString(), "/stray.txt", {}, QByteArray("x"), QUuid()); }));
    EXPECT_TRUE(
        thrown<Api::Exception::InternalError>([&] { storage.listing(QString(), "", marker, "", 10); }));
    EXPECT_FALSE(QFileInfo::exists(QDir::current().filePath("stray.txt")));

    EXPECT_FALSE(storage.setConfig({}));
    EXPECT_FALSE(storage.setConfig({{Config::Id, QUuid::createUuid()}}));
    EXPECT_FALSE(storage.setConfig({{Config::Id, QUuid::createUuid()}, {Config::FileSystem::Path, ""}}));
    EXPECT_FALSE(storage.setConfig({{Config::FileSystem::Path, m_root}}));

    const QUuid id = QUuid::createUuid();
    EXPECT_TRUE(storage.setConfig({{Config::Id, id}, {Config::FileSystem::Path, m_root}}));
    EXPECT_EQ(storage.id(), id);
    EXPECT_EQ(storage.type(), Type::FileSystem);
}

TEST_F(FileSystemStorageTest, CheckConfigRefusesAMissingRoot)
{
    CloudFileSystem storage;
    for (const QString& missing : QStringList{m_base + "/nowhere", m_outside + "/etc/passwd"}) {
        QMap<QString, QVariant> settings = config(missing);
        const auto error =
            thrown<Api::Exception::ContainerDoesNotExist>([&] { storage.checkConfig(QString(), settings); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->code(), 404);
        EXPECT_TRUE(error->message().startsWith("The storage container does not exist: file://"))
            << error->message().toStdString();
        EXPECT_TRUE(error->message().contains(QFileInfo(missing).fileName()));
    }
    EXPECT_FALSE(QFileInfo::exists(m_base + "/nowhere"));

    QMap<QString, QVariant> good = config(m_root);
    storage.checkConfig(QString(), good);
    EXPECT_EQ(storage.id(), good.value(Config::Id).toUuid());
}

// ---------------------------------------------------------------- what a page holds

TEST_F(FileSystemListing, RecursiveListingShowsFilesAndOnlyEmptyFolders)
{
    const QStringList names = listAll("", "", 100);
    EXPECT_EQ(names.size(), 6);
    EXPECT_EQ(asSet(names), (QSet<QString>{"a/x.txt", "a/y/z.bin", "ab.txt", ".hidden", "b/", "c/d/"}));
}

TEST_F(FileSystemListing, FlatListingShowsOneLevelWithFolders)
{
    EXPECT_EQ(asSet(listAll("", "/", 100)), (QSet<QString>{"a/", "ab.txt", ".hidden", "b/", "c/"}));
    EXPECT_EQ(asSet(listAll("a/", "/", 100)), (QSet<QString>{"a/x.txt", "a/y/"}));
}

TEST_F(FileSystemListing, RecordsCarrySizeDateAndFolderFlag)
{
    const QList<QJsonObject> records = listRecords("", "/");
    ASSERT_EQ(records.size(), 5);
    for (const QJsonObject& json : records) {
        const ListingObject record(json);
        const QFileInfo info(m_root + "/" + record.name());
        EXPECT_EQ(record.isFolder(), info.isDir()) << record.name().toStdString();
        EXPECT_EQ(record.isFolder(), record.name().endsWith('/'));
        EXPECT_EQ(record.lastModified(), info.lastModified().toUTC()) << record.name().toStdString();
        EXPECT_EQ(record.lastModified().timeSpec(), Qt::UTC);
        if (!record.isFolder()) {
            EXPECT_EQ(record.size(), static_cast<quint64>(info.size()));
        }
        EXPECT_FALSE(json.contains("Etag"));
        EXPECT_FALSE(json.contains("fileId"));
    }
}

TEST_F(FileSystemListing, FolderPrefixWalksThatFolderWithOrWithoutLeadingSeparator)
{
    const QSet<QString> expected{"a/x.txt", "a/y/z.bin"};
    EXPECT_EQ(asSet(listAll("a/", "", 100)), expected);
    EXPECT_EQ(asSet(listAll("/a/", "", 100)), expected);
    EXPECT_EQ(asSet(listAll("c/", "", 100)), QSet<QString>{"c/d/"});
}

TEST_F(FileSystemListing, OtherPrefixesFilterNamesFromTheRoot)
{
    EXPECT_EQ(asSet(listAll("a", "", 100)), (QSet<QString>{"a/x.txt", "a/y/z.bin", "ab.txt"}));
    EXPECT_EQ(asSet(listAll("/a", "", 100)), (QSet<QString>{"a/x.txt", "a/y/z.bin", "ab.txt"}));
    EXPECT_EQ(asSet(listAll("a/y/z", "", 100)), QSet<QString>{"a/y/z.bin"});
    EXPECT_EQ(asSet(listAll("a", "/", 100)), (QSet<QString>{"a/", "ab.txt"}));
}

TEST_F(FileSystemListing, PrefixThatMatchesNothingGivesAnEmptyLastPage)
{
    QString marker;
    const QJsonArray page = m_storage.listing(QString(), "zzz", marker, "", 100).array();
    EXPECT_TRUE(page.isEmpty());
    EXPECT_TRUE(marker.isEmpty());
}

TEST_F(FileSystemListing, MissingFolderPrefixThrowsTheBareText)
{
    QString marker;
    try {
        m_storage.listing(QString(), "nope/", marker, "", 100);
        FAIL() << "no exception";
    } catch (const QString& text) {
        EXPECT_EQ(text, "change dir is not found: nope/");
    }
}

TEST_F(FileSystemListing, UnicodeAndSpacesAreListedAsTheyAre)
{
    writeFile(QString::fromUtf8("Ordner mit Leerzeichen/日本語 ファイル.txt"), "u");
    writeFile("odd/%41%20#?&.txt", "p");
    const QSet<QString> names = asSet(listAll("", "", 100));
    EXPECT_TRUE(names.contains(QString::fromUtf8("Ordner mit Leerzeichen/日本語 ファイル.txt")));
    EXPECT_TRUE(names.contains("odd/%41%20#?&.txt"));
    EXPECT_EQ(asSet(listAll(QString::fromUtf8("Ordner mit Leerzeichen/"), "/", 100)),
              QSet<QString>{QString::fromUtf8("Ordner mit Leerzeichen/日本語 ファイル.txt")});
}

// ---------------------------------------------------------------- pages and markers

class FileSystemPaging : public FileSystemStorageTest
{
protected:
    void SetUp() override
    {
        FileSystemStorageTest::SetUp();
        for (int i = 0; i < 25; ++i)
            writeFile(QString("p/f%1").arg(i, 2, 10, QChar('0')), QByteArray(i, 'p'));
    }

    QStringList page(const QString& prefix, QString& marker, quint16 size)
    {
        QStringList names;
        for (const QJsonValue& record : m_storage.listing(QString(), prefix, marker, "", size).array())
            names << record.toObject().value("Name").toString();
        return names;
    }
};

TEST_F(FileSystemPaging, PagesCoverEveryEntryOnceWithCountingMarkers)
{
    QStringList markers;
    const QStringList names = listAll("p/", "", 10, &markers);
    EXPECT_EQ(names.size(), 25);
    EXPECT_EQ(asSet(names).size(), 25);
    EXPECT_EQ(markers, (QStringList{"10", "20", ""}));
}

TEST_F(FileSystemPaging, ParkedWalkContinuesWhereThePageEnded)
{
    QString marker;
    const QStringList first = page("p/", marker, 5);
    ASSERT_EQ(first.size(), 5);
    ASSERT_EQ(marker, "5");
    // Gone from the folder, the listed entries would shift a walk that counts from the start;
    // the parked walk must not notice.
    for (const QString& name : first)
        ASSERT_TRUE(QFile::remove(m_root + "/" + name));

    QStringList rest;
    while (!marker.isEmpty())
        rest << page("p/", marker, 5);
    EXPECT_EQ(rest.size(), 20);
    QSet<QString> all = asSet(first) + asSet(rest);
    EXPECT_EQ(all.size(), 25);
}

TEST_F(FileSystemPaging, MarkerWithoutParkedWalkCountsFromTheStart)
{
    QString marker;
    page("p/", marker, 7);
    ASSERT_EQ(marker, "7");

    QString resumed = marker;
    const QStringList fromParked = page("p/", resumed, 7);
    // The parked walk was taken by the first call: this one starts over and skips seven.
    QString restarted = marker;
    const QStringList fromScratch = page("p/", restarted, 7);
    EXPECT_EQ(fromParked.size(), 7);
    EXPECT_EQ(fromScratch, fromParked);
    EXPECT_EQ(restarted, "14");
    EXPECT_EQ(resumed, "14");
}

TEST_F(FileSystemPaging, PageSizeZeroGivesNothingButTheCount)
{
    QString marker;
    EXPECT_TRUE(page("p/", marker, 0).isEmpty());
    EXPECT_EQ(marker, "0");
    EXPECT_EQ(page("p/", marker, 100).size(), 25);
    EXPECT_TRUE(marker.isEmpty());

    ASSERT_TRUE(QDir(m_root).mkpath("empty"));
    QString none;
    EXPECT_TRUE(page("empty/", none, 0).isEmpty());
    EXPECT_TRUE(none.isEmpty());
}

TEST_F(FileSystemPaging, MarkerPastTheEndEndsTheListing)
{
    QString marker = "1000";
    EXPECT_TRUE(page("p/", marker, 10).isEmpty());
    EXPECT_TRUE(marker.isEmpty());
}

TEST_F(FileSystemPaging, MarkerThatIsNoCountIsRefused)
{
    for (const QString& bad : QStringList{"abc", "-3", "7x"}) {
        QString marker = bad;
        const auto error = thrown<Api::Exception::InvalidArgument>([&] { page("p/", marker, 10); });
        ASSERT_TRUE(error) << bad.toStdString();
        EXPECT_EQ(error->argument(), "marker");
        EXPECT_EQ(marker, bad);
    }
}

} // namespace
