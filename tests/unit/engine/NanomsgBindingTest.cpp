#include "engine/SocketMessage.h"
#include "engine/nn.hpp"

#include <gtest/gtest.h>

#include <nanomsg/pipeline.h>
#include <nanomsg/pubsub.h>

#include "TestSupport.h"

#include <cerrno>

using namespace Norvik::Cloud;

TEST(NanomsgBinding, NonBlockingCallsThatWouldBlockReturnMinusOne)
{
    nn::socket pull(AF_SP, NN_PULL);
    pull.bind("inproc://engine-test-empty");
    void* buffer = nullptr;
    EXPECT_EQ(pull.recv(&buffer, NN_MSG, NN_DONTWAIT), -1);
    EXPECT_EQ(nn_errno(), EAGAIN);
    EXPECT_TRUE(receiveMessage(pull, NN_DONTWAIT).isEmpty());

    // A push socket without a peer has nowhere to put the message.
    nn::socket push(AF_SP, NN_PUSH);
    push.connect("inproc://engine-test-nobody");
    EXPECT_EQ(push.send("x", 1, NN_DONTWAIT), -1);
}

TEST(NanomsgBinding, RealFailuresThrow)
{
    nn::socket first(AF_SP, NN_PULL);
    first.bind("inproc://engine-test-taken");
    nn::socket second(AF_SP, NN_PULL);
    try {
        second.bind("inproc://engine-test-taken");
        FAIL() << "binding an address twice must throw";
    } catch (const nn::exception& e) {
        EXPECT_EQ(e.num(), EADDRINUSE);
        EXPECT_STRNE(e.what(), "");
    }
    EXPECT_THROW(nn::socket(12345, NN_PULL), nn::exception);
    EXPECT_THROW(first.connect("nosuchtransport://x"), nn::exception);
    EXPECT_THROW(first.setsockopt(NN_SUB, NN_SUB_SUBSCRIBE, "", 0), nn::exception);
}

TEST(NanomsgBinding, WholeMessagesOfAnySize)
{
    nn::socket pull(AF_SP, NN_PULL);
    pull.bind("inproc://engine-test-sizes");
    nn::socket push(AF_SP, NN_PUSH);
    push.connect("inproc://engine-test-sizes");

    for (qsizetype size : {qsizetype(1), qsizetype(38), qsizetype(64 * 1024), qsizetype(3 * 1024 * 1024)}) {
        const QByteArray data = NorvikTest::randomBytes(size, quint32(size));
        ASSERT_EQ(push.send(data.constData(), data.size(), 0), data.size());
        EXPECT_EQ(receiveMessage(pull, 0), data) << size;
    }
}

TEST(NanomsgBinding, PollReportsTheReadySocket)
{
    nn::socket idle(AF_SP, NN_PULL);
    idle.bind("inproc://engine-test-idle");
    nn::socket busy(AF_SP, NN_PULL);
    busy.bind("inproc://engine-test-busy");
    nn::socket push(AF_SP, NN_PUSH);
    push.connect("inproc://engine-test-busy");

    nn_pollfd fds[2] = {{idle.fd(), NN_POLLIN, 0}, {busy.fd(), NN_POLLIN, 0}};
    EXPECT_EQ(nn::poll(fds, 2, 10), 0);

    ASSERT_EQ(push.send("ready", 5, 0), 5);
    fds[0].revents = fds[1].revents = 0;
    EXPECT_EQ(nn::poll(fds, 2, 1000), 1);
    EXPECT_FALSE(fds[0].revents & NN_POLLIN);
    EXPECT_TRUE(fds[1].revents & NN_POLLIN);
    EXPECT_EQ(receiveMessage(busy, NN_DONTWAIT), QByteArray("ready"));
}
