#pragma once

#include "connection/CloudHttpPrivate.h"
#include "info/AmazonS3LikeInfo.h"
#include "info/CloudType.h"

#include <NorvikCore/Hash.h>

#include <QByteArray>
#include <QDateTime>
#include <QPair>
#include <QSharedPointer>
#include <QString>
#include <QUrl>
#include <QUrlQuery>

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
class CloudAmazonS3LikePrivate : public CloudHttp::CloudHttpPrivate
{
public:
    using Signature = Info::AmazonS3Like::Signature;
    using Clock = QDateTime (*)();

    explicit CloudAmazonS3LikePrivate(Type type);
    ~CloudAmazonS3LikePrivate() override;

    // Refused without "AccessKey" or "SecretKey".
    bool setConfig(const QMap<QString, QVariant>& config) override;

    // A ready pre-signed GET URL; empty for an empty bucket or path, or an expiry that is
    // not in the future.
    virtual QString signUrl(const QString& bucket, const QString& path, bool https, const QDateTime& expires);
    // Signs one attempt of a request: removes a previous "Authorization", adds the session
    // token, and returns the complete URL and the headers to send (which are also left in
    // headers). Every call takes a new date.
    virtual QPair<QUrl, HeaderMap> signature(RequestType type, const QString& bucket, QString path,
                                             const QUrlQuery& query, HeaderMap& headers, bool useRegion,
                                             QSharedPointer<QIODevice> body, long long size);

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
    Clock m_clock = &QDateTime::currentDateTimeUtc;
};

} // namespace Norvik::Cloud::Api
