#include "FileSystemStorageFixture.h"

#include "connection/CloudFileMetaData.h"
#include "connection/Exception.h"
#include "connection/ListingObject.h"

#include "TestSupport.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
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
        int index = 0;
        for (const auto& call : calls) {
            SCOPED_TRACE(index++);
            const auto error = thrown<Api::Exception::InvalidArgument>(call);
            ASSERT_TRUE(error);
            EXPECT_EQ(error->code(), 400);
            EXPECT_FALSE(error->message().isEmpty());
        }
        EXPECT_TRUE(sink.isEmpty());
        EXPECT_FALSE(Api::CloudFileSystem::pathIsReadable(config(m_root), path));
        EXPECT_FALSE(Api::CloudFileSystem::pathIsModified(config(m_root), path));
    }

    QMap<QString, QByteArray> m_before;
};

TEST_F(FileSystemBadInput, ParentSegmentsAreRefusedEverywhere)
{
    for (const QString& path :
         QStringList{"/../outside/etc/passwd", "../outside/etc/passwd", "/inside/../../outside/etc/passwd",
                     "/a/b/../../../outside/etc/passwd", "/inside/..", "..", "/inside/../file.txt"}) {
        expectEveryOperationRefuses(path);
    }
    EXPECT_EQ(readFile("inside/file.txt"), "inside");
    EXPECT_EQ(snapshot(m_root).size(), 2);
    expectOutsideUntouched();
}

TEST_F(FileSystemBadInput, NullCharacterIsRefused)
{
    expectEveryOperationRefuses(QString("/inside/file.txt") + QChar(0) + "tail");
    EXPECT_EQ(readFile("inside/file.txt"), "inside");
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

// ---------------------------------------------------------------- a read-only root

class FileSystemReadOnlyRoot : public FileSystemStorageTest
{
protected:
    void SetUp() override
    {
        FileSystemStorageTest::SetUp();
        m_readOnly = m_base + "/readonly";
        if (!mountTmpfs(m_readOnly, "4m"))
            FAIL() << "these checks need a tmpfs mounted by the test (run as root): " << std::strerror(errno);
        QDir(m_readOnly).mkpath("sub");
        QFile file(m_readOnly + "/sub/kept.txt");
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("kept");
        file.close();
        ASSERT_TRUE(remountReadOnly(m_readOnly)) << std::strerror(errno);
        ASSERT_TRUE(m_storage.setConfig(config(m_readOnly)));
    }

    QString m_readOnly;
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
    EXPECT_TRUE(error->message().startsWith("Error on create destination file: "))
        << error->message().toStdString();
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
    EXPECT_FALSE(removal->message().isEmpty());

    // Nothing was lost, and reading goes on as before.
    QMap<QString, QVariant> meta;
    EXPECT_EQ(m_storage.download(QString(), "/sub/kept.txt", 0, 100, meta, QUuid()), "kept");
    EXPECT_EQ(listAll(), QStringList{"sub/kept.txt"});
    EXPECT_TRUE(Api::CloudFileSystem::pathIsReadable(config(m_readOnly), "sub/kept.txt"));
    EXPECT_FALSE(Api::CloudFileSystem::pathIsModified(config(m_readOnly), "sub/kept.txt"));
    EXPECT_FALSE(Api::CloudFileSystem::pathIsModified(config(m_readOnly), "sub/new"));
}

// ---------------------------------------------------------------- a full disk

class FileSystemFullDisk : public FileSystemStorageTest
{
protected:
    void SetUp() override
    {
        FileSystemStorageTest::SetUp();
        m_small = m_base + "/small";
        if (!mountTmpfs(m_small, "1m"))
            FAIL() << "these checks need a tmpfs mounted by the test (run as root): " << std::strerror(errno);
        QFile file(m_small + "/existing.bin");
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(100000, 'e'));
        file.close();
        ASSERT_TRUE(m_storage.setConfig(config(m_small)));
    }

    QString m_small;
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
    m_storage.uploadMultipart(QString(), "/multi.bin", id, 1, QByteArray(1000, 'a'), QUuid());
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

TEST_F(FileSystemBadInput, ImpossiblePreallocationFailsBeforeReading)
{
    // More than any disk holds: refused by the file system at once, on any machine.
    auto device = bufferOver("tiny");
    const auto error = thrown<Api::Exception::CreateObjectError>(
        [&] { m_storage.upload(QString(), "/huge.bin", {}, device, 1LL << 60, QUuid()); });
    ASSERT_TRUE(error);
    EXPECT_FALSE(error->message().isEmpty());
    EXPECT_FALSE(device->isOpen());
    EXPECT_FALSE(existsBelowRoot("huge.bin"));
    expectOutsideUntouched();
}

} // namespace
