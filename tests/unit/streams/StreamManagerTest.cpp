#include "streams/StreamManager.h"

#include <QBuffer>
#include <QPointer>

#include <gmock/gmock.h>

#include <atomic>
#include <thread>
#include <vector>

using Norvik::Cloud::StreamManager;

namespace {

TEST(StreamManagerTest, RegistersDevicesByIdAndNeverOwnsThem)
{
    StreamManager& streams = StreamManager::instance();
    auto* device = new QBuffer;
    QPointer<QBuffer> watch(device);

    const QUuid first = streams.add(device);
    const QUuid second = streams.add(device);
    ASSERT_FALSE(first.isNull());
    ASSERT_FALSE(second.isNull());
    EXPECT_NE(first, second) << "the same device given twice is two registrations";
    EXPECT_EQ(streams.get(first), device);
    EXPECT_EQ(streams.get(second), device);

    streams.remove(first);
    EXPECT_EQ(streams.get(first), nullptr);
    EXPECT_EQ(streams.get(second), device);
    streams.remove(second);
    EXPECT_EQ(streams.get(second), nullptr);

    // Forgetting the id leaves the caller's device alive and untouched.
    ASSERT_FALSE(watch.isNull());
    EXPECT_FALSE(device->isOpen());
    delete device;
}

TEST(StreamManagerTest, ANullDeviceOrUnknownIdGivesNothing)
{
    StreamManager& streams = StreamManager::instance();
    EXPECT_TRUE(streams.add(nullptr).isNull());
    EXPECT_EQ(streams.get(QUuid()), nullptr) << "a null pointer must not have been registered";
    EXPECT_EQ(streams.get(QUuid::createUuid()), nullptr);
    streams.remove(QUuid::createUuid()); // harmless
}

TEST(StreamManagerTest, ThreadsSeeOnlyTheirOwnDevices)
{
    constexpr int Threads = 8;
    constexpr int Rounds = 2000;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < Threads; ++i) {
        threads.emplace_back([&] {
            QBuffer mine;
            for (int round = 0; round < Rounds; ++round) {
                const QUuid id = StreamManager::instance().add(&mine);
                if (StreamManager::instance().get(id) != &mine)
                    ++wrong;
                StreamManager::instance().remove(id);
                if (StreamManager::instance().get(id) != nullptr)
                    ++wrong;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong.load(), 0);
}

} // namespace
