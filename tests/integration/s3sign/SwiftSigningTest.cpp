// Signed requests and pre-signed URLs against a real verifier: Swift's S3 layer checks
// signature versions 2 and 4, in headers and in query strings.
//
// The requests are built by the signing code and sent through the transport, without the S3
// request layer, so that a failure here points at signing or transport alone.

#include "s3/CloudAmazonS3LikePrivate.h"

#include "connection/Exception.h"
#include "info/Config.h"

#include "TestSupport.h"

#include <QBuffer>
#include <QFile>
#include <QUrlQuery>
#include <QUuid>

#include <curlpp/Easy.hpp>
#include <curlpp/Infos.hpp>
#include <curlpp/Options.hpp>

#include <gmock/gmock.h>

#include <sstream>

namespace {

using Norvik::Cloud::Type;
using Norvik::Cloud::Api::CloudAmazonS3LikePrivate;
using HeaderMap = CloudAmazonS3LikePrivate::HeaderMap;
using Signature = CloudAmazonS3LikePrivate::Signature;
namespace Exception = Norvik::Cloud::Api::Exception;
namespace Info = Norvik::Cloud::Info;
namespace Keys = Norvik::Cloud::Config::AmazonS3Like;

constexpr auto GET = CloudAmazonS3LikePrivate::GET;
constexpr auto PUT = CloudAmazonS3LikePrivate::PUT;
constexpr auto POST = CloudAmazonS3LikePrivate::POST;
constexpr auto DELETE = CloudAmazonS3LikePrivate::DELETE;
constexpr auto HEAD = CloudAmazonS3LikePrivate::HEAD;

// The endpoint written by the "swift" test fixture. Without it the server did not start, and
// the test fails.
QUrl swiftEndpoint()
{
    QFile file(QString::fromLocal8Bit(qgetenv("NORVIK_SWIFT_ENDPOINT_FILE")));
    if (!file.open(QIODevice::ReadOnly))
        return QUrl();
    return QUrl(QString::fromUtf8(file.readAll().trimmed()) + QStringLiteral("/"));
}

// Every answer that is not a success leaves on the first attempt, with its status and body,
// so that the test sees what the service said.
class SwiftS3 : public CloudAmazonS3LikePrivate
{
public:
    SwiftS3(Signature signature, const QByteArray& secret)
        : CloudAmazonS3LikePrivate(Type::AmazonS3Like)
    {
        const QMap<QString, QVariant> config{{Keys::AccessKey, QByteArray("test:tester")},
                                             {Keys::SecretKey, secret},
                                             {Keys::Region, QStringLiteral("us-east-1")}};
        EXPECT_TRUE(setConfig(config));
        setSignature(signature);
        setEndpoint(swiftEndpoint());
    }

    void exceptionFactory(const HeaderMap&, const HeaderMap&, int status, const QByteArray& body) override
    {
        if (status == 204)
            throw Exception::NoContent();
        throw Exception::Operation(status, body, QStringLiteral("refused"), false);
    }

    // Signs and sends one request; the body of a GET lands in out.
    Response send(RequestType type, const QString& bucket, const QString& path,
                  const QUrlQuery& query = QUrlQuery(), HeaderMap headers = HeaderMap(),
                  const QByteArray& body = QByteArray(), QByteArray* out = nullptr)
    {
        auto device = QSharedPointer<QBuffer>::create();
        device->setData(body);
        device->open(QIODevice::ReadOnly);
        const auto request = signature(type, bucket, path, query, headers, true, device, body.size());
        HeaderMap sent = request.second;
        QByteArray ignored;
        switch (type) {
        case GET:
            return get(request.first, sent, out ? *out : ignored, QUuid::createUuid());
        case PUT:
            return put(request.first, sent, device, body.size(), QUuid::createUuid());
        case POST:
            return post(request.first, sent, device, body.size(), QUuid::createUuid());
        case DELETE:
            return delete_(request.first, sent);
        case HEAD:
            return head(request.first, sent);
        }
        return {};
    }
};

// The status and body of a GET of url by plain libcurl, as any client of a pre-signed URL
// would send it.
QPair<long, QByteArray> plainGet(const QString& url)
{
    std::ostringstream body;
    curlpp::Easy request;
    request.setOpt(curlpp::options::Url(url.toStdString()));
    request.setOpt(curlpp::options::WriteStream(&body));
    request.perform();
    return qMakePair(curlpp::infos::ResponseCode::get(request), QByteArray::fromStdString(body.str()));
}

// The status and body of the failure that a call threw.
template <typename Call>
QPair<int, QByteArray> failureOf(Call call)
{
    try {
        call();
    } catch (const Exception::Operation& e) {
        return qMakePair(e.code(), e.data());
    }
    return qMakePair(0, QByteArray());
}

class SwiftSigning : public ::testing::TestWithParam<Signature>
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(swiftEndpoint().isEmpty()) << "the swift test server did not start";
        bucket = QStringLiteral("http-sign-%1").arg(GetParam() == Info::AmazonS3Like::V4 ? "v4" : "v2");
        try {
            s3.send(PUT, bucket, QStringLiteral("/"));
        } catch (const Exception::Operation& e) {
            // An earlier run may have left the bucket behind.
            ASSERT_EQ(e.code(), 409) << e.data().toStdString();
        }
    }

    SwiftS3 s3{GetParam(), "testing"};
    QString bucket;
    // Blanks, a plus sign, a tilde, a letter outside ASCII and a folder.
    const QString key = QString::fromUtf8("/dir/a b+c~é.bin");
};

TEST_P(SwiftSigning, ObjectRoundTripIsAccepted)
{
    const QByteArray content = NorvikTest::randomBytes(100 * 1024, 7);
    s3.send(PUT, bucket, key, QUrlQuery(),
            {{"Content-Type", "application/octet-stream"}, {"x-amz-meta-note", "n 1"}}, content);

    QByteArray downloaded;
    s3.send(GET, bucket, key, QUrlQuery(), HeaderMap(), QByteArray(), &downloaded);
    EXPECT_EQ(downloaded, content);

    const auto head = s3.send(HEAD, bucket, key);
    EXPECT_EQ(head.second.value("content-length"), QByteArray::number(content.size()));
    EXPECT_EQ(head.second.value("x-amz-meta-note"), "n 1");

    QUrlQuery listing;
    listing.addQueryItem(QStringLiteral("prefix"), QStringLiteral("dir/a b+"));
    listing.addQueryItem(QStringLiteral("max-keys"), QStringLiteral("10"));
    QByteArray list;
    s3.send(GET, bucket, QStringLiteral("/"), listing, HeaderMap(), QByteArray(), &list);
    EXPECT_THAT(list.toStdString(), ::testing::HasSubstr("<Key>dir/a b+c~\xC3\xA9.bin</Key>"));

    EXPECT_THROW(s3.send(DELETE, bucket, key), Exception::NoContent);
    EXPECT_EQ(failureOf([&] { s3.send(HEAD, bucket, key); }).first, 404);
}

TEST_P(SwiftSigning, SubResourcesOfAMultipartUploadAreAccepted)
{
    const QString object = QStringLiteral("/multi part.bin");
    QUrlQuery uploads;
    uploads.addQueryItem(QStringLiteral("uploads"), QString());
    // libcurl would add a form content type to a POST without one, which the signature
    // does not cover.
    const auto begun = s3.send(POST, bucket, object, uploads, {{"Content-Type", "application/octet-stream"}});
    const QByteArray xml = begun.first;
    const int from = xml.indexOf("<UploadId>") + 10;
    const QString uploadId = QString::fromUtf8(xml.mid(from, xml.indexOf("</UploadId>") - from));
    ASSERT_FALSE(uploadId.isEmpty()) << xml.toStdString();

    QUrlQuery part;
    part.addQueryItem(QStringLiteral("partNumber"), QStringLiteral("1"));
    part.addQueryItem(QStringLiteral("uploadId"), uploadId);
    const auto uploaded = s3.send(PUT, bucket, object, part, HeaderMap(), NorvikTest::randomBytes(1000, 3));
    EXPECT_FALSE(uploaded.second.value("etag").isEmpty());

    QUrlQuery upload;
    upload.addQueryItem(QStringLiteral("uploadId"), uploadId);
    QByteArray parts;
    s3.send(GET, bucket, object, upload, HeaderMap(), QByteArray(), &parts);
    EXPECT_THAT(parts.toStdString(), ::testing::HasSubstr("<PartNumber>1</PartNumber>"));
    EXPECT_THROW(s3.send(DELETE, bucket, object, upload), Exception::NoContent);
}

TEST_P(SwiftSigning, WrongSecretIsRefusedAsSignatureMismatch)
{
    SwiftS3 wrong(GetParam(), "not-the-secret");
    for (const auto type : {GET, PUT}) {
        const auto failure =
            failureOf([&] { wrong.send(type, bucket, key, QUrlQuery(), HeaderMap(), "abc"); });
        EXPECT_EQ(failure.first, 403);
        EXPECT_THAT(failure.second.toStdString(), ::testing::HasSubstr("<Code>SignatureDoesNotMatch</Code>"));
    }
}

TEST_P(SwiftSigning, PreSignedUrlIsAcceptedAndAWrongSecretRefused)
{
    const QByteArray content = "signed content";
    s3.send(PUT, bucket, key, QUrlQuery(), HeaderMap(), content);

    const QDateTime expires = QDateTime::currentDateTimeUtc().addSecs(600);
    const QString url = s3.signUrl(bucket, key, false, expires);
    ASSERT_FALSE(url.isEmpty());
    const auto answer = plainGet(url);
    EXPECT_EQ(answer.first, 200) << answer.second.toStdString();
    EXPECT_EQ(answer.second, content);

    SwiftS3 wrong(GetParam(), "not-the-secret");
    const auto refused = plainGet(wrong.signUrl(bucket, key, false, expires));
    EXPECT_EQ(refused.first, 403);
    EXPECT_THAT(refused.second.toStdString(), ::testing::HasSubstr("<Code>SignatureDoesNotMatch</Code>"));

    EXPECT_THROW(s3.send(DELETE, bucket, key), Exception::NoContent);
}

INSTANTIATE_TEST_SUITE_P(BothVersions, SwiftSigning,
                         ::testing::Values(Info::AmazonS3Like::V2, Info::AmazonS3Like::V4),
                         [](const ::testing::TestParamInfo<Signature>& param) {
                             return param.param == Info::AmazonS3Like::V4 ? "V4" : "V2";
                         });

} // namespace
