#pragma once

#include "storage/StorageNetworkPrivate.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QMap>
#include <QStringList>
#include <QVariant>

#include <functional>

namespace curlpp {
class LibcurlRuntimeError;
}

namespace Norvik::Network::Utility {
class Retry;
}

namespace Norvik::Cloud::Api {

// The transfer engine of the FTP family of protocols (FTP, FTPS, SFTP) over libcurl: files,
// folder listings, server commands, folders made on demand and pruned when they empty. Every
// request runs in a retry loop and libcurl's failures become members of Api::Exception.
//
// URLs name absolute paths on the server; a URL whose path ends in "/" is a folder. Subclasses
// choose the scheme and sign in through auth().
class StorageFtpPrivate : public StorageNetwork::StorageNetworkPrivate
{
    Q_DECLARE_TR_FUNCTIONS(StorageFtpPrivate)

public:
    StorageFtpPrivate();
    ~StorageFtpPrivate() override;

    // The base folder on the server, always with a trailing "/".
    void setPath(const QString& path);
    const QString& path() const { return m_path; }
    void setUser(const QString& user) { m_user = user; }
    const QString& user() const { return m_user; }
    void setPassword(const QString& password) { m_password = password; }
    const QString& password() const { return m_password; }
    void setKeepAlive(bool keepAlive) { m_keepAlive = keepAlive; }
    bool keepAlive() const { return m_keepAlive; }

    // Proves that the server answers and takes the credentials; InternalError with the
    // server's reason otherwise.
    void checkConfig(const QString& scheme);
    // Sends "PWD" to the base folder; false with the reason in message when that fails.
    bool isHostReachable(const QString& scheme, QString& message);

    // Names only, one a line.
    void dirListOnly(const QUrl& url, QByteArray& out, const QUuid& id);
    void dirListOnly(const QUrl& url, QIODevice* out, const QUuid& id);
    // Creates the folders of path below base, one level at a time, asking the server only
    // about folders that this process has not seen yet.
    void mkpath(const QUrl& url, const QString& base, const QString& path);
    // size bytes of device from its current position to url. With file permissions in
    // metaData the file gets them after the transfer; failing that is only logged.
    void upload(const QUrl& url, QSharedPointer<QIODevice> device, qint64 size,
                const QMap<QString, QVariant>& metaData, const QUuid& id);
    // Runs server commands against url (a folder that exists); command replies go to out.
    void quote(const QUrl& url, const QStringList& commands, QByteArray& out, const QUuid& id);
    void quote(const QUrl& url, const QStringList& commands, QIODevice* out, const QUuid& id);
    // A file, or the long listing of a folder when the path ends in "/".
    void get(const QUrl& url, QByteArray& out, const QUuid& id);
    void get(const QUrl& url, QIODevice* out, const QUuid& id);
    // size + 1 bytes from position, cut at the end of the file; nothing when position lies at
    // or past the end.
    void get(const QUrl& url, qint64 position, qint64 size, QIODevice* out, const QUuid& id);
    // Removes the file or (empty) folder name, a path relative to url's folder, and then every
    // folder above it that this left empty, never url's folder itself.
    void delete_(const QUrl& url, const QString& name);
    // Makes this process ask the server again about url and the folders below it.
    static void forgetFolders(const QUrl& url);

protected:
    // Sets the credentials on a new handle; false when there are none to use.
    virtual bool auth(curlpp::Easy& request);
    QSharedPointer<curlpp::Easy> createRequest(const QUrl& url, QIODevice* read, QIODevice* write,
                                               QIODevice* header, const QUuid& id) override;

    // One request in the retry loop. read is rewound to where it stood and write to where it
    // stood before each further attempt; a sequential write device is not tried again once it
    // may have received data.
    void perform(const QUrl& url, QIODevice* read, QIODevice* write, QIODevice* header, const QUuid& id,
                 const std::function<void(curlpp::Easy&)>& options, bool retryOnTimeout);
    // Maps a libcurl failure; returns when the request may be tried again.
    void onLibcurlRuntimeError(const curlpp::LibcurlRuntimeError& error, Network::Utility::Retry& retry,
                               bool retryOnTimeout);
    // Accounts for one failed attempt; true when none is left.
    static bool checkRetry(Network::Utility::Retry& retry);

private:
    // Connections that stay open between the requests of this object (keep alive).
    std::unique_ptr<void, void (*)(void*)> m_share;
    QString m_path = QStringLiteral("/");
    QString m_user;
    QString m_password;
    bool m_keepAlive = true;
};

} // namespace Norvik::Cloud::Api
