// Links inside a file-system storage folder never take an operation outside it: through a link
// to a folder outside, a link to a file outside or a dangling link, every operation is refused,
// and the folder beside the root stays exactly as it was. Links that stay inside still work.

#include "FileSystemStorageFixture.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"

#include <QBuffer>
#include <QFile>
#include <QUuid>

#include <gtest/gtest.h>

namespace {

using namespace Norvik::Cloud;
using Api::ListingObject;

class StorageRootLinks : public FileSystemStorageTest
{
protected:
    void SetUp() override
    {
        FileSystemStorageTest::SetUp();
        writeFile("inside/own.txt", "own");
        const QList<QPair<QString, QString>> links{{m_outside + "/etc", "dirlink"},
                                                   {m_outside + "/etc/passwd", "filelink"},
                                                   {m_outside + "/etc/new", "dangling"},
                                                   {m_root + "/inside", "innerlink"}};
        for (const auto& [target, name] : links)
            ASSERT_TRUE(QFile::link(target, m_root + "/" + name));
    }
};

TEST_F(StorageRootLinks, NoOperationReachesOutsideThroughALink)
{
    const QMap<QString, QByteArray> before = snapshot(m_outside);
    for (const QString path : {"/dirlink/passwd", "/filelink", "/dangling", "/dirlink/made/deep"}) {
        SCOPED_TRACE(path.toStdString());
        QMap<QString, QVariant> meta;
        QByteArray sink;
        QBuffer out(&sink);
        out.open(QIODevice::WriteOnly);
        QString marker;
        const std::function<void()> calls[] = {
            [&] { m_storage.upload(QString(), path, {}, QByteArray("evil"), QUuid()); },
            [&] { m_storage.upload(QString(), path + "/", {}, QByteArray(), QUuid()); },
            [&] { m_storage.beginMultipartUpload(QString(), path, {}); },
            [&] { m_storage.download(QString(), path, out, meta, QUuid()); },
            [&] { m_storage.download(QString(), path, 0, 3, meta, QUuid()); },
            [&] { m_storage.delete_(QString(), ListingObject(path, QDateTime(), 0, {}, {}, false).json()); },
            [&] {
                m_storage.delete_(QString(), ListingObject("/dirlink/", QDateTime(), 0, {}, {}, true).json());
            },
            [&] { m_storage.listing(QString(), "/dirlink/", marker, "/", 100); },
            [&] { m_storage.signUrl(QString(), path, false, QDateTime::currentDateTime().addSecs(60)); },
        };
        int index = 0;
        for (const auto& call : calls) {
            SCOPED_TRACE(index++);
            EXPECT_TRUE(thrown<Api::Exception::InvalidArgument>(call));
        }
        EXPECT_TRUE(sink.isEmpty());
        EXPECT_FALSE(Api::CloudFileSystem::pathIsReadable(config(m_root), path));
        EXPECT_FALSE(Api::CloudFileSystem::pathIsModified(config(m_root), path));
    }
    EXPECT_EQ(snapshot(m_outside), before);
}

TEST_F(StorageRootLinks, ListingsLeaveOutLinksThatLeadOutAndLinksInsideWork)
{
    EXPECT_EQ(listAll("", "/", 100), (QStringList{"inside/", "innerlink/"}));
    QMap<QString, QVariant> meta;
    EXPECT_EQ(m_storage.download(QString(), "/innerlink/own.txt", 0, 2, meta, QUuid()), "own");
    m_storage.upload(QString(), "/innerlink/more.txt", {}, QByteArray("more"), QUuid());
    EXPECT_EQ(readFile("inside/more.txt"), "more");
}

} // namespace
