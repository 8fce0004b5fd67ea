#pragma once

#include <QByteArray>

#include <memory>

namespace nn {
class socket;
}

namespace Norvik::Cloud {

// A control message on the command socket: the text of OperationManager::COMMAND_ID followed
// by one byte naming the command. Results share the socket, under the task's id instead.
class Command
{
public:
    enum Type
    {
        None = 0,
        Stop = 1,
    };

    Command() = default;
    explicit Command(Type type)
        : m_null(false)
        , m_type(type)
    {
    }

    bool isNull() const { return m_null; }
    Type type() const { return m_type; }

    // Receives one message, blocking, and parses it.
    static std::unique_ptr<Command> create(nn::socket& socket);
    // Null for anything that is not a known command, results included.
    static std::unique_ptr<Command> create(const QByteArray& message);
    // The bytes of the stop command.
    static QByteArray stop();

private:
    bool m_null = true;
    Type m_type = None;
};

} // namespace Norvik::Cloud
