#include "storage/StorageSftp.h"

#include "connection/CloudPrivateFactory.h"
#include "connection/Exception.h"
#include "info/Config.h"
#include "info/StorageInfo.h"
#include "storage/FTPDirIterator.h"
#include "storage/ListingObjectFSFtp.h"
#include "storage/StorageSftpPrivate.h"

#include <NorvikCore/NorvikDebug.h>

#include <QBuffer>
#include <QHash>
#include <QMutex>
#include <QMutexLocker>
#include <QRegularExpression>

namespace Norvik::Cloud::Api {

namespace {

const QString Scheme = QStringLiteral("sftp");

// Unfinished walks between pages, by key. At most MaxCachedWalks are kept; the oldest goes
// first, since a client that stopped asking for pages never comes back for it.
class SftpListingIterator
{
public:
    static SftpListingIterator& instance()
    {
        static SftpListingIterator cache;
        return cache;
    }

    QSharedPointer<FTPDirIterator> take(const QString& key, StorageFtpPrivate* storage)
    {
        QMutexLocker lock(&m_mutex);
        const QSharedPointer<FTPDirIterator> walk = m_walks.take(key);
        if (!walk)
            return walk;
        m_order.removeOne(key);
        walk->setStorageObject(storage);
        return walk;
    }

    void add(const QSharedPointer<FTPDirIterator>& walk)
    {
        QMutexLocker lock(&m_mutex);
        // A walk belongs to no connection while it waits.
        walk->setStorageObject(nullptr);
        if (m_walks.contains(walk->key()))
            m_order.removeOne(walk->key());
        m_walks.insert(walk->key(), walk);
        m_order.append(walk->key());
        while (m_order.size() > StorageSftp::MaxCachedWalks)
            m_walks.remove(m_order.takeFirst());
    }

    void remove(const QString& key)
    {
        QMutexLocker lock(&m_mutex);
        m_walks.remove(key);
        m_order.removeOne(key);
    }

private:
    QMutex m_mutex;
    QHash<QString, QSharedPointer<FTPDirIterator>> m_walks;
    QStringList m_order;
};

bool isReservedName(const QString& element)
{
    static const QRegularExpression reserved(QStringLiteral("^(CON|PRN|AUX|NUL|COM[1-9]|LPT[1-9])$"),
                                             QRegularExpression::CaseInsensitiveOption);
    return reserved.match(element).hasMatch();
}

} // namespace

StorageSftp::StorageSftp(Type type)
    : StorageNetwork(type)
    , d(CloudPrivateFactory::instance().createStorageSftp())
{
}

StorageSftp::~StorageSftp() = default;

bool StorageSftp::setConfig(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty()) {
        NorvikDebug("NKC").warning() << "Cloud config is empty";
        return false;
    }
    return StorageNetwork::setConfig(config) && d->setConfig(config);
}

void StorageSftp::checkConfig(const QString&, QMap<QString, QVariant>& config)
{
    if (!setConfig(config))
        throw Exception::InvalidArgument(QByteArray(), tr("The SFTP configuration is incomplete"),
                                         Norvik::Cloud::Config::Network::Sftp::User);
    d->checkConfig(Scheme);
    if (d->hostKeySha256().isEmpty() && !d->seenHostKeySha256().isEmpty())
        config.insert(Norvik::Cloud::Config::Network::Sftp::HostKeySha256, d->seenHostKeySha256());
}

void StorageSftp::checkPath(const QString& path)
{
    if (path.contains(QChar(0)))
        throw Exception::InvalidArgument(QByteArray(), tr("The path contains a null character: %1").arg(path),
                                         path);
    for (const QString& segment : path.split(QRegularExpression(QStringLiteral("[/\\\\]")))) {
        if (segment == QLatin1String(".."))
            throw Exception::InvalidArgument(
                QByteArray(), tr("The path leads outside the storage folder: %1").arg(path), path);
    }
}

QUrl StorageSftp::objectUrl(const QString& path) const
{
    checkPath(path);
    return StorageNetworkPrivate::generateUrl(Scheme, d->address(),
                                              StorageNetworkPrivate::pathConcat(d->path(), path));
}

QJsonDocument StorageSftp::listing(const QString&, const QString& prefix, QString& marker,
                                   const QString& delimiter, quint16 maxCount)
{
    checkPath(prefix);
    const QUrl url = StorageNetworkPrivate::generateUrl(Scheme, d->address(), d->path());
    SftpListingIterator& cache = SftpListingIterator::instance();
    QSharedPointer<FTPDirIterator> walk =
        cache.take(FTPDirIterator::makeKey(url, prefix, delimiter, marker), d.get());
    if (!walk) {
        walk = QSharedPointer<FTPDirIterator>::create(d.get(), url, prefix, delimiter, marker);
        if (!marker.isEmpty()) {
            // The walk of this marker is gone (evicted, or another process served the page
            // before): walk again up to the entry that the marker names. When that entry has
            // gone meanwhile, the whole listing comes again rather than losing entries.
            NorvikDebug("NKC").infoH() << "Listing walk is gone; walking again to marker:" << marker;
            while (walk->hasNext() && walk->marker() != marker)
                walk->next();
            if (!walk->hasNext())
                walk = QSharedPointer<FTPDirIterator>::create(d.get(), url, prefix, delimiter, marker);
        }
    }

    QJsonArray page;
    while (page.size() < maxCount && walk->hasNext()) {
        const FSFtpInfo info = walk->next();
        if (!info.isValid() || info.isLink())
            continue;
        if (info.isFolder() && delimiter.isEmpty() && !walk->isEmptyFolder())
            continue;
        page.append(ListingObjectFSFtp(info, url).json());
    }

    if (walk->hasNext()) {
        marker = walk->marker();
        walk->regenerateKey(marker);
        cache.add(walk);
    } else {
        marker.clear();
    }
    return QJsonDocument(page);
}

QJsonObject StorageSftp::upload(const QString& container, const QString& path,
                                const QMap<QString, QVariant>& metaData, const QByteArray& data,
                                const QUuid& operationId)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly);
    return upload(container, path, metaData, buffer, data.size(), operationId);
}

QJsonObject StorageSftp::upload(const QString&, const QString& path, const QMap<QString, QVariant>& metaData,
                                QSharedPointer<QIODevice> device, qint64 size, const QUuid& operationId)
{
    checkPath(path);
    const QUrl base = StorageNetworkPrivate::generateUrl(Scheme, d->address(), d->path());
    const QUrl local = QUrl::fromLocalFile(path);
    const QString fileName = local.fileName(QUrl::FullyDecoded);
    const QString folder = local.adjusted(QUrl::RemoveFilename).path(QUrl::FullyDecoded);
    if (fileName.isEmpty()) {
        NorvikDebug("NKC").info() << "Create empty folder:"
                                  << "destination:" << d->path() << "create path:" << path;
        d->mkpath(base, d->path(), path);
        return ListingObjectFSFtp(path, 0, QDateTime::currentDateTimeUtc(), true).json();
    }

    const QUrl url = objectUrl(path);
    try {
        try {
            d->mkpath(base, d->path(), folder);
            d->upload(url, device, size, metaData, operationId);
        } catch (const Exception::FileNotFound&) {
            // Another client may have removed a folder that this process still counts as
            // made: ask the server again, once.
            StorageFtpPrivate::forgetFolders(objectUrl(folder));
            d->mkpath(base, d->path(), folder);
            d->upload(url, device, size, metaData, operationId);
        }
    } catch (const Exception::ClientRuntimeError& e) {
        const QString fullPath = url.path(QUrl::FullyDecoded);
        if (e.message().contains(QLatin1String("(5/-31)"), Qt::CaseInsensitive)) {
            if (fullPath.size() > 259)
                throw Exception::CreateDestinationFileError(
                    QByteArray(), QStringLiteral("Max path length must be less then 260"), fullPath);
            static const QRegularExpression forbidden(QStringLiteral("[\\?%*:|\"<>]"));
            if (forbidden.match(fullPath).hasMatch())
                throw Exception::CreateDestinationFileError(
                    QByteArray(), QStringLiteral("Using forbiden char in path"), fullPath);
            for (const QString& element : fullPath.split(QLatin1Char('/'))) {
                if (isReservedName(element))
                    throw Exception::CreateDestinationFileError(
                        QByteArray(), QStringLiteral("Using forbiden name in path"), fullPath);
            }
        }
        if (const auto* notFound = dynamic_cast<const Exception::FileNotFound*>(&e);
            notFound && notFound->path().isEmpty())
            throw Exception::CreateDestinationFileError(
                QByteArray(), QStringLiteral("Using forbiden char in file name"), fullPath);
        throw;
    }
    return ListingObjectFSFtp(path, static_cast<quint64>(size), QDateTime::currentDateTimeUtc(), false)
        .json();
}

void StorageSftp::download(const QString& container, const QString& path, QIODevice& out,
                           QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    Q_UNUSED(container)
    Q_UNUSED(metaData)
    const QUrl url = objectUrl(path);
    if (!url.isValid() || url.path().endsWith(QLatin1Char('/'))) {
        NorvikDebug("NKC").error() << "Error on check path:"
                                   << "Path:" << path;
        throw Exception::InvalidRequest(QByteArray(), tr("Wrong path to file."));
    }
    d->get(url, &out, operationId);
}

QByteArray StorageSftp::download(const QString& container, const QString& path, qint64 position, qint64 size,
                                 QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    download(container, path, position, size, buffer, metaData, operationId);
    return data;
}

void StorageSftp::download(const QString&, const QString& path, qint64 position, qint64 size, QIODevice& out,
                           QMap<QString, QVariant>&, const QUuid& operationId)
{
    const QUrl url = objectUrl(path);
    if (!url.isValid() || url.path().endsWith(QLatin1Char('/'))) {
        NorvikDebug("NKC").error() << "Error on check path:"
                                   << "Path:" << path;
        throw Exception::InvalidRequest(QByteArray(), tr("Wrong path to file."));
    }
    d->get(url, position, size, &out, operationId);
}

bool StorageSftp::delete_(const QString&, const QJsonObject& object)
{
    const ListingObject record(object);
    checkPath(record.name());
    d->delete_(StorageNetworkPrivate::generateUrl(Scheme, d->address(), d->path()), record.name());
    return true;
}

QJsonArray StorageSftp::delete_(const QString&, const QJsonArray&)
{
    throw Exception::UnsupportedOperation();
}

QByteArray StorageSftp::beginMultipartUpload(const QString&, const QString&, const QMap<QString, QVariant>&)
{
    throw Exception::UnsupportedOperation();
}

QJsonObject StorageSftp::endMultipartUpload(const QString&, const QString&, const QByteArray&,
                                            const QList<QPair<quint64, QByteArray>>&)
{
    throw Exception::UnsupportedOperation();
}

QByteArray StorageSftp::uploadMultipart(const QString&, const QString&, const QByteArray&, quint64,
                                        const QByteArray&, const QUuid&)
{
    throw Exception::UnsupportedOperation();
}

QByteArray StorageSftp::uploadMultipart(const QString&, const QString&, const QByteArray&, quint64,
                                        QSharedPointer<QIODevice>, qint64, const QUuid&)
{
    throw Exception::UnsupportedOperation();
}

void StorageSftp::abortMultipartUpload(const QString&, const QString&, const QByteArray&)
{
    throw Exception::UnsupportedOperation();
}

QJsonArray StorageSftp::listPartsMultipart(const QString&, const QString&, const QByteArray&, quint64&)
{
    throw Exception::UnsupportedOperation();
}

QPair<bool, QByteArray> StorageSftp::checkUploadPart(quint64, const QJsonArray&, const QByteArray&)
{
    return qMakePair(false, QByteArray());
}

QPair<bool, QByteArray> StorageSftp::checkUploadPart(quint64, const QJsonArray&, QSharedPointer<QIODevice>,
                                                     qint64)
{
    return qMakePair(false, QByteArray());
}

QMap<QByteArray, QByteArray> StorageSftp::header(const QString&, const QString&)
{
    return {};
}

void StorageSftp::setHeader(const QString&, const QString&, const QMap<QByteArray, QByteArray>&) {}

QString StorageSftp::signUrl(const QString&, const QString&, bool, const QDateTime&)
{
    return QString();
}

void StorageSftp::setAddress(const QString& address)
{
    d->setAddress(address);
}

QString StorageSftp::address() const
{
    return d->address();
}

void StorageSftp::setPort(quint16 port)
{
    d->setPort(port);
}

quint16 StorageSftp::port() const
{
    return d->port();
}

quint16 StorageSftp::defaultPort() const
{
    return Info::Sftp().defaultPort();
}

void StorageSftp::setKeepAlive(bool keepAlive)
{
    d->setKeepAlive(keepAlive);
}

bool StorageSftp::keepAlive() const
{
    return d->keepAlive();
}

bool StorageSftp::defaultKeepAlive() const
{
    return Info::Sftp().defaultKeepAlive();
}

void StorageSftp::setUseProxy(bool useProxy)
{
    d->setUseProxy(useProxy);
}

bool StorageSftp::useProxy() const
{
    return d->useProxy();
}

bool StorageSftp::defaultUseProxy() const
{
    return Info::Sftp().defaultUseProxy();
}

void StorageSftp::setPath(const QString& path)
{
    d->setPath(path);
}

QString StorageSftp::path() const
{
    return d->path();
}

void StorageSftp::setUser(const QString& user)
{
    d->setUser(user);
}

QString StorageSftp::user() const
{
    return d->user();
}

void StorageSftp::setPassword(const QString& password)
{
    d->setPassword(password);
}

QString StorageSftp::password() const
{
    return d->password();
}

void StorageSftp::setPrivateKey(const QByteArray& key)
{
    d->setPrivateKey(key);
}

QByteArray StorageSftp::privateKey() const
{
    return d->privateKey();
}

} // namespace Norvik::Cloud::Api
