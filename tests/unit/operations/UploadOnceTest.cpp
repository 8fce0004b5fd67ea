#include "operations/UploadOnce.h"

#include "JobRunner.h"
#include "ScriptedSource.h"

#include "TestSupport.h"

#include "connection/CloudErrorFactory.h"
#include "connection/FileSourceCloudError.h"
#include "engine/JobFormat.h"
#include "engine/OperationJob.h"
#include "engine/OperationManager.h"
#include "info/Config.h"
#include "storage/CloudFileSystem.h"
#include "streams/MemoryManager.h"
#include "streams/TemporaryFile.h"
#include "streams/TemporaryFileManager.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>

#include <gtest/gtest.h>

#include <memory>

using namespace Norvik::Cloud;
using NorvikTest::ScriptedSource;

namespace {

constexpr qint64 Budget = 104857600;
constexpr int TemporaryFileSlots = 2;

// A configuration of the local-folder storage on root, with a fresh "CloudId".
QMap<QString, QVariant> fileSystemConfig(const QString& root)
{
    return {{Config::Type, Name::FileSystem},
            {Config::Id, QUuid::createUuid().toString()},
            {Config::FileSystem::Path, root}};
}

// How many temporary files could be made now; fewer than the slots means one is still held.
int freeTemporaryFileSlots()
{
    QBuffer probe;
    probe.open(QIODevice::ReadOnly);
    QList<QUuid> made;
    for (int i = 0; i < OperationManager::threadCount(); ++i) {
        const QUuid id = TemporaryFileManager::instance().tryAdd(0, probe).first;
        if (id.isNull())
            break;
        made.append(id);
    }
    for (const QUuid& id : made)
        TemporaryFileManager::instance().remove(id);
    return made.size();
}

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
        ASSERT_EQ(freeTemporaryFileSlots(), TemporaryFileSlots);
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        m_root = NorvikTest::scratchDir(QStringLiteral("upload.") + QString::fromLatin1(test->name()));
        ASSERT_TRUE(m_storage.setConfig(fileSystemConfig(m_root)));
    }

    void TearDown() override
    {
        EXPECT_EQ(MemoryManager::instance().used(), 0u);
        EXPECT_EQ(freeTemporaryFileSlots(), TemporaryFileSlots);
    }

    std::unique_ptr<Operation::UploadOnce> upload(QIODevice* device,
                                                  const QString& path = QStringLiteral("dir/object"))
    {
        return std::make_unique<Operation::UploadOnce>(fileSystemConfig(m_root), path,
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
            ASSERT_EQ(file.read(sample), ScriptedSource::bytes(at, sample)) << "at " << at;
        }
    }

    QString m_root;
    Api::CloudFileSystem m_storage;
};

TEST_F(UploadOnceByHand, SourceOfTheWholeBudgetGoesToAFileAndOneByteLessToMemory)
{
    for (const qint64 length : {Budget, Budget - 1}) {
        SCOPED_TRACE(length);
        const bool toFile = length == Budget;
        ScriptedSource source(length);
        const auto operation = upload(&source, QStringLiteral("object-%1").arg(length));
        const QJsonObject job = operation->makeJob().object();
        EXPECT_EQ(job.value(JobFormat::UploadOnce::BufferType).toString(),
                  toFile ? JobFormat::BufferType::Value::File : JobFormat::BufferType::Value::Memory);
        const QUuid fileId(job.value(JobFormat::UploadOnce::BufferId).toString());
        EXPECT_EQ(bool(TemporaryFileManager::instance().get(fileId)), toFile);
        EXPECT_EQ(MemoryManager::instance().used(), toFile ? 0u : static_cast<unsigned long long>(length));
        operation->resultJob(OperationJob::exec(&m_storage, QJsonDocument(job)));
        EXPECT_FALSE(TemporaryFileManager::instance().get(fileId));
        ASSERT_TRUE(NorvikTest::waitFor([&] { return operation->isComplite(); }));
        EXPECT_EQ(operation->state(), IOperation::StateComplete);
        EXPECT_EQ(operation->size(), static_cast<unsigned long long>(length));
        expectStoredPattern(QStringLiteral("object-%1").arg(length), length);
    }
}

// While the budget or every temporary file is taken the upload waits: no read, no error.
TEST_F(UploadOnceByHand, WaitsWithoutReadingWhileItsBufferIsTaken)
{
    for (const bool memory : {true, false}) {
        SCOPED_TRACE(memory);
        QBuffer small;
        small.setData(QByteArray("part"));
        small.open(QIODevice::ReadOnly);
        QList<QUuid> taken;
        if (memory)
            taken.append(MemoryManager::instance().tryReserved(Budget - 1000));
        for (int i = 0; !memory && i < TemporaryFileSlots; ++i) {
            small.seek(0);
            taken.append(TemporaryFileManager::instance().tryAdd(4, small).first);
        }
        ASSERT_FALSE(taken.contains(QUuid()));

        const qint64 length = memory ? 1001 : Budget;
        ScriptedSource source(length);
        const auto operation = upload(&source);
        EXPECT_TRUE(operation->makeJob().isNull());
        EXPECT_TRUE(operation->makeJob().isNull());
        QCoreApplication::processEvents();
        EXPECT_EQ(source.readCalls(), 0);
        EXPECT_EQ(operation->errorCode(), 0);
        EXPECT_FALSE(operation->isComplite());

        for (const QUuid& id : taken) {
            if (memory)
                MemoryManager::instance().remove(id);
            else
                TemporaryFileManager::instance().remove(id);
        }
        EXPECT_TRUE(JobRunner(m_storage).drive(*operation));
        ASSERT_TRUE(NorvikTest::waitFor([&] { return operation->isComplite(); }));
        EXPECT_EQ(operation->state(), IOperation::StateComplete);
        expectStoredPattern(QStringLiteral("dir/object"), length);
    }
}

// A source file that changes while it is read ends the upload with code 29 and the record of
// the change, in memory and on the way to a temporary file alike.
struct SourceChangeCase
{
    bool deleted;
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
    ScriptedSource source(param.length);
    source.breakAt(param.length / 2, param.deleted ? NorvikTest::throwDeleted(changedFile)
                                                   : NorvikTest::throwModified(changedFile));
    const auto operation = upload(&source);

    EXPECT_TRUE(operation->makeJob().isNull());
    ASSERT_TRUE(NorvikTest::waitFor([&] { return operation->isComplite(); }));
    EXPECT_EQ(operation->state(), IOperation::StateError);
    EXPECT_EQ(operation->errorCode(), 29);
    EXPECT_TRUE(operation->errorMessage().contains(changedFile));

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
    EXPECT_EQ(QDir(m_root).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden).size(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    MemoryAndFile, UploadOnceSourceChange,
    ::testing::Values(SourceChangeCase{true, 4096, Error::FileSource::SourceFileDeleted::TypeNumber},
                      SourceChangeCase{false, 4096, Error::FileSource::SourceFileModified::TypeNumber},
                      SourceChangeCase{true, Budget, Error::FileSource::SourceFileDeleted::TypeNumber},
                      SourceChangeCase{false, Budget, Error::FileSource::SourceFileModified::TypeNumber}));

TEST_F(UploadOnceByHand, SourceThatEndsBeforeItsLengthStoresNothing)
{
    for (const qint64 length : {qint64(10000), Budget}) {
        ScriptedSource source(length);
        source.endAt(length - 100);
        const auto operation = upload(&source, QStringLiteral("cut"));
        EXPECT_TRUE(operation->makeJob().isNull());
        ASSERT_TRUE(NorvikTest::waitFor([&] { return operation->isComplite(); }));
        EXPECT_EQ(operation->state(), IOperation::StateError);
        EXPECT_EQ(operation->errorCode(), 3);
        EXPECT_TRUE(operation->errorMessage().contains(QString::number(length - 100)));
        EXPECT_FALSE(QFile::exists(stored(QStringLiteral("cut"))));
        EXPECT_EQ(MemoryManager::instance().used(), 0u);
        EXPECT_EQ(freeTemporaryFileSlots(), TemporaryFileSlots);
    }
}

} // namespace
