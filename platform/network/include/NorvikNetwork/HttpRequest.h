#pragma once

#include <QByteArray>
#include <QObject>
#include <QUrl>

#include <memory>

namespace curlpp {
class Easy;
}

namespace Norvik::Network {

// An asynchronous GET of a small document. The transfer starts at construction on a thread
// of its own; finished() or error() is emitted on the object's thread once its event loop
// runs, so that connecting right after construction never misses the outcome. A status of
// 400 or above is an error; redirects are followed (up to five). isFinished() and the
// getters tell the outcome as soon as the transfer has ended. Destroying the object aborts a
// transfer still running and emits nothing.
class HttpRequest : public QObject
{
    Q_OBJECT
public:
    // Lets a caller add options (headers, credentials) to the handle before it is performed.
    // prepare() runs on the transfer's thread; the handler must outlive the request.
    class Handler
    {
    public:
        virtual ~Handler();
        virtual void prepare(curlpp::Easy& request) = 0;
    };

    explicit HttpRequest(const QUrl& url, QObject* parent = nullptr, Handler* handler = nullptr);
    ~HttpRequest() override;

    bool isFinished() const;
    bool hasError() const;
    QString errorMessage() const;
    int status() const;
    QByteArray data() const;
    const QUrl& url() const { return m_url; }

signals:
    void finished();
    void error(const QString& message);

private:
    Q_INVOKABLE void deliver();

    struct Transfer;
    QUrl m_url;
    std::shared_ptr<Transfer> m_transfer;
};

} // namespace Norvik::Network
