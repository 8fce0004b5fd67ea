#pragma once

// A small C++ binding of nanomsg: a socket that closes itself, and errors as exceptions.
//
// Calls that would block under NN_DONTWAIT return -1 (errno EAGAIN) instead of throwing, so
// that a loop can poll several sockets and try each one without a try block. Every other
// failure throws nn::exception with nanomsg's error number.

#include <nanomsg/nn.h>

#include <cerrno>
#include <cstddef>
#include <exception>

namespace nn {

class exception : public std::exception
{
public:
    exception()
        : m_error(nn_errno())
    {
    }
    explicit exception(int error)
        : m_error(error)
    {
    }

    const char* what() const noexcept override { return nn_strerror(m_error); }
    int num() const noexcept { return m_error; }

private:
    int m_error;
};

// Frees a message that nanomsg allocated for a receive with NN_MSG.
inline void freemsg(void* message)
{
    if (message && nn_freemsg(message) < 0)
        throw exception();
}

// Waits until one of the sockets is ready; the number of ready sockets, 0 on time-out and
// -1 when a signal interrupted the wait.
inline int poll(nn_pollfd* fds, int count, int timeoutMs)
{
    const int rc = nn_poll(fds, count, timeoutMs);
    if (rc < 0 && nn_errno() != EINTR)
        throw exception();
    return rc;
}

class socket
{
public:
    socket(int domain, int protocol)
        : m_socket(nn_socket(domain, protocol))
    {
        if (m_socket < 0)
            throw exception();
    }
    ~socket() { nn_close(m_socket); }

    socket(const socket&) = delete;
    socket& operator=(const socket&) = delete;

    void setsockopt(int level, int option, const void* value, size_t length)
    {
        if (nn_setsockopt(m_socket, level, option, value, length) < 0)
            throw exception();
    }

    void getsockopt(int level, int option, void* value, size_t* length)
    {
        if (nn_getsockopt(m_socket, level, option, value, length) < 0)
            throw exception();
    }

    // Both return the endpoint id, which shutdown() takes.
    int bind(const char* address)
    {
        const int rc = nn_bind(m_socket, address);
        if (rc < 0)
            throw exception();
        return rc;
    }

    int connect(const char* address)
    {
        const int rc = nn_connect(m_socket, address);
        if (rc < 0)
            throw exception();
        return rc;
    }

    void shutdown(int endpoint)
    {
        if (nn_shutdown(m_socket, endpoint) < 0)
            throw exception();
    }

    // The number of bytes sent, or -1 when the call would block.
    int send(const void* buffer, size_t length, int flags)
    {
        const int rc = nn_send(m_socket, buffer, length, flags);
        if (rc < 0 && nn_errno() != EAGAIN)
            throw exception();
        return rc;
    }

    // The number of bytes received, or -1 when the call would block. With a length of
    // NN_MSG, buffer is a void** that receives a message to be freed with nn::freemsg.
    int recv(void* buffer, size_t length, int flags)
    {
        const int rc = nn_recv(m_socket, buffer, length, flags);
        if (rc < 0 && nn_errno() != EAGAIN)
            throw exception();
        return rc;
    }

    // The raw socket, for nn_pollfd.
    int fd() const noexcept { return m_socket; }

private:
    int m_socket;
};

} // namespace nn
