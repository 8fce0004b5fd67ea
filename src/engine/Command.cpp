#include "engine/Command.h"

#include "engine/OperationManager.h"
#include "engine/SocketMessage.h"

namespace Norvik::Cloud {

namespace {

// Built on each call: the stop command is also sent while the process exits, when a static
// made after the engine would already be destroyed.
QByteArray commandTopic()
{
    return OperationManager::COMMAND_ID.toByteArray();
}

} // namespace

std::unique_ptr<Command> Command::create(nn::socket& socket)
{
    return create(receiveMessage(socket, 0));
}

std::unique_ptr<Command> Command::create(const QByteArray& message)
{
    // The topic is compared byte for byte: a text that does not parse as a UUID would
    // otherwise read as the nil id, and stray bytes could pass for a stop command.
    const QByteArray topic = commandTopic();
    if (!message.startsWith(topic) || message.size() <= topic.size())
        return nullptr;
    if (message.at(topic.size()) == '0' + Stop)
        return std::make_unique<Command>(Stop);
    return nullptr;
}

QByteArray Command::stop()
{
    return commandTopic() + char('0' + Stop);
}

} // namespace Norvik::Cloud
