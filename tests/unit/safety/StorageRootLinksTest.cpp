// Links never take a file-system storage outside its root: through a link to a folder or a
// file outside, or a dangling one, every operation is refused and the outside stays as it was.

#include "FileSystemStorageFixture.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"

#include <QBuffer>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>

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
        const QString targets[] = {m_outside + "/etc", m_outside + "/etc/passwd", m_outside + "/etc/new",
                                   "inside"};
        const QString names[] = {"dirlink", "filelink", "dangling", "innerlink"};
        for (int i = 0; i < 4; ++i)
            ASSERT_TRUE(QFile::link(targets[i], m_root + "/" + names[i]));
    }
};

TEST_F(StorageRootLinks, NoOperationReachesOutsideThroughALink)
{
    const QMap<QString, QByteArray> before = snapshot(m_outside);
    for (const QString path : {"/dirlink/passwd", "/filelink", "/dangling", "/dirlink/made/deep"}) {
        SCOPED_TRACE(path.toStdString());
        QMap<QString, QVariant> meta;
        QBuffer out;
        out.open(QIODevice::WriteOnly);
        QString marker;
        const std::function<void()> calls[] = {
            [&] { m_storage.upload({}, path, {}, QByteArray("evil"), {}); },
            [&] { m_storage.upload({}, path + "/", {}, QByteArray(), {}); },
            [&] { m_storage.beginMultipartUpload({}, path, {}); },
            [&] { m_storage.download({}, path, out, meta, {}); },
            [&] { m_storage.download({}, path, 0, 3, meta, {}); },
            [&] { m_storage.delete_({}, ListingObject(path, {}, 0, {}, {}, false).json()); },
            [&] { m_storage.delete_({}, ListingObject("/dirlink/", {}, 0, {}, {}, true).json()); },
            [&] { m_storage.listing({}, "/dirlink/", marker, "/", 100); },
            [&] { m_storage.signUrl({}, path, false, QDateTime::currentDateTime().addSecs(60)); },
        };
        for (const auto& call : calls)
            EXPECT_TRUE(thrown<Api::Exception::InvalidArgument>(call));
        EXPECT_TRUE(out.data().isEmpty());
        EXPECT_FALSE(Api::CloudFileSystem::pathIsReadable(config(m_root), path));
        EXPECT_FALSE(Api::CloudFileSystem::pathIsModified(config(m_root), path));
    }
    EXPECT_EQ(snapshot(m_outside), before);
}

TEST_F(StorageRootLinks, ListingsLeaveOutLinksThatLeadOutAndLinksInsideWork)
{
    QString marker;
    QStringList top;
    for (const QJsonValue& record : m_storage.listing(QString(), QString(), marker, "/", 100).array())
        top << record.toObject().value(QStringLiteral("Name")).toString();
    EXPECT_EQ(top, (QStringList{"inside/", "innerlink/"}));
    QMap<QString, QVariant> meta;
    EXPECT_EQ(m_storage.download({}, "/innerlink/own.txt", 0, 2, meta, {}), "own");
    m_storage.upload({}, "/innerlink/more.txt", {}, QByteArray("more"), {});
    EXPECT_EQ(readFile("inside/more.txt"), "more");
}

} // namespace
