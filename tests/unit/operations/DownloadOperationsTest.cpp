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
