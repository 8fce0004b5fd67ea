#include "FileSystemStorageFixture.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"

#include "TestSupport.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QUuid>

#include <cerrno>
#include <cstring>

namespace {

using namespace Norvik::Cloud;
using Api::ListingObject;

QSharedPointer<QIODevice> bufferOver(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    return buffer;
}

class FileSystemBadInput : public FileSystemStorageTest
{
protected:
    void SetUp() override
    {
        FileSystemStorageTest::SetUp();
        writeFile("inside/file.txt", "inside");
        m_before = snapshot(m_base);
    }

    // Nothing at all changed beside the root, whatever happened inside it.
    void expectOutsideUntouched()
    {
        QMap<QString, QByteArray> now = snapshot(m_base);
        QMap<QString, QByteArray> before = m_before;
        for (QMap<QString, QByteArray>* entries : {&now, &before}) {
            for (auto it = entries->begin(); it != entries->end();) {
                if (it.key().startsWith("root/"))
                    it = entries->erase(it);
                else
                    ++it;
            }
        }
        EXPECT_EQ(now.keys(), before.keys());
        EXPECT_EQ(now, before);
    }

    // Every operation that takes a path, run on path; each must refuse it with InvalidArgument.
    void expectEveryOperationRefuses(const QString& path)
    {
        SCOPED_TRACE(path.toStdString());
        QMap<QString, QVariant> meta;
        QByteArray sink;
        QBuffer out(&sink);
        out.open(QIODevice::WriteOnly);
        QString marker;

        const std::function<void()> calls[] = {
            [&] { m_storage.upload(QString(), path, {}, QByteArray("evil"), QUuid()); },
            [&] { m_storage.upload(QString(), path + "/", {}, QByteArray(), QUuid()); },
            [&] { m_storage.download(QString(), path, out, meta, QUuid()); },
            [&] { m_storage.download(QString(), path, 0, 100, meta, QUuid()); },
            [&] { m_storage.delete_(QString(), ListingObject(path, QDateTime(), 0, {}, {}, false).json()); },
            [&] {
                m_storage.delete_(QString(), ListingObject(path + "/", QDateTime(), 0, {}, {}, true).json());
            },
            [&] { m_storage.beginMultipartUpload(QString(), path, {}); },
            [&] { m_storage.listing(QString(), path + "/", marker, "", 100); },
            [&] { m_storage.listing(QString(), path, marker, "", 100); },
            [&] { m_storage.signUrl(QString(), path, false, QDateTime()); },
        };
        for (const auto& call : calls) {
            const auto error = thrown<Api::Exception::InvalidArgument>(call);
            ASSERT_TRUE(error);
            EXPECT_EQ(error->code(), 400);
        }
        EXPECT_TRUE(sink.isEmpty());
        EXPECT_FALSE(Api::CloudFileSystem::pathIsReadable(config(m_root), path));
        EXPECT_FALSE(Api::CloudFileSystem::pathIsModified(config(m_root), path));
    }

    QMap<QString, QByteArray> m_before;
};

TEST_F(FileSystemBadInput, ParentSegmentsAndNullCharactersAreRefusedEverywhere)
{
    for (const QString& path :
         QStringList{"/../outside/etc/passwd", "../outside/etc/passwd", "/inside/../../outside/etc/passwd",
                     "/a/b/../../../outside/etc/passwd", "/inside/..", "..", "/inside/../file.txt",
                     QString("/inside/file.txt") + QChar(0) + "tail"}) {
        expectEveryOperationRefuses(path);
    }
    EXPECT_EQ(readFile("inside/file.txt"), "inside");
    EXPECT_EQ(snapshot(m_root).size(), 2);
    expectOutsideUntouched();
}

TEST_F(FileSystemBadInput, EncodedParentInASignedUrlIsRefused)
{
    const auto error = thrown<Api::Exception::InvalidArgument>(
        [&] { m_storage.signUrl(QString(), "/a/%2e%2e/%2e%2e/outside/etc/passwd", false, QDateTime()); });
    ASSERT_TRUE(error);
    // Kept literally by the file operations, where it is just a name.
    m_storage.upload(QString(), "/a/%2e%2e/name", {}, QByteArray("n"), QUuid());
    EXPECT_EQ(readFile("a/%2e%2e/name"), "n");
    expectOutsideUntouched();
}

TEST_F(FileSystemBadInput, AbsolutePathsStayBelowTheRoot)
{
    // A cloud path is always relative to the storage root, even when it spells out a real
    // absolute path elsewhere.
    const QString victim = m_outside + "/etc/passwd";
    QMap<QString, QVariant> meta;
    EXPECT_TRUE(thrown<Api::Exception::NoContent>(
        [&] { m_storage.download(QString(), victim, 0, 100, meta, QUuid()); }));
    EXPECT_TRUE(thrown<Api::Exception::NoContent>(
        [&] { m_storage.delete_(QString(), ListingObject(victim, QDateTime(), 0, {}, {}, false).json()); }));

    m_storage.upload(QString(), victim, {}, QByteArray("overwritten?"), QUuid());
    EXPECT_EQ(readFile(victim.mid(1)), "overwritten?");
    EXPECT_TRUE(m_storage.delete_(QString(), ListingObject(victim, QDateTime(), 0, {}, {}, false).json()));
    EXPECT_FALSE(existsBelowRoot(victim.mid(1)));

    // Doubled separators are no way out either.
    m_storage.upload(QString(), "//etc/hosts", {}, QByteArray("h"), QUuid());
    EXPECT_EQ(readFile("etc/hosts"), "h");
    expectOutsideUntouched();
}

// A storage on a tmpfs of its own (mounted by the test, as root) holding one file.
class FileSystemOnTmpfs : public FileSystemStorageTest
{
protected:
    void mount(const QString& size, const QString& file, const QByteArray& data)
    {
        m_small = m_base + "/small";
        ASSERT_TRUE(mountTmpfs(m_small, size)) << std::strerror(errno);
        QDir(m_small).mkpath(QFileInfo(file).path());
        QFile out(m_small + "/" + file);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly) && out.write(data) == data.size());
        ASSERT_TRUE(m_storage.setConfig(config(m_small)));
    }

    QString m_small;
};

class FileSystemReadOnlyRoot : public FileSystemOnTmpfs
{
protected:
    void SetUp() override
    {
        FileSystemStorageTest::SetUp();
        mount("4m", "sub/kept.txt", "kept");
        ASSERT_TRUE(remountReadOnly(m_small)) << std::strerror(errno);
    }
};

TEST_F(FileSystemReadOnlyRoot, WritesFailWithTheirErrorsAndReadsStillWork)
{
    auto error = thrown<Api::Exception::CreateObjectError>(
        [&] { m_storage.upload(QString(), "/new/file", {}, QByteArray("x"), QUuid()); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message(), "Error on create destination path");

    error = thrown<Api::Exception::CreateObjectError>(
        [&] { m_storage.upload(QString(), "/sub/file", {}, QByteArray("x"), QUuid()); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->message().contains("Read-only")) << error->message().toStdString();

    error = thrown<Api::Exception::CreateObjectError>(
        [&] { m_storage.upload(QString(), "/folder/", {}, QByteArray(), QUuid()); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message(), "Error on create empty folder");

    EXPECT_TRUE(thrown<Api::Exception::CreateObjectError>(
        [&] { m_storage.beginMultipartUpload(QString(), "/sub/multi", {}); }));

    const auto removal = thrown<Api::Exception::Operation>([&] {
        m_storage.delete_(QString(), ListingObject("sub/kept.txt", QDateTime(), 0, {}, {}, false).json());
    });
    ASSERT_TRUE(removal);

    // Nothing was lost, and reading goes on as before.
    QMap<QString, QVariant> meta;
    EXPECT_EQ(m_storage.download(QString(), "/sub/kept.txt", 0, 100, meta, QUuid()), "kept");
    EXPECT_EQ(snapshot(m_small).keys(), (QStringList{"sub/", "sub/kept.txt"}));
    EXPECT_TRUE(Api::CloudFileSystem::pathIsReadable(config(m_small), "sub/kept.txt"));
    EXPECT_FALSE(Api::CloudFileSystem::pathIsModified(config(m_small), "sub/kept.txt"));
    EXPECT_FALSE(Api::CloudFileSystem::pathIsModified(config(m_small), "sub/new"));
}

class FileSystemFullDisk : public FileSystemOnTmpfs
{
protected:
    void SetUp() override
    {
        FileSystemStorageTest::SetUp();
        mount("1m", "existing.bin", QByteArray(100000, 'e'));
    }
};

TEST_F(FileSystemFullDisk, UploadFailsAtOnceAndLeavesNothing)
{
    auto device = bufferOver(NorvikTest::randomBytes(2 * 1024 * 1024));
    const auto error = thrown<Api::Exception::CreateObjectError>(
        [&] { m_storage.upload(QString(), "/dir/big.bin", {}, device, 2 * 1024 * 1024, QUuid()); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message(), QString::fromLocal8Bit(std::strerror(ENOSPC)));
    // Preallocation failed before a byte was read.
    EXPECT_FALSE(device->isOpen());
    EXPECT_FALSE(QFileInfo::exists(m_small + "/dir/big.bin"));
    EXPECT_EQ(QFileInfo(m_small + "/existing.bin").size(), 100000);

    // The disk is usable again for what fits.
    m_storage.upload(QString(), "/dir/small.bin", {}, QByteArray(1000, 's'), QUuid());
    EXPECT_EQ(QFileInfo(m_small + "/dir/small.bin").size(), 1000);
}

TEST_F(FileSystemFullDisk, MultipartPartThatDoesNotFitEndsTheUpload)
{
    const QByteArray id = m_storage.beginMultipartUpload(QString(), "/multi.bin", {});
    // The part's tag is its MD5.
    EXPECT_EQ(m_storage.uploadMultipart(QString(), "/multi.bin", id, 1, QByteArray(1000, 'a'), QUuid()),
              QCryptographicHash::hash(QByteArray(1000, 'a'), QCryptographicHash::Md5).toBase64());
    const auto error = thrown<Api::Exception::Operation>([&] {
        m_storage.uploadMultipart(QString(), "/multi.bin", id, 2, NorvikTest::randomBytes(2 * 1024 * 1024),
                                  QUuid());
    });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message(), QString::fromLocal8Bit(std::strerror(ENOSPC)));
    EXPECT_FALSE(QFileInfo::exists(m_small + "/multi.bin"));
    EXPECT_EQ(QFileInfo(m_small + "/existing.bin").size(), 100000);
    EXPECT_TRUE(thrown<Api::Exception::MultipartInvalidUploadId>(
        [&] { m_storage.endMultipartUpload(QString(), "/multi.bin", id, {}); }));
}

TEST_F(FileSystemStorageTest, FolderWithContentStays)
{
    writeFile("full/file", "f");
    const auto error = thrown<Api::Exception::Operation>(
        [&] { m_storage.delete_(QString(), ListingObject("/full/", QDateTime(), 0, {}, {}, true).json()); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message(), "Removed path is directory and not empty");
    EXPECT_EQ(error->code(), 0);
    EXPECT_EQ(readFile("full/file"), "f");
}

TEST_F(FileSystemStorageTest, TheRootItselfIsNeverRemoved)
{
    for (const QString& name : QStringList{"/", "", "/./", "//"}) {
        EXPECT_TRUE(thrown<Api::Exception::InvalidArgument>([&] {
            m_storage.delete_(QString(), ListingObject(name, QDateTime(), 0, {}, {}, true).json());
        })) << name.toStdString();
        EXPECT_TRUE(QFileInfo(m_root).isDir());
    }
}

TEST_F(FileSystemStorageTest, ShortPartRemovesTheFileAndTheUpload)
{
    const QByteArray id = m_storage.beginMultipartUpload(QString(), "/short.bin", {});
    m_storage.uploadMultipart(QString(), "/short.bin", id, 1, QByteArray("good"), QUuid());
    EXPECT_TRUE(thrown<Api::Exception::Operation>([&] {
        m_storage.uploadMultipart(QString(), "/short.bin", id, 2, bufferOver("tiny"), 100, QUuid());
    }));
    EXPECT_FALSE(existsBelowRoot("short.bin"));
    EXPECT_TRUE(thrown<Api::Exception::MultipartInvalidUploadId>(
        [&] { m_storage.endMultipartUpload(QString(), "/short.bin", id, {}); }));
}

} // namespace
