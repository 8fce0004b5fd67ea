#pragma once

#include "azure/CloudAzureBlob.h"
#include "connection/CloudHttpPrivate.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDateTime>
#include <QPair>
#include <QSharedPointer>
#include <QString>
#include <QUrl>
#include <QUrlQuery>
#include <QUuid>
#include <QVariant>

#include <functional>

class QIODevice;

namespace Norvik::Cloud::Api {

// The private side of the Azure Blob connection: the account and its key, the SharedKey
// signature, the verbs with their retry loop, shared-access URLs, and the mapping of the
// service's error documents to exceptions.
//
// Every verb takes the container and the path apart: the path begins with "/" (or is empty)
// and is not yet encoded. Query items enter the signature in the order the caller added
// them, so callers add them sorted by key.
class CloudAzureBlobPrivate : public CloudHttp::CloudHttpPrivate
{
    Q_DECLARE_TR_FUNCTIONS(CloudAzureBlobPrivate)

public:
    using StorageClass = CloudAzureBlob::StorageClass;

    static const QByteArray AzureApiVersion; // "x-ms-version" of every request
    static const QString ClassName;          // the name of each request's retry loop

    CloudAzureBlobPrivate();
    ~CloudAzureBlobPrivate() override;

    // Refused without "Username" or "Password".
    bool setConfig(const QMap<QString, QVariant>& config) override;
    void exceptionFactory(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders, int status,
                          const QByteArray& body) override;

    virtual HeaderMap header(const QMap<QString, QVariant>& metaData) const;
    // A read-only URL of one blob; empty for an empty container or path, or an expiry that is
    // not in the future.
    virtual QString signUrl(const QString& container, const QString& path, bool useHttps,
                            const QDateTime& expires);

    // The verbs: each signs anew per attempt and repeats on the failures another attempt can
    // cure. headers receive what signature() adds.
    virtual Response get(const QString& container, QString path, const QUrlQuery& query, HeaderMap& headers,
                         QByteArray& out, const QUuid& id = QUuid());
    virtual Response get(const QString& container, QString path, const QUrlQuery& query, HeaderMap& headers,
                         QIODevice* out, const QUuid& id = QUuid());
    virtual Response put(const QString& container, QString path, const QUrlQuery& query, HeaderMap& headers,
                         const QByteArray& data, const QUuid& id = QUuid());
    virtual Response put(const QString& container, QString path, const QUrlQuery& query, HeaderMap& headers,
                         QSharedPointer<QIODevice> data, qint64 size, const QUuid& id = QUuid());
    virtual Response post(const QString& container, QString path, const QUrlQuery& query, HeaderMap& headers,
                          const QByteArray& data, const QUuid& id = QUuid());
    virtual Response delete_(const QString& container, QString path, const QUrlQuery& query,
                             HeaderMap& headers);
    virtual Response head(const QString& container, QString path, const QUrlQuery& query, HeaderMap& headers);

    // Adds "User-Agent", "x-ms-version" (unless present), a new "x-ms-date" and "Authorization"
    // to headers and returns the URL and the headers to send.
    virtual QPair<QUrl, HeaderMap> signature(RequestType type, const QString& container, QString path,
                                             const QUrlQuery& query, HeaderMap& headers);
    // "SharedKey <account>:<signature>". container is there for subclasses.
    virtual QByteArray authHeader(const QString& container, const QByteArray& stringToSign);

    // The delegates of exceptionFactory(), one per status; none of them returns.
    virtual void exceptionForbidden(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                    int status, const QByteArray& body);
    virtual void exceptionNotFound(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                   int status, const QByteArray& body);
    virtual void exceptionBadRequest(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                     int status, const QByteArray& body);
    virtual void exceptionConflict(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                   int status, const QByteArray& body);
    virtual void exceptionPayloadTooLarge(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                          int status, const QByteArray& body);

    virtual QString userAgent() const;

    // The request form for a connection that holds a shared access signature instead of a key:
    // no date and no "Authorization", the token's items appended to the query.
    QPair<QUrl, HeaderMap> signatureSas(RequestType type, const QString& container, QString path,
                                        const QUrlQuery& query, HeaderMap& headers, const QString& sasToken);

    QMap<QString, QVariant> metaDataFromHeader(const HeaderMap& headers) const;

    void setUsername(const QByteArray& username) { m_username = username; }
    void setPassword(const QByteArray& password) { m_password = password; }
    void setStorageClass(StorageClass storageClass) { m_storageClass = storageClass; }
    StorageClass storageClass() const { return m_storageClass; }
    const QByteArray& username() const { return m_username; }

    // Percent-encodes all but ASCII letters and digits and ";/:@&=+$,-_.!~*'()", byte by byte
    // of the UTF-8 form, and any "#".
    static QString toUTF8String(const QString& text);
    static QString encod(QChar c);

private:
    using Transfer = std::function<Response(const QUrl& url, HeaderMap& headers)>;
    Response request(RequestType type, const QString& container, const QString& path, const QUrlQuery& query,
                     HeaderMap& headers, const char* rejectedLabel, const Transfer& transfer);
    // The address of a request: the account in front of the endpoint's host, which keeps its
    // scheme and port, then the encoded path and the query.
    QUrl requestUrl(const QString& encodedPath, const QUrlQuery& query) const;

    QByteArray m_username;
    QByteArray m_password;
    StorageClass m_storageClass = StorageClass::Default;
};

} // namespace Norvik::Cloud::Api
