#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>

namespace NorvikTest {

// An HTTP/1.1 server on 127.0.0.1 whose every answer is scripted by the test.
//
//     ScriptedHttpServer server;
//     server.setHandler([](const ScriptedHttpServer::Request& request) {
//         return ScriptedHttpServer::Response::ok("hello").withHeader("ETag", "\"1\"");
//     });
//     ASSERT_TRUE(server.start()) << server.errorString().toStdString();
//     ... use server.url("/bucket/key") ...
//     EXPECT_EQ(server.requests().at(0).method, "PUT");
//
// It accepts on a thread of its own and serves each connection on another thread, with
// keep-alive, request bodies by Content-Length (the library always sends one), and "100
// Continue" for requests that expect it.
// The handler runs on the connection's thread. All waits end promptly when the server stops.
class ScriptedHttpServer
{
public:
    struct Request
    {
        QByteArray method;
        QByteArray
            target; // as on the request line: "/a?b", "http://host/a" through a proxy, "host:443" for CONNECT
        QByteArray version;
        QList<QPair<QByteArray, QByteArray>> headers; // in the order and case received
        QByteArray body;
        bool complete = true; // false when the client went away before the whole body arrived
        int connection = 0;   // serial number of the connection, from 1

        // The last value of the header, by case-insensitive name; empty when absent.
        QByteArray header(const QByteArray& name) const;
        // All values of the header, in order.
        QList<QByteArray> headerValues(const QByteArray& name) const;
        // The target's path without the query.
        QByteArray path() const;
    };

    struct Response
    {
        int status = 200;
        QList<QPair<QByteArray, QByteArray>> headers;
        QByteArray body;
        // "Content-Length" is added unless the headers name one.
        // Waits this long before the first byte of the answer.
        int delayMs = 0;

        static Response ok(const QByteArray& body = QByteArray());
        static Response make(int status, const QByteArray& body = QByteArray());
        Response& withHeader(const QByteArray& name, const QByteArray& value);
    };

    using Handler = std::function<Response(const Request& request)>;

    ScriptedHttpServer();
    ~ScriptedHttpServer();
    ScriptedHttpServer(const ScriptedHttpServer&) = delete;
    ScriptedHttpServer& operator=(const ScriptedHttpServer&) = delete;

    // Without a handler every request is answered "200 OK" with an empty body.
    void setHandler(Handler handler);

    // Binds 127.0.0.1 on a free port and starts accepting. False, with errorString(), when
    // the server cannot start.
    bool start();
    // Stops accepting, ends every connection and joins the threads. Called by the destructor.
    void stop();
    QString errorString() const;

    quint16 port() const;
    // "http://127.0.0.1:<port>" (or https) with the given path.
    QUrl url(const QString& path = QStringLiteral("/")) const;

    // Requests in the order they were read in full. One whose body was cut off is recorded
    // with complete false when its connection ends. CONNECT is answered like any other
    // request: the server does not tunnel.
    QList<Request> requests() const;
    int requestCount() const;
    void clearRequests();
    // Waits (without an event loop) until at least count requests have been recorded.
    bool waitForRequests(int count, int timeoutMs = 10000) const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace NorvikTest
