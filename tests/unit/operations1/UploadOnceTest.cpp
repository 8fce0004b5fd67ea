#include "operations/UploadOnce.h"

#include "OperationsTestSupport.h"

#include "connection/CloudErrorFactory.h"
#include "connection/FileSourceCloudError.h"
#include "engine/JobFormat.h"
#include "engine/OperationJob.h"
#include "engine/OperationManager.h"
#include "engine/OperationTask.h"
#include "operations/UploadEmptyFolder.h"
#include "info/CloudType.h"
#include "storage/CloudFileSystem.h"
#include "streams/MemoryManager.h"
#include "streams/TemporaryFile.h"
#include "streams/TemporaryFileManager.h"

#include "TestSupport.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <memory>

using namespace Norvik::Cloud;
using NorvikTest::SourceDevice;

namespace {

constexpr qint64 Budget = 104857600;
constexpr int TemporaryFileSlots = 2;

// The registries take their limits when first used: two temporary-file slots, the smallest
// memory budget, and a folder that the tests can look into.
class RegistryLimits : public ::testing::Environment
{
public:
    void SetUp() override
    {
        OperationManager::setThreadCount(TemporaryFileSlots);
        OperationManager::setMemoryUsed(1);
        OperationManager::setTemporaryFileFolderPath(NorvikTest::scratchDir(QStringLiteral("parts")));
        ASSERT_EQ(MemoryManager::instance().limit(), static_cast<unsigned long long>(Budget));
        TemporaryFileManager::instance();
    }
};

const auto* const registryLimits = ::testing::AddGlobalTestEnvironment(new RegistryLimits);

class UploadOnceByHand : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // Every test gives back every buffer it takes; what is left over is a leak.
        ASSERT_EQ(MemoryManager::instance().used(), 0u);
        ASSERT_EQ(NorvikTest::freeTemporaryFileSlots(), TemporaryFileSlots);
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        m_root = NorvikTest::scratchDir(QStringLiteral("upload.") + QString::fromLatin1(test->name()));
        ASSERT_TRUE(m_storage.setConfig(NorvikTest::fileSystemConfig(m_root)));
    }

    void TearDown() override
    {
        EXPECT_EQ(MemoryManager::instance().used(), 0u);
        EXPECT_EQ(NorvikTest::freeTemporaryFileSlots(), TemporaryFileSlots);
    }

    std::unique_ptr<Operation::UploadOnce> upload(QIODevice* device,
                                                  const QString& path = QStringLiteral("dir/object"))
    {
        return std::make_unique<Operation::UploadOnce>(NorvikTest::fileSystemConfig(m_root), path,
                                                       QMap<QString, QVariant>(), device);
    }

    QString stored(const QString& path) const { return m_root + QLatin1Char('/') + path; }

    // Size and samples of the stored file at its start, middle and end.
    void expectStoredPattern(const QString& path, qint64 length) const
    {
        QFile file(stored(path));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
        ASSERT_EQ(file.size(), length);
        const qint64 sample = std::min<qint64>(length, 65536);
        for (const qint64 at : {qint64(0), (length - sample) / 2, length - sample}) {
            ASSERT_TRUE(file.seek(at));
            ASSERT_EQ(file.read(sample), SourceDevice::pattern(at, sample)) << "at " << at;
        }
    }

    QString m_root;
    Api::CloudFileSystem m_storage;
};

TEST_F(UploadOnceByHand, SmallSourceWaitsInMemoryAndArrivesWhole)
{
    SourceDevice source(70000);
    QMap<QString, QVariant> meta{{QStringLiteral("FilePermissions"), 0x6400}};
    Operation::UploadOnce operation(NorvikTest::fileSystemConfig(m_root), QStringLiteral("dir/object"), meta,
                                    &source);

    const QJsonObject job = operation.makeJob().object();
    EXPECT_EQ(job.value(JobFormat::Type).toString(), JobFormat::UploadOnce::Type);
    EXPECT_EQ(QUuid(job.value(JobFormat::Id).toString()), operation.id());
    EXPECT_EQ(job.value(JobFormat::UploadOnce::Path).toString(), QStringLiteral("dir/object"));
    EXPECT_EQ(job.value(JobFormat::UploadOnce::BufferType).toString(), JobFormat::BufferType::Value::Memory);
    EXPECT_EQ(job.value(JobFormat::UploadOnce::MetaData).toObject().toVariantMap(), meta);
    EXPECT_EQ(MemoryManager::instance().used(), 70000u);
    // One job only: while it is out nothing more is asked of the storage.
    EXPECT_TRUE(operation.makeJob().isNull());

    const QJsonDocument result = OperationJob::exec(&m_storage, QJsonDocument(job));
    operation.resultJob(result);
    ASSERT_TRUE(NorvikTest::waitUntilComplete(operation));

    EXPECT_EQ(operation.state(), IOperation::StateComplete);
    EXPECT_EQ(operation.size(), 70000u);
    EXPECT_EQ(operation.info().value(QStringLiteral("Name")).toString(), QStringLiteral("dir/object"));
    EXPECT_EQ(operation.info().value(QStringLiteral("Size")).toInt(), 70000);
    expectStoredPattern(QStringLiteral("dir/object"), 70000);
}

TEST_F(UploadOnceByHand, SourceOfTheWholeBudgetGoesToAFileAndOneByteLessToMemory)
{
    SourceDevice atBudget(Budget);
    SourceDevice belowBudget(Budget - 1);
    const auto large = upload(&atBudget, QStringLiteral("at-budget"));
    const auto fits = upload(&belowBudget, QStringLiteral("below-budget"));

    const QJsonObject fileJob = large->makeJob().object();
    EXPECT_EQ(fileJob.value(JobFormat::UploadOnce::BufferType).toString(),
              JobFormat::BufferType::Value::File);
    const QUuid fileId(fileJob.value(JobFormat::UploadOnce::BufferId).toString());
    ASSERT_TRUE(TemporaryFileManager::instance().get(fileId));
    EXPECT_EQ(TemporaryFileManager::instance().get(fileId)->size(), Budget);
    EXPECT_EQ(MemoryManager::instance().used(), 0u);
    large->resultJob(OperationJob::exec(&m_storage, QJsonDocument(fileJob)));
    EXPECT_FALSE(TemporaryFileManager::instance().get(fileId));

    const QJsonObject memoryJob = fits->makeJob().object();
    EXPECT_EQ(memoryJob.value(JobFormat::UploadOnce::BufferType).toString(),
              JobFormat::BufferType::Value::Memory);
    EXPECT_EQ(MemoryManager::instance().used(), static_cast<unsigned long long>(Budget - 1));
    fits->resultJob(OperationJob::exec(&m_storage, QJsonDocument(memoryJob)));

    ASSERT_TRUE(NorvikTest::waitUntilComplete(*large));
    ASSERT_TRUE(NorvikTest::waitUntilComplete(*fits));
    EXPECT_EQ(large->state(), IOperation::StateComplete);
    EXPECT_EQ(fits->state(), IOperation::StateComplete);
    EXPECT_EQ(large->size(), static_cast<unsigned long long>(Budget));
    EXPECT_EQ(fits->size(), static_cast<unsigned long long>(Budget - 1));
    expectStoredPattern(QStringLiteral("at-budget"), Budget);
    expectStoredPattern(QStringLiteral("below-budget"), Budget - 1);
}

TEST_F(UploadOnceByHand, SourcesOfUnknownLengthAreReadWholeIncludingAnEmptyOne)
{
    SourceDevice pipe(300000, SourceDevice::Kind::Sequential);
    const auto fromPipe = upload(&pipe, QStringLiteral("from-pipe"));
    EXPECT_EQ(NorvikTest::runByHand(*fromPipe, m_storage), 1);
    ASSERT_TRUE(NorvikTest::waitUntilComplete(*fromPipe));
    EXPECT_EQ(fromPipe->state(), IOperation::StateComplete);
    EXPECT_EQ(fromPipe->size(), 300000u);
    expectStoredPattern(QStringLiteral("from-pipe"), 300000);

    // A length of 0 is no length at all: the source is read to its end, here at once.
    SourceDevice empty(0);
    const auto fromEmpty = upload(&empty, QStringLiteral("empty"));
    const QJsonObject job = fromEmpty->makeJob().object();
    EXPECT_EQ(job.value(JobFormat::UploadOnce::BufferType).toString(), JobFormat::BufferType::Value::Memory);
    fromEmpty->resultJob(OperationJob::exec(&m_storage, QJsonDocument(job)));
    ASSERT_TRUE(NorvikTest::waitUntilComplete(*fromEmpty));
    EXPECT_EQ(fromEmpty->state(), IOperation::StateComplete);
    EXPECT_EQ(fromEmpty->size(), 0u);
    EXPECT_TRUE(QFileInfo(stored(QStringLiteral("empty"))).isFile());
    EXPECT_EQ(QFileInfo(stored(QStringLiteral("empty"))).size(), 0);
}

TEST_F(UploadOnceByHand, WaitsWithoutReadingWhileTheBudgetIsTaken)
{
    const QUuid others = MemoryManager::instance().tryReserved(Budget - 1000);
    ASSERT_FALSE(others.isNull());

    SourceDevice source(1001);
    const auto operation = upload(&source);
    for (int pass = 0; pass < 5; ++pass)
        EXPECT_TRUE(operation->makeJob().isNull());
    QCoreApplication::processEvents();
    EXPECT_EQ(source.readCalls(), 0);
    EXPECT_EQ(operation->errorCode(), 0);
    EXPECT_FALSE(operation->isComplite());

    MemoryManager::instance().remove(others);
    EXPECT_EQ(NorvikTest::runByHand(*operation, m_storage), 1);
    ASSERT_TRUE(NorvikTest::waitUntilComplete(*operation));
    EXPECT_EQ(operation->state(), IOperation::StateComplete);
    expectStoredPattern(QStringLiteral("dir/object"), 1001);
}

TEST_F(UploadOnceByHand, SourceOfUnknownLengthIsReadOnceWhileItWaitsForTheBudget)
{
    const QUuid others = MemoryManager::instance().tryReserved(Budget - 1000);
    ASSERT_FALSE(others.isNull());

    SourceDevice pipe(5000, SourceDevice::Kind::Sequential);
    const auto operation = upload(&pipe);
    EXPECT_TRUE(operation->makeJob().isNull());
    const int callsAfterFirstPass = pipe.readCalls();
    EXPECT_GT(callsAfterFirstPass, 0);
    EXPECT_EQ(pipe.delivered(), 5000);
    EXPECT_TRUE(operation->makeJob().isNull());
    EXPECT_EQ(pipe.readCalls(), callsAfterFirstPass);

    MemoryManager::instance().remove(others);
    NorvikTest::runByHand(*operation, m_storage);
    ASSERT_TRUE(NorvikTest::waitUntilComplete(*operation));
    EXPECT_EQ(operation->state(), IOperation::StateComplete);
    expectStoredPattern(QStringLiteral("dir/object"), 5000);
}

TEST_F(UploadOnceByHand, WaitsWithoutErrorWhileEveryTemporaryFileIsTaken)
{
    QBuffer small;
    small.setData(QByteArray("part"));
    small.open(QIODevice::ReadOnly);
    QList<QUuid> taken;
    for (int i = 0; i < TemporaryFileSlots; ++i) {
        small.seek(0);
        taken.append(TemporaryFileManager::instance().tryAdd(4, small).first);
        ASSERT_FALSE(taken.last().isNull());
    }

    SourceDevice source(Budget);
    const auto operation = upload(&source);
    EXPECT_TRUE(operation->makeJob().isNull());
    EXPECT_TRUE(operation->makeJob().isNull());
    QCoreApplication::processEvents();
    EXPECT_EQ(source.readCalls(), 0);
    EXPECT_EQ(operation->errorCode(), 0);
    EXPECT_FALSE(operation->isComplite());

    for (const QUuid& id : taken)
        TemporaryFileManager::instance().remove(id);
    NorvikTest::runByHand(*operation, m_storage);
    ASSERT_TRUE(NorvikTest::waitUntilComplete(*operation));
    EXPECT_EQ(operation->state(), IOperation::StateComplete);
    expectStoredPattern(QStringLiteral("dir/object"), Budget);
}

// A source file that changes while it is read ends the upload with code 29 and the record of
// the change, in memory and on the way to a temporary file alike.
struct SourceChangeCase
{
    SourceDevice::Change change;
    qint64 length;
    int recordType;
};

class UploadOnceSourceChange : public UploadOnceByHand, public ::testing::WithParamInterface<SourceChangeCase>
{
};

TEST_P(UploadOnceSourceChange, EndsTheUploadWithTheRecordOfTheChange)
{
    const SourceChangeCase& param = GetParam();
    const QString changedFile = QStringLiteral("/home/user/documents/report.odt");
    SourceDevice source(param.length);
    source.changeAt(param.length / 2, param.change, changedFile);
    const auto operation = upload(&source);

    EXPECT_TRUE(operation->makeJob().isNull());
    ASSERT_TRUE(NorvikTest::waitUntilComplete(*operation));
    EXPECT_EQ(operation->state(), IOperation::StateError);
    EXPECT_EQ(operation->errorCode(), 29);
    EXPECT_TRUE(operation->errorMessage().contains(changedFile)) << operation->errorMessage().toStdString();

    const auto record = Error::CloudErrorFactory()(operation->cloudError().toUtf8());
    ASSERT_TRUE(record) << operation->cloudError().toStdString();
    EXPECT_EQ(record->type(), param.recordType);
    const auto* sourceRecord = dynamic_cast<const Error::FileSource::SourceFileError*>(record.data());
    ASSERT_NE(sourceRecord, nullptr);
    EXPECT_EQ(sourceRecord->path(), changedFile);

    // Not retried: the source is not read again, and nothing reached the storage.
    const int calls = source.readCalls();
    EXPECT_TRUE(operation->makeJob().isNull());
    EXPECT_EQ(source.readCalls(), calls);
    EXPECT_EQ(NorvikTest::entryCount(m_root), 0);
}

INSTANTIATE_TEST_SUITE_P(
    MemoryAndFile, UploadOnceSourceChange,
    ::testing::Values(SourceChangeCase{SourceDevice::Change::Deleted, 4096,
                                       Error::FileSource::SourceFileDeleted::TypeNumber},
                      SourceChangeCase{SourceDevice::Change::Modified, 4096,
                                       Error::FileSource::SourceFileModified::TypeNumber},
                      SourceChangeCase{SourceDevice::Change::Deleted, Budget,
                                       Error::FileSource::SourceFileDeleted::TypeNumber},
                      SourceChangeCase{SourceDevice::Change::Modified, Budget,
                                       Error::FileSource::SourceFileModified::TypeNumber}));

TEST_F(UploadOnceByHand, SourceThatEndsBeforeItsLengthStoresNothing)
{
    for (const qint64 length : {qint64(10000), Budget}) {
        SourceDevice source(length);
        source.endAt(length - 100);
        const auto operation = upload(&source, QStringLiteral("cut"));
        EXPECT_TRUE(operation->makeJob().isNull());
        ASSERT_TRUE(NorvikTest::waitUntilComplete(*operation));
        EXPECT_EQ(operation->state(), IOperation::StateError);
        EXPECT_EQ(operation->errorCode(), 3);
        EXPECT_TRUE(operation->errorMessage().contains(QString::number(length - 100)))
            << operation->errorMessage().toStdString();
        EXPECT_FALSE(QFileInfo::exists(stored(QStringLiteral("cut"))));
        EXPECT_EQ(MemoryManager::instance().used(), 0u);
        EXPECT_EQ(NorvikTest::freeTemporaryFileSlots(), TemporaryFileSlots);
    }
}

TEST_F(UploadOnceByHand, FailedUploadStillFreesItsBufferAndCountsTheBytesHandedOver)
{
    // A path out of the storage folder is refused by the storage.
    SourceDevice source(2048);
    const auto operation = upload(&source, QStringLiteral("../outside"));
    EXPECT_EQ(NorvikTest::runByHand(*operation, m_storage), 1);
    ASSERT_TRUE(NorvikTest::waitUntilComplete(*operation));
    EXPECT_EQ(operation->state(), IOperation::StateError);
    EXPECT_EQ(operation->errorCode(), 7);
    EXPECT_FALSE(operation->errorMessage().isEmpty());
    EXPECT_EQ(operation->size(), 2048u);
    EXPECT_TRUE(operation->info().isEmpty());
    EXPECT_EQ(MemoryManager::instance().used(), 0u);
}

TEST_F(UploadOnceByHand, StartPartIsUploadedFromItsRegistryWithoutReadingTheDevice)
{
    SourceDevice untouched(10);

    const QByteArray inMemory = SourceDevice::pattern(0, 3000);
    const auto fromMemory = upload(&untouched, QStringLiteral("from-memory"));
    fromMemory->setStartPartId(MemoryManager::instance().add(inMemory));
    const QJsonObject memoryJob = fromMemory->makeJob().object();
    EXPECT_EQ(memoryJob.value(JobFormat::UploadOnce::BufferType).toString(),
              JobFormat::BufferType::Value::Memory);
    fromMemory->resultJob(OperationJob::exec(&m_storage, QJsonDocument(memoryJob)));

    // A file entry that the storage refuses: it is freed all the same.
    QBuffer part;
    part.setData(SourceDevice::pattern(0, 5000));
    part.open(QIODevice::ReadOnly);
    const QUuid fileId = TemporaryFileManager::instance().tryAdd(5000, part).first;
    ASSERT_FALSE(fileId.isNull());
    const auto fromFile = upload(&untouched, QStringLiteral("a/../../refused"));
    fromFile->setStartPartId(fileId);
    const QJsonObject fileJob = fromFile->makeJob().object();
    EXPECT_EQ(fileJob.value(JobFormat::UploadOnce::BufferType).toString(),
              JobFormat::BufferType::Value::File);
    fromFile->resultJob(OperationJob::exec(&m_storage, QJsonDocument(fileJob)));

    ASSERT_TRUE(NorvikTest::waitUntilComplete(*fromMemory));
    ASSERT_TRUE(NorvikTest::waitUntilComplete(*fromFile));
    EXPECT_EQ(untouched.readCalls(), 0);
    EXPECT_EQ(fromMemory->state(), IOperation::StateComplete);
    EXPECT_EQ(NorvikTest::readFile(stored(QStringLiteral("from-memory"))), inMemory);
    EXPECT_EQ(fromFile->state(), IOperation::StateError);
    EXPECT_EQ(fromFile->size(), 5000u);
    EXPECT_FALSE(TemporaryFileManager::instance().get(fileId));
}

TEST_F(UploadOnceByHand, JobWhoseBufferIsGoneAnswersWithAnErrorInsteadOfStayingSilent)
{
    QJsonObject job{{JobFormat::Type, JobFormat::UploadOnce::Type},
                    {JobFormat::Id, QUuid::createUuid().toString()},
                    {JobFormat::UploadOnce::Path, QStringLiteral("x")}};
    EXPECT_TRUE(uploadOnce(nullptr, job).isNull());

    // No buffer id, a file entry that is not there, a registry that does not exist.
    QJsonObject noId = job;
    noId.insert(JobFormat::UploadOnce::BufferType, JobFormat::BufferType::Value::Memory);
    QJsonObject goneFile = job;
    goneFile.insert(JobFormat::UploadOnce::BufferType, JobFormat::BufferType::Value::File);
    goneFile.insert(JobFormat::UploadOnce::BufferId, QUuid::createUuid().toString());
    QJsonObject unknownType = goneFile;
    unknownType.insert(JobFormat::UploadOnce::BufferType, QStringLiteral("Tape"));

    for (const QJsonObject& broken : {noId, goneFile, unknownType}) {
        const QJsonObject result = OperationJob::exec(&m_storage, QJsonDocument(broken)).object();
        EXPECT_EQ(result.value(JobFormat::Result::Status::Key).toString(),
                  JobFormat::Result::Status::Value::Error);
        EXPECT_EQ(result.value(JobFormat::Result::ErrorCode).toInt(), 3);
        EXPECT_FALSE(result.value(JobFormat::Result::ErrorMessage).toString().isEmpty());
        // The job comes back whole, so that the operation finds its buffer keys.
        EXPECT_EQ(result.value(JobFormat::UploadOnce::BufferType),
                  broken.value(JobFormat::UploadOnce::BufferType));
    }
    EXPECT_FALSE(QFileInfo::exists(stored(QStringLiteral("x"))));
}

} // namespace

TEST(TaskUpload, AcceptsOnlySingleShotUploadsAndMarksThemRunning)
{
    QByteArray data("x");
    QBuffer source(&data);
    source.open(QIODevice::ReadOnly);
    const QMap<QString, QVariant> config{{QStringLiteral("CloudType"), QStringLiteral("FileSystem")}};
    QSharedPointer<IOperation> upload(new Operation::UploadOnce(config, QStringLiteral("/a"), {}, &source));
    const auto accepted = OperationTask::taskUpload(upload);
    EXPECT_TRUE(accepted.first);
    EXPECT_TRUE(accepted.second.isEmpty());
    EXPECT_TRUE(NorvikTest::waitFor([&] { return upload->state() == IOperation::StateRunning; }, 2000));

    QSharedPointer<IOperation> folder(new Operation::UploadEmptyFolder(config, QStringLiteral("/d/")));
    const auto refused = OperationTask::taskUpload(folder);
    EXPECT_FALSE(refused.first);
    EXPECT_EQ(refused.second, QStringLiteral("error operation type, is not: ") + OperationType::Upload);
    QCoreApplication::processEvents();
    EXPECT_EQ(folder->state(), IOperation::StateCreated);
}
