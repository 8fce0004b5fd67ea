#include "FileSystemStorageFixture.h"

#include "connection/CloudFileMetaData.h"
#include "connection/Exception.h"
#include "connection/ListingObject.h"

#include "TestSupport.h"

#include <NorvikNetwork/Bandwidth.h>
#include <NorvikNetwork/ProgressReporter.h>

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QMutex>
#include <QThread>
#include <QUuid>

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using namespace Norvik::Cloud;
using Api::CloudFileMetaData;
using Api::ListingObject;
using Norvik::Network::Utility::ProgressReporter;

QSharedPointer<QIODevice> bufferOver(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    return buffer;
}

QByteArray md5Base64(const QByteArray& data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Md5).toBase64();
}

int permissionBits(const QString& path)
{
    return CloudFileMetaData::permissionsToInt(QFileInfo(path).permissions());
}

// Sums what the storage reports for one operation id while it lives.
class ProgressTotals
{
public:
    explicit ProgressTotals(const QUuid& id)
    {
        ProgressReporter::setListener([this, id](const ProgressReporter::Event& event) {
            if (event.kind != ProgressReporter::Event::Progress || event.id != id)
                return;
            QMutexLocker locker(&m_mutex);
            m_sent += event.sent;
            m_received += event.received;
        });
    }
    ~ProgressTotals() { ProgressReporter::setListener(nullptr); }

    qint64 sent()
    {
        QMutexLocker locker(&m_mutex);
        return m_sent;
    }
    qint64 received()
    {
        QMutexLocker locker(&m_mutex);
        return m_received;
    }

private:
    QMutex m_mutex;
    qint64 m_sent = 0;
    qint64 m_received = 0;
};

using FileSystemUpload = FileSystemStorageTest;
using FileSystemDownload = FileSystemStorageTest;
using FileSystemDelete = FileSystemStorageTest;
using FileSystemMultipart = FileSystemStorageTest;

// ---------------------------------------------------------------- upload

TEST_F(FileSystemUpload, WritesTheFileBelowNewFoldersAndDescribesIt)
{
    const QByteArray data = NorvikTest::randomBytes(70000, 3);
    const QJsonObject json = m_storage.upload("ignored", "/new/deep/file.bin", {}, data, QUuid());
    EXPECT_EQ(readFile("new/deep/file.bin"), data);

    const ListingObject record(json);
    EXPECT_EQ(record.name(), "/new/deep/file.bin");
    EXPECT_EQ(record.size(), 70000u);
    EXPECT_FALSE(record.isFolder());
    EXPECT_EQ(record.lastModified(), QFileInfo(m_root + "/new/deep/file.bin").lastModified().toUTC());
}

TEST_F(FileSystemUpload, StreamIsCopiedInFullAndReportedAsSent)
{
    const QByteArray data = NorvikTest::randomBytes(3 * 25600 + 1031, 4);
    const QUuid operation = QUuid::createUuid();
    ProgressTotals progress(operation);
    auto device = bufferOver(data);
    m_storage.upload(QString(), "/stream.bin", {}, device, data.size(), operation);
    EXPECT_EQ(readFile("stream.bin"), data);
    EXPECT_EQ(progress.sent(), data.size());
    EXPECT_EQ(progress.received(), 0);
    EXPECT_TRUE(device->isOpen());
}

TEST_F(FileSystemUpload, OnlyTheGivenSizeIsTakenFromALongerStream)
{
    auto device = bufferOver("0123456789");
    const ListingObject record(m_storage.upload(QString(), "/part.txt", {}, device, 4, QUuid()));
    EXPECT_EQ(readFile("part.txt"), "0123");
    EXPECT_EQ(record.size(), 4u);
}

TEST_F(FileSystemUpload, OverwritingReplacesTheWholeContent)
{
    writeFile("over.txt", QByteArray(5000, 'o'));
    m_storage.upload(QString(), "/over.txt", {}, QByteArray("new"), QUuid());
    EXPECT_EQ(readFile("over.txt"), "new");
}

TEST_F(FileSystemUpload, RelativePathLandsBelowTheRootToo)
{
    const ListingObject record(m_storage.upload(QString(), "rel/file.txt", {}, QByteArray("r"), QUuid()));
    EXPECT_EQ(readFile("rel/file.txt"), "r");
    EXPECT_EQ(record.name(), "rel/file.txt");
    EXPECT_FALSE(QDir(m_root).exists(".rel"));
}

TEST_F(FileSystemUpload, PathEndingInSeparatorMakesAFolderWithoutTouchingTheStream)
{
    auto device = bufferOver("never read");
    const ListingObject record(m_storage.upload(QString(), "/empty/folder/", {}, device, 10, QUuid()));
    EXPECT_TRUE(QFileInfo(m_root + "/empty/folder").isDir());
    EXPECT_TRUE(QDir(m_root + "/empty/folder").isEmpty());
    EXPECT_EQ(record.name(), "/empty/folder/");
    EXPECT_TRUE(record.isFolder());
    EXPECT_EQ(record.size(), 0u);
    EXPECT_FALSE(device->isOpen());
}

TEST_F(FileSystemUpload, ZeroSizeMakesAnEmptyFileWithPermissionsAndLeavesTheStreamClosed)
{
    auto device = bufferOver("unused");
    const ListingObject record(m_storage.upload(
        QString(), "/zero", {{CloudFileMetaData::FilePermissions, 0640}}, device, 0, QUuid()));
    const QFileInfo info(m_root + "/zero");
    ASSERT_TRUE(info.isFile());
    EXPECT_EQ(info.size(), 0);
    EXPECT_EQ(permissionBits(info.filePath()), 0640);
    EXPECT_FALSE(device->isOpen());
    EXPECT_EQ(record.size(), 0u);
}

TEST_F(FileSystemUpload, PermissionsComeFromTheMetadata)
{
    m_storage.upload(QString(), "/exec.sh", {{CloudFileMetaData::FilePermissions, 0751}}, QByteArray("#!"),
                     QUuid());
    EXPECT_EQ(permissionBits(m_root + "/exec.sh"), 0751);
    m_storage.upload(QString(), "/plain", {}, QByteArray("p"), QUuid());
    EXPECT_EQ(permissionBits(m_root + "/plain"), 0600);
}

TEST_F(FileSystemUpload, SourceThatEndsEarlyFailsAndLeavesNothing)
{
    auto device = bufferOver("short");
    const auto error = thrown<Api::Exception::CreateObjectError>(
        [&] { m_storage.upload(QString(), "/dir/short.bin", {}, device, 4096, QUuid()); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->message().contains("ended")) << error->message().toStdString();
    EXPECT_FALSE(existsBelowRoot("dir/short.bin"));
}

TEST_F(FileSystemUpload, UnreadableSourceFailsAndLeavesNothing)
{
    auto writeOnly = QSharedPointer<QBuffer>::create();
    ASSERT_TRUE(writeOnly->open(QIODevice::WriteOnly));
    EXPECT_TRUE(thrown<Api::Exception::CreateObjectError>(
        [&] { m_storage.upload(QString(), "/w.bin", {}, writeOnly, 10, QUuid()); }));
    EXPECT_FALSE(existsBelowRoot("w.bin"));

    const auto error = thrown<Api::Exception::CreateObjectError>(
        [&] { m_storage.upload(QString(), "/null.bin", {}, QSharedPointer<QIODevice>(), 10, QUuid()); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message(), "Error open data stream");
    EXPECT_FALSE(existsBelowRoot("null.bin"));
}

TEST_F(FileSystemUpload, FailedUploadOverAnExistingFileKeepsItWhenItCannotBeOpened)
{
    ASSERT_TRUE(QDir(m_root).mkpath("taken/inner"));
    // The destination is a folder: the file cannot be opened, and the folder must survive.
    const auto error = thrown<Api::Exception::CreateObjectError>(
        [&] { m_storage.upload(QString(), "/taken", {}, QByteArray("x"), QUuid()); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->message().startsWith("Error on create destination file:"))
        << error->message().toStdString();
    EXPECT_TRUE(QFileInfo(m_root + "/taken/inner").isDir());

    // A socket cannot be opened as a file, yet could be removed: the failed upload must not.
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(m_root));
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "socket"); // relative: the scratch path is too long for it
    const int bound = ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    QDir::setCurrent(previous);
    ASSERT_EQ(bound, 0) << std::strerror(errno);
    EXPECT_TRUE(thrown<Api::Exception::CreateObjectError>(
        [&] { m_storage.upload(QString(), "/socket", {}, QByteArray("x"), QUuid()); }));
    EXPECT_TRUE(QFileInfo(m_root + "/socket").exists());
    ::close(listener);
}

TEST_F(FileSystemUpload, NegativeSizeIsRefused)
{
    EXPECT_TRUE(thrown<Api::Exception::InvalidArgument>(
        [&] { m_storage.upload(QString(), "/neg", {}, bufferOver("x"), -1, QUuid()); }));
    EXPECT_FALSE(existsBelowRoot("neg"));
}

// ---------------------------------------------------------------- download

TEST_F(FileSystemDownload, WholeFileWithPermissionsInTheMetadata)
{
    const QByteArray data = NorvikTest::randomBytes(100000, 5);
    writeFile("d/file.bin", data);
    ASSERT_TRUE(QFile::setPermissions(m_root + "/d/file.bin", CloudFileMetaData::permissionsFromInt(0604)));

    const QUuid operation = QUuid::createUuid();
    ProgressTotals progress(operation);
    QByteArray received;
    QBuffer out(&received);
    out.open(QIODevice::WriteOnly);
    QMap<QString, QVariant> meta{{CloudFileMetaData::ContentEncoding, "gzip"}};
    m_storage.download(QString(), "/d/file.bin", out, meta, operation);

    EXPECT_EQ(received, data);
    EXPECT_EQ(progress.received(), data.size());
    EXPECT_EQ(progress.sent(), 0);
    EXPECT_EQ(meta.value(CloudFileMetaData::FilePermissions).toInt(), 0604);
    EXPECT_EQ(meta.value(CloudFileMetaData::ContentEncoding).toString(), "gzip");
}

TEST_F(FileSystemDownload, EmptyFileGivesNothing)
{
    writeFile("empty", QByteArray());
    QByteArray received;
    QBuffer out(&received);
    out.open(QIODevice::WriteOnly);
    QMap<QString, QVariant> meta;
    m_storage.download(QString(), "/empty", out, meta, QUuid());
    EXPECT_TRUE(received.isEmpty());
    EXPECT_TRUE(meta.contains(CloudFileMetaData::FilePermissions));
}

TEST_F(FileSystemDownload, RangesTakeTheFirstOffsetAndTheCountLessOne)
{
    const QByteArray data = NorvikTest::randomBytes(80000, 6);
    writeFile("r.bin", data);
    QMap<QString, QVariant> meta;

    struct Case
    {
        qint64 from;
        qint64 lastOffset;
        QByteArray expected;
    };
    const Case cases[] = {
        {0, 0, data.left(1)},
        {100, 49, data.mid(100, 50)},
        {25000, 30000, data.mid(25000, 30001)}, // across several mapped spans
        {79990, 99, data.mid(79990)},           // cut at the end of the file
        {79999, 0, data.right(1)},
        {80000, 10, QByteArray()}, // starts at the end
        {90000, 10, QByteArray()}, // starts past it: no error
        {5, -1, QByteArray()},     // a count of zero
        {0, std::numeric_limits<qint64>::max(), data},
    };
    for (const Case& range : cases) {
        EXPECT_EQ(m_storage.download(QString(), "/r.bin", range.from, range.lastOffset, meta, QUuid()),
                  range.expected)
            << range.from << " " << range.lastOffset;
    }
}

TEST_F(FileSystemDownload, RangeIntoAStreamAppendsToIt)
{
    writeFile("s.txt", "0123456789");
    QByteArray received(">");
    QBuffer out(&received);
    out.open(QIODevice::Append);
    QMap<QString, QVariant> meta;
    m_storage.download(QString(), "/s.txt", 3, 3, out, meta, QUuid());
    EXPECT_EQ(received, ">3456");
}

TEST_F(FileSystemDownload, MissingFileOrFolderIsNoContent)
{
    writeFile("here/file", "x");
    QMap<QString, QVariant> meta;
    for (const QString& path : QStringList{"/here/missing", "/gone/file", "/missing"}) {
        const auto error = thrown<Api::Exception::NoContent>(
            [&] { m_storage.download(QString(), path, 0, 10, meta, QUuid()); });
        ASSERT_TRUE(error) << path.toStdString();
        EXPECT_EQ(error->code(), 204);
    }
    // A missing folder must not fall back to a file of that name at the root.
    EXPECT_TRUE(thrown<Api::Exception::NoContent>(
        [&] { m_storage.download(QString(), "/nothere/file", 0, 10, meta, QUuid()); }));
}

TEST_F(FileSystemDownload, FolderCannotBeOpenedAsAFile)
{
    ASSERT_TRUE(QDir(m_root).mkpath("folder"));
    QMap<QString, QVariant> meta;
    EXPECT_TRUE(thrown<Api::Exception::AccessDenied>(
        [&] { m_storage.download(QString(), "/folder", 0, 10, meta, QUuid()); }));
}

TEST_F(FileSystemDownload, DestinationThatRefusesDataIsADownloadError)
{
    writeFile("big.bin", NorvikTest::randomBytes(30000));
    QByteArray fixed;
    QBuffer readOnly(&fixed);
    readOnly.open(QIODevice::ReadOnly);
    QMap<QString, QVariant> meta;
    const auto error = thrown<Api::Exception::DownloadDataError>(
        [&] { m_storage.download(QString(), "/big.bin", readOnly, meta, QUuid()); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->message().startsWith("Error on write data to destination stream: path: "))
        << error->message().toStdString();
    EXPECT_TRUE(error->message().endsWith("position: 0 data size: 25600")) << error->message().toStdString();
}

TEST_F(FileSystemDownload, NegativeRangeIsRefused)
{
    writeFile("n.bin", "abc");
    QMap<QString, QVariant> meta;
    EXPECT_TRUE(thrown<Api::Exception::InvalidArgument>(
        [&] { m_storage.download(QString(), "/n.bin", -1, 2, meta, QUuid()); }));
    EXPECT_TRUE(thrown<Api::Exception::InvalidArgument>(
        [&] { m_storage.download(QString(), "/n.bin", 0, -2, meta, QUuid()); }));
}

// ---------------------------------------------------------------- delete

TEST_F(FileSystemDelete, LastFileOfADeepFolderPrunesUpToTheRoot)
{
    writeFile("a/keep.txt", "k");
    writeFile("a/b/c/d/file", "f");
    EXPECT_TRUE(
        m_storage.delete_(QString(), ListingObject("/a/b/c/d/file", QDateTime(), 1, {}, {}, false).json()));
    EXPECT_FALSE(existsBelowRoot("a/b"));
    EXPECT_TRUE(existsBelowRoot("a/keep.txt"));

    EXPECT_TRUE(
        m_storage.delete_(QString(), ListingObject("a/keep.txt", QDateTime(), 1, {}, {}, false).json()));
    EXPECT_FALSE(existsBelowRoot("a"));
    EXPECT_TRUE(QFileInfo(m_root).isDir());
    EXPECT_TRUE(QDir(m_root).isEmpty());
}

TEST_F(FileSystemDelete, ListedRecordsCanBeDeletedAsTheyCome)
{
    writeFile("x/y/one", "1");
    writeFile("x/two", "2");
    ASSERT_TRUE(QDir(m_root).mkpath("x/empty"));
    const QList<QJsonObject> records = listRecords("", "");
    ASSERT_EQ(records.size(), 3);
    for (const QJsonObject& record : records)
        EXPECT_TRUE(m_storage.delete_(QString(), record));
    EXPECT_TRUE(QDir(m_root).isEmpty());
    EXPECT_TRUE(QFileInfo(m_root).isDir());
}

TEST_F(FileSystemDelete, EmptyFolderRecordRemovesTheFolder)
{
    writeFile("p/sibling", "s");
    ASSERT_TRUE(QDir(m_root).mkpath("p/q/empty"));
    EXPECT_TRUE(
        m_storage.delete_(QString(), ListingObject("p/q/empty/", QDateTime(), 0, {}, {}, true).json()));
    EXPECT_FALSE(existsBelowRoot("p/q"));
    EXPECT_TRUE(existsBelowRoot("p/sibling"));
}

TEST_F(FileSystemDelete, FolderWithContentStays)
{
    writeFile("full/file", "f");
    const auto error = thrown<Api::Exception::Operation>(
        [&] { m_storage.delete_(QString(), ListingObject("/full/", QDateTime(), 0, {}, {}, true).json()); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message(), "Removed path is directory and not empty");
    EXPECT_EQ(error->code(), 0);
    EXPECT_EQ(readFile("full/file"), "f");
}

TEST_F(FileSystemDelete, MissingObjectsAreNoContent)
{
    EXPECT_TRUE(thrown<Api::Exception::NoContent>(
        [&] { m_storage.delete_(QString(), ListingObject("/nope", QDateTime(), 0, {}, {}, false).json()); }));
    EXPECT_TRUE(thrown<Api::Exception::NoContent>([&] {
        m_storage.delete_(QString(), ListingObject("/no/such/file", QDateTime(), 0, {}, {}, false).json());
    }));
    EXPECT_TRUE(thrown<Api::Exception::NoContent>([&] {
        m_storage.delete_(QString(), ListingObject("/nodir/", QDateTime(), 0, {}, {}, true).json());
    }));
}

TEST_F(FileSystemDelete, TheRootItselfIsNeverRemoved)
{
    for (const QString& name : QStringList{"/", "", "/./", "//"}) {
        EXPECT_TRUE(thrown<Api::Exception::InvalidArgument>([&] {
            m_storage.delete_(QString(), ListingObject(name, QDateTime(), 0, {}, {}, true).json());
        })) << name.toStdString();
        EXPECT_TRUE(QFileInfo(m_root).isDir());
    }
}

// ---------------------------------------------------------------- multipart emulation

TEST_F(FileSystemMultipart, PartsAreAppendedInArrivalOrderAndTaggedWithTheirMd5)
{
    const QByteArray id = m_storage.beginMultipartUpload(QString(), "/mp/object.bin",
                                                         {{CloudFileMetaData::FilePermissions, 0640}});
    ASSERT_FALSE(id.isEmpty());
    EXPECT_FALSE(QUuid(id).isNull());
    EXPECT_TRUE(existsBelowRoot("mp/object.bin"));
    EXPECT_EQ(permissionBits(m_root + "/mp/object.bin"), 0640);

    const QByteArray one = NorvikTest::randomBytes(3000, 1);
    const QByteArray two = NorvikTest::randomBytes(5000, 2);
    const QByteArray three = NorvikTest::randomBytes(17, 3);
    // Part numbers carry no offset here: the order of arrival decides.
    EXPECT_EQ(m_storage.uploadMultipart(QString(), "/mp/object.bin", id, 3, one, QUuid()), md5Base64(one));
    EXPECT_EQ(
        m_storage.uploadMultipart(QString(), "/mp/object.bin", id, 1, bufferOver(two), two.size(), QUuid()),
        md5Base64(two));
    EXPECT_EQ(m_storage.uploadMultipart(QString(), "/mp/object.bin", id, 2, three, QUuid()),
              md5Base64(three));

    const ListingObject record(m_storage.endMultipartUpload(QString(), "/mp/object.bin", id, {}));
    EXPECT_EQ(record.name(), "/mp/object.bin");
    EXPECT_EQ(record.size(), static_cast<quint64>(one.size() + two.size() + three.size()));
    EXPECT_FALSE(record.isFolder());
    EXPECT_EQ(readFile("mp/object.bin"), one + two + three);

    // The upload is over: its id means nothing now.
    EXPECT_TRUE(thrown<Api::Exception::MultipartInvalidUploadId>(
        [&] { m_storage.endMultipartUpload(QString(), "/mp/object.bin", id, {}); }));
}

TEST_F(FileSystemMultipart, SourceStreamIsLeftWhereItWasFound)
{
    const QByteArray id = m_storage.beginMultipartUpload(QString(), "/pos.bin", {});
    auto device = bufferOver("skipPART");
    ASSERT_TRUE(device->open(QIODevice::ReadOnly));
    ASSERT_TRUE(device->seek(4));
    const QByteArray tag = m_storage.uploadMultipart(QString(), "/pos.bin", id, 1, device, 4, QUuid());
    EXPECT_EQ(device->pos(), 4);
    EXPECT_EQ(tag, md5Base64("PART"));
    m_storage.endMultipartUpload(QString(), "/pos.bin", id, {});
    EXPECT_EQ(readFile("pos.bin"), "PART");
}

TEST_F(FileSystemMultipart, AbortLeavesThePartialFileAndTheUploadOpen)
{
    const QByteArray id = m_storage.beginMultipartUpload(QString(), "/ab.bin", {});
    m_storage.uploadMultipart(QString(), "/ab.bin", id, 1, QByteArray("first"), QUuid());
    m_storage.abortMultipartUpload(QString(), "/ab.bin", id);
    EXPECT_EQ(readFile("ab.bin"), "first");
    m_storage.uploadMultipart(QString(), "/ab.bin", id, 2, QByteArray("+more"), QUuid());
    EXPECT_EQ(readFile("ab.bin"), "first+more");
    EXPECT_EQ(ListingObject(m_storage.endMultipartUpload(QString(), "/ab.bin", id, {})).size(), 10u);
}

TEST_F(FileSystemMultipart, UnknownUploadIdFailsAndLeavesNoEntry)
{
    const QByteArray unknown = QUuid::createUuid().toByteArray();
    const auto error = thrown<Api::Exception::Operation>(
        [&] { m_storage.uploadMultipart(QString(), "/u.bin", unknown, 1, QByteArray("x"), QUuid()); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message(), "Multipart upload destination file not exist");
    EXPECT_FALSE(existsBelowRoot("u.bin"));
    EXPECT_TRUE(thrown<Api::Exception::MultipartInvalidUploadId>(
        [&] { m_storage.endMultipartUpload(QString(), "/u.bin", unknown, {}); }));
}

TEST_F(FileSystemMultipart, VanishedDestinationEndsTheUpload)
{
    const QByteArray id = m_storage.beginMultipartUpload(QString(), "/v.bin", {});
    m_storage.uploadMultipart(QString(), "/v.bin", id, 1, QByteArray("x"), QUuid());
    ASSERT_TRUE(QFile::remove(m_root + "/v.bin"));
    const auto error = thrown<Api::Exception::Operation>(
        [&] { m_storage.uploadMultipart(QString(), "/v.bin", id, 2, QByteArray("y"), QUuid()); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message(), "Multipart upload destination file not exist");
    EXPECT_FALSE(existsBelowRoot("v.bin"));
    EXPECT_TRUE(thrown<Api::Exception::MultipartInvalidUploadId>(
        [&] { m_storage.endMultipartUpload(QString(), "/v.bin", id, {}); }));
}

TEST_F(FileSystemMultipart, ShortPartRemovesTheFileAndTheUpload)
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

TEST_F(FileSystemMultipart, UnreadablePartIsInvalidData)
{
    const QByteArray id = m_storage.beginMultipartUpload(QString(), "/bad.bin", {});
    const auto error = thrown<Api::Exception::InvalidData>([&] {
        m_storage.uploadMultipart(QString(), "/bad.bin", id, 1, QSharedPointer<QIODevice>(), 1, QUuid());
    });
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->data().isEmpty());
    // The upload itself is untouched and can go on.
    m_storage.uploadMultipart(QString(), "/bad.bin", id, 1, QByteArray("ok"), QUuid());
    EXPECT_EQ(ListingObject(m_storage.endMultipartUpload(QString(), "/bad.bin", id, {})).size(), 2u);
}

TEST_F(FileSystemMultipart, FolderPathIsRefused)
{
    EXPECT_TRUE(thrown<Api::Exception::InvalidArgument>(
        [&] { m_storage.beginMultipartUpload(QString(), "/folder/", {}); }));
    EXPECT_FALSE(existsBelowRoot("folder"));
}

// ---------------------------------------------------------------- the rest of the interface

TEST_F(FileSystemStorageTest, SignedUrlIsTheFileUrlOfTheObject)
{
    const QString url = m_storage.signUrl(QString(), "/a b/c.txt", true, QDateTime::currentDateTimeUtc());
    EXPECT_EQ(url, QString::fromLatin1(QUrl::fromLocalFile(m_root + "/a b/c.txt").toEncoded()));
    EXPECT_TRUE(url.startsWith("file:///"));
    EXPECT_TRUE(url.endsWith("/root/a%20b/c.txt"));
    EXPECT_EQ(m_storage.signUrl(QString(), "rel.txt", false, QDateTime()),
              QString::fromLatin1(QUrl::fromLocalFile(m_root + "/rel.txt").toEncoded()));
}

TEST_F(FileSystemStorageTest, PathChecksOfTheApplication)
{
    writeFile("exists.txt", "e");
    const QMap<QString, QVariant> settings = config(m_root);
    EXPECT_TRUE(Api::CloudFileSystem::pathIsReadable(settings, "exists.txt"));
    EXPECT_TRUE(Api::CloudFileSystem::pathIsModified(settings, "exists.txt"));
    EXPECT_TRUE(Api::CloudFileSystem::pathIsReadable(settings, "not/yet/there"));
    EXPECT_TRUE(Api::CloudFileSystem::pathIsModified(settings, "not/yet/there"));

    const QMap<QString, QVariant> missing = config(m_base + "/missing");
    EXPECT_FALSE(Api::CloudFileSystem::pathIsReadable(missing, "exists.txt"));
    EXPECT_FALSE(Api::CloudFileSystem::pathIsModified(missing, "exists.txt"));
    EXPECT_FALSE(Api::CloudFileSystem::pathIsReadable({}, "exists.txt"));
    EXPECT_FALSE(Api::CloudFileSystem::pathIsModified({}, "exists.txt"));
}

// ---------------------------------------------------------------- shared stores and the throttle

TEST_F(FileSystemStorageTest, ConnectionsOnSeveralThreadsShareTheStoresSafely)
{
    for (int i = 0; i < 40; ++i)
        writeFile(QString("shared/f%1").arg(i), "s");

    const int threadCount = 4;
    QList<QThread*> threads;
    QAtomicInt failures = 0;
    for (int t = 0; t < threadCount; ++t) {
        threads << QThread::create([this, t, &failures] {
            Api::CloudFileSystem storage;
            storage.setConfig(config(m_root));
            try {
                for (int round = 0; round < 20; ++round) {
                    const QString path = QString("/t%1/object%2").arg(t).arg(round);
                    const QByteArray id = storage.beginMultipartUpload(QString(), path, {});
                    storage.uploadMultipart(QString(), path, id, 1, QByteArray(100, 'a' + t), QUuid());
                    storage.uploadMultipart(QString(), path, id, 2, QByteArray(50, 'A' + t), QUuid());
                    if (ListingObject(storage.endMultipartUpload(QString(), path, id, {})).size() != 150)
                        ++failures;

                    // Every thread pages through the same folder with the same keys.
                    QString marker;
                    int seen = 0;
                    do {
                        seen += storage.listing(QString(), "shared/", marker, "", 7).array().size();
                    } while (!marker.isEmpty());
                    if (seen != 40)
                        ++failures;
                }
            } catch (...) {
                ++failures;
            }
        });
    }
    for (QThread* thread : threads)
        thread->start();
    for (QThread* thread : threads) {
        EXPECT_TRUE(thread->wait(60000));
        delete thread;
    }
    EXPECT_EQ(failures.loadRelaxed(), 0);
    for (int t = 0; t < threadCount; ++t)
        EXPECT_EQ(readFile(QString("t%1/object19").arg(t)),
                  QByteArray(100, 'a' + t) + QByteArray(50, 'A' + t));
}

TEST_F(FileSystemStorageTest, WritesAreThrottledByTheUploadBandwidth)
{
    using Norvik::Network::Utility::Bandwidth;
    const qint64 limit = 32 * 1024;
    Bandwidth::instance().setLimit(Bandwidth::Upload, limit);
    const QByteArray data = NorvikTest::randomBytes(2 * limit, 9);
    QElapsedTimer timer;
    timer.start();
    m_storage.upload(QString(), "/slow.bin", {}, data, QUuid());
    const qint64 elapsed = timer.elapsed();
    Bandwidth::instance().setLimit(Bandwidth::Upload, 0);

    EXPECT_EQ(readFile("slow.bin"), data);
    // Two seconds' worth of budget: even a generous burst leaves more than one to wait for.
    EXPECT_GE(elapsed, 1000);
}

} // namespace
