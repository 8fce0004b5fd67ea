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

} // namespace
