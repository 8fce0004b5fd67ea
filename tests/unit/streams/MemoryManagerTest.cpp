#include "streams/MemoryManager.h"

#include "engine/OperationManager.h"

#include "LogCapture.h"
#include "ScriptedSource.h"
#include "TestSupport.h"

#include <NorvikStreams/SourceFileException.h>

#include <QBuffer>

#include <gtest/gtest.h>

#include <limits>
#include <memory>

using Norvik::Cloud::MemoryManager;
using Norvik::Cloud::OperationManager;

namespace {

// The smallest budget there is: whatever is asked below it is raised to 100 MiB.
constexpr unsigned long long Budget = 104857600;

class SmallestBudget : public ::testing::Environment
{
public:
    void SetUp() override { OperationManager::setMemoryUsed(1); }
};

const auto* const budgetEnvironment = ::testing::AddGlobalTestEnvironment(new SmallestBudget);

class MemoryManagerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // Every test gives back all it takes: a count left over is a leak of the budget.
        ASSERT_EQ(memory().limit(), Budget);
        ASSERT_EQ(memory().used(), 0u);
    }

    static MemoryManager& memory() { return MemoryManager::instance(); }

    // An open read-only device over data; the device keeps its own shared copy.
    static std::unique_ptr<QBuffer> deviceOver(const QByteArray& data)
    {
        auto device = std::make_unique<QBuffer>();
        device->setData(data);
        device->open(QIODevice::ReadOnly);
        return device;
    }
};

TEST_F(MemoryManagerTest, TakesTheWholeBudgetAndNotOneByteMore)
{
    const QByteArray whole = NorvikTest::randomBytes(static_cast<qsizetype>(Budget), 7);
    auto device = deviceOver(whole);

    // Asking for one byte beyond the budget reads nothing at all.
    EXPECT_TRUE(memory().tryAdd(Budget + 1, *device).isNull());
    EXPECT_EQ(device->pos(), 0);
    EXPECT_EQ(memory().used(), 0u);

    const QUuid id = memory().tryAdd(Budget, *device);
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(memory().used(), Budget);
    EXPECT_EQ(memory().get(id), whole);
    EXPECT_TRUE(device->atEnd());

    // Full: every way in is closed, even for one byte, and the refusals touch nothing.
    device->seek(0);
    EXPECT_TRUE(memory().hasMemory(0));
    EXPECT_FALSE(memory().hasMemory(1));
    EXPECT_TRUE(memory().tryAdd(1, *device).isNull());
    EXPECT_EQ(device->pos(), 0);
    EXPECT_TRUE(memory().add(QByteArray(1, 'x')).isNull());
    EXPECT_TRUE(memory().tryReserved(1).isNull());
    EXPECT_EQ(memory().used(), Budget);

    // With one byte held, huge sizes must not wrap round to a small sum.
    memory().remove(id);
    const QUuid one = memory().add(QByteArray(1, 'x'));
    const unsigned long long huge = std::numeric_limits<unsigned long long>::max();
    EXPECT_FALSE(memory().hasMemory(huge));
    EXPECT_TRUE(memory().tryAdd(huge, *device).isNull());
    EXPECT_TRUE(memory().tryReserved(huge - Budget + 2).isNull());
    memory().remove(one);

    // Giving the part back opens the budget again for a full part.
    EXPECT_EQ(memory().used(), 0u);
    EXPECT_TRUE(memory().get(id).isEmpty());
    const QUuid again = memory().tryAdd(Budget, *device);
    ASSERT_FALSE(again.isNull());
    EXPECT_NE(again, id);
    memory().remove(again);
}

TEST_F(MemoryManagerTest, ChargesTheLengthActuallyRead)
{
    const QByteArray data = NorvikTest::randomBytes(1000, 3);

    // A source that ends first: only its 1000 bytes count, and the rest stays free.
    auto shortDevice = deviceOver(data);
    const QUuid shortPart = memory().tryAdd(64 * 1024, *shortDevice);
    ASSERT_FALSE(shortPart.isNull());
    EXPECT_EQ(memory().get(shortPart), data);
    EXPECT_EQ(memory().used(), 1000u);
    EXPECT_TRUE(memory().hasMemory(Budget - 1000));
    EXPECT_FALSE(memory().hasMemory(Budget - 999));

    // A size of 0 gives a real, empty entry.
    auto untouched = deviceOver(data);
    const QUuid zero = memory().tryAdd(0, *untouched);
    ASSERT_FALSE(zero.isNull());
    EXPECT_EQ(untouched->pos(), 0);
    EXPECT_EQ(memory().used(), 1000u);

    // Removing gives back exactly what was charged.
    memory().remove(shortPart);
    memory().remove(zero);
    EXPECT_EQ(memory().used(), 0u);
}

TEST_F(MemoryManagerTest, KeepsWhatWasReadBeforeAReadFailure)
{
    NorvikTest::ScriptedSource source(50, NorvikTest::ScriptedSource::Access::RandomAccess, 8);
    source.breakAt(20);
    NorvikTest::LogCapture log;

    const QUuid id = memory().tryAdd(50, source);
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(memory().get(id), NorvikTest::ScriptedSource::bytes(0, 20));
    EXPECT_EQ(memory().used(), 20u);
    EXPECT_EQ(log.count({"WARNING", "MemoryManager::tryAdd", "Input/output error"}), 1);
    memory().remove(id);
}

TEST_F(MemoryManagerTest, AReservationIsFilledLaterWithoutChangingTheCount)
{
    const QUuid id = memory().tryReserved(16);
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(memory().get(id), QByteArray(16, '0'));
    EXPECT_EQ(memory().used(), 16u);

    EXPECT_FALSE(memory().setReserved(QUuid::createUuid(), QByteArray("lost")));
    EXPECT_TRUE(memory().setReserved(id, QByteArray("downloaded")));
    EXPECT_EQ(memory().get(id), QByteArray("downloaded"));
    EXPECT_EQ(memory().used(), 16u);

    // remove() gives back the length stored now: the 6 bytes of difference stay charged.
    memory().remove(id);
    EXPECT_EQ(memory().used(), 6u);
    EXPECT_FALSE(memory().setReserved(id, QByteArray("late")));

    // A delivery longer than reserved (stored 6, charged 0) gives them back, never below zero.
    const QUuid balance = memory().tryReserved(0);
    ASSERT_TRUE(memory().setReserved(balance, QByteArray(10, 'b')));
    memory().remove(balance);
    EXPECT_EQ(memory().used(), 0u);
}

} // namespace
