// The object operations of the S3 connection against a scripted server: what each operation
// sends (verb, target, query order, headers, body) and how it reads the answer.

#include "s3/CloudAmazonS3Like.h"
#include "s3/CloudAmazonS3LikePrivate.h"

#include "connection/CloudFileMetaData.h"
#include "connection/Exception.h"
#include "connection/ListingObject.h"
#include "connection/MultipartListPartObject.h"
#include "connection/MultipleDeleteErrorObject.h"

#include "S3TestConfig.h"
#include "ScriptedHttpServer.h"
#include "TestSupport.h"

#include <NorvikCore/Hash.h>

#include <QBuffer>
#include <QDomDocument>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QRegularExpression>
#include <QUrlQuery>

#include <gmock/gmock.h>

#include <deque>

namespace {

using Norvik::Cloud::Type;
using Norvik::Cloud::Api::CloudAmazonS3Like;
using Norvik::Cloud::Api::CloudAmazonS3LikePrivate;
using Norvik::Cloud::Api::CloudFileMetaData;
using Norvik::Cloud::Api::ListingObject;
using Norvik::Cloud::Api::MultipartListPartObject;
using Norvik::Cloud::Api::MultipleDeleteErrorObject;
using Server = NorvikTest::ScriptedHttpServer;
using ::testing::HasSubstr;
using ::testing::Not;
namespace Exception = Norvik::Cloud::Api::Exception;
using Items = QList<QPair<QString, QString>>;

// The decoded query items of a request, in their order.
Items queryOf(const Server::Request& request)
{
    const int mark = request.target.indexOf('?');
    if (mark < 0)
        return {};
    return QUrlQuery(QString::fromUtf8(request.target.mid(mark + 1))).queryItems(QUrl::FullyDecoded);
}

class ScriptedS3 : public ::testing::Test
{
protected:
    void SetUp() override
    {
        server.setHandler([this](const Server::Request& request) {
            QMutexLocker lock(&mutex);
            if (answers.empty())
                return Server::Response::make(599, "unscripted request " + request.target);
            const auto answer = answers.front();
            answers.pop_front();
            return answer(request);
        });
        ASSERT_TRUE(server.start()) << server.errorString().toStdString();
        ASSERT_TRUE(s3.setConfig(NorvikTest::s3Config(server.url(), QStringLiteral("V4"))));
    }

    // The next requests get these answers, in order.
    void script(std::initializer_list<Server::Response> responses)
    {
        QMutexLocker lock(&mutex);
        for (const Server::Response& response : responses)
            answers.push_back([response](const Server::Request&) { return response; });
    }
    void script(std::function<Server::Response(const Server::Request&)> answer)
    {
        QMutexLocker lock(&mutex);
        answers.push_back(std::move(answer));
    }

    Server::Request lastRequest() const
    {
        const auto requests = server.requests();
        return requests.isEmpty() ? Server::Request() : requests.last();
    }

    static Server::Response ok(const QByteArray& body, const QByteArray& contentType = "application/xml")
    {
        return Server::Response::ok(body).withHeader("Content-Type", contentType);
    }

    QMutex mutex;
    std::deque<std::function<Server::Response(const Server::Request&)>> answers;
    Server server;
    CloudAmazonS3Like s3{Type::AmazonS3Like};
    const QString bucket = QStringLiteral("bucket");
};

// --- Whole objects --------------------------------------------------------------------------

// --- Listing --------------------------------------------------------------------------------

const QByteArray FirstPage = R"(<?xml version="1.0" encoding="UTF-8"?>
<ListBucketResult xmlns="http://s3.amazonaws.com/doc/2006-03-01/">
  <Name>bucket</Name><Prefix>dir/</Prefix><MaxKeys>3</MaxKeys><Delimiter>/</Delimiter>
  <IsTruncated>true</IsTruncated>
  <Contents><Key>dir/a.txt</Key><LastModified>2024-01-31T23:59:59.000Z</LastModified>
    <ETag>"aaa"</ETag><Size>11</Size><StorageClass>STANDARD</StorageClass></Contents>
  <CommonPrefixes><Prefix>dir/sub/</Prefix></CommonPrefixes>
  <Contents><Key>dir/b.txt</Key><LastModified>2024-02-01T00:00:00.000Z</LastModified>
    <ETag>"bbb"</ETag><Size>22</Size></Contents>
</ListBucketResult>)";

TEST_F(ScriptedS3, VersionListingCarriesKeyAndVersionInItsMarker)
{
    script({ok(R"(<ListVersionsResult><IsTruncated>true</IsTruncated>
        <NextKeyMarker>dir/</NextKeyMarker><NextVersionIdMarker>v-2</NextVersionIdMarker>
        <Version><Key>dir/a</Key><VersionId>v-1</VersionId><IsLatest>true</IsLatest>
          <LastModified>2024-01-01T00:00:00.000Z</LastModified><ETag>"a1"</ETag><Size>3</Size></Version>
        <DeleteMarker><Key>dir/gone</Key><VersionId>dm</VersionId></DeleteMarker>
        <CommonPrefixes><Prefix>dir/sub/</Prefix></CommonPrefixes>
        </ListVersionsResult>)")});
    QString marker;
    QJsonArray page =
        s3.listingWithVersions(bucket, QStringLiteral("/dir/"), marker, QStringLiteral("/"), 2).array();
    EXPECT_EQ(queryOf(lastRequest()),
              (Items{{"versions", ""}, {"delimiter", "/"}, {"max-keys", "2"}, {"prefix", "dir/"}}));
    ASSERT_EQ(page.size(), 2);
    const ListingObject version(page.at(0).toObject());
    EXPECT_EQ(version.name(), "/dir/a");
    EXPECT_EQ(version.fileId(), "v-1");
    EXPECT_EQ(version.size(), 3u);
    EXPECT_EQ(ListingObject(page.at(1).toObject()).name(), "dir/sub/");
    EXPECT_EQ(QJsonDocument::fromJson(marker.toUtf8()).object(), (QJsonObject{{"k", "dir/"}, {"v", "v-2"}}));

    // The key loses its trailing "/" when the marker is read back.
    script({ok("<ListVersionsResult><IsTruncated>false</IsTruncated></ListVersionsResult>")});
    s3.listingWithVersions(bucket, QStringLiteral("/dir/"), marker, QStringLiteral("/"), 2);
    EXPECT_EQ(queryOf(lastRequest()), (Items{{"versions", ""},
                                             {"delimiter", "/"},
                                             {"key-marker", "dir"},
                                             {"version-id-marker", "v-2"},
                                             {"max-keys", "2"},
                                             {"prefix", "dir/"}}));
    EXPECT_TRUE(marker.isEmpty());

    // A marker that is not the listing's own gives a listing from the start.
    marker = QStringLiteral("not json");
    script({ok("<ListVersionsResult><IsTruncated>false</IsTruncated></ListVersionsResult>")});
    s3.listingWithVersions(bucket, QString(), marker, QString(), 2);
    EXPECT_EQ(queryOf(lastRequest()), (Items{{"versions", ""}, {"max-keys", "2"}, {"prefix", ""}}));
}

// --- Multipart uploads ----------------------------------------------------------------------

TEST_F(ScriptedS3, MultipartAnswersThatCannotBeUsedAreErrors)
{
    script({ok("<InitiateMultipartUploadResult>")});
    EXPECT_THROW(s3.beginMultipartUpload(bucket, QStringLiteral("/f"), {}), Exception::InvalidData);
    script({ok("<InitiateMultipartUploadResult><UploadId/></InitiateMultipartUploadResult>")});
    EXPECT_THROW(s3.beginMultipartUpload(bucket, QStringLiteral("/f"), {}), Exception::InvalidData);

    // A part without its tag could never be completed.
    script({Server::Response::ok()});
    EXPECT_THROW(s3.uploadMultipart(bucket, QStringLiteral("/f"), "id", 1, QByteArray("abc"), QUuid()),
                 Exception::InvalidData);

    // The service may fail the assembly after accepting the request.
    script({ok("<Error><Code>InternalError</Code><Message>assembly failed</Message></Error>")});
    try {
        s3.endMultipartUpload(bucket, QStringLiteral("/f"), "id", {{1, "\"a\""}});
        FAIL() << "nothing thrown";
    } catch (const Exception::MultipartUploadError& e) {
        EXPECT_EQ(e.message(), "assembly failed");
    }
    script({ok("not xml")});
    EXPECT_THROW(s3.endMultipartUpload(bucket, QStringLiteral("/f"), "id", {{1, "\"a\""}}),
                 Exception::InvalidData);
    script({Server::Response::make(400, "<Error><Code>InvalidPart</Code></Error>")});
    EXPECT_THROW(s3.endMultipartUpload(bucket, QStringLiteral("/f"), "id", {{1, "\"a\""}}),
                 Exception::MultipartUploadError);
}

// --- Deletes --------------------------------------------------------------------------------

TEST_F(ScriptedS3, MultipleDeleteSendsOneDocumentAndReturnsTheFailures)
{
    const QJsonArray objects{
        ListingObject(QStringLiteral("/a.txt"), QDateTime(), 1, {}, {}, false).json(),
        ListingObject(QStringLiteral("/dir"), QDateTime(), 0, {}, {}, true).json(),
        ListingObject(QStringLiteral("/v & w.txt"), QDateTime(), 1, "ver-1", {}, false).json(),
    };
    script({ok(R"(<DeleteResult>
        <Error><Key>a.txt</Key><Code>AccessDenied</Code><Message>Access Denied</Message></Error>
        <Error><Key>dir/</Key><Code>SomethingElse</Code><Message>nope</Message></Error>
        </DeleteResult>)")});
    const QJsonArray failed = s3.deleteMultiple(bucket, objects);

    const Server::Request request = lastRequest();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/bucket/?delete=");
    EXPECT_EQ(request.header("Content-Type"), "plain/text");
    EXPECT_EQ(request.header("Content-MD5"),
              Norvik::Core::Hash::Digest::hash(request.body, Norvik::Core::Hash::Algorithm::Md5).toBase64());
    QDomDocument sent;
    ASSERT_TRUE(sent.setContent(request.body));
    const QDomElement root = sent.documentElement();
    EXPECT_EQ(root.tagName(), "Delete");
    EXPECT_EQ(root.firstChildElement().tagName(), "Quiet");
    EXPECT_EQ(root.firstChildElement().text(), "true");
    QStringList keys;
    QStringList versions;
    for (QDomElement o = root.firstChildElement(QStringLiteral("Object")); !o.isNull();
         o = o.nextSiblingElement(QStringLiteral("Object"))) {
        keys << o.firstChildElement(QStringLiteral("Key")).text();
        versions << o.firstChildElement(QStringLiteral("VersionId")).text();
    }
    EXPECT_EQ(keys, (QStringList{"a.txt", "dir/", "v & w.txt"}));
    EXPECT_EQ(versions, (QStringList{"", "", "ver-1"}));

    ASSERT_EQ(failed.size(), 2);
    const MultipleDeleteErrorObject denied(failed.at(0).toObject());
    EXPECT_EQ(denied.name(), "a.txt");
    EXPECT_EQ(denied.code(), MultipleDeleteErrorObject::AccessDenied);
    EXPECT_EQ(denied.message(), "Access Denied");
    EXPECT_EQ(MultipleDeleteErrorObject(failed.at(1).toObject()).code(), MultipleDeleteErrorObject::Other);

    script({ok("no xml")});
    EXPECT_THROW(s3.deleteMultiple(bucket, objects), Exception::InvalidData);

    // The plain protocol has no batch delete behind the general interface.
    const int before = server.requestCount();
    EXPECT_THROW(s3.delete_(bucket, objects), Exception::UnsupportedOperation);
    EXPECT_EQ(server.requestCount(), before);
}

// --- Containers -----------------------------------------------------------------------------

TEST_F(ScriptedS3, PathsThatNameNoObjectNeverReachTheBucket)
{
    // On the wire these would address the bucket itself: a delete could remove it.
    QMap<QString, QVariant> metaData;
    QByteArray data;
    QBuffer out(&data);
    out.open(QIODevice::WriteOnly);
    quint64 marker = 0;
    for (const QString& path : {QString(), QStringLiteral("/")}) {
        EXPECT_THROW(s3.delete_(bucket, ListingObject(path, QDateTime(), 0, {}, {}, false).json()),
                     Exception::InvalidArgument);
        EXPECT_THROW(s3.upload(bucket, path, {}, QByteArray("x"), QUuid()), Exception::InvalidArgument);
        EXPECT_THROW(s3.download(bucket, path, out, metaData, QUuid()), Exception::InvalidArgument);
        EXPECT_THROW(s3.download(bucket, path, 0, 1, metaData, QUuid()), Exception::InvalidArgument);
        EXPECT_THROW(s3.header(bucket, path), Exception::InvalidArgument);
        EXPECT_THROW(s3.beginMultipartUpload(bucket, path, {}), Exception::InvalidArgument);
        EXPECT_THROW(s3.abortMultipartUpload(bucket, path, "id"), Exception::InvalidArgument);
        EXPECT_THROW(s3.listPartsMultipart(bucket, path, "id", marker), Exception::InvalidArgument);
        EXPECT_TRUE(s3.signUrl(bucket, path, false, QDateTime::currentDateTimeUtc().addSecs(60)).isEmpty());
    }
    EXPECT_THROW(
        s3.deleteMultiple(bucket, {ListingObject(QStringLiteral("/a"), QDateTime(), 0, {}, {}, false).json(),
                                   ListingObject(QString(), QDateTime(), 0, {}, {}, false).json()}),
        Exception::InvalidArgument);
    EXPECT_EQ(server.requestCount(), 0);
}

// A fixed clock: the expiry asked for is the one the URL carries, to the second.
QDateTime fixedNow()
{
    return QDateTime(QDate(2024, 1, 31), QTime(23, 59, 59, 700), Qt::UTC);
}

TEST_F(ScriptedS3, SignedUrlsCarryTheExpiryAskedFor)
{
    for (const QString& signature : {QStringLiteral("V4"), QStringLiteral("V2")}) {
        SCOPED_TRACE(signature.toStdString());
        auto* d = new CloudAmazonS3LikePrivate(Type::AmazonS3Like);
        d->setClock(&fixedNow);
        CloudAmazonS3Like signer(Type::AmazonS3Like, d);
        ASSERT_TRUE(signer.setConfig(NorvikTest::s3Config(server.url(), signature)));
        const QUrl url(signer.signUrl(bucket, QStringLiteral("/dir/key"), false, fixedNow().addSecs(600)));
        EXPECT_EQ(url.adjusted(QUrl::RemoveQuery), server.url(QStringLiteral("/bucket/dir/key")));
        const QUrlQuery query(url);
        if (signature == QStringLiteral("V4")) {
            EXPECT_EQ(query.queryItemValue(QStringLiteral("X-Amz-Expires")), QStringLiteral("600"));
            EXPECT_TRUE(query.hasQueryItem(QStringLiteral("X-Amz-Signature")));
        } else {
            EXPECT_EQ(query.queryItemValue(QStringLiteral("Expires")),
                      QString::number(fixedNow().addSecs(600).toSecsSinceEpoch()));
            EXPECT_TRUE(query.hasQueryItem(QStringLiteral("Signature")));
        }
        EXPECT_TRUE(
            signer.signUrl(bucket, QStringLiteral("/dir/key"), false, fixedNow().addSecs(-1)).isEmpty());
    }
}

} // namespace
