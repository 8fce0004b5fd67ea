// How an HTTP connection turns its configuration into the base address of every request.

#include "connection/CloudHttp.h"
#include "connection/Exception.h"
#include "info/Config.h"

#include <QUuid>

#include <gmock/gmock.h>

namespace {

using Norvik::Cloud::Type;
using Norvik::Cloud::Api::CloudHttp;
using Config = QMap<QString, QVariant>;
namespace Keys = Norvik::Cloud::Api::Config::Http;
using Unsupported = Norvik::Cloud::Api::Exception::UnsupportedOperation;

// A connection with nothing but an endpoint: every operation is unsupported.
class EndpointOnly : public CloudHttp
{
public:
    explicit EndpointOnly(bool tlsByDefault = false, const QUrl& fixedHost = QUrl())
        : CloudHttp(Type::AmazonS3Like)
        , m_default(fixedHost)
    {
        useSsl = tlsByDefault;
    }

    QUrl defaultEndpoint() const override { return m_default; }
    QUrl endpoint() const override { return m_endpoint; }
    void setEndpoint(const QUrl& endpoint) override { m_endpoint = endpoint; }

    void checkConfig(const QString&, QMap<QString, QVariant>&) override { throw Unsupported(); }
    QJsonDocument listing(const QString&, const QString&, QString&, const QString&, quint16) override
    {
        throw Unsupported();
    }
    QJsonObject upload(const QString&, const QString&, const QMap<QString, QVariant>&, const QByteArray&,
                       const QUuid&) override
    {
        throw Unsupported();
    }
    QJsonObject upload(const QString&, const QString&, const QMap<QString, QVariant>&,
                       QSharedPointer<QIODevice>, qint64, const QUuid&) override
    {
        throw Unsupported();
    }
    void download(const QString&, const QString&, QIODevice&, QMap<QString, QVariant>&, const QUuid&) override
    {
        throw Unsupported();
    }
    bool delete_(const QString&, const QJsonObject&) override { throw Unsupported(); }
    QJsonArray delete_(const QString&, const QJsonArray&) override { throw Unsupported(); }
    QByteArray beginMultipartUpload(const QString&, const QString&, const QMap<QString, QVariant>&) override
    {
        throw Unsupported();
    }
    QJsonObject endMultipartUpload(const QString&, const QString&, const QByteArray&,
                                   const QList<QPair<quint64, QByteArray>>&) override
    {
        throw Unsupported();
    }
    QByteArray uploadMultipart(const QString&, const QString&, const QByteArray&, quint64, const QByteArray&,
                               const QUuid&) override
    {
        throw Unsupported();
    }
    QByteArray uploadMultipart(const QString&, const QString&, const QByteArray&, quint64,
                               QSharedPointer<QIODevice>, qint64, const QUuid&) override
    {
        throw Unsupported();
    }
    void abortMultipartUpload(const QString&, const QString&, const QByteArray&) override
    {
        throw Unsupported();
    }
    QJsonArray listPartsMultipart(const QString&, const QString&, const QByteArray&, quint64&) override
    {
        throw Unsupported();
    }
    QPair<bool, QByteArray> checkUploadPart(quint64, const QJsonArray&, const QByteArray&) override
    {
        throw Unsupported();
    }
    QPair<bool, QByteArray> checkUploadPart(quint64, const QJsonArray&, QSharedPointer<QIODevice>,
                                            qint64) override
    {
        throw Unsupported();
    }
    QByteArray download(const QString&, const QString&, qint64, qint64, QMap<QString, QVariant>&,
                        const QUuid&) override
    {
        throw Unsupported();
    }
    void download(const QString&, const QString&, qint64, qint64, QIODevice&, QMap<QString, QVariant>&,
                  const QUuid&) override
    {
        throw Unsupported();
    }
    QMap<QByteArray, QByteArray> header(const QString&, const QString&) override { throw Unsupported(); }
    void setHeader(const QString&, const QString&, const QMap<QByteArray, QByteArray>&) override
    {
        throw Unsupported();
    }
    QString signUrl(const QString&, const QString&, bool, const QDateTime&) override { throw Unsupported(); }
    bool createContainers(const QJsonObject&) override { throw Unsupported(); }
    bool removeContainers(const QString&) override { throw Unsupported(); }
    QJsonDocument containers() override { throw Unsupported(); }

private:
    QUrl m_default;
    QUrl m_endpoint;
};

Config withId(Config config)
{
    config.insert(Norvik::Cloud::Config::Id, QUuid::createUuid());
    return config;
}

TEST(CloudHttpConfig, TheSchemeFollowsUseSslAloneAndTheEndpointEndsInASlash)
{
    EndpointOnly plain;
    ASSERT_TRUE(plain.setConfig(withId({{Keys::Endpoint, QUrl("https://storage.example:9000/base")}})));
    EXPECT_EQ(plain.endpoint(), QUrl("http://storage.example:9000/base/"));

    EndpointOnly secure;
    ASSERT_TRUE(secure.setConfig(
        withId({{Keys::Endpoint, QUrl("http://storage.example/base/")}, {Keys::UseSsl, true}})));
    EXPECT_EQ(secure.endpoint(), QUrl("https://storage.example/base/"));

    // A service reached over TLS by default keeps it when the key is absent.
    EndpointOnly tlsByDefault(true);
    ASSERT_TRUE(tlsByDefault.setConfig(withId({{Keys::Endpoint, QUrl("//storage.example")}})));
    EXPECT_EQ(tlsByDefault.endpoint(), QUrl("https://storage.example/"));
}

TEST(CloudHttpConfig, WithoutAnEndpointTheDefaultHostIsTakenOrTheConfigurationRefused)
{
    EndpointOnly none;
    EXPECT_FALSE(none.setConfig(withId({})));

    QUrl host;
    host.setHost(QStringLiteral("s3.example"));
    EndpointOnly fixed(false, host);
    ASSERT_TRUE(fixed.setConfig(withId({{Keys::UseSsl, true}})));
    EXPECT_EQ(fixed.endpoint(), QUrl("https://s3.example/"));
}

} // namespace
