#include "ScriptedHttpServer.h"

#include <QMutex>
#include <QMutexLocker>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace NorvikTest {

namespace {

using Clock = std::chrono::steady_clock;

bool sleepUnlessStopping(int ms, const std::atomic<bool>& stopping)
{
    const auto end = Clock::now() + std::chrono::milliseconds(ms);
    while (Clock::now() < end) {
        if (stopping.load())
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

// One accepted socket. It times out every 50 ms, so that every wait
// gives up soon after the server stops.
struct Channel
{
    int fd;
    const std::atomic<bool>& stopping;
    QByteArray buffer;

    ~Channel() { ::close(fd); }

    // Whether a failed call may be tried again: a time-out while the server runs.
    bool again(int result)
    {
        return result < 0 && !stopping.load() && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
    }

    // Appends what arrives to the buffer; false when the peer closed or the server stops.
    bool fill()
    {
        char chunk[64 * 1024];
        for (;;) {
            const long result = ::recv(fd, chunk, sizeof chunk, 0);
            if (result > 0) {
                buffer.append(chunk, static_cast<int>(result));
                return true;
            }
            if (result == 0 || !again(static_cast<int>(result)))
                return false;
        }
    }

    bool writeAll(const char* data, qint64 size)
    {
        for (qint64 done = 0; done < size;) {
            const int piece = static_cast<int>(std::min<qint64>(size - done, 64 * 1024));
            const long result = ::send(fd, data + done, size_t(piece), MSG_NOSIGNAL);
            if (result > 0)
                done += result;
            else if (!again(static_cast<int>(result)))
                return false;
        }
        return true;
    }

    // An orderly close that lets the peer read what was sent, even while it is still sending:
    // closing with unread input would make the kernel answer with a reset.
    void closeGracefully()
    {
        ::shutdown(fd, SHUT_WR);
        char sink[16 * 1024];
        const auto end = Clock::now() + std::chrono::milliseconds(500);
        while (Clock::now() < end && !stopping.load()) {
            const long result = ::recv(fd, sink, sizeof sink, 0);
            if (result == 0 || (result < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR))
                break;
        }
    }
};

bool parseHead(const QByteArray& head, ScriptedHttpServer::Request& request)
{
    const QList<QByteArray> lines = head.split('\n');
    const QList<QByteArray> parts = lines.value(0).trimmed().split(' ');
    if (parts.size() != 3 || !parts.at(2).startsWith("HTTP/"))
        return false;
    request.method = parts.at(0);
    request.target = parts.at(1);
    request.version = parts.at(2);
    for (int i = 1; i < lines.size(); ++i) {
        const QByteArray line = lines.at(i).trimmed();
        const int colon = line.indexOf(':');
        if (colon <= 0)
            return false;
        request.headers.append({line.left(colon).trimmed(), line.mid(colon + 1).trimmed()});
    }
    return true;
}

} // namespace

QByteArray ScriptedHttpServer::Request::header(const QByteArray& name) const
{
    return headerValues(name).value(headerValues(name).size() - 1);
}

QList<QByteArray> ScriptedHttpServer::Request::headerValues(const QByteArray& name) const
{
    QList<QByteArray> values;
    for (const auto& header : headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0)
            values.append(header.second);
    }
    return values;
}

QByteArray ScriptedHttpServer::Request::path() const
{
    const int query = target.indexOf('?');
    return query < 0 ? target : target.left(query);
}

ScriptedHttpServer::Response ScriptedHttpServer::Response::ok(const QByteArray& body)
{
    return make(200, body);
}

ScriptedHttpServer::Response ScriptedHttpServer::Response::make(int status, const QByteArray& body)
{
    Response response;
    response.status = status;
    response.body = body;
    return response;
}

ScriptedHttpServer::Response& ScriptedHttpServer::Response::withHeader(const QByteArray& name,
                                                                       const QByteArray& value)
{
    headers.append({name, value});
    return *this;
}

struct ScriptedHttpServer::Private
{
    std::atomic<bool> stopping{false};
    int listenFd = -1;
    quint16 port = 0;
    QString error;
    std::thread acceptThread;

    QMutex mutex; // handler, requests, connection threads
    Handler handler;
    QList<Request> requests;
    std::vector<std::thread> connections;
    int serial = 0;

    void serve(int fd, int connection);
    bool send(Channel& channel, const Request& request, const Response& response);
    void record(const Request& request)
    {
        QMutexLocker lock(&mutex);
        requests.append(request);
    }
};

void ScriptedHttpServer::Private::serve(int fd, int connection)
{
    timeval slice{0, 50000};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &slice, sizeof slice);
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &slice, sizeof slice);
    Channel channel{fd, stopping, {}};
    while (!stopping.load()) {
        int end;
        while ((end = channel.buffer.indexOf("\r\n\r\n")) < 0) {
            if (channel.buffer.size() > (1 << 20) || !channel.fill()) {
                channel.closeGracefully();
                return;
            }
        }
        Request request;
        request.connection = connection;
        const bool parsed = parseHead(channel.buffer.left(end), request);
        channel.buffer.remove(0, end + 4);
        if (!parsed) {
            send(channel, request, Response::make(400, "malformed request head"));
            break;
        }
        const qint64 length = request.header("Content-Length").toLongLong();
        if (length > 0 && request.header("Expect").toLower() == "100-continue" &&
            !channel.writeAll("HTTP/1.1 100 Continue\r\n\r\n", 25))
            break;
        while (channel.buffer.size() < length && channel.fill()) {
        }
        request.body = channel.buffer.left(static_cast<int>(length));
        channel.buffer.remove(0, request.body.size());
        request.complete = request.body.size() == length;
        record(request);
        if (!request.complete)
            break;
        Handler handle;
        {
            QMutexLocker lock(&mutex);
            handle = handler;
        }
        if (!send(channel, request, handle ? handle(request) : Response::ok()))
            return; // closed or reset already
        const QByteArray close = request.header("Connection").toLower();
        if (close == "close" || (request.version == "HTTP/1.0" && close != "keep-alive"))
            break;
    }
    channel.closeGracefully();
}

// Returns whether the connection stays open for another request.
bool ScriptedHttpServer::Private::send(Channel& channel, const Request& request, const Response& response)
{
    QByteArray bytes = "HTTP/1.1 " + QByteArray::number(response.status) + " Status\r\n";
    bool length = false;
    for (const auto& header : response.headers) {
        bytes += header.first + ": " + header.second + "\r\n";
        length = length || header.first.compare("Content-Length", Qt::CaseInsensitive) == 0;
    }
    if (!length)
        bytes += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
    bytes += "\r\n";
    if (request.method != "HEAD" && response.status != 204 && response.status != 304)
        bytes += response.body;
    if (response.delayMs > 0 && !sleepUnlessStopping(response.delayMs, stopping))
        return false;
    return channel.writeAll(bytes.constData(), bytes.size());
}

ScriptedHttpServer::ScriptedHttpServer()
    : d(std::make_unique<Private>())
{
}

ScriptedHttpServer::~ScriptedHttpServer()
{
    stop();
}

void ScriptedHttpServer::setHandler(Handler handler)
{
    QMutexLocker lock(&d->mutex);
    d->handler = std::move(handler);
}

bool ScriptedHttpServer::start()
{
    d->listenFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (d->listenFd < 0 || ::bind(d->listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(d->listenFd, 64) != 0 ||
        ::getsockname(d->listenFd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        d->error = QStringLiteral("cannot listen on 127.0.0.1: ") + QString::fromLocal8Bit(strerror(errno));
        return false;
    }
    d->port = ntohs(address.sin_port);
    d->acceptThread = std::thread([this] {
        while (!d->stopping.load()) {
            pollfd entry{d->listenFd, POLLIN, 0};
            if (::poll(&entry, 1, 50) <= 0)
                continue;
            const int fd = ::accept4(d->listenFd, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0)
                continue;
            QMutexLocker lock(&d->mutex);
            const int connection = ++d->serial;
            d->connections.emplace_back([this, fd, connection] { d->serve(fd, connection); });
        }
    });
    return true;
}

void ScriptedHttpServer::stop()
{
    if (!d->acceptThread.joinable())
        return;
    d->stopping.store(true);
    d->acceptThread.join();
    std::vector<std::thread> connections;
    {
        QMutexLocker lock(&d->mutex);
        connections.swap(d->connections);
    }
    for (std::thread& connection : connections)
        connection.join();
    ::close(d->listenFd);
}

QString ScriptedHttpServer::errorString() const
{
    return d->error;
}

quint16 ScriptedHttpServer::port() const
{
    return d->port;
}

QUrl ScriptedHttpServer::url(const QString& path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2")
                    .arg(d->port)
                    .arg(path.startsWith(QLatin1Char('/')) ? path : QLatin1Char('/') + path));
}

QList<ScriptedHttpServer::Request> ScriptedHttpServer::requests() const
{
    QMutexLocker lock(&d->mutex);
    return d->requests;
}

int ScriptedHttpServer::requestCount() const
{
    return requests().size();
}

void ScriptedHttpServer::clearRequests()
{
    QMutexLocker lock(&d->mutex);
    d->requests.clear();
}

bool ScriptedHttpServer::waitForRequests(int count, int timeoutMs) const
{
    const auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (requestCount() < count) {
        if (Clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace NorvikTest
