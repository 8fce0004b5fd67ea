#include "OperationsTestSupport.h"

#include "connection/CloudErrorFactory.h"
#include "connection/FileSourceCloudError.h"
#include "engine/JobFormat.h"
#include "engine/OperationManager.h"
#include "info/Config.h"
#include "operations/CheckConfig.h"
#include "operations/CreateContainer.h"
#include "operations/DeleteOnce.h"
#include "operations/ListContainers.h"
#include "operations/Listing.h"
#include "operations/MultipleDelete.h"
#include "operations/SignUrl.h"
#include "operations/UploadEmptyFolder.h"
#include "operations/UploadOnce.h"
#include "streams/MemoryManager.h"
#include "streams/TemporaryFileManager.h"

#include "TestSupport.h"

#include <NorvikCore/NorvikDebug.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QMutex>
#include <QSet>
#include <QThread>
#include <QUrl>

#include <gtest/gtest.h>

using namespace Norvik::Cloud;
using NorvikTest::SourceDevice;

namespace {

constexpr qint64 Budget = 104857600;
constexpr int ThreadCount = 2;
// Long enough for a task thread to have asked an operation for a job several times.
constexpr unsigned long SeveralPassesMs = 600;

// Two task threads and two job threads (so also two temporary-file takenSlots), the smallest
// memory budget, and a part folder of the test's own. Set before the engine starts.
class SmallEngine : public ::testing::Environment
{
public:
    void SetUp() override
    {
        OperationManager::setThreadCount(ThreadCount);
        OperationManager::setMemoryUsed(1);
        OperationManager::setTemporaryFileFolderPath(NorvikTest::scratchDir(QStringLiteral("parts")));
        OperationManager::instance();
    }
    void TearDown() override { OperationManager::instance().stop(); }
};

const auto* const smallEngine = ::testing::AddGlobalTestEnvironment(new SmallEngine);

// Keeps the warning and debug lines logged while it exists.
class LogLines
{
public:
    LogLines()
        : m_threshold(NorvikDebug::threshold())
    {
        NorvikDebug::setSink([this](NorvikDebug::Level, const QString&, const QString& message) {
            QMutexLocker lock(&m_mutex);
            m_lines.append(message);
        });
        NorvikDebug::setThreshold(NorvikDebug::Level::Debug);
    }
    ~LogLines()
    {
        NorvikDebug::setThreshold(m_threshold);
        NorvikDebug::setSink(NorvikDebug::Sink());
    }
    QStringList containing(const QString& text) const
    {
        QMutexLocker lock(&m_mutex);
        return m_lines.filter(text);
    }

private:
    mutable QMutex m_mutex;
    QStringList m_lines;
    NorvikDebug::Level m_threshold;
};

class OperationsThroughEngine : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(MemoryManager::instance().used(), 0u);
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        m_root = NorvikTest::scratchDir(QStringLiteral("engine.") + QString::fromLatin1(test->name()));
        m_config = NorvikTest::fileSystemConfig(m_root);
    }

    void TearDown() override
    {
        // Whatever ended how it ended, no buffer outlives its operation.
        EXPECT_EQ(MemoryManager::instance().used(), 0u);
        EXPECT_EQ(NorvikTest::freeTemporaryFileSlots(), ThreadCount);
        for (const auto& operation : m_started)
            operation->remove();
    }

    static OperationManager& manager() { return OperationManager::instance(); }

    // Starts the operation and counts its finished() signals.
    void start(const QSharedPointer<IOperation>& operation)
    {
        ASSERT_TRUE(operation);
        m_started.append(operation);
        QObject::connect(operation.data(), &IOperation::finished,
                         [this, id = operation->id()] { ++m_finished[id]; });
        operation->exec();
    }

    // Starts the operation and waits for its end; false when it did not end in time.
    bool run(const QSharedPointer<IOperation>& operation)
    {
        start(operation);
        return operation && NorvikTest::waitUntilComplete(*operation);
    }

    int finishedCount(const QSharedPointer<IOperation>& operation) const
    {
        return m_finished.value(operation->id());
    }

    QString local(const QString& path) const { return m_root + QLatin1Char('/') + path; }

    void expectStoredPattern(const QString& path, qint64 length) const
    {
        QFile file(local(path));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
        ASSERT_EQ(file.size(), length);
        const qint64 sample = std::min<qint64>(length, 65536);
        for (const qint64 at : {qint64(0), (length - sample) / 2, length - sample}) {
            ASSERT_TRUE(file.seek(at));
            ASSERT_EQ(file.read(sample), SourceDevice::pattern(at, sample)) << "at " << at;
        }
    }

    QSharedPointer<Operation::UploadOnce> upload(QIODevice* device, const QString& path)
    {
        return manager().upload(m_config, path, {}, device).dynamicCast<Operation::UploadOnce>();
    }

    QString m_root;
    QMap<QString, QVariant> m_config;
    QList<QSharedPointer<IOperation>> m_started;
    QMap<QUuid, int> m_finished;
};

TEST_F(OperationsThroughEngine, StartingFunctionsRefuseBadInputWithANullPointerAndAWarning)
{
    LogLines log;
    const QMap<QString, QVariant> none;
    SourceDevice readable(10);
    QBuffer writeOnly;
    writeOnly.open(QIODevice::WriteOnly);
    QBuffer closed;
    const QJsonObject object{{QStringLiteral("Name"), QStringLiteral("x")}};
    const QDateTime later = QDateTime::currentDateTime().addSecs(60);

    EXPECT_FALSE(manager().upload(none, QStringLiteral("p"), {}, &readable));
    EXPECT_FALSE(manager().upload(m_config, QString(), {}, &readable));
    EXPECT_FALSE(manager().upload(m_config, QStringLiteral("p"), {}, nullptr));
    EXPECT_FALSE(manager().upload(m_config, QStringLiteral("p"), {}, &writeOnly));
    EXPECT_FALSE(manager().upload(m_config, QStringLiteral("p"), {}, &closed));
    EXPECT_FALSE(manager().uploadEmptyFolder(none, QStringLiteral("p/")));
    EXPECT_FALSE(manager().uploadEmptyFolder(m_config, QString()));
    EXPECT_FALSE(manager().checkConfig(none));
    EXPECT_FALSE(manager().listing(none, QString(), QString(), QString(), 10));
    EXPECT_FALSE(manager().listContainers(none));
    EXPECT_FALSE(manager().createContainer(none, object));
    EXPECT_FALSE(manager().deleteOnce(none, object));
    EXPECT_FALSE(manager().deleteOnce(m_config, QJsonObject()));
    EXPECT_FALSE(manager().multipleDelete(none, QJsonArray{object}));
    EXPECT_FALSE(manager().multipleDelete(m_config, QJsonArray()));
    EXPECT_FALSE(manager().signUrl(none, QStringLiteral("p"), true, later));
    EXPECT_FALSE(manager().signUrl(m_config, QString(), true, later));
    EXPECT_FALSE(
        manager().signUrl(m_config, QStringLiteral("p"), true, QDateTime::currentDateTime().addSecs(-2)));
    EXPECT_FALSE(manager().signUrl(m_config, QStringLiteral("p"), true, QDateTime()));

    for (const char* name : {"upload", "uploadEmptyFolder", "checkConfig", "listing", "listContainers",
                             "createContainer", "deleteOnce", "multipleDelete"}) {
        EXPECT_FALSE(
            log.containing(
                   QStringLiteral("OperationManager : %1 input params is not valid").arg(QLatin1String(name)))
                .isEmpty())
            << name;
    }
    EXPECT_EQ(log.containing(QStringLiteral("OperationManager : signUrl input params is not valide")).size(),
              4);
    EXPECT_FALSE(log.containing(QStringLiteral("cloudPath :")).isEmpty());
    EXPECT_FALSE(log.containing(QStringLiteral("cloudObjects :")).isEmpty());
}

TEST_F(OperationsThroughEngine, StartingFunctionsRegisterTheRightOperationUnstarted)
{
    SourceDevice source(10);
    const QJsonObject object{{QStringLiteral("Name"), QStringLiteral("x")}};
    // Empty listing arguments, empty container params and an expiry of this very second are
    // all valid.
    const QList<QPair<QSharedPointer<IOperation>, QString>> made{
        {manager().upload(m_config, QStringLiteral("p"), {}, &source), OperationType::Upload},
        {manager().uploadEmptyFolder(m_config, QStringLiteral("p/")), OperationType::UploadEmptyFolder},
        {manager().checkConfig(m_config), OperationType::CheckConfig},
        {manager().listing(m_config, QString(), QString(), QString(), 0), OperationType::Listing},
        {manager().listContainers(m_config), OperationType::ListContainers},
        {manager().createContainer(m_config, QJsonObject()), OperationType::CreateContainer},
        {manager().deleteOnce(m_config, object), OperationType::DeleteOnce},
        {manager().multipleDelete(m_config, QJsonArray{object}), OperationType::MultipleDelete},
        {manager().signUrl(m_config, QStringLiteral("p"), false, QDateTime::currentDateTime()),
         OperationType::SignUrl},
    };
    for (const auto& [operation, type] : made) {
        ASSERT_TRUE(operation) << type.toStdString();
        EXPECT_EQ(operation->type(), type);
        EXPECT_EQ(operation->state(), IOperation::StateCreated);
        EXPECT_EQ(operation->cloudConfig(), m_config);
        EXPECT_EQ(operation->parent(), nullptr);
        EXPECT_EQ(manager().getOperation(operation->id()), operation);
        operation->remove();
        EXPECT_FALSE(manager().getOperation(operation->id()));
    }
    EXPECT_EQ(source.readCalls(), 0);
}

TEST_F(OperationsThroughEngine, UploadsAtAndAroundTheBudgetArriveWhole)
{
    // All at once: the two that fit in memory cannot be there together, so one waits.
    SourceDevice small(3 * 1024 * 1024);
    SourceDevice belowBudget(Budget - 1);
    SourceDevice atBudget(Budget);
    const auto first = upload(&belowBudget, QStringLiteral("sizes/below"));
    const auto second = upload(&small, QStringLiteral("sizes/small"));
    const auto third = upload(&atBudget, QStringLiteral("sizes/at"));
    start(first);
    start(second);
    start(third);
    for (const auto& operation : {first, second, third}) {
        ASSERT_TRUE(NorvikTest::waitUntilComplete(*operation, 120000));
        EXPECT_EQ(operation->state(), IOperation::StateComplete) << operation->errorMessage().toStdString();
        EXPECT_EQ(finishedCount(operation), 1);
    }
    EXPECT_EQ(first->size(), static_cast<unsigned long long>(Budget - 1));
    EXPECT_EQ(third->info().value(QStringLiteral("Size")).toDouble(), double(Budget));
    expectStoredPattern(QStringLiteral("sizes/below"), Budget - 1);
    expectStoredPattern(QStringLiteral("sizes/small"), 3 * 1024 * 1024);
    expectStoredPattern(QStringLiteral("sizes/at"), Budget);
}

TEST_F(OperationsThroughEngine, UploadWaitsForMemoryAndForATemporaryFileInsteadOfFailing)
{
    const QUuid others = MemoryManager::instance().tryReserved(Budget - 100);
    ASSERT_FALSE(others.isNull());
    SourceDevice needsMemory(1000);
    const auto inMemory = upload(&needsMemory, QStringLiteral("waited/memory"));
    start(inMemory);
    QThread::msleep(SeveralPassesMs);
    QCoreApplication::processEvents();
    EXPECT_EQ(inMemory->state(), IOperation::StateRunning);
    EXPECT_EQ(needsMemory.readCalls(), 0);
    MemoryManager::instance().remove(others);
    ASSERT_TRUE(NorvikTest::waitUntilComplete(*inMemory));
    EXPECT_EQ(inMemory->state(), IOperation::StateComplete);
    expectStoredPattern(QStringLiteral("waited/memory"), 1000);

    QBuffer part;
    part.setData("part");
    part.open(QIODevice::ReadOnly);
    QList<QUuid> takenSlots;
    for (int i = 0; i < ThreadCount; ++i) {
        part.seek(0);
        takenSlots.append(TemporaryFileManager::instance().tryAdd(4, part).first);
        ASSERT_FALSE(takenSlots.last().isNull());
    }
    SourceDevice needsFile(Budget);
    const auto inFile = upload(&needsFile, QStringLiteral("waited/file"));
    start(inFile);
    QThread::msleep(SeveralPassesMs);
    QCoreApplication::processEvents();
    EXPECT_EQ(inFile->state(), IOperation::StateRunning);
    EXPECT_EQ(needsFile.readCalls(), 0);
    for (const QUuid& id : takenSlots)
        TemporaryFileManager::instance().remove(id);
    ASSERT_TRUE(NorvikTest::waitUntilComplete(*inFile, 120000));
    EXPECT_EQ(inFile->state(), IOperation::StateComplete);
    expectStoredPattern(QStringLiteral("waited/file"), Budget);
}

TEST_F(OperationsThroughEngine, FailedUploadsFreeTheirBuffers)
{
    SourceDevice small(5000);
    SourceDevice large(Budget);
    const auto fromMemory = upload(&small, QStringLiteral("../escape-memory"));
    const auto fromFile = upload(&large, QStringLiteral("../escape-file"));
    ASSERT_TRUE(run(fromMemory));
    ASSERT_TRUE(run(fromFile));
    for (const auto& operation : {fromMemory, fromFile}) {
        EXPECT_EQ(operation->state(), IOperation::StateError);
        EXPECT_EQ(operation->errorCode(), 7);
        EXPECT_TRUE(operation->errorMessage().contains(QStringLiteral("outside")))
            << operation->errorMessage().toStdString();
        EXPECT_EQ(finishedCount(operation), 1);
    }
    EXPECT_EQ(fromMemory->size(), 5000u);
    EXPECT_EQ(fromFile->size(), static_cast<unsigned long long>(Budget));
    EXPECT_FALSE(QFileInfo::exists(m_root + QStringLiteral("/../escape-memory")));
    // TearDown checks that memory and temporary files are all back.
}

TEST_F(OperationsThroughEngine, SourceChangedDuringTheReadEndsTheUploadWithItsRecord)
{
    const QString path = QStringLiteral("/data/mail.pst");
    SourceDevice deleted(8192);
    deleted.changeAt(4096, SourceDevice::Change::Deleted, path);
    SourceDevice modified(Budget);
    modified.changeAt(Budget / 3, SourceDevice::Change::Modified, path);
    const auto whenDeleted = upload(&deleted, QStringLiteral("changed/deleted"));
    const auto whenModified = upload(&modified, QStringLiteral("changed/modified"));
    ASSERT_TRUE(run(whenDeleted));
    ASSERT_TRUE(run(whenModified));

    const QList<QPair<QSharedPointer<Operation::UploadOnce>, int>> cases{
        {whenDeleted, Error::FileSource::SourceFileDeleted::TypeNumber},
        {whenModified, Error::FileSource::SourceFileModified::TypeNumber}};
    for (const auto& [operation, recordType] : cases) {
        EXPECT_EQ(operation->state(), IOperation::StateError);
        EXPECT_EQ(operation->errorCode(), 29);
        EXPECT_TRUE(operation->errorMessage().contains(path));
        const auto record = Error::CloudErrorFactory()(operation->cloudError().toUtf8());
        ASSERT_TRUE(record);
        EXPECT_EQ(record->type(), recordType);
        EXPECT_EQ(finishedCount(operation), 1);
    }
    EXPECT_EQ(NorvikTest::entryCount(m_root), 0);
}

TEST_F(OperationsThroughEngine, ListingWalksPagesByMarkerWithADelimiter)
{
    QStringList expected;
    for (int i = 0; i < 7; ++i) {
        NorvikTest::writeFile(local(QStringLiteral("list/file%1").arg(i)), "x");
        expected.append(QStringLiteral("list/file%1").arg(i));
    }
    NorvikTest::writeFile(local(QStringLiteral("list/folder/inner")), "y");
    expected.append(QStringLiteral("list/folder/"));
    NorvikTest::writeFile(local(QStringLiteral("other/z")), "z");

    QStringList names;
    QString marker;
    int pages = 0;
    do {
        const auto page = manager()
                              .listing(m_config, QStringLiteral("list/"), marker, QStringLiteral("/"), 3)
                              .dynamicCast<Operation::Listing>();
        ASSERT_TRUE(run(page));
        ASSERT_EQ(page->state(), IOperation::StateComplete) << page->errorMessage().toStdString();
        EXPECT_LE(page->data().size(), 3);
        for (const QJsonValue& record : page->data())
            names.append(record.toObject().value(QStringLiteral("Name")).toString());
        marker = page->marker();
        ++pages;
    } while (!marker.isEmpty() && pages < 20);

    EXPECT_EQ(pages, 3);
    EXPECT_EQ(names.size(), expected.size());
    EXPECT_EQ(QSet<QString>(names.begin(), names.end()), QSet<QString>(expected.begin(), expected.end()));
}

TEST_F(OperationsThroughEngine, DeletesOneObjectAndRefusesBatchesOnAFolder)
{
    NorvikTest::writeFile(local(QStringLiteral("del/a")), "a");
    NorvikTest::writeFile(local(QStringLiteral("del/b")), "b");
    const auto listing = manager()
                             .listing(m_config, QStringLiteral("del/"), QString(), QStringLiteral("/"), 10)
                             .dynamicCast<Operation::Listing>();
    ASSERT_TRUE(run(listing));
    ASSERT_EQ(listing->data().size(), 2);
    const QJsonObject first = listing->data().at(0).toObject();
    const QJsonArray both = listing->data();

    const auto removed = manager().deleteOnce(m_config, first);
    ASSERT_TRUE(run(removed));
    EXPECT_EQ(removed->state(), IOperation::StateComplete);
    EXPECT_FALSE(QFileInfo::exists(local(first.value(QStringLiteral("Name")).toString())));

    const auto again = manager().deleteOnce(m_config, first);
    ASSERT_TRUE(run(again));
    EXPECT_EQ(again->state(), IOperation::StateError);
    EXPECT_EQ(again->errorCode(), 13);

    // One object of the batch is gone already; a folder storage has no batch delete anyway,
    // and touches none of them.
    const auto batch = manager().multipleDelete(m_config, both).dynamicCast<Operation::MultipleDelete>();
    ASSERT_TRUE(run(batch));
    EXPECT_EQ(batch->state(), IOperation::StateError);
    EXPECT_EQ(batch->errorCode(), 8);
    EXPECT_TRUE(batch->data().isEmpty());
    EXPECT_EQ(NorvikTest::entryCount(local(QStringLiteral("del"))), 1);
}

TEST_F(OperationsThroughEngine, SignsAFolderObjectAsItsFileAddress)
{
    NorvikTest::writeFile(local(QStringLiteral("docs/a b.txt")), "content");
    const auto url =
        manager()
            .signUrl(m_config, QStringLiteral("docs/a b.txt"), true, QDateTime::currentDateTime().addDays(1))
            .dynamicCast<Operation::SignUrl>();
    ASSERT_TRUE(run(url));
    EXPECT_EQ(url->state(), IOperation::StateComplete);
    const QUrl address(url->data());
    EXPECT_TRUE(address.isLocalFile());
    EXPECT_EQ(NorvikTest::readFile(address.toLocalFile()), QByteArray("content"));
}

TEST_F(OperationsThroughEngine, CheckConfigAcceptsAnExistingFolderOnly)
{
    const auto good = manager().checkConfig(m_config);
    ASSERT_TRUE(run(good));
    EXPECT_EQ(good->state(), IOperation::StateComplete);
    EXPECT_EQ(good->cloudConfig().value(Config::FileSystem::Path).toString(), m_root);
    EXPECT_EQ(good->cloudConfig().value(Config::Id), m_config.value(Config::Id));

    QMap<QString, QVariant> missing = NorvikTest::fileSystemConfig(m_root + QStringLiteral("/missing"));
    const auto bad = manager().checkConfig(missing);
    ASSERT_TRUE(run(bad));
    EXPECT_EQ(bad->state(), IOperation::StateError);
    EXPECT_EQ(bad->errorCode(), 6);
    EXPECT_FALSE(bad->errorMessage().isEmpty());

    // A configuration that no connection can be made from comes back without an answer of the
    // storage: state 4, code 0.
    QMap<QString, QVariant> noPath = NorvikTest::fileSystemConfig(QString());
    const auto refused = manager().checkConfig(noPath);
    ASSERT_TRUE(run(refused));
    EXPECT_EQ(refused->state(), IOperation::StateError);
    EXPECT_EQ(refused->errorCode(), 0);
}

TEST_F(OperationsThroughEngine, FolderStorageHasNoContainersButKeepsEmptyFolders)
{
    const auto list = manager().listContainers(m_config);
    const auto create =
        manager().createContainer(m_config, QJsonObject{{QStringLiteral("name"), QStringLiteral("b")}});
    const auto folder = manager().uploadEmptyFolder(m_config, QStringLiteral("empty/inner/"));
    ASSERT_TRUE(run(list));
    ASSERT_TRUE(run(create));
    ASSERT_TRUE(run(folder));
    EXPECT_EQ(list->errorCode(), 8);
    EXPECT_EQ(create->errorCode(), 8);
    EXPECT_EQ(folder->state(), IOperation::StateComplete);
    EXPECT_TRUE(QFileInfo(local(QStringLiteral("empty/inner"))).isDir());
}

} // namespace
