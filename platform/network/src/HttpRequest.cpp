#include "NorvikNetwork/HttpRequest.h"

#include "NorvikNetwork/ClientHttp.h"
#include "TlsOptions.h"
#include "TransferHooks.h"

#include <NorvikCore/Exception.h>
#include <NorvikCore/NorvikDebug.h>

#include <QBuffer>
#include <QMetaObject>
#include <QMutex>
#include <QMutexLocker>

#include <curlpp/Easy.hpp>
#include <curlpp/Exception.hpp>
#include <curlpp/Infos.hpp>
#include <curlpp/Options.hpp>

#include <atomic>
#include <thread>

namespace Norvik::Network {

namespace {

// A small document may sit behind a redirect (a CDN, a moved file); a loop of them ends here.
constexpr long MaximumRedirects = 5;

} // namespace

struct HttpRequest::Transfer
{
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> cancel = std::make_shared<std::atomic<bool>>(false);

    mutable QMutex mutex;
    bool done = false;
    bool failed = false;
    QString message;
    int status = 0;
    QByteArray data;

    void fail(const QString& text)
    {
        QMutexLocker lock(&mutex);
        failed = true;
        message = text;
        done = true;
    }
};

HttpRequest::Handler::~Handler() = default;

HttpRequest::HttpRequest(const QUrl& url, QObject* parent, Handler* handler)
    : QObject(parent)
    , m_url(url)
    , m_transfer(std::make_shared<Transfer>())
{
    if (!url.isValid() || (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https"))) {
        m_transfer->fail(tr("The address %1 cannot be downloaded.").arg(url.toDisplayString()));
        QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
        return;
    }

    NorvikDebug("NKC").debug() << "HttpRequest: GET url:" << url.toDisplayString();
    // The thread touches this object only to queue deliver(); the destructor joins it first.
    m_transfer->thread = std::thread([this, transfer = m_transfer, url, handler] {
        QByteArray body;
        QBuffer bodyDevice(&body);
        bodyDevice.open(QIODevice::WriteOnly);
        QByteArray trace;
        QBuffer traceDevice(&trace);
        traceDevice.open(QIODevice::WriteOnly);

        QString failure;
        long status = 0;
        try {
            ClientHttp client;
            client.setSslVerifyState(Internal::configuredTlsState());
            QSharedPointer<curlpp::Easy> request =
                client.createRequest(&bodyDevice, nullptr, &traceDevice, QUuid());
            // The same hooks once more, now with the destructor's cancel flag.
            Internal::installTransferHooks(*request, QUuid(), &traceDevice, transfer->cancel);
            request->setOpt(curlpp::options::Url(url.toEncoded(QUrl::FullyEncoded).toStdString()));
            request->setOpt(curlpp::options::HttpGet(true));
            request->setOpt(curlpp::options::FollowLocation(true));
            request->setOpt(curlpp::options::MaxRedirs(MaximumRedirects));
            if (handler)
                handler->prepare(*request);
            request->perform();
            status = curlpp::infos::ResponseCode::get(*request);
            if (status >= 400)
                failure = HttpRequest::tr("The server answered the request for %1 with HTTP status %2.")
                              .arg(url.toDisplayString())
                              .arg(status);
        } catch (const curlpp::LibcurlRuntimeError& e) {
            failure = HttpRequest::tr("%1 could not be downloaded: %2 (code %3)")
                          .arg(url.toDisplayString(), QString::fromUtf8(e.what()))
                          .arg(static_cast<int>(e.whatCode()));
        } catch (const Exception::Base& e) {
            failure =
                HttpRequest::tr("%1 could not be downloaded: %2").arg(url.toDisplayString(), e.message());
        } catch (const std::exception& e) {
            failure = HttpRequest::tr("%1 could not be downloaded: %2")
                          .arg(url.toDisplayString(), QString::fromUtf8(e.what()));
        } catch (...) {
            failure = HttpRequest::tr("%1 could not be downloaded.").arg(url.toDisplayString());
        }

        if (transfer->cancel->load())
            return; // the object is going away; nobody is left to tell

        if (!failure.isEmpty()) {
            NorvikDebug("NKC").warning()
                << "HttpRequest failed, url:" << url.toDisplayString() << "message:" << failure;
            NorvikDebug("NKC").warning() << QString::fromUtf8(trace);
        } else {
            NorvikDebug("NKC").debug() << "HttpRequest done, url:" << url.toDisplayString()
                                       << "status:" << status << "size:" << body.size();
        }
        {
            QMutexLocker lock(&transfer->mutex);
            transfer->status = static_cast<int>(status);
            transfer->data = body;
            transfer->failed = !failure.isEmpty();
            transfer->message = failure;
            transfer->done = true;
        }
        // Queued: the outcome is announced on the object's thread, once its loop runs.
        QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
    });
}

HttpRequest::~HttpRequest()
{
    if (m_transfer->thread.joinable()) {
        m_transfer->cancel->store(true);
        m_transfer->thread.join();
    }
}

bool HttpRequest::isFinished() const
{
    QMutexLocker lock(&m_transfer->mutex);
    return m_transfer->done;
}

bool HttpRequest::hasError() const
{
    QMutexLocker lock(&m_transfer->mutex);
    return m_transfer->failed;
}

QString HttpRequest::errorMessage() const
{
    QMutexLocker lock(&m_transfer->mutex);
    return m_transfer->message;
}

int HttpRequest::status() const
{
    QMutexLocker lock(&m_transfer->mutex);
    return m_transfer->status;
}

QByteArray HttpRequest::data() const
{
    QMutexLocker lock(&m_transfer->mutex);
    return m_transfer->data;
}

void HttpRequest::deliver()
{
    if (m_transfer->thread.joinable())
        m_transfer->thread.join(); // it has nothing left to do but return
    bool failed = false;
    QString message;
    {
        QMutexLocker lock(&m_transfer->mutex);
        failed = m_transfer->failed;
        message = m_transfer->message;
    }
    if (failed)
        emit error(message);
    else
        emit finished();
}

} // namespace Norvik::Network
