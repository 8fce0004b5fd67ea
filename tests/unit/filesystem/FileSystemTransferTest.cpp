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

// ---------------------------------------------------------------- download

// ---------------------------------------------------------------- delete

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
