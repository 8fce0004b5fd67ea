#include "ScriptedHttpServer.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QMutex>
#include <QMutexLocker>
#include <QTemporaryDir>

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <thread>
#include <vector>

namespace NorvikTest {

namespace {

constexpr int PollSliceMs = 50;
constexpr qint64 MaximumHeadSize = 1024 * 1024;
constexpr qint64 SendPiece = 64 * 1024;

QByteArray reasonPhrase(int status)
{
    static const QMap<int, QByteArray> phrases{{200, "OK"},
                                               {206, "Partial Content"},
                                               {307, "Temporary Redirect"},
                                               {400, "Bad Request"},
                                               {403, "Forbidden"},
                                               {404, "Not Found"},
                                               {500, "Internal Server Error"},
                                               {503, "Service Unavailable"}};
    return phrases.value(status, "Status");
}

bool sleepUnlessStopping(int ms, const std::atomic<bool>& stopping)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!stopping.load()) {
        const auto left = end - std::chrono::steady_clock::now();
        if (left <= std::chrono::steady_clock::duration::zero())
            return true;
        std::this_thread::sleep_for(
            std::min<std::chrono::steady_clock::duration>(left, std::chrono::milliseconds(20)));
    }
    return false;
}

// One accepted socket, plain or TLS, non-blocking underneath; every wait gives up when the
// server stops.
class Channel
{
public:
    Channel(int fd, SSL* ssl, const std::atomic<bool>& stopping)
        : m_fd(fd)
        , m_ssl(ssl)
        , m_stopping(stopping)
    {
    }
    ~Channel()
    {
        if (m_ssl)
            SSL_free(m_ssl);
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    bool handshake()
    {
        if (!m_ssl)
            return true;
        for (;;) {
            const int result = SSL_accept(m_ssl);
            if (result == 1)
                return true;
            if (!waitForSsl(SSL_get_error(m_ssl, result)))
                return false;
        }
    }

    // Bytes read, 0 when the peer closed, -1 on an error or when the server stops.
    qint64 readSome(char* buffer, qint64 max)
    {
        for (;;) {
            if (m_ssl) {
                const int result = SSL_read(m_ssl, buffer, static_cast<int>(std::min<qint64>(max, 1 << 30)));
                if (result > 0)
                    return result;
                const int error = SSL_get_error(m_ssl, result);
                if (error == SSL_ERROR_ZERO_RETURN)
                    return 0;
                if (!waitForSsl(error))
                    return error == SSL_ERROR_SYSCALL ? 0 : -1;
            } else {
                const ssize_t result = ::recv(m_fd, buffer, static_cast<size_t>(max), 0);
                if (result >= 0)
                    return result;
                if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
                    return -1;
                if (!waitFor(POLLIN))
                    return -1;
            }
        }
    }

    bool writeAll(const char* data, qint64 size)
    {
        qint64 done = 0;
        while (done < size) {
            const qint64 piece = std::min(size - done, SendPiece);
            if (m_ssl) {
                const int result = SSL_write(m_ssl, data + done, static_cast<int>(piece));
                if (result > 0) {
                    done += result;
                    continue;
                }
                if (!waitForSsl(SSL_get_error(m_ssl, result)))
                    return false;
            } else {
                const ssize_t result = ::send(m_fd, data + done, static_cast<size_t>(piece), MSG_NOSIGNAL);
                if (result > 0) {
                    done += result;
                    continue;
                }
                if (result < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
                    return false;
                if (!waitFor(POLLOUT))
                    return false;
            }
        }
        return true;
    }

    void reset()
    {
        linger option{1, 0};
        ::setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &option, sizeof option);
        ::close(m_fd);
        m_fd = -1;
    }

    // An orderly close that lets the peer read what was sent, even when it is still sending:
    // closing with unread input would make the kernel answer with a reset.
    void closeGracefully()
    {
        if (m_fd < 0)
            return;
        if (m_ssl)
            SSL_shutdown(m_ssl);
        ::shutdown(m_fd, SHUT_WR);
        char sink[16 * 1024];
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
        while (std::chrono::steady_clock::now() < end && !m_stopping.load()) {
            pollfd entry{m_fd, POLLIN, 0};
            if (::poll(&entry, 1, 20) <= 0)
                continue;
            if (::recv(m_fd, sink, sizeof sink, 0) <= 0)
                break;
        }
    }

private:
    bool waitFor(short events)
    {
        while (!m_stopping.load()) {
            pollfd entry{m_fd, events, 0};
            const int result = ::poll(&entry, 1, PollSliceMs);
            if (result > 0)
                return true;
            if (result < 0 && errno != EINTR)
                return false;
        }
        return false;
    }

    bool waitForSsl(int error)
    {
        if (error == SSL_ERROR_WANT_READ)
            return waitFor(POLLIN);
        if (error == SSL_ERROR_WANT_WRITE)
            return waitFor(POLLOUT);
        return false;
    }

    int m_fd;
    SSL* m_ssl;
    const std::atomic<bool>& m_stopping;
};

// Buffered reading of lines and counted bytes.
class Reader
{
public:
    explicit Reader(Channel& channel)
        : m_channel(channel)
    {
    }

    // The head up to and without the blank line; nullopt when the connection ends first.
    std::optional<QByteArray> readHead()
    {
        for (;;) {
            const int end = m_buffer.indexOf("\r\n\r\n");
            if (end >= 0) {
                QByteArray head = m_buffer.left(end);
                m_buffer.remove(0, end + 4);
                return head;
            }
            if (m_buffer.size() > MaximumHeadSize || !fill())
                return std::nullopt;
        }
    }

    // Appends count bytes to out; false when the connection ends first (out then holds
    // what arrived).
    bool readExact(qint64 count, QByteArray& out)
    {
        while (count > 0) {
            if (m_buffer.isEmpty() && !fill())
                return false;
            const qint64 piece = std::min<qint64>(count, m_buffer.size());
            out.append(m_buffer.constData(), static_cast<int>(piece));
            m_buffer.remove(0, static_cast<int>(piece));
            count -= piece;
        }
        return true;
    }

private:
    bool fill()
    {
        char chunk[64 * 1024];
        const qint64 count = m_channel.readSome(chunk, sizeof chunk);
        if (count <= 0)
            return false;
        m_buffer.append(chunk, static_cast<int>(count));
        return true;
    }

    Channel& m_channel;
    QByteArray m_buffer;
};

bool parseHead(const QByteArray& head, ScriptedHttpServer::Request& request)
{
    const QList<QByteArray> lines = head.split('\n');
    const QList<QByteArray> parts = lines.value(0).trimmed().split(' ');
    if (parts.size() != 3 || parts.at(0).isEmpty() || !parts.at(2).startsWith("HTTP/"))
        return false;
    request.method = parts.at(0);
    request.target = parts.at(1);
    request.version = parts.at(2);
    for (int i = 1; i < lines.size(); ++i) {
        const QByteArray line = lines.at(i).endsWith('\r') ? lines.at(i).chopped(1) : lines.at(i);
        const int colon = line.indexOf(':');
        if (colon <= 0)
            return false;
        request.headers.append({line.left(colon).trimmed(), line.mid(colon + 1).trimmed()});
    }
    return true;
}

bool headersContain(const QList<QPair<QByteArray, QByteArray>>& headers, const QByteArray& name)
{
    return std::any_of(headers.begin(), headers.end(), [&](const auto& header) {
        return header.first.compare(name, Qt::CaseInsensitive) == 0;
    });
}

struct SslCleanup
{
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { X509_free(certificate); }
};

bool addExtension(X509* certificate, int nid, const char* value)
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
    if (!extension)
        return false;
    const bool added = X509_add_ext(certificate, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    return added;
}

} // namespace

// --- Request and Response ------------------------------------------------------------------

QByteArray ScriptedHttpServer::Request::header(const QByteArray& name) const
{
    const QList<QByteArray> values = headerValues(name);
    return values.isEmpty() ? QByteArray() : values.last();
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
    Response response;
    response.body = body;
    return response;
}

ScriptedHttpServer::Response ScriptedHttpServer::Response::make(int code, const QByteArray& body)
{
    Response response;
    response.status = code;
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

// --- Server ----------------------------------------------------------------------------------

struct ScriptedHttpServer::Private
{
    Mode mode = Mode::Http;
    std::atomic<bool> stopping{false};
    std::atomic<bool> running{false};
    int listenFd = -1;
    quint16 port = 0;
    QString error;
    std::thread acceptThread;

    mutable QMutex mutex; // handlers, requests, connection threads
    Handler handler;
    QList<Request> requests;
    std::vector<std::thread> connections;
    int connectionSerial = 0;

    SSL_CTX* tls = nullptr;
    std::unique_ptr<QTemporaryDir> certificateDir;
    QString certificatePath;

    bool makeCertificate();
    void acceptLoop();
    void serve(int fd, int serial);
    bool sendResponse(Channel& channel, const Request& request, const Response& response);
    void record(const Request& request)
    {
        QMutexLocker lock(&mutex);
        requests.append(request);
    }
};

bool ScriptedHttpServer::Private::makeCertificate()
{
    std::unique_ptr<EVP_PKEY, SslCleanup> key(EVP_EC_gen("P-256"));
    std::unique_ptr<X509, SslCleanup> certificate(X509_new());
    if (!key || !certificate)
        return false;
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set(
        X509_get_serialNumber(certificate.get()),
        static_cast<long>(std::chrono::system_clock::now().time_since_epoch().count() & 0x7fffffff));
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 2L * 24 * 3600);
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME* name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("Norvik test"),
                               -1, -1, 0);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("127.0.0.1"),
                               -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    if (!addExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE") ||
        !addExtension(certificate.get(), NID_key_usage, "critical,digitalSignature,keyCertSign") ||
        !addExtension(certificate.get(), NID_ext_key_usage, "serverAuth") ||
        !addExtension(certificate.get(), NID_subject_key_identifier, "hash") ||
        !addExtension(certificate.get(), NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost"))
        return false;
    if (X509_sign(certificate.get(), key.get(), EVP_sha256()) <= 0)
        return false;

    certificateDir = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/norvik-tls-XXXXXX"));
    if (!certificateDir->isValid())
        return false;
    certificatePath = certificateDir->filePath(QStringLiteral("server-certificate.pem"));
    FILE* file = std::fopen(QFile::encodeName(certificatePath).constData(), "w");
    if (!file)
        return false;
    const bool written = PEM_write_X509(file, certificate.get()) == 1;
    std::fclose(file);
    if (!written)
        return false;

    tls = SSL_CTX_new(TLS_server_method());
    if (!tls)
        return false;
    SSL_CTX_set_mode(tls, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    return SSL_CTX_use_certificate(tls, certificate.get()) == 1 &&
           SSL_CTX_use_PrivateKey(tls, key.get()) == 1;
}

// OpenSSL writes to the socket without MSG_NOSIGNAL: a client that hangs up mid-handshake
// must not kill the test process. Threads started from here inherit the mask.
static void blockBrokenPipeSignal()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void ScriptedHttpServer::Private::acceptLoop()
{
    blockBrokenPipeSignal();
    while (!stopping.load()) {
        pollfd entry{listenFd, POLLIN, 0};
        if (::poll(&entry, 1, PollSliceMs) <= 0)
            continue;
        const int fd = ::accept4(listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        QMutexLocker lock(&mutex);
        const int serial = ++connectionSerial;
        connections.emplace_back([this, fd, serial] { serve(fd, serial); });
    }
}

void ScriptedHttpServer::Private::serve(int fd, int serial)
{
    SSL* ssl = nullptr;
    if (tls) {
        ssl = SSL_new(tls);
        SSL_set_fd(ssl, fd);
    }
    Channel channel(fd, ssl, stopping);
    if (!channel.handshake())
        return;
    Reader reader(channel);

    while (!stopping.load()) {
        const std::optional<QByteArray> head = reader.readHead();
        if (!head)
            break;
        Request request;
        request.connection = serial;
        if (!parseHead(*head, request)) {
            sendResponse(channel, request, Response::make(400, "malformed request head"));
            break;
        }

        const qint64 contentLength = request.header("Content-Length").toLongLong();
        const bool hasBody = contentLength > 0;

        if (hasBody && request.header("Expect").toLower() == "100-continue") {
            static const QByteArray interim = "HTTP/1.1 100 Continue\r\n\r\n";
            if (!channel.writeAll(interim.constData(), interim.size()))
                break;
        }

        const bool bodyRead = reader.readExact(contentLength, request.body);
        if (!bodyRead) {
            request.complete = false;
            record(request);
            break;
        }
        record(request);

        Handler handle;
        {
            QMutexLocker lock(&mutex);
            handle = handler;
        }
        const Response response = handle ? handle(request) : Response::ok();
        if (!sendResponse(channel, request, response))
            return; // closed or reset already
        const QByteArray connection = request.header("Connection").toLower();
        if (connection == "close" || (request.version == "HTTP/1.0" && connection != "keep-alive"))
            break;
    }
    channel.closeGracefully();
}

// Returns whether the connection stays open for another request.
bool ScriptedHttpServer::Private::sendResponse(Channel& channel, const Request& request,
                                               const Response& response)
{
    QByteArray bytes;
    qint64 headSize = 0;
    bool close = response.close;
    if (!response.raw.isEmpty()) {
        bytes = response.raw;
    } else {
        const bool noBody = request.method == "HEAD" || response.status < 200 || response.status == 204 ||
                            response.status == 304;
        QByteArray head =
            "HTTP/1.1 " + QByteArray::number(response.status) + ' ' + reasonPhrase(response.status) + "\r\n";
        for (const auto& header : response.headers)
            head += header.first + ": " + header.second + "\r\n";
        if (!headersContain(response.headers, "Content-Length"))
            head += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
        if (close && !headersContain(response.headers, "Connection"))
            head += "Connection: close\r\n";
        head += "\r\n";
        headSize = head.size();
        bytes = head;
        if (!noBody)
            bytes += response.body;
    }

    if (response.delayMs > 0 && !sleepUnlessStopping(response.delayMs, stopping))
        return false;

    qint64 end = bytes.size();
    if (response.closeAfterBodyBytes >= 0)
        end = std::min(end, headSize + response.closeAfterBodyBytes);
    qint64 at = 0;
    if (response.stallAfterBytes >= 0 && response.stallAfterBytes < end) {
        if (!channel.writeAll(bytes.constData(), response.stallAfterBytes))
            return false;
        at = response.stallAfterBytes;
        if (!sleepUnlessStopping(response.stallMs, stopping))
            return false;
    }
    if (!channel.writeAll(bytes.constData() + at, end - at))
        return false;

    if (response.closeAfterBodyBytes >= 0) {
        if (response.reset)
            channel.reset();
        else
            channel.closeGracefully();
        return false;
    }
    if (close) {
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
    if (d->running.load())
        return true;
    if (d->mode == Mode::Https && !d->tls && !d->makeCertificate()) {
        char text[256] = {};
        ERR_error_string_n(ERR_get_error(), text, sizeof text);
        d->error = QStringLiteral("cannot make the TLS certificate: ") + QString::fromLatin1(text);
        return false;
    }

    d->listenFd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (d->listenFd < 0) {
        d->error = QStringLiteral("socket: ") + QString::fromLocal8Bit(std::strerror(errno));
        return false;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof address;
    if (::bind(d->listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(d->listenFd, 64) != 0 ||
        ::getsockname(d->listenFd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        d->error =
            QStringLiteral("bind/listen on 127.0.0.1: ") + QString::fromLocal8Bit(std::strerror(errno));
        ::close(d->listenFd);
        d->listenFd = -1;
        return false;
    }
    d->port = ntohs(address.sin_port);
    d->stopping.store(false);
    d->running.store(true);
    d->acceptThread = std::thread([this] { d->acceptLoop(); });
    return true;
}

void ScriptedHttpServer::stop()
{
    if (!d->running.exchange(false))
        return;
    d->stopping.store(true);
    if (d->acceptThread.joinable())
        d->acceptThread.join();
    std::vector<std::thread> connections;
    {
        QMutexLocker lock(&d->mutex);
        connections.swap(d->connections);
    }
    for (std::thread& connection : connections)
        connection.join();
    ::close(d->listenFd);
    d->listenFd = -1;
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
    const QString scheme = d->mode == Mode::Https ? QStringLiteral("https") : QStringLiteral("http");
    return QUrl(scheme + QStringLiteral("://127.0.0.1:") + QString::number(d->port) +
                (path.startsWith(QLatin1Char('/')) ? path : QLatin1Char('/') + path));
}

QString ScriptedHttpServer::certificatePath() const
{
    return d->certificatePath;
}

QList<ScriptedHttpServer::Request> ScriptedHttpServer::requests() const
{
    QMutexLocker lock(&d->mutex);
    return d->requests;
}

int ScriptedHttpServer::requestCount() const
{
    QMutexLocker lock(&d->mutex);
    return d->requests.size();
}

void ScriptedHttpServer::clearRequests()
{
    QMutexLocker lock(&d->mutex);
    d->requests.clear();
}

bool ScriptedHttpServer::waitForRequests(int count, int timeoutMs) const
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (requestCount() < count) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace NorvikTest
