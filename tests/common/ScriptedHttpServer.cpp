#include "ScriptedHttpServer.h"

#include <QMutex>
#include <QMutexLocker>

#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
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

// One accepted socket, plain or TLS. The socket times out every 50 ms, so that every wait
// gives up soon after the server stops.
struct Channel
{
    int fd;
    SSL* ssl;
    const std::atomic<bool>& stopping;
    QByteArray buffer;

    ~Channel()
    {
        if (ssl)
            SSL_free(ssl);
        if (fd >= 0)
            ::close(fd);
    }

    // Whether a failed call may be tried again: a time-out while the server runs.
    bool again(int result)
    {
        if (stopping.load())
            return false;
        if (!ssl)
            return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        const int error = SSL_get_error(ssl, result);
        return error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE;
    }

    bool handshake()
    {
        for (;;) {
            const int result = ssl ? SSL_accept(ssl) : 1;
            if (result == 1)
                return true;
            if (!again(result))
                return false;
        }
    }

    // Appends what arrives to the buffer; false when the peer closed or the server stops.
    bool fill()
    {
        char chunk[64 * 1024];
        for (;;) {
            const long result = ssl ? SSL_read(ssl, chunk, sizeof chunk) : ::recv(fd, chunk, sizeof chunk, 0);
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
            const long result = ssl ? SSL_write(ssl, data + done, piece)
                                    : ::send(fd, data + done, size_t(piece), MSG_NOSIGNAL);
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
        if (ssl)
            SSL_shutdown(ssl);
        ::shutdown(fd, SHUT_WR);
        char sink[16 * 1024];
        const auto end = Clock::now() + std::chrono::milliseconds(500);
        while (Clock::now() < end && !stopping.load()) {
            const long result = ::recv(fd, sink, sizeof sink, 0);
            if (result == 0 || (result < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR))
                break;
        }
    }

    void reset()
    {
        linger option{1, 0};
        ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &option, sizeof option);
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

// A self-signed certificate for 127.0.0.1 and localhost, made for each server.
SSL_CTX* makeTlsContext()
{
    EVP_PKEY* key = EVP_EC_gen("P-256");
    X509* certificate = X509_new();
    SSL_CTX* context = SSL_CTX_new(TLS_server_method());
    bool ok = key && certificate && context;
    if (ok) {
        ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1);
        X509_gmtime_adj(X509_getm_notBefore(certificate), -3600);
        X509_gmtime_adj(X509_getm_notAfter(certificate), 2L * 24 * 3600);
        X509_set_pubkey(certificate, key);
        X509_NAME* name = X509_get_subject_name(certificate);
        X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>("127.0.0.1"), -1, -1, 0);
        X509_set_issuer_name(certificate, name);
        X509_EXTENSION* names =
            X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost");
        ok = names && X509_add_ext(certificate, names, -1) == 1 &&
             X509_sign(certificate, key, EVP_sha256()) > 0 &&
             SSL_CTX_use_certificate(context, certificate) == 1 && SSL_CTX_use_PrivateKey(context, key) == 1;
        X509_EXTENSION_free(names);
        SSL_CTX_set_mode(context, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    }
    X509_free(certificate);
    EVP_PKEY_free(key);
    if (!ok && context) {
        SSL_CTX_free(context);
        context = nullptr;
    }
    return context;
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

ScriptedHttpServer::Response ScriptedHttpServer::Response::rawBytes(const QByteArray& bytes)
{
    Response response;
    response.raw = bytes;
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
    Mode mode = Mode::Http;
    std::atomic<bool> stopping{false};
    int listenFd = -1;
    quint16 port = 0;
    QString error;
    std::thread acceptThread;
    SSL_CTX* tls = nullptr;

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
    Channel channel{fd, tls ? SSL_new(tls) : nullptr, stopping, {}};
    if (channel.ssl)
        SSL_set_fd(channel.ssl, fd);
    if (!channel.handshake())
        return;
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
    QByteArray bytes = response.raw;
    qint64 headSize = 0;
    if (bytes.isEmpty()) {
        bytes = "HTTP/1.1 " + QByteArray::number(response.status) + " Status\r\n";
        bool length = false;
        for (const auto& header : response.headers) {
            bytes += header.first + ": " + header.second + "\r\n";
            length = length || header.first.compare("Content-Length", Qt::CaseInsensitive) == 0;
        }
        if (!length)
            bytes += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
        if (response.close)
            bytes += "Connection: close\r\n";
        bytes += "\r\n";
        headSize = bytes.size();
        const bool noBody = request.method == "HEAD" || response.status == 204 || response.status == 304;
        if (!noBody)
            bytes += response.body;
    }
    if (response.delayMs > 0 && !sleepUnlessStopping(response.delayMs, stopping))
        return false;
    qint64 end = bytes.size();
    if (response.closeAfterBodyBytes >= 0)
        end = std::min(end, headSize + response.closeAfterBodyBytes);
    if (!channel.writeAll(bytes.constData(), end))
        return false;
    if (response.closeAfterBodyBytes >= 0 && response.reset) {
        channel.reset();
        return false;
    }
    if (response.closeAfterBodyBytes >= 0 || response.close) {
        channel.closeGracefully();
        return false;
    }
    return true;
}

ScriptedHttpServer::ScriptedHttpServer(Mode mode)
    : d(std::make_unique<Private>())
{
    d->mode = mode;
}

ScriptedHttpServer::~ScriptedHttpServer()
{
    stop();
    if (d->tls)
        SSL_CTX_free(d->tls);
}

void ScriptedHttpServer::setHandler(Handler handler)
{
    QMutexLocker lock(&d->mutex);
    d->handler = std::move(handler);
}

bool ScriptedHttpServer::start()
{
    if (d->mode == Mode::Https && !d->tls && !(d->tls = makeTlsContext())) {
        d->error = QStringLiteral("cannot make the TLS certificate");
        return false;
    }
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
        // OpenSSL writes without MSG_NOSIGNAL: a client that hangs up must not end the test.
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &set, nullptr);
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
    return QUrl(QStringLiteral("%1://127.0.0.1:%2%3")
                    .arg(d->mode == Mode::Https ? QStringLiteral("https") : QStringLiteral("http"))
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
