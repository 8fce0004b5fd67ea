#include "streams/TemporaryFileManager.h"
#include "streams/TemporaryFile.h"

#include "engine/OperationManager.h"

#include "ScriptedSource.h"
#include "TestSupport.h"

#include <NorvikStreams/SourceFileException.h>

#include <QBuffer>
#include <QDir>
#include <QFile>

#include <gmock/gmock.h>

#include <climits>
#include <memory>

using Norvik::Cloud::OperationManager;
using Norvik::Cloud::TemporaryFileManager;

namespace {

// Two job threads, so two temporary files at most, in a folder that does not exist yet.
constexpr int FileSlots = 2;

QString g_folder;

class TwoSlotsInScratchFolder : public ::testing::Environment
{
public:
    void SetUp() override
    {
        g_folder = NorvikTest::scratchDir(QStringLiteral("parts")) + QStringLiteral("/nested/folder");
        OperationManager::setThreadCount(FileSlots);
        OperationManager::setTemporaryFileFolderPath(g_folder);
    }
};

const auto* const slotsEnvironment = ::testing::AddGlobalTestEnvironment(new TwoSlotsInScratchFolder);

class TemporaryFileManagerTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        for (const QUuid& id : m_ids)
            files().remove(id);
        // Every file made by a test is gone once its entries are.
        EXPECT_EQ(liveFiles(), 0);
    }

    static TemporaryFileManager& files() { return TemporaryFileManager::instance(); }

    // The temporary files this process holds open in the folder. Counted by descriptor, not by
    // listing the folder: Qt makes them unnamed (O_TMPFILE) and names one only when asked.
    static int liveFiles()
    {
        const QString prefix = QDir(g_folder).absolutePath() + QLatin1Char('/');
        int count = 0;
        const QStringList descriptors =
            QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::System | QDir::Files);
        for (const QString& descriptor : descriptors) {
            const QString target = QFile::symLinkTarget(QStringLiteral("/proc/self/fd/") + descriptor);
            if (target.startsWith(prefix))
                ++count;
        }
        return count;
    }

    static std::unique_ptr<QBuffer> deviceOver(const QByteArray& data)
    {
        auto device = std::make_unique<QBuffer>();
        device->setData(data);
        device->open(QIODevice::ReadOnly);
        return device;
    }

    // Adds and remembers the id for clean-up; fails the test on a refusal.
    QUuid mustAdd(long long size, QIODevice& device)
    {
        const auto [id, error] = files().tryAdd(size, device);
        EXPECT_FALSE(id.isNull()) << error.toStdString();
        m_ids.append(id);
        return id;
    }

    static QByteArray contents(const QSharedPointer<TemporaryFileManager::TemporaryFile>& entry)
    {
        entry->file()->seek(0);
        const QByteArray bytes = entry->file()->readAll();
        entry->file()->seek(0);
        return bytes;
    }

    QList<QUuid> m_ids;
};

TEST_F(TemporaryFileManagerTest, NoMoreFilesThanJobThreadsAndASlotReturnsOnRemove)
{
    const QByteArray data = NorvikTest::randomBytes(3000, 3);
    auto device = deviceOver(data);
    const QUuid first = mustAdd(1000, *device);
    mustAdd(1000, *device);

    // Full: the answer means "ask again later", and the source is not touched.
    const auto [refused, text] = files().tryAdd(1000, *device);
    EXPECT_TRUE(refused.isNull());
    EXPECT_TRUE(text.isEmpty()) << "a full table is no error: " << text.toStdString();
    EXPECT_EQ(device->pos(), 2000);
    EXPECT_EQ(liveFiles(), FileSlots);

    files().remove(first);
    m_ids.removeOne(first);
    EXPECT_TRUE(files().get(first).isNull());
    EXPECT_EQ(contents(files().get(mustAdd(1000, *device))), data.mid(2000));
}

TEST_F(TemporaryFileManagerTest, TheFileLastsAsLongAsItsLastReference)
{
    auto device = deviceOver(NorvikTest::randomBytes(5000, 4));
    const auto [id, error] = files().tryAdd(5000, *device);
    ASSERT_FALSE(id.isNull()) << error.toStdString();

    auto held = files().get(id); // a job still uploading
    const QString path = qobject_cast<QFile*>(held->file().data())->fileName();
    files().remove(id);
    EXPECT_TRUE(files().get(id).isNull());
    EXPECT_TRUE(QFile::exists(path)) << "the job's file must not vanish under it";
    EXPECT_EQ(contents(held).size(), 5000);

    held.reset();
    EXPECT_FALSE(QFile::exists(path));
}

TEST_F(TemporaryFileManagerTest, APreallocationFailureIsReportedAndLeavesNothing)
{
    auto device = deviceOver(QByteArray(100, 'p'));
    // No file system holds this: the disk refuses before a byte is copied.
    const auto [id, error] = files().tryAdd(LLONG_MAX, *device);
    EXPECT_TRUE(id.isNull());
    EXPECT_THAT(error.toStdString(), ::testing::StartsWith("error on preallocate size"));
    EXPECT_EQ(device->pos(), 0);
    EXPECT_EQ(liveFiles(), 0);

    // The failure took no slot.
    for (int i = 0; i < FileSlots; ++i)
        EXPECT_FALSE(mustAdd(10, *device).isNull());
}

TEST_F(TemporaryFileManagerTest, AFailingRandomAccessSourceIsAnErrorNotAShortPart)
{
    using NorvikTest::ScriptedSource;
    const QByteArray data = ScriptedSource::bytes(0, 50000);
    ScriptedSource file(50000, ScriptedSource::Access::RandomAccess, 4096);
    file.breakAt(20000);
    const auto [id, error] = files().tryAdd(50000, file);
    EXPECT_TRUE(id.isNull());
    EXPECT_THAT(error.toStdString(), ::testing::HasSubstr("Input/output error"));

    // A pipe ends with -1: that is its end, and what came before is the part.
    ScriptedSource pipe(30000, ScriptedSource::Access::Sequential, 4096);
    EXPECT_EQ(contents(files().get(mustAdd(50000, pipe))), data.left(30000));
}

} // namespace
