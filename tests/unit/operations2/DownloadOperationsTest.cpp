#include "JobRunner.h"

#include "connection/CloudFileMetaData.h"
#include "engine/JobFormat.h"
#include "info/Config.h"
#include "operations/Download2Stream.h"
#include "operations/DownloadBlob.h"
#include "operations/DownloadBlob2Stream.h"
#include "storage/CloudFileSystem.h"
#include "streams/MemoryManager.h"
#include "streams/StreamManager.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include "TestSupport.h"

#include <memory>

using namespace Norvik::Cloud;
using Operation::Download2Stream;
using Operation::DownloadBlob;
using Operation::DownloadBlob2Stream;

namespace {

const QString ObjectPath = QStringLiteral("/dir/object.bin");

QJsonObject failedWithoutKeys()
{
    return {{JobFormat::Result::Status::Key, JobFormat::Result::Status::Value::Error}};
}

// Whether result is a failure that carries no error keys (no code, no message).
bool isBareFailure(const QJsonObject& result)
{
    return result.value(JobFormat::Result::Status::Key) ==
               failedWithoutKeys().value(JobFormat::Result::Status::Key) &&
           !result.contains(JobFormat::Result::ErrorCode) &&
           !result.contains(JobFormat::Result::ErrorMessage);
}

} // namespace

// The download operations driven job by job against a folder storage holding one object of
// 100 bytes.
class DownloadOperations : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        m_root = NorvikTest::scratchDir(QStringLiteral("DownloadOperations.%1").arg(test->name()));
        m_config = {{Config::Id, QUuid::createUuid().toString()},
                    {Config::Type, QStringLiteral("FileSystem")},
                    {Config::FileSystem::Path, m_root}};
        ASSERT_TRUE(m_storage.setConfig(m_config));
        m_content = NorvikTest::randomBytes(100, 7);
        writeObject(ObjectPath, m_content);
        m_baseline = MemoryManager::instance().used();
    }

    void TearDown() override
    {
        // Every test gives back what it took from the shared budget.
        EXPECT_EQ(MemoryManager::instance().used(), m_baseline);
    }

    void writeObject(const QString& path, const QByteArray& data)
    {
        const QString local = m_root + path;
        ASSERT_TRUE(QDir().mkpath(QFileInfo(local).absolutePath()));
        QFile file(local);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(data), data.size());
    }

    QMap<QString, QVariant> m_config;
    QString m_root;
    QByteArray m_content;
    unsigned long long m_baseline = 0;
    Api::CloudFileSystem m_storage;
};

TEST_F(DownloadOperations, RangesAreFirstOffsetAndCountLessOne)
{
    struct Range
    {
        quint64 position;
        quint64 size;
        QByteArray expected;
    };
    const QList<Range> ranges = {
        {0, 9, m_content.left(10)},   // ten bytes
        {0, 0, m_content.left(1)},    // one byte
        {90, 9, m_content.right(10)}, // ends on the last byte
        {99, 0, m_content.right(1)},  // the last byte alone
        {95, 9, m_content.right(5)},  // runs over the end: cut there
        {0, 99, m_content},           // exactly the whole object
        {0, 1000, m_content},         // more than the whole object
        {100, 0, QByteArray()},       // starts just past the end
        {150, 10, QByteArray()},      // starts far past the end
    };
    JobRunner runner(m_storage);
    for (const Range& range : ranges) {
        SCOPED_TRACE(testing::Message() << "position " << range.position << " size " << range.size);

        DownloadBlob blob(m_config, ObjectPath, range.position, range.size, nullptr);
        ASSERT_TRUE(runner.drive(blob));
        EXPECT_EQ(blob.state(), IOperation::StateComplete) << blob.errorMessage().toStdString();
        EXPECT_EQ(blob.data(), range.expected);
        EXPECT_TRUE(blob.metaData().contains(Api::CloudFileMetaData::FilePermissions));

        QBuffer out;
        out.open(QIODevice::WriteOnly);
        DownloadBlob2Stream stream(m_config, ObjectPath, range.position, range.size, &out, nullptr);
        ASSERT_TRUE(runner.drive(stream));
        EXPECT_EQ(stream.state(), IOperation::StateComplete) << stream.errorMessage().toStdString();
        EXPECT_EQ(out.data(), range.expected);
        EXPECT_TRUE(stream.metaData().contains(Api::CloudFileMetaData::FilePermissions));
    }
    // The range travels in the job as the caller gave it; the storage alone adds the one.
    const QJsonObject job = runner.results.first();
    EXPECT_EQ(job.value(JobFormat::Download::Blob::Position).toInt(-1), 0);
    EXPECT_EQ(job.value(JobFormat::Download::Blob::Size).toInt(-1), 9);
}

TEST_F(DownloadOperations, WholeObjectIntoAFileDevice)
{
    QFile out(m_root + QStringLiteral("/../downloaded.bin"));
    ASSERT_TRUE(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
    Download2Stream download(m_config, ObjectPath, &out, nullptr);
    JobRunner runner(m_storage);
    ASSERT_TRUE(runner.drive(download));
    out.close();

    EXPECT_EQ(download.state(), IOperation::StateComplete) << download.errorMessage().toStdString();
    ASSERT_TRUE(out.open(QIODevice::ReadOnly));
    EXPECT_EQ(out.readAll(), m_content);
    EXPECT_EQ(runner.jobTypes, QStringList{JobFormat::Download::ToStream::Type});
    // The device was registered for the job only.
    const QUuid streamId(runner.results.first().value(JobFormat::Download::ToStream::OutStreamId).toString());
    EXPECT_FALSE(streamId.isNull());
    EXPECT_EQ(StreamManager::instance().get(streamId), nullptr);
}

TEST_F(DownloadOperations, FailedDownloadsEndInErrorAndFreeTheirBuffers)
{
    JobRunner runner(m_storage);
    const QString missing = QStringLiteral("/dir/missing.bin");

    DownloadBlob blob(m_config, missing, 0, 49, nullptr);
    ASSERT_TRUE(runner.drive(blob));
    EXPECT_EQ(blob.state(), IOperation::StateError);
    EXPECT_EQ(blob.errorCode(), 13); // the object is not there
    // What the failed job left is the reservation's filler, as the class promises.
    EXPECT_EQ(blob.data(), QByteArray(49, '0'));
    EXPECT_EQ(MemoryManager::instance().used(), m_baseline);

    QBuffer out;
    out.open(QIODevice::WriteOnly);
    Download2Stream whole(m_config, missing, &out, nullptr);
    ASSERT_TRUE(runner.drive(whole));
    EXPECT_EQ(whole.state(), IOperation::StateError);
    EXPECT_EQ(whole.errorCode(), 13);
    EXPECT_FALSE(whole.errorMessage().isEmpty());

    DownloadBlob2Stream range(m_config, missing, 0, 9, &out, nullptr);
    ASSERT_TRUE(runner.drive(range));
    EXPECT_EQ(range.state(), IOperation::StateError);
    EXPECT_EQ(range.errorCode(), 13);
    EXPECT_TRUE(out.data().isEmpty());

    for (const QJsonObject& result : runner.results) {
        const QString streamId = result.value(JobFormat::Download::ToStream::OutStreamId).toString();
        if (!streamId.isEmpty()) {
            EXPECT_EQ(StreamManager::instance().get(QUuid(streamId)), nullptr);
        }
    }
}

TEST_F(DownloadOperations, BlobWaitsForTheMemoryBudget)
{
    const unsigned long long limit = MemoryManager::instance().limit();
    const QUuid hog = MemoryManager::instance().tryReserved(limit - m_baseline - 50);
    ASSERT_FALSE(hog.isNull());

    // Room for 50 bytes: a blob of 60 waits, without reserving anything meanwhile.
    DownloadBlob blob(m_config, ObjectPath, 10, 59, nullptr);
    for (int pass = 0; pass < 3; ++pass)
        EXPECT_TRUE(blob.makeJob().isNull());
    EXPECT_EQ(MemoryManager::instance().used(), limit - 50);

    MemoryManager::instance().remove(hog);
    JobRunner runner(m_storage);
    const QList<QJsonObject> jobs = runner.collect(blob);
    ASSERT_EQ(jobs.size(), 1);
    EXPECT_EQ(MemoryManager::instance().used(), m_baseline + 59);
    runner.deliver(blob, runner.run(jobs.first()));
    EXPECT_EQ(blob.state(), IOperation::StateComplete);
    EXPECT_EQ(blob.data(), m_content.mid(10, 60));

    // A range larger than the whole budget can never be reserved: it waits for ever.
    DownloadBlob tooLarge(m_config, ObjectPath, 0, limit + 1, nullptr);
    EXPECT_TRUE(tooLarge.makeJob().isNull());
    EXPECT_FALSE(runner.drive(tooLarge));
    EXPECT_EQ(tooLarge.state(), IOperation::StateCreated);
}

TEST_F(DownloadOperations, DroppedOperationsReleaseWhatTheirJobWouldUse)
{
    JobRunner runner(m_storage);

    auto blob = std::make_unique<DownloadBlob>(m_config, ObjectPath, 0, 99, nullptr);
    const QList<QJsonObject> blobJobs = runner.collect(*blob);
    ASSERT_EQ(blobJobs.size(), 1);
    EXPECT_EQ(MemoryManager::instance().used(), m_baseline + 99);
    blob.reset();
    EXPECT_EQ(MemoryManager::instance().used(), m_baseline);
    // The job that is still out finds its reservation gone and fails without writing anywhere.
    EXPECT_TRUE(isBareFailure(runner.run(blobJobs.first())));
    EXPECT_EQ(MemoryManager::instance().used(), m_baseline);

    QBuffer out;
    out.open(QIODevice::WriteOnly);
    auto stream = std::make_unique<Download2Stream>(m_config, ObjectPath, &out, nullptr);
    const QList<QJsonObject> streamJobs = runner.collect(*stream);
    ASSERT_EQ(streamJobs.size(), 1);
    stream.reset();
    EXPECT_TRUE(isBareFailure(runner.run(streamJobs.first())));
    EXPECT_TRUE(out.data().isEmpty());
}

TEST_F(DownloadOperations, JobsWhoseBufferIsMissingFailWithoutErrorKeys)
{
    const QJsonObject base = QJsonObject::fromVariantMap(m_config);

    QJsonObject blob = base;
    blob.insert(JobFormat::Type, JobFormat::Download::Blob::Type);
    blob.insert(JobFormat::Download::CloudPath, ObjectPath);
    blob.insert(JobFormat::Download::Blob::Position, 0);
    blob.insert(JobFormat::Download::Blob::Size, 9);
    EXPECT_TRUE(isBareFailure(downloadBlob(&m_storage, blob).object())); // no "memory_id"
    blob.insert(JobFormat::Download::Blob::MemoryId, QUuid::createUuid().toString());
    EXPECT_TRUE(isBareFailure(downloadBlob(&m_storage, blob).object())); // never reserved

    QJsonObject whole = base;
    whole.insert(JobFormat::Type, JobFormat::Download::ToStream::Type);
    whole.insert(JobFormat::Download::CloudPath, ObjectPath);
    whole.insert(JobFormat::Download::ToStream::OutStreamId, QUuid::createUuid().toString());
    EXPECT_TRUE(isBareFailure(download2Stream(&m_storage, whole).object()));

    QJsonObject range = whole;
    range.insert(JobFormat::Type, JobFormat::Download::Blob2Stream::Type);
    range.insert(JobFormat::Download::Blob2Stream::Position, 0);
    range.insert(JobFormat::Download::Blob2Stream::Size, 9);
    EXPECT_TRUE(isBareFailure(downloadBlob2Stream(&m_storage, range).object()));

    // Without a connection there is no result at all.
    EXPECT_TRUE(downloadBlob(nullptr, blob).isNull());
    EXPECT_TRUE(download2Stream(nullptr, whole).isNull());
    EXPECT_TRUE(downloadBlob2Stream(nullptr, range).isNull());

    // Such a failure ends the operation with code 0 and no text.
    QBuffer out;
    out.open(QIODevice::WriteOnly);
    Download2Stream operation(m_config, ObjectPath, &out, nullptr);
    JobRunner runner(m_storage);
    const QList<QJsonObject> jobs = runner.collect(operation);
    ASSERT_EQ(jobs.size(), 1);
    StreamManager::instance().remove(
        QUuid(jobs.first().value(JobFormat::Download::ToStream::OutStreamId).toString()));
    runner.deliver(operation, runner.run(jobs.first()));
    EXPECT_EQ(operation.state(), IOperation::StateError);
    EXPECT_EQ(operation.errorCode(), 0);
    EXPECT_TRUE(operation.errorMessage().isEmpty());
}

TEST_F(DownloadOperations, OnlyTheRangeToStreamNormalisesItsPathAsAUrl)
{
    const QString percentPath = QStringLiteral("/dir/100%.bin");
    writeObject(percentPath, m_content);
    JobRunner runner(m_storage);

    QBuffer whole;
    whole.open(QIODevice::WriteOnly);
    Download2Stream download(m_config, percentPath, &whole, nullptr);
    ASSERT_TRUE(runner.drive(download));
    EXPECT_EQ(download.state(), IOperation::StateComplete);
    EXPECT_EQ(whole.data(), m_content);

    QBuffer range;
    range.open(QIODevice::WriteOnly);
    DownloadBlob2Stream blob(m_config, percentPath, 0, 9, &range, nullptr);
    ASSERT_TRUE(runner.drive(blob));
    EXPECT_EQ(runner.results.last().value(JobFormat::Download::CloudPath).toString(),
              QStringLiteral("/dir/100%25.bin"));
    EXPECT_EQ(blob.state(), IOperation::StateError);
}

TEST_F(DownloadOperations, ARepeatedResultIsIgnored)
{
    JobRunner runner(m_storage);
    DownloadBlob blob(m_config, ObjectPath, 0, 9, nullptr);
    const QList<QJsonObject> jobs = runner.collect(blob);
    ASSERT_EQ(jobs.size(), 1);
    // Nothing more is sent while the job is out.
    EXPECT_TRUE(blob.makeJob().isNull());
    const QJsonObject result = runner.run(jobs.first());
    runner.deliver(blob, result);
    ASSERT_EQ(blob.state(), IOperation::StateComplete);

    QJsonObject failed = result;
    failed.insert(JobFormat::Result::Status::Key, JobFormat::Result::Status::Value::Error);
    runner.deliver(blob, failed);
    EXPECT_EQ(blob.state(), IOperation::StateComplete);
    EXPECT_EQ(blob.data(), m_content.left(10));
    EXPECT_TRUE(blob.makeJob().isNull());
}
