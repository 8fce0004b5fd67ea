#include "NetworkTestSupport.h"

#include <NorvikNetwork/Bandwidth.h>
#include <NorvikNetwork/ProgressReporter.h>
#include <NorvikNetwork/Retry.h>

#include "TestSupport.h"

#include <QElapsedTimer>
#include <QThread>

#include <gtest/gtest.h>

#include <set>
#include <vector>

using namespace Norvik::Network::Utility;

namespace {

class RetryTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        config = &NorvikTest::installNetworkTestConfig();
        config->waitFactor = 1.0;
    }
    void TearDown() override { NorvikTest::installFastRetries(); }

    NorvikTest::NetworkTestConfig* config = nullptr;
};

TEST_F(RetryTest, WaitsAreCappedAndScaledByTheFactor)
{
    config->baseWaitMs = 20;
    config->maxWaitMs = 50;
    Retry capped(QStringLiteral("X"), 0, 5);
    std::vector<long long> waits;
    for (int i = 0; i < 5; ++i) {
        capped.retry();
        waits.push_back(capped.lastWaitMs());
    }
    EXPECT_GE(waits[0], 10);
    EXPECT_LE(waits[0], 20);
    EXPECT_GE(waits[1], 20);
    EXPECT_LE(waits[1], 40);
    for (size_t i = 2; i < waits.size() - 1; ++i) {
        EXPECT_GE(waits[i], 25) << i;
        EXPECT_LE(waits[i], 50) << i;
    }
    EXPECT_EQ(waits.back(), 0);

    config->baseWaitMs = 10000;
    config->maxWaitMs = 60000;
    config->waitFactor = 0.002;
    Retry scaled(QStringLiteral("X"), 40000, 3);
    scaled.retry(); // 5000..10000 ms, times 0.002
    EXPECT_GE(scaled.lastWaitMs(), 10);
    EXPECT_LE(scaled.lastWaitMs(), 20);
    scaled.specialRetry(); // second failure: 40000 * 2 capped at 60000, so 30000..60000 ms
    EXPECT_GE(scaled.lastWaitMs(), 60);
    EXPECT_LE(scaled.lastWaitMs(), 120);
}

// --- Bandwidth ----------------------------------------------------------------------------------

class BandwidthTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        Bandwidth::instance().setLimit(Bandwidth::Upload, 0);
        Bandwidth::instance().setLimit(Bandwidth::Download, 0);
    }
};

// --- ProgressReporter ---------------------------------------------------------------------------

} // namespace
