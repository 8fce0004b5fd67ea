#include "engine/Command.h"
#include "engine/OperationManager.h"
#include "engine/nn.hpp"

#include <gtest/gtest.h>

#include <nanomsg/pipeline.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

using namespace Norvik::Cloud;

TEST(Command, StopIsTheNilIdFollowedByTheDigitOne)
{
    const QByteArray stop = Command::stop();
    EXPECT_EQ(stop, QByteArray("{00000000-0000-0000-0000-000000000000}1"));
    EXPECT_EQ(stop.size(), 39);

    const std::unique_ptr<Command> command = Command::create(stop);
    ASSERT_TRUE(command);
    EXPECT_FALSE(command->isNull());
    EXPECT_EQ(command->type(), Command::Stop);
}

TEST(Command, DefaultCommandIsNull)
{
    const Command command;
    EXPECT_TRUE(command.isNull());
    EXPECT_EQ(command.type(), Command::None);
}

TEST(Command, AnythingElseIsNoCommand)
{
    const QByteArray nil = OperationManager::COMMAND_ID.toByteArray();
    const QByteArray rejected[] = {
        nil + '2',                  // the right topic, an unknown command
        nil + '0',                  // "no type" is not sent as a command
        nil,                        // the topic alone
        QByteArray(),               // nothing
        QByteArray("1"),            // a command byte without topic
        QByteArray(38, 'x') + '1',  // not a UUID: must not pass for the nil id
        QByteArray(37, ' ') + "}1", // the same, with a closing brace
        nil.toUpper().replace('0', 'O') + '1',
    };
    for (const QByteArray& message : rejected)
        EXPECT_FALSE(Command::create(message)) << message.toStdString();
}

TEST(Command, ResultsOnTheCommandSocketAreNoCommands)
{
    // A result is a task's id followed by binary JSON; job threads see them beside commands.
    const QJsonObject object{{QStringLiteral("status"), QStringLiteral("1")}};
    const QByteArray result = QUuid::createUuid().toByteArray() + QJsonDocument(object).toBinaryData();
    EXPECT_FALSE(Command::create(result));
}

TEST(Command, ReceivedFromASocket)
{
    nn::socket receiver(AF_SP, NN_PULL);
    receiver.bind("inproc://engine-test-command");
    nn::socket sender(AF_SP, NN_PUSH);
    sender.connect("inproc://engine-test-command");

    const QByteArray stop = Command::stop();
    ASSERT_EQ(sender.send(stop.constData(), stop.size(), 0), stop.size());
    const std::unique_ptr<Command> command = Command::create(receiver);
    ASSERT_TRUE(command);
    EXPECT_EQ(command->type(), Command::Stop);

    const QByteArray unknown = OperationManager::COMMAND_ID.toByteArray() + '2';
    ASSERT_EQ(sender.send(unknown.constData(), unknown.size(), 0), unknown.size());
    EXPECT_FALSE(Command::create(receiver));
}
