#include "JobRunner.h"
#include "MemoryStorage.h"
#include "ScriptedSource.h"

#include "TestSupport.h"

#include "connection/Exception.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "info/Config.h"
#include "operations/UploadMultipart.h"
#include "storage/CloudFileSystem.h"
#include "streams/MemoryManager.h"
#include "streams/TemporaryFileManager.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QUuid>

using namespace Norvik::Cloud;
using Operation::UploadMultipart;
namespace Exception = Norvik::Cloud::Api::Exception;

namespace {

constexpr int PartSize = 64 * 1024;
// Parts in flight at most on a storage that takes them in parallel.
constexpr int Threads = 3;

// The engine is never started here, so the thread count can still be chosen; the temporary
// file registry reads it on first use, before any test runs.
class ThreadCountEnvironment : public ::testing::Environment
{
public:
    void SetUp() override
    {
        OperationManager::setThreadCount(Threads);
        OperationManager::setTemporaryFileFolderPath(
            NorvikTest::scratchDir(QStringLiteral("temporary-parts")));
    }
};

const auto* const threadCountEnvironment = ::testing::AddGlobalTestEnvironment(new ThreadCountEnvironment);

QList<quint64> partIdsOfEndJob(const JobRunner& runner)
{
    QList<quint64> ids;
    for (const QJsonObject& result : runner.results) {
        if (jobType(result) != JobFormat::UploadMultipart::End::Type)
            continue;
        for (const QJsonValue& part : result.value(JobFormat::UploadMultipart::End::Parts::Key).toArray())
            ids.append(part.toObject()
                           .value(JobFormat::UploadMultipart::End::Parts::Value::Id)
                           .toVariant()
                           .toULongLong());
    }
    return ids;
}

} // namespace

class MultipartUpload : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        m_root = NorvikTest::scratchDir(QStringLiteral("MultipartUpload.%1").arg(test->name()));
        m_fileConfig = {{Config::Id, QUuid::createUuid().toString()},
                        {Config::Type, QStringLiteral("FileSystem")},
                        {Config::FileSystem::Path, m_root},
                        {OperationConfig::ChunkSize, PartSize}};
        m_memoryConfig = {{Config::Id, QUuid::createUuid().toString()},
                          {Config::Type, QStringLiteral("AmazonS3")},
                          {OperationConfig::ChunkSize, PartSize}};
        ASSERT_TRUE(m_files.setConfig(m_fileConfig));
        ASSERT_TRUE(m_memory.setConfig(m_memoryConfig));
        m_baseline = MemoryManager::instance().used();
    }

    void TearDown() override
    {
        // Finished or failed, an upload gives back every buffer it took.
        EXPECT_EQ(MemoryManager::instance().used(), m_baseline);
    }

    QString m_root;
    QMap<QString, QVariant> m_fileConfig;
    QMap<QString, QVariant> m_memoryConfig;
    Api::CloudFileSystem m_files;
    MemoryStorage m_memory;
    unsigned long long m_baseline = 0;
};

TEST_F(MultipartUpload, ParallelPartsAreBoundedByThreadCount)
{
    const QByteArray source = NorvikTest::randomBytes(PartSize * 10 + 123, 12);
    QBuffer device;
    device.setData(source);
    device.open(QIODevice::ReadOnly);
    UploadMultipart upload(m_memoryConfig, QStringLiteral("big.bin"), {}, &device, QByteArray(), nullptr);

    // Results come back in reverse order: the part list must still be in part order.
    JobRunner runner(m_memory, JobRunner::Order::Reversed);
    ASSERT_TRUE(runner.drive(upload));

    EXPECT_EQ(upload.state(), IOperation::StateComplete) << upload.errorMessage().toStdString();
    EXPECT_EQ(runner.maxInFlight, Threads);
    EXPECT_EQ(runner.jobTypes.count(JobFormat::UploadMultipart::Part::Type), 11);
    EXPECT_EQ(partIdsOfEndJob(runner), QList<quint64>({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
    EXPECT_EQ(m_memory.objects.value(QStringLiteral("big.bin")), source);
    EXPECT_EQ(upload.size(), static_cast<unsigned long long>(source.size()));
}

TEST_F(MultipartUpload, SourceOfWholePartsEndsWithoutAnEmptyPart)
{
    // A device that shows its end only when a read finds nothing more, as pipes do.
    class LateEnd : public QBuffer
    {
    public:
        bool atEnd() const override { return m_sawEnd; }

    protected:
        qint64 readData(char* data, qint64 maxSize) override
        {
            const qint64 count = QBuffer::readData(data, maxSize);
            m_sawEnd = count == 0;
            return count;
        }

    private:
        bool m_sawEnd = false;
    };

    const QByteArray source = NorvikTest::randomBytes(PartSize * 4, 13);
    LateEnd device;
    device.setData(source);
    device.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    UploadMultipart upload(m_memoryConfig, QStringLiteral("whole.bin"), {}, &device, QByteArray(), nullptr);
    JobRunner runner(m_memory);
    ASSERT_TRUE(runner.drive(upload));
    EXPECT_EQ(upload.state(), IOperation::StateComplete) << upload.errorMessage().toStdString();
    EXPECT_EQ(partIdsOfEndJob(runner), QList<quint64>({1, 2, 3, 4}));
    EXPECT_EQ(m_memory.objects.value(QStringLiteral("whole.bin")), source);
}

TEST_F(MultipartUpload, FirstPartFailureDecidesTheErrorOnceAllPartsAreIn)
{
    m_memory.beforePart = [](quint64 partId) {
        if (partId == 2)
            throw Exception::InvalidArgument({}, QStringLiteral("part 2 refused"), QString());
        if (partId == 3)
            throw Exception::AccessDenied({}, QStringLiteral("part 3 refused"));
    };
    NorvikTest::ScriptedSource device(PartSize * 6);
    UploadMultipart upload(m_memoryConfig, QStringLiteral("failing.bin"), {}, &device, QByteArray(), nullptr);
    JobRunner runner(m_memory);

    // Parts 1 to 3 go out together; the results of 1 and 2 do not end the operation yet.
    const QList<QJsonObject> jobs = runner.collect(upload);
    ASSERT_EQ(jobs.size(), 1); // the begin
    runner.deliver(upload, runner.run(jobs.first()));
    const QList<QJsonObject> parts = runner.collect(upload);
    ASSERT_EQ(parts.size(), Threads);
    runner.deliver(upload, runner.run(parts.at(0)));
    runner.deliver(upload, runner.run(parts.at(1)));
    EXPECT_FALSE(upload.isComplite());
    EXPECT_TRUE(runner.collect(upload).isEmpty()); // a failure stops new parts
    runner.deliver(upload, runner.run(parts.at(2)));

    EXPECT_EQ(upload.state(), IOperation::StateError);
    EXPECT_EQ(upload.errorCode(), 7);
    EXPECT_EQ(upload.errorMessage(), QStringLiteral("part 2 refused"));
    EXPECT_EQ(device.delivered(), PartSize * 3);
    EXPECT_TRUE(runner.collect(upload).isEmpty());
}

TEST_F(MultipartUpload, SourceChangesEndTheUploadWithTheirRecord)
{
    struct Case
    {
        const char* name;
        std::function<void()> action;
        qint64 offset;
        int code;
        bool message;
        bool record;
    };
    const QList<Case> cases = {
        // Parts 1 and 2 out when the change shows: the modified file's text survives, the deleted
        // file's does not (kept as designed); code and record survive both.
        {"modified", NorvikTest::throwModified(), PartSize * 2 + 1, 29, true, true},
        {"deleted", NorvikTest::throwDeleted(), PartSize * 2 + 1, 29, false, true},
        // Nothing out: the operation ends at once, with the text.
        {"deleted at once", NorvikTest::throwDeleted(), 10, 29, true, true},
        // A read that fails part way: no short part goes up in the middle of the object.
        {"read fails at once", {}, 10, 3, true, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        NorvikTest::ScriptedSource device(PartSize * 6);
        device.breakAt(c.offset, c.action);
        UploadMultipart upload(m_memoryConfig, QStringLiteral("changing.bin"), {}, &device, QByteArray(),
                               nullptr);
        JobRunner runner(m_memory);
        ASSERT_TRUE(runner.drive(upload));
        EXPECT_EQ(upload.state(), IOperation::StateError);
        EXPECT_EQ(upload.errorCode(), c.code);
        EXPECT_EQ(!upload.errorMessage().isEmpty(), c.message);
        EXPECT_EQ(!upload.cloudError().isEmpty(), c.record);
        EXPECT_EQ(runner.jobTypes.count(JobFormat::UploadMultipart::Part::Type), c.offset / PartSize);
        EXPECT_EQ(runner.jobTypes.count(JobFormat::UploadMultipart::End::Type), 0);
    }
}

TEST_F(MultipartUpload, PartListingStopsWhenItsMarkerDoesNotMove)
{
    const QByteArray uploadId = m_memory.beginMultipartUpload({}, QStringLiteral("m.bin"), {});
    for (quint64 part = 1; part <= 5; ++part)
        m_memory.uploadMultipart({}, QStringLiteral("m.bin"), uploadId, part, QByteArray(10, 'x'), QUuid());

    QJsonObject job = QJsonObject::fromVariantMap(m_memoryConfig);
    job.insert(JobFormat::Type, JobFormat::UploadMultipart::ListParts::Type);
    job.insert(JobFormat::UploadMultipart::Path, QStringLiteral("m.bin"));
    job.insert(JobFormat::UploadMultipart::UploadInfo, QString::fromUtf8(uploadId));
    const QJsonObject all = uploadMultipartParts(&m_memory, job).object();
    EXPECT_EQ(all.value(JobFormat::Result::ResultData).toArray().size(), 5);
    EXPECT_EQ(m_memory.listCalls, 3);

    m_memory.listCalls = 0;
    m_memory.markerStuck = true;
    const QJsonObject stuck = uploadMultipartParts(&m_memory, job).object();
    EXPECT_EQ(stuck.value(JobFormat::Result::Status::Key).toString(),
              JobFormat::Result::Status::Value::Success);
    EXPECT_EQ(m_memory.listCalls, 2);
}

TEST_F(MultipartUpload, PartsAsLargeAsTheBudgetGoThroughTemporaryFiles)
{
    // A part of the whole budget is parked on disk, never in memory.
    const qint64 partSize = static_cast<qint64>(OperationManager::memoryUsed());
    NorvikTest::ScriptedSource device(partSize + 4096);
    QMap<QString, QVariant> config = m_fileConfig;
    config.insert(OperationConfig::ChunkSize, partSize);
    UploadMultipart upload(config, QStringLiteral("/large.bin"), {}, &device, QByteArray(), nullptr);
    JobRunner runner(m_files);
    ASSERT_TRUE(runner.drive(upload));

    EXPECT_EQ(upload.state(), IOperation::StateComplete) << upload.errorMessage().toStdString();
    int fileParts = 0;
    for (const QJsonObject& result : runner.results) {
        if (jobType(result) == JobFormat::UploadMultipart::Part::Type) {
            EXPECT_EQ(result.value(JobFormat::BufferType::Key).toString(),
                      JobFormat::BufferType::Value::File);
            ++fileParts;
        }
    }
    EXPECT_EQ(fileParts, 2);
    EXPECT_TRUE(QDir(TemporaryFileManager::instance().folderPath()).entryList(QDir::Files).isEmpty());

    QFile file(m_root + QStringLiteral("/large.bin"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll() == NorvikTest::ScriptedSource::bytes(0, partSize + 4096));
    file.remove();
}
