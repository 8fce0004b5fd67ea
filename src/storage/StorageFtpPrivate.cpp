#include "storage/StorageFtpPrivate.h"

#include "connection/CloudFileMetaData.h"
#include "connection/Exception.h"
#include "storage/FSFtpInfo.h"

#include <NorvikCore/Exception.h>
#include <NorvikCore/NorvikDebug.h>
#include <NorvikCore/StringFilters.h>
#include <NorvikNetwork/ClientCurl.h>
#include <NorvikNetwork/Retry.h>

#include <QBuffer>
#include <QMutex>
#include <QMutexLocker>
#include <QRegularExpression>
#include <QThread>

#include <curl/curl.h>
#include <curlpp/Easy.hpp>
#include <curlpp/Exception.hpp>
#include <curlpp/Options.hpp>

#include <system_error>

namespace Norvik::Cloud::Api {

using Network::Utility::Retry;

namespace {

constexpr unsigned long RETRY_TIMEOUT_MS = 1000;
constexpr long TransferBufferSize = 2 * 1024 * 1024;

QString decodedPath(const QUrl& url)
{
    return url.path(QUrl::FullyDecoded);
}

QUrl withPath(QUrl url, const QString& path)
{
    url.setPath(path, QUrl::DecodedMode);
    return url;
}

QString quoted(const QString& command, const QString& path)
{
    return QStringLiteral("%1 \"%2\"").arg(command, Utility::StringFilters::escape(path));
}

// What this process knows of the folders on its servers, so that many uploads under the same
// folders do not each list and create them again. For each folder: the count of its entries
// (-1 when not known) and whether a thread is about to create it.
class CheckFolderCache
{
public:
    using List = std::function<QByteArray(const QUrl&)>;

    static CheckFolderCache& instance()
    {
        static CheckFolderCache cache;
        return cache;
    }

    QMutex& mutex() { return m_mutex; }

    // 1 when the folder is known to exist, 0 when this thread should create it.
    int tryFolderContains(const List& list, const QUrl& url)
    {
        QMutexLocker lock(&m_mutex);
        retry(lock, url);
        if (m_folders.contains(url))
            return 1;
        const QUrl parentUrl = parent(url);
        const QByteArray listing = list(parentUrl);
        update(parentUrl, listing);
        const QString parentPath = decodedPath(parentUrl);
        for (const QString& line : QString::fromUtf8(listing).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            const FSFtpInfo info(parentPath, line);
            if (info.isValid() && info.isFolder() && !m_folders.contains(withPath(parentUrl, info.path())))
                m_folders.insert(withPath(parentUrl, info.path()), qMakePair(-1, false));
        }
        if (m_folders.contains(url))
            return 1;
        m_folders.insert(url, qMakePair(-1, true));
        return 0;
    }

    // The folder now exists: one more entry, and no longer busy.
    bool inc(const QUrl& url)
    {
        QMutexLocker lock(&m_mutex);
        auto it = m_folders.find(url);
        if (it == m_folders.end())
            return false;
        if (it->first >= 0)
            ++it->first;
        it->second = false;
        return true;
    }

    // Forgets url and everything below it (a folder that was removed or not created).
    void forget(const QUrl& url)
    {
        QMutexLocker lock(&m_mutex);
        forgetLocked(url);
    }

    // With the mutex held: the folder was removed.
    void forgetLocked(const QUrl& url)
    {
        const QString path = decodedPath(url);
        for (auto it = m_folders.begin(); it != m_folders.end();) {
            if (it.key().host() == url.host() && it.key().port() == url.port() &&
                decodedPath(it.key()).startsWith(path))
                it = m_folders.erase(it);
            else
                ++it;
        }
    }

    static QUrl parent(const QUrl& url)
    {
        QString path = decodedPath(url);
        if (path.endsWith(QLatin1Char('/')))
            path.chop(1);
        path = path.left(path.lastIndexOf(QLatin1Char('/')) + 1);
        if (path.isEmpty())
            path = QStringLiteral("/");
        return withPath(url, path);
    }

private:
    // Counts the entries of a long listing; 0 when it holds none.
    int update(const QUrl& url, const QByteArray& listing)
    {
        int count = 0;
        const QString path = decodedPath(url);
        for (const QString& line : QString::fromUtf8(listing).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            if (FSFtpInfo(path, line).isValid())
                ++count;
        }
        if (count == 0)
            return 0;
        // A folder that was just listed exists: nobody waits for it.
        m_folders.insert(url, qMakePair(count, false));
        return 1;
    }

    // Waits, a bounded time, while another thread is creating url.
    void retry(QMutexLocker& lock, const QUrl& url)
    {
        for (int round = 0; round < 10; ++round) {
            const auto it = m_folders.constFind(url);
            if (it == m_folders.constEnd() || !it->second)
                return;
            lock.unlock();
            QThread::msleep(RETRY_TIMEOUT_MS);
            lock.relock();
        }
    }

    QMutex m_mutex;
    QMap<QUrl, QPair<int, bool>> m_folders;
};

// Folder listings as text, through whichever engine asks.
QByteArray longListing(StorageFtpPrivate& storage, const QUrl& url)
{
    QByteArray data;
    storage.get(url, data, QUuid());
    return data;
}

bool hasEntries(const QByteArray& listing, const QString& path)
{
    for (const QString& line : QString::fromUtf8(listing).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (FSFtpInfo(path, line).isValid())
            return true;
    }
    return false;
}

} // namespace

namespace {

void cleanupShare(void* share)
{
    curl_share_cleanup(static_cast<CURLSH*>(share));
}

CURLSH* connectionShare()
{
    CURLSH* share = curl_share_init();
    if (share)
        curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
    return share;
}

} // namespace

// The handles of one object share their connections, so that a signed-in session serves the
// next request too: an SSH handshake and sign-in cost more than most requests.
StorageFtpPrivate::StorageFtpPrivate()
    : m_share(connectionShare(), &cleanupShare)
{
}

StorageFtpPrivate::~StorageFtpPrivate() = default;

void StorageFtpPrivate::setPath(const QString& path)
{
    m_path = path;
    if (!m_path.endsWith(QLatin1Char('/')))
        m_path.append(QLatin1Char('/'));
}

void StorageFtpPrivate::checkConfig(const QString& scheme)
{
    QString message;
    if (!isHostReachable(scheme, message))
        throw Exception::InternalError(message);
}

bool StorageFtpPrivate::isHostReachable(const QString& scheme, QString& message)
{
    try {
        QByteArray reply;
        quote(generateUrl(scheme, address(), m_path), {QStringLiteral("PWD")}, reply, QUuid());
        return true;
    } catch (const Norvik::Exception::Base& e) {
        message = e.message();
        return false;
    }
}

bool StorageFtpPrivate::auth(curlpp::Easy& request)
{
    if (!m_user.isEmpty())
        request.setOpt(
            curlpp::options::UserPwd(QStringLiteral("%1:%2").arg(m_user, m_password).toStdString()));
    return true;
}

QSharedPointer<curlpp::Easy> StorageFtpPrivate::createRequest(const QUrl& url, QIODevice* read,
                                                              QIODevice* write, QIODevice* header,
                                                              const QUuid& id)
{
    const QSharedPointer<curlpp::Easy> request =
        StorageNetworkPrivate::createRequest(url, read, write, header, id);
    if (!request)
        throw Exception::CreateObjectError(QByteArray(),
                                           tr("The given address server or path's format is not supported"));
    request->setOpt(curlpp::options::Port(port()));
    request->setOpt(curlpp::options::ForbidReuse(!m_keepAlive));
    // Large buffers let libssh2 keep many SFTP packets in flight: the transfer rate of a
    // stream depends on it far more than on the link.
    curl_easy_setopt(request->getHandle(), CURLOPT_BUFFERSIZE, TransferBufferSize);
    curl_easy_setopt(request->getHandle(), CURLOPT_UPLOAD_BUFFERSIZE, TransferBufferSize);
    if (m_keepAlive && m_share)
        curl_easy_setopt(request->getHandle(), CURLOPT_SHARE, m_share.get());
    if (!auth(*request))
        throw Exception::CreateObjectError(QByteArray(), tr("Authentication failure"));
    return request;
}

void StorageFtpPrivate::dirListOnly(const QUrl& url, QByteArray& out, const QUuid& id)
{
    QBuffer buffer(&out);
    buffer.open(QIODevice::ReadWrite);
    dirListOnly(url, &buffer, id);
}

void StorageFtpPrivate::dirListOnly(const QUrl& url, QIODevice* out, const QUuid& id)
{
    perform(
        url, nullptr, out, nullptr, id,
        [](curlpp::Easy& request) { request.setOpt(curlpp::OptionTrait<bool, CURLOPT_DIRLISTONLY>(true)); },
        true);
}

void StorageFtpPrivate::get(const QUrl& url, QByteArray& out, const QUuid& id)
{
    QBuffer buffer(&out);
    buffer.open(QIODevice::ReadWrite);
    get(url, &buffer, id);
}

void StorageFtpPrivate::get(const QUrl& url, QIODevice* out, const QUuid& id)
{
    perform(
        url, nullptr, out, nullptr, id, [](curlpp::Easy&) {}, false);
}

void StorageFtpPrivate::get(const QUrl& url, qint64 position, qint64 size, QIODevice* out, const QUuid& id)
{
    const QString range = QStringLiteral("%1-%2").arg(position).arg(position + size);
    try {
        perform(
            url, nullptr, out, nullptr, id,
            [&range](curlpp::Easy& request) { request.setOpt(curlpp::options::Range(range.toStdString())); },
            false);
    } catch (const Exception::ClientRuntimeError& e) {
        // A range that starts at or past the end of the file holds nothing.
        if (e.code() != CURLE_BAD_DOWNLOAD_RESUME)
            throw;
    }
}

void StorageFtpPrivate::quote(const QUrl& url, const QStringList& commands, QByteArray& out, const QUuid& id)
{
    QBuffer buffer(&out);
    buffer.open(QIODevice::ReadWrite);
    quote(url, commands, &buffer, id);
}

void StorageFtpPrivate::quote(const QUrl& url, const QStringList& commands, QIODevice* out, const QUuid& id)
{
    if (commands.isEmpty()) {
        NorvikDebug("NKC").infoH() << "List of commands is empty.";
        return;
    }
    std::list<std::string> list;
    for (const QString& command : commands)
        list.push_back(command.toStdString());
    perform(
        url, nullptr, nullptr, out, id,
        [&list](curlpp::Easy& request) {
            request.setOpt(curlpp::options::Quote(list));
            request.setOpt(curlpp::options::NoBody(true));
            request.setOpt(curlpp::options::FtpCreateMissingDirs(true));
            request.setOpt(curlpp::OptionTrait<long, CURLOPT_NEW_DIRECTORY_PERMS>(0755));
        },
        true);
}

void StorageFtpPrivate::mkpath(const QUrl& url, const QString& base, const QString& path)
{
    const auto list = [this](const QUrl& folder) { return longListing(*this, folder); };
    QString current = base.endsWith(QLatin1Char('/')) ? base : base + QLatin1Char('/');
    for (const QString& level : path.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        current += level + QLatin1Char('/');
        const QUrl folder = withPath(url, current);
        if (CheckFolderCache::instance().tryFolderContains(list, folder) >= 1)
            continue;
        try {
            QByteArray reply;
            quote(CheckFolderCache::parent(folder), {quoted(QStringLiteral("MKDIR"), current)}, reply,
                  QUuid());
        } catch (const Exception::ClientRuntimeError&) {
            // Another client may have made it meanwhile; only a folder that is still missing
            // is a failure.
            QByteArray listing;
            bool exists = false;
            try {
                get(folder, listing, QUuid());
                exists = true;
            } catch (const Exception::Base&) {
            }
            if (!exists) {
                CheckFolderCache::instance().forget(folder);
                throw;
            }
        }
        CheckFolderCache::instance().inc(folder);
    }
}

void StorageFtpPrivate::upload(const QUrl& url, QSharedPointer<QIODevice> device, qint64 size,
                               const QMap<QString, QVariant>& metaData, const QUuid& id)
{
    if (!device || (!device->isOpen() && !device->open(QIODevice::ReadOnly))) {
        NorvikDebug("NKC").error() << "Error open stream. to put operation";
        throw Exception::InvalidData(QByteArray("Stream error"));
    }
    std::list<std::string> postQuote;
    const QString remotePath = decodedPath(url);
    if (metaData.contains(CloudFileMetaData::FilePermissions)) {
        const int bits = CloudFileMetaData::permissionsToInt(CloudFileMetaData(metaData).permission());
        postQuote.push_back(QStringLiteral("CHMOD %1 \"%2\"")
                                .arg(QString::number(bits, 8), Utility::StringFilters::escape(remotePath))
                                .toStdString());
    }
    const qint64 start = device->pos();
    try {
        perform(
            url, device.data(), nullptr, nullptr, id,
            [size, &postQuote](curlpp::Easy& request) {
                request.setOpt(curlpp::options::Upload(true));
                request.setOpt(curlpp::options::InfileSizeLarge(size));
                request.setOpt(curlpp::options::FtpCreateMissingDirs(true));
                request.setOpt(curlpp::OptionTrait<long, CURLOPT_NEW_DIRECTORY_PERMS>(0755));
                if (!postQuote.empty())
                    request.setOpt(curlpp::options::PostQuote(postQuote));
            },
            true);
    } catch (const Exception::ClientRuntimeError& e) {
        // The commands after the transfer failed, and only they: the file itself is complete.
        if (e.code() != CURLE_QUOTE_ERROR || postQuote.empty() || device->pos() - start != size)
            throw;
        NorvikDebug("NKC").warning() << "Error on set file permissions:"
                                     << "path:" << remotePath << "message:" << e.message()
                                     << "permission is missing.";
    }
}

void StorageFtpPrivate::delete_(const QUrl& url, const QString& name)
{
    QString relative = name;
    while (relative.startsWith(QLatin1Char('/')))
        relative.remove(0, 1);
    const QString base =
        decodedPath(url).endsWith(QLatin1Char('/')) ? decodedPath(url) : decodedPath(url) + QLatin1Char('/');
    CheckFolderCache& cache = CheckFolderCache::instance();
    bool first = true;
    while (!relative.isEmpty()) {
        QMutexLocker lock(&cache.mutex());
        const QString target = base + relative;
        const bool folder = relative.endsWith(QLatin1Char('/'));
        QString parentRelative = relative;
        if (parentRelative.endsWith(QLatin1Char('/')))
            parentRelative.chop(1);
        parentRelative = parentRelative.left(parentRelative.lastIndexOf(QLatin1Char('/')) + 1);
        const QUrl parentUrl = withPath(url, base + parentRelative);

        QString command;
        if (folder) {
            // Only an empty folder goes; the server is asked, since other clients may have
            // filled it since this process last looked.
            QByteArray listing;
            try {
                get(withPath(url, target), listing, QUuid());
            } catch (const Exception::FileNotFound&) {
                if (first)
                    throw;
                return;
            }
            if (hasEntries(listing, target))
                return;
            command = quoted(QStringLiteral("RMDIR"), target);
        } else {
            command = quoted(QStringLiteral("RM"), target);
        }
        try {
            QByteArray reply;
            quote(parentUrl, {command}, reply, QUuid());
        } catch (const Exception::ClientRuntimeError&) {
            // A folder above that was filled meanwhile stays, and so ends the walk.
            if (!first)
                return;
            // The object itself: a missing one is reported as such.
            perform(
                withPath(url, target), nullptr, nullptr, nullptr, QUuid(),
                [](curlpp::Easy& request) { request.setOpt(curlpp::options::NoBody(true)); }, true);
            throw;
        }
        if (folder)
            cache.forgetLocked(withPath(url, target));
        first = false;
        relative = parentRelative;
    }
}

void StorageFtpPrivate::perform(const QUrl& url, QIODevice* read, QIODevice* write, QIODevice* header,
                                const QUuid& id, const std::function<void(curlpp::Easy&)>& options,
                                bool retryOnTimeout)
{
    const qint64 readStart = read ? read->pos() : 0;
    const bool writeRewinds = !write || !write->isSequential();
    const qint64 writeStart = write ? write->pos() : 0;

    Retry retry(QStringLiteral("StorageFtpPrivate"), 0, 0);
    while (retry) {
        try {
            if (retry.hasRetry()) {
                if (read && !read->seek(readStart))
                    throw Exception::InvalidData(QByteArray("Stream error"));
                if (write && writeRewinds) {
                    write->seek(writeStart);
                    if (auto* buffer = qobject_cast<QBuffer*>(write))
                        buffer->buffer().truncate(static_cast<int>(writeStart));
                }
            }
            const QSharedPointer<curlpp::Easy> request = createRequest(url, read, write, header, id);
            options(*request);
            // A retried attempt never rides on a connection that may have caused the failure.
            if (retry.hasRetry()) {
                request->setOpt(curlpp::options::FreshConnect(true));
                request->setOpt(curlpp::options::ForbidReuse(true));
            }
            NorvikDebug("NKC").debug() << "URL:" << url.toDisplayString();
            request->perform();
            return;
        } catch (const Exception::Base& e) {
            NorvikDebug("NKC").warning() << "Exception (base):" << e.message();
            if (!e.retry() || !writeRewinds || checkRetry(retry))
                throw;
        } catch (const Norvik::Exception::Base& e) {
            // The caller's device failed (a source file changed or vanished): trying again
            // cannot help, and the caller needs the reason as it stands.
            NorvikDebug("NKC").warning() << "Exception (device):" << e.message();
            throw;
        } catch (const curlpp::LibcurlRuntimeError& e) {
            NorvikDebug("NKC").warning()
                << "Exception (curlpp::LibcurlRuntimeError):" << e.what() << "code:" << e.whatCode();
            if (writeRewinds) {
                onLibcurlRuntimeError(e, retry, retryOnTimeout);
            } else {
                // Spent at once: the mapping throws.
                Retry once(QStringLiteral("StorageFtpPrivate"), 0, 1);
                onLibcurlRuntimeError(e, once, false);
                throw;
            }
        } catch (const std::system_error& e) {
            NorvikDebug("NKC").warning() << "Exception (std::system_error):" << e.what();
            if (!writeRewinds || checkRetry(retry))
                throw Exception::Network(e.code().value(), QString::fromLocal8Bit(e.what()));
        } catch (const std::exception& e) {
            NorvikDebug("NKC").warning() << "Exception (std):" << e.what();
            if (!writeRewinds || checkRetry(retry))
                throw Exception::Unknown(QString::fromLocal8Bit(e.what()));
        } catch (...) {
            NorvikDebug("NKC").warning() << "Exception (unknown)";
            if (!writeRewinds || checkRetry(retry))
                throw Exception::Unknown();
        }
    }
}

void StorageFtpPrivate::forgetFolders(const QUrl& url)
{
    CheckFolderCache::instance().forget(url);
}

bool StorageFtpPrivate::checkRetry(Retry& retry)
{
    retry.retry();
    return !retry;
}

void StorageFtpPrivate::onLibcurlRuntimeError(const curlpp::LibcurlRuntimeError& error, Retry& retry,
                                              bool retryOnTimeout)
{
    const int code = error.whatCode();
    QString text = QString::fromLocal8Bit(error.what());
    if (text.isEmpty())
        text = QStringLiteral("libcurl runtime error (code: %1)").arg(code);

    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
        if (checkRetry(retry))
            throw Exception::Network(code, text);
        return;
    case CURLE_QUOTE_ERROR:
        throw Exception::ClientRuntimeError(code, text);
    case CURLE_OPERATION_TIMEDOUT:
        if (!retryOnTimeout)
            throw Exception::Network(code, text);
        if (checkRetry(retry))
            throw Exception::Network(code, text);
        return;
    case CURLE_ABORTED_BY_CALLBACK:
        if (Network::ClientCurl::isTermintated())
            throw Exception::Terminated();
        // Without termination, the transfer callback gave up on a stalled transfer.
        if (!retryOnTimeout || checkRetry(retry))
            throw Exception::Network(CURLE_OPERATION_TIMEDOUT, text);
        return;
    case CURLE_PEER_FAILED_VERIFICATION:
        throw Exception::SslProblem(code, text);
    case CURLE_LOGIN_DENIED:
        throw Exception::InvalidAutorizationAccount(QByteArray(), text);
    case CURLE_REMOTE_FILE_NOT_FOUND:
        throw Exception::FileNotFound(code, error.what()[0] ? text : QStringLiteral("Remote file not found"),
                                      QString());
    case CURLE_REMOTE_ACCESS_DENIED:
    case CURLE_BAD_DOWNLOAD_RESUME:
        // The server's answer to this very request: asking again changes nothing.
        throw Exception::ClientRuntimeError(code, text);
    case CURLE_SSH: {
        const QString message = error.what()[0] ? text : QStringLiteral("Error from the SSH layer");
        // "(status/-31)" is the server's own answer to a request, which will not change; any
        // other failure of the SSH layer is the connection's (dropped mid-transfer) and is
        // tried again on a new one.
        static const QRegularExpression serverAnswer(QStringLiteral("\\(\\d+/-31\\)"));
        if (serverAnswer.match(text).hasMatch() || checkRetry(retry))
            throw Exception::ClientRuntimeError(code, message);
        return;
    }
    default:
        NorvikDebug("NKC").warning() << "Unknown CURL exception: code:" << code << "message:" << text;
        if (checkRetry(retry))
            throw Exception::ClientRuntimeError(code, text);
        return;
    }
}

} // namespace Norvik::Cloud::Api
