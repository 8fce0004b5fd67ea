#pragma once

#include "engine/nn.hpp"

#include <QByteArray>

namespace Norvik::Cloud {

// Receives one whole message of any size. Empty when nothing came: a non-blocking call that
// would block, or an empty message, which the engine never sends and ignores.
inline QByteArray receiveMessage(nn::socket& socket, int flags)
{
    void* buffer = nullptr;
    const int size = socket.recv(&buffer, NN_MSG, flags);
    if (size < 0)
        return QByteArray();
    QByteArray message(static_cast<const char*>(buffer), size);
    nn::freemsg(buffer);
    return message;
}

} // namespace Norvik::Cloud
