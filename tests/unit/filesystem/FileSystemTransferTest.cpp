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

using FileSystemUpload = FileSystemStorageTest;
using FileSystemDownload = FileSystemStorageTest;
using FileSystemDelete = FileSystemStorageTest;
using FileSystemMultipart = FileSystemStorageTest;

// ---------------------------------------------------------------- upload

TEST_F(FileSystemUpload, SourceThatEndsEarlyFailsAndLeavesNothing)
{
    auto device = bufferOver("short");
    const auto error = thrown<Api::Exception::CreateObjectError>(
        [&] { m_storage.upload(QString(), "/dir/short.bin", {}, device, 4096, QUuid()); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->message().contains("ended")) << error->message().toStdString();
    EXPECT_FALSE(existsBelowRoot("dir/short.bin"));
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

// ---------------------------------------------------------------- download

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

// ---------------------------------------------------------------- the rest of the interface

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

} // namespace
