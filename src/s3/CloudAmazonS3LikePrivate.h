#pragma once

#include "connection/CloudHttpPrivate.h"
#include "info/AmazonS3LikeInfo.h"
#include "info/CloudType.h"

#include <NorvikCore/Hash.h>

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
#include <initializer_list>

class QIODevice;

namespace Norvik::Cloud::Api {

// The private side of every S3 connection: keys, region and the two signing schemes.
//
// Both schemes are implemented as the services of this family accept them, and in several
// places deliberately not as the published descriptions have them (the date lines, which
// headers are signed and in which order, the sub-resources, the encoding of units outside the
// basic plane). Changing any of these changes what goes on the wire; the comments in the
// implementation name each place.
//
// Above signing sit the verbs that the object operations use: each takes a bucket, a path, a
// query and headers, chooses the endpoint, signs, sends through the transport and repeats on
// the failures that a new signature or a later attempt can cure. Error answers become
// exceptions in exceptionFactory() and its delegates, one per status.
class CloudAmazonS3LikePrivate : public CloudHttp::CloudHttpPrivate
{
    Q_DECLARE_TR_FUNCTIONS(CloudAmazonS3LikePrivate)

public:
    using Signature = Info::AmazonS3Like::Signature;
    using Clock = QDateTime (*)();

    explicit CloudAmazonS3LikePrivate(Type type);
    ~CloudAmazonS3LikePrivate() override;

    // Refused without "AccessKey" or "SecretKey".
    bool setConfig(const QMap<QString, QVariant>& config) override;
    // Always throws: the exception of the S3 error document, by status.
    void exceptionFactory(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders, int status,
                          const QByteArray& body) override;

    // Request headers for the object metadata of the application.
    virtual HeaderMap header(const QMap<QString, QVariant>& metaData) const;

    // A ready pre-signed GET URL; empty for an empty bucket or path, or an expiry that is
    // not in the future.
    virtual QString signUrl(const QString& bucket, const QString& path, bool https, const QDateTime& expires);
    // Signs one attempt of a request: removes a previous "Authorization", adds the session
    // token, and returns the complete URL and the headers to send (which are also left in
    // headers). Every call takes a new date.
    virtual QPair<QUrl, HeaderMap> signature(RequestType type, const QString& bucket, QString path,
                                             const QUrlQuery& query, HeaderMap& headers, bool useRegion,
                                             QSharedPointer<QIODevice> body, long long size);

    // The verbs. useRegion true signs for, and addresses, the configured region; false for the
    // service's default region, for the requests that must work before a bucket's region is
    // known. headers are signed anew on every attempt and hold the last attempt's headers
    // afterwards. GET, PUT and POST report progress under id.
    virtual Response get(const QString& bucket, QString path, const QUrlQuery& query, HeaderMap& headers,
                         bool useRegion, QByteArray& out, const QUuid& id = QUuid());
    virtual Response get(const QString& bucket, QString path, const QUrlQuery& query, HeaderMap& headers,
                         bool useRegion, QIODevice* out, const QUuid& id = QUuid());
    virtual Response put(const QString& bucket, QString path, const QUrlQuery& query, HeaderMap& headers,
                         bool useRegion, const QByteArray& data, const QUuid& id = QUuid());
    virtual Response put(const QString& bucket, QString path, const QUrlQuery& query, HeaderMap& headers,
                         bool useRegion, QSharedPointer<QIODevice> data, long long size,
                         const QUuid& id = QUuid());
    virtual Response post(const QString& bucket, QString path, const QUrlQuery& query, HeaderMap& headers,
                          bool useRegion, const QByteArray& data, const QUuid& id = QUuid());
    virtual Response post(const QString& bucket, QString path, const QUrlQuery& query, HeaderMap& headers,
                          bool useRegion, QSharedPointer<QIODevice> data, long long size,
                          const QUuid& id = QUuid());
    virtual Response delete_(const QString& bucket, QString path, const QUrlQuery& query, HeaderMap& headers,
                             bool useRegion);
    virtual Response head(const QString& bucket, QString path, const QUrlQuery& query, HeaderMap& headers,
                          bool useRegion);
    // The transport's own verbs, for a complete URL and headers that are already signed.
    using CloudHttpPrivate::delete_;
    using CloudHttpPrivate::get;
    using CloudHttpPrivate::head;
    using CloudHttpPrivate::post;
    using CloudHttpPrivate::put;

    virtual QPair<QUrl, HeaderMap> signatureAws2(RequestType type, const QUrl& url, const QString& bucket,
                                                 const QString& path, const QUrlQuery& query,
                                                 HeaderMap& headers);
    virtual QByteArray headerAws2(RequestType type, const QString& resource, const QUrlQuery& query,
                                  const HeaderMap& headers, const QByteArray& contentMd5,
                                  const QString& bucket);
    virtual QPair<QUrl, HeaderMap> signatureAws4(RequestType type, const QUrl& url, const QString& bucket,
                                                 const QString& path, const QUrlQuery& query,
                                                 HeaderMap& headers, bool useRegion, const QDateTime& now,
                                                 QSharedPointer<QIODevice> body, long long size);
    // The text of "x-amz-date", which the string to sign repeats as it stands.
    virtual QString signatureAws4DateFormat(const QDateTime& dateTime) const;
    virtual QByteArray headerAws4(RequestType type, const QString& resource, const QUrlQuery& query,
                                  const HeaderMap& headers, const QString& region, const QString& bucket,
                                  const QDateTime& date);

    // The delegates of exceptionFactory(), one per status; none of them returns.
    virtual void exceptionBadRequest(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                     int status, const QByteArray& body);
    virtual void exceptionForbidden(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                    int status, const QByteArray& body);
    virtual void exceptionNotFound(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                   int status, const QByteArray& body);
    virtual void exceptionRedirect(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                   int status, const QByteArray& body);
    virtual void exceptionConflict(const HeaderMap& requestHeaders, const HeaderMap& responseHeaders,
                                   int status, const QByteArray& body);
    virtual void exceptionServiceUnavailable(const HeaderMap& requestHeaders,
                                             const HeaderMap& responseHeaders, int status,
                                             const QByteArray& body);
    // What the delegates read from an error answer: the children of an "Error" document by
    // name ("Code", "Message", "Resource" and "RequestId" only when not empty). Empty for an
    // empty body or one that is not such a document.
    static QMap<QString, QString> errorElements(const QByteArray& body);

    virtual QString userAgent() const;
    // The base URL of a request on bucket: path style or virtual host, region prefixes.
    virtual QUrl requestEndpoint(const QString& bucket, bool useRegion);
    virtual QUrl requestEndpointSupportRegions(const QString& bucket, bool useRegion);
    // Whether the bucket goes into the path rather than into the host name.
    virtual bool usePathStyle(const QString& bucket) const;

    QByteArray string2signAws2(RequestType type, const QString& resource, const QUrlQuery& query,
                               const HeaderMap& headers, const QByteArray& contentMd5) const;
    QByteArray signatureAws2Hash(const QByteArray& stringToSign) const;
    QByteArray canonicalRequestAws4(RequestType type, const QString& resource, const QUrlQuery& query,
                                    const HeaderMap& headers, bool signedUrl) const;
    QByteArray string2signAws4(RequestType type, const QString& resource, const QUrlQuery& query,
                               const HeaderMap& headers, const QString& region, bool signedUrl,
                               const QDateTime& date) const;
    QByteArray signatureAws4Hash(RequestType type, const QString& resource, const QUrlQuery& query,
                                 const HeaderMap& headers, const QString& region, bool signedUrl,
                                 const QDateTime& date) const;
    QUrlQuery queryAws4ForSignUrl(const QDateTime& expires, const HeaderMap& headers) const;
    QUrlQuery queryAws4ForSignUrl(const QDateTime& expires, const HeaderMap& headers,
                                  const QDateTime& now) const;
    QString signUrlAws2(const QString& bucket, const QString& path, bool https, const QDateTime& expires);
    QString signUrlAws4(const QString& bucket, const QString& path, bool https, const QDateTime& expires);

    // Percent-encodes every UTF-16 unit but letters, digits and "_-~." (and "/" unless
    // encodeSlash), one unit at a time: the two halves of a surrogate pair are encoded apart.
    static QString uriEncode(const QString& text, bool encodeSlash);
    // A new query with key and value of every item passed through uriEncode, in order.
    static QUrlQuery urlQueryEncode(const QUrlQuery& query, bool encodeSlash);

    // The object metadata of the application from response headers.
    QMap<QString, QVariant> metaDataFromHeader(const HeaderMap& responseHeaders) const;

    const QSharedPointer<Info::AmazonS3Like>& cloudInfo() const { return m_info; }
    QString defaultRegion() const;
    const QString& region() const { return m_region; }
    Signature signature() const { return m_signature; }
    bool usePathStyle() const { return m_usePathStyle; }
    const QByteArray& accessKey() const { return m_accessKey; }
    const QByteArray& securityToken() const { return m_securityToken; }

    void setSignature(Signature signature) { m_signature = signature; }
    void setRegion(const QString& region) { m_region = region; }
    void setUsePathStyle(bool usePathStyle) { m_usePathStyle = usePathStyle; }
    void setAccessKey(const QByteArray& accessKey) { m_accessKey = accessKey; }
    void setSecretKey(const QByteArray& secretKey) { m_secretKey = secretKey; }
    void setSecurityToken(const QByteArray& securityToken) { m_securityToken = securityToken; }

    // The time that signatures are dated with; the system's UTC clock unless replaced.
    QDateTime currentDateTimeUtc() const { return m_clock(); }
    void setClock(Clock clock) { m_clock = clock ? clock : &QDateTime::currentDateTimeUtc; }

protected:
    // Feeds the device from its position to its end into every digest, in one pass, and
    // leaves the position where it was. A device that cannot be read to its end gives the
    // digests of what could be read: the service then refuses the request with a mismatch.
    static void digestRest(QIODevice* device, std::initializer_list<Core::Hash::Digest*> digests);
    static QByteArray digestOfRest(QIODevice* device, Core::Hash::Algorithm algorithm);

    QSharedPointer<Info::AmazonS3Like> m_info;
    Signature m_signature;
    QByteArray m_accessKey;
    QByteArray m_secretKey;
    QString m_region;
    QByteArray m_securityToken;
    bool m_usePathStyle = true;

private:
    // One transfer by the transport for the signed URL and headers of an attempt.
    using Transfer = std::function<Response(const QUrl& url, HeaderMap& headers)>;
    // The retry wrapper around every verb: signs, sends, and on the failures that another
    // attempt can cure waits and starts again with a new signature.
    Response request(RequestType type, const QString& bucket, const QString& path, const QUrlQuery& query,
                     HeaderMap& headers, bool useRegion, QSharedPointer<QIODevice> body, long long size,
                     const Transfer& transfer);

    Clock m_clock = &QDateTime::currentDateTimeUtc;
};

} // namespace Norvik::Cloud::Api
