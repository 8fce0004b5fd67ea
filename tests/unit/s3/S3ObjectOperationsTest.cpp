// The object operations of the S3 connection against a scripted server: what each operation
// sends (verb, target, query order, headers, body) and how it reads the answer.

#include "s3/CloudAmazonS3Like.h"

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
using Norvik::Cloud::Api::CloudFileMetaData;
using Norvik::Cloud::Api::ListingObject;
using Norvik::Cloud::Api::MultipartListPartObject;
using Norvik::Cloud::Api::MultipleDeleteErrorObject;
using Server = NorvikTest::ScriptedHttpServer;
using ::testing::HasSubstr;
using ::testing::Not;
namespace Exception = Norvik::Cloud::Api::Exception;
using Items = QList<QPair<QString, QString>>;

QSharedPointer<QIODevice> readBuffer(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

// The decoded query items of a request, in their order.
Items queryOf(const Server::Request& request)
{
    const int mark = request.target.indexOf('?');
    if (mark < 0)
        return {};
    return QUrlQuery(QString::fromUtf8(request.target.mid(mark + 1))).queryItems(QUrl::FullyDecoded);
}

// The headers that a version 4 signature covers.
QStringList signedHeaders(const Server::Request& request)
{
    const QRegularExpression pattern(QStringLiteral("SignedHeaders=([^,]*)"));
    return pattern.match(QString::fromUtf8(request.header("Authorization")))
        .captured(1)
        .split(QLatin1Char(';'));
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

TEST_F(ScriptedS3, UploadSendsTheMetadataAndReturnsTheNewObject)
{
    const QByteArray data = NorvikTest::randomBytes(3000, 3);
    const QMap<QString, QVariant> metaData{
        {CloudFileMetaData::ContentEncoding, QStringLiteral("gzip")},
        {CloudFileMetaData::FilePermissions, 420},
        {CloudFileMetaData::RealSize, 1234567890123LL},
        {CloudFileMetaData::EncryptionHeader, QStringLiteral("2;7;aes;256;;1")},
        {CloudFileMetaData::ContentType, QStringLiteral("text/html")},
        {QStringLiteral("Unrelated"), QStringLiteral("dropped")},
    };
    script({Server::Response::ok()
                .withHeader("ETag", "\"5d41402abc4b2a76b9719d911017c592\"")
                .withHeader("x-amz-version-id", "3HL4kqtJlcpXroDTDmJ")});

    const QJsonObject result = s3.upload(bucket, QStringLiteral("/dir/a b.bin"), metaData, data, QUuid());

    const Server::Request request = lastRequest();
    EXPECT_EQ(request.method, "PUT");
    EXPECT_EQ(request.target, "/bucket/dir/a%20b.bin");
    EXPECT_EQ(request.body, data);
    EXPECT_EQ(request.header("Content-Type"), "text/html");
    EXPECT_EQ(request.header("Content-Encoding"), "gzip");
    EXPECT_EQ(request.header("x-amz-meta-nk-unix-permissons"), "420");
    EXPECT_EQ(request.header("x-amz-meta-nk-realsize"), "1234567890123");
    EXPECT_EQ(request.header("x-amz-meta-nk-encryptioninfo"), "2;7;aes;256;;1");
    EXPECT_FALSE(request.hasHeader("Unrelated"));
    // A whole upload signs its length, unlike a part.
    EXPECT_THAT(signedHeaders(request), ::testing::Contains(QStringLiteral("content-length")));

    const ListingObject object(result);
    EXPECT_EQ(object.name(), "/dir/a b.bin");
    EXPECT_EQ(object.size(), 3000u);
    EXPECT_EQ(object.eTag(), "\"5d41402abc4b2a76b9719d911017c592\"");
    EXPECT_EQ(object.fileId(), "3HL4kqtJlcpXroDTDmJ");
    EXPECT_FALSE(object.isFolder());

    // Without a content type in the metadata the default one goes out.
    script({Server::Response::ok().withHeader("ETag", "\"x\"")});
    s3.upload(bucket, QStringLiteral("/plain"), {}, readBuffer("abc"), 3, QUuid());
    EXPECT_EQ(lastRequest().header("Content-Type"), "binary/octet-stream");
    EXPECT_EQ(lastRequest().body, "abc");
}

TEST_F(ScriptedS3, DownloadsWholeObjectsAndRangesWithTheirMetadata)
{
    const QByteArray content = NorvikTest::randomBytes(100, 4);
    const auto serve = [content](const Server::Request& request) {
        Server::Response response = Server::Response::ok(content);
        const QRegularExpressionMatch range = QRegularExpression(QStringLiteral("^bytes=(\\d+)-(\\d+)$"))
                                                  .match(QString::fromLatin1(request.header("Range")));
        if (range.hasMatch()) {
            const int first = range.captured(1).toInt();
            const int last = range.captured(2).toInt();
            response = Server::Response::make(206, content.mid(first, last - first + 1));
        }
        return response.withHeader("x-amz-meta-nk-realsize", "777")
            .withHeader("Content-Encoding", "gzip")
            .withHeader("Content-Type", "text/plain")
            .withHeader("ETag", "\"tag\"");
    };

    QByteArray whole;
    QBuffer out(&whole);
    out.open(QIODevice::WriteOnly);
    QMap<QString, QVariant> metaData{{QStringLiteral("kept"), 1}};
    script(serve);
    s3.download(bucket, QStringLiteral("/obj"), out, metaData, QUuid());
    EXPECT_EQ(whole, content);
    EXPECT_EQ(lastRequest().method, "GET");
    EXPECT_EQ(lastRequest().target, "/bucket/obj");
    EXPECT_FALSE(lastRequest().hasHeader("Range"));
    EXPECT_EQ(metaData.value(CloudFileMetaData::RealSize).toString(), "777");
    EXPECT_EQ(metaData.value(CloudFileMetaData::ContentEncoding).toString(), "gzip");
    // Other headers keep their own (lower-case) names; content type is one of them.
    EXPECT_EQ(metaData.value(QStringLiteral("content-type")).toString(), "text/plain");
    EXPECT_EQ(metaData.value(QStringLiteral("etag")).toString(), "\"tag\"");
    EXPECT_EQ(metaData.value(QStringLiteral("kept")).toInt(), 1);

    // The size of a range is its length less one: bytes 10 to 19 are ten bytes.
    QMap<QString, QVariant> rangeMetaData;
    script(serve);
    EXPECT_EQ(s3.download(bucket, QStringLiteral("/obj"), 10, 9, rangeMetaData, QUuid()),
              content.mid(10, 10));
    EXPECT_EQ(lastRequest().header("Range"), "bytes=10-19");
    EXPECT_EQ(rangeMetaData.value(CloudFileMetaData::RealSize).toString(), "777");

    QByteArray part;
    QBuffer partOut(&part);
    partOut.open(QIODevice::WriteOnly);
    script(serve);
    s3.download(bucket, QStringLiteral("/obj"), 0, 0, partOut, rangeMetaData, QUuid());
    EXPECT_EQ(part, content.left(1));

    // A device that cannot take data gets no request at all.
    QBuffer readOnly;
    readOnly.open(QIODevice::ReadOnly);
    const int before = server.requestCount();
    s3.download(bucket, QStringLiteral("/obj"), readOnly, metaData, QUuid());
    s3.download(bucket, QStringLiteral("/obj"), 0, 5, readOnly, metaData, QUuid());
    EXPECT_EQ(server.requestCount(), before);
}

TEST_F(ScriptedS3, MissingObjectsAreNoContentWithTheirStatus)
{
    QByteArray data;
    QBuffer out(&data);
    out.open(QIODevice::ReadWrite);
    QMap<QString, QVariant> metaData;
    script({Server::Response::make(404, "<Error><Code>NoSuchKey</Code><Key>gone</Key></Error>")});
    try {
        s3.download(bucket, QStringLiteral("/gone"), out, metaData, QUuid());
        FAIL() << "nothing thrown";
    } catch (const Exception::NoContent& e) {
        EXPECT_EQ(e.code(), 404);
        EXPECT_EQ(e.message(), "The specified key does not exist.");
    }
    // HEAD has no body to tell.
    script({Server::Response::make(404)});
    try {
        s3.header(bucket, QStringLiteral("/gone"));
        FAIL() << "nothing thrown";
    } catch (const Exception::NoContent& e) {
        EXPECT_EQ(e.code(), 404);
    }
}

TEST_F(ScriptedS3, HeaderReadsTheObjectsHeadersAndSetHeaderSendsNothing)
{
    script({Server::Response::ok().withHeader("X-Amz-Meta-Nk-Realsize", "42").withHeader("ETag", "\"e\"")});
    const auto headers = s3.header(bucket, QStringLiteral("/obj"));
    EXPECT_EQ(lastRequest().method, "HEAD");
    EXPECT_EQ(lastRequest().target, "/bucket/obj");
    EXPECT_EQ(headers.value("x-amz-meta-nk-realsize"), "42");
    EXPECT_EQ(headers.value("etag"), "\"e\"");

    const int before = server.requestCount();
    s3.setHeader(bucket, QStringLiteral("/obj"), {{"x-amz-meta-a", "b"}});
    EXPECT_EQ(server.requestCount(), before);
}

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

TEST_F(ScriptedS3, ListingPageSendsItsQueryInOrderAndReadsObjectsBeforePrefixes)
{
    script({ok(FirstPage)});
    QString marker = QStringLiteral("/dir/0.txt");
    const QJsonArray page =
        s3.listing(bucket, QStringLiteral("/dir/"), marker, QStringLiteral("/"), 3).array();

    const Server::Request request = lastRequest();
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.path(), "/bucket/");
    EXPECT_EQ(queryOf(request),
              (Items{{"delimiter", "/"}, {"marker", "dir/0.txt"}, {"max-keys", "3"}, {"prefix", "dir/"}}));

    ASSERT_EQ(page.size(), 3);
    const ListingObject first(page.at(0).toObject());
    EXPECT_EQ(first.name(), "/dir/a.txt");
    EXPECT_EQ(first.size(), 11u);
    EXPECT_EQ(first.eTag(), "\"aaa\"");
    EXPECT_EQ(first.lastModified(), QDateTime(QDate(2024, 1, 31), QTime(23, 59, 59), Qt::UTC));
    EXPECT_FALSE(first.isFolder());
    EXPECT_EQ(ListingObject(page.at(1).toObject()).name(), "/dir/b.txt");
    const ListingObject prefix(page.at(2).toObject());
    EXPECT_EQ(prefix.name(), "dir/sub/");
    EXPECT_TRUE(prefix.isFolder());

    // Truncated without a next marker: the next page starts after the last entry read.
    EXPECT_EQ(marker, "dir/sub/");
}

TEST_F(ScriptedS3, ListingContinuesUntilTheMarkerIsEmpty)
{
    QString marker;
    script({ok(R"(<ListBucketResult><IsTruncated>true</IsTruncated>
        <Contents><Key>a</Key><Size>1</Size></Contents><Contents><Key>b/</Key><Size>0</Size></Contents>
        </ListBucketResult>)")});
    QJsonArray page = s3.listing(bucket, QString(), marker, QString(), 2).array();
    ASSERT_EQ(page.size(), 2);
    EXPECT_TRUE(ListingObject(page.at(1).toObject()).isFolder());
    EXPECT_EQ(marker, "/b/");
    EXPECT_EQ(queryOf(lastRequest()), (Items{{"max-keys", "2"}, {"prefix", ""}}));

    // The "/" of the object name is taken off again on the wire; a next marker wins.
    script({ok(R"(<ListBucketResult><IsTruncated>true</IsTruncated><NextMarker>c-next</NextMarker>
        <Contents><Key>c</Key></Contents></ListBucketResult>)")});
    page = s3.listing(bucket, QString(), marker, QString(), 2).array();
    EXPECT_EQ(queryOf(lastRequest()), (Items{{"marker", "b/"}, {"max-keys", "2"}, {"prefix", ""}}));
    EXPECT_EQ(marker, "c-next");

    script({ok(R"(<ListBucketResult><IsTruncated>false</IsTruncated><NextMarker>ignored</NextMarker>
        <Contents><Key>d</Key></Contents></ListBucketResult>)")});
    page = s3.listing(bucket, QString(), marker, QString(), 2).array();
    EXPECT_EQ(page.size(), 1);
    EXPECT_TRUE(marker.isEmpty());
}

TEST_F(ScriptedS3, ListingQueryKeepsTheVeryTextOfPrefixAndMarker)
{
    script({ok("<ListBucketResult><IsTruncated>false</IsTruncated></ListBucketResult>")});
    QString marker = QStringLiteral("/50%41 off&more=yes");
    s3.listing(bucket, QStringLiteral("/a+b c%2F/"), marker, QString(), 10);
    EXPECT_EQ(queryOf(lastRequest()),
              (Items{{"marker", "50%41 off&more=yes"}, {"max-keys", "10"}, {"prefix", "a+b c%2F/"}}));
    // A "/" stands as it is in the query, as the signature has it.
    EXPECT_THAT(lastRequest().target.toStdString(), HasSubstr("prefix=a%2Bb%20c%252F/"));
}

TEST_F(ScriptedS3, JsonListingsAreReadByTheirContentType)
{
    script({ok(R"({"truncated": true, "nextMarker": "n1",
                   "results": [{"key": "x/1.bin", "size": 5, "etag": "\"e1\"", "lastModified": "2024-03-01T10:00:00Z"},
                               {"key": "/x/", "size": 0}]})",
               "application/json; charset=utf-8")});
    QString marker;
    const QJsonArray page = s3.listing(bucket, QStringLiteral("x/"), marker, QString(), 10).array();
    ASSERT_EQ(page.size(), 2);
    const ListingObject first(page.at(0).toObject());
    EXPECT_EQ(first.name(), "/x/1.bin");
    EXPECT_EQ(first.size(), 5u);
    EXPECT_EQ(first.eTag(), "\"e1\"");
    EXPECT_EQ(first.lastModified(), QDateTime(QDate(2024, 3, 1), QTime(10, 0), Qt::UTC));
    EXPECT_TRUE(ListingObject(page.at(1).toObject()).isFolder());
    EXPECT_EQ(marker, "n1");

    // Without a next marker the last entry's name continues the listing.
    script({ok(R"({"truncated": true, "results": [{"key": "x/2.bin"}]})", "application/json")});
    s3.listing(bucket, QStringLiteral("x/"), marker, QString(), 10);
    EXPECT_EQ(marker, "/x/2.bin");
}

TEST_F(ScriptedS3, UnreadableListingsAreInvalidData)
{
    QString marker = QStringLiteral("keep");
    for (const QByteArray& body : {QByteArray("<ListBucketResult><Contents>"), QByteArray("<Error/>")}) {
        script({ok(body)});
        try {
            s3.listing(bucket, QString(), marker, QString(), 10);
            FAIL() << "nothing thrown for " << body.toStdString();
        } catch (const Exception::InvalidData& e) {
            EXPECT_EQ(e.data(), body);
        }
    }
    script({ok("[1, 2]", "application/json")});
    EXPECT_THROW(s3.listing(bucket, QString(), marker, QString(), 10), Exception::InvalidData);
}

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

TEST_F(ScriptedS3, MultipartUploadBeginsSendsPartsAndCompletes)
{
    script({ok("<InitiateMultipartUploadResult><Bucket>bucket</Bucket><Key>big.bin</Key>"
               "<UploadId>VXBsb2FkIElE</UploadId></InitiateMultipartUploadResult>")});
    const QByteArray uploadId =
        s3.beginMultipartUpload(bucket, QStringLiteral("/big.bin"), {{CloudFileMetaData::RealSize, 99}});
    EXPECT_EQ(uploadId, "VXBsb2FkIElE");
    Server::Request request = lastRequest();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/bucket/big.bin?uploads=");
    EXPECT_EQ(request.header("Content-Type"), "binary/octet-stream");
    EXPECT_EQ(request.header("x-amz-meta-nk-realsize"), "99");
    EXPECT_TRUE(request.body.isEmpty());

    const QByteArray part = NorvikTest::randomBytes(5000, 9);
    script({Server::Response::ok().withHeader("ETag", "\"p3\"")});
    EXPECT_EQ(s3.uploadMultipart(bucket, QStringLiteral("/big.bin"), uploadId, 3, readBuffer(part),
                                 part.size(), QUuid()),
              "\"p3\"");
    request = lastRequest();
    EXPECT_EQ(request.method, "PUT");
    EXPECT_EQ(queryOf(request), (Items{{"partNumber", "3"}, {"uploadId", "VXBsb2FkIElE"}}));
    EXPECT_EQ(request.header("Content-Type"), "x-application/octet-stream");
    EXPECT_EQ(request.header("Content-Length"), "5000");
    EXPECT_EQ(request.body, part);
    // The transport adds the length after signing.
    EXPECT_THAT(signedHeaders(request), Not(::testing::Contains(QStringLiteral("content-length"))));

    script(
        {ok("<CompleteMultipartUploadResult><Location>http://x/bucket/big.bin</Location>"
            "<Bucket>bucket</Bucket><Key>big.bin</Key><ETag>\"all-2\"</ETag></CompleteMultipartUploadResult>")
             .withHeader("x-amz-version-id", "v9")});
    const QJsonObject result =
        s3.endMultipartUpload(bucket, QStringLiteral("/big.bin"), uploadId, {{2, "\"p2\""}, {1, "\"p1\""}});
    request = lastRequest();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(queryOf(request), (Items{{"uploadId", "VXBsb2FkIElE"}}));
    EXPECT_EQ(request.header("Content-Type"), "application/xml");
    // The parts go out in the order given.
    QDomDocument sent;
    ASSERT_TRUE(sent.setContent(request.body));
    const QDomElement root = sent.documentElement();
    EXPECT_EQ(root.tagName(), "CompleteMultipartUpload");
    const QDomElement firstPart = root.firstChildElement(QStringLiteral("Part"));
    EXPECT_EQ(firstPart.firstChildElement(QStringLiteral("PartNumber")).text(), "2");
    EXPECT_EQ(firstPart.firstChildElement(QStringLiteral("ETag")).text(), "\"p2\"");
    EXPECT_EQ(firstPart.nextSiblingElement(QStringLiteral("Part"))
                  .firstChildElement(QStringLiteral("PartNumber"))
                  .text(),
              "1");

    const ListingObject object(result);
    EXPECT_EQ(object.name(), "/big.bin");
    EXPECT_EQ(object.eTag(), "\"all-2\"");
    EXPECT_EQ(object.fileId(), "v9");
}

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

TEST_F(ScriptedS3, AbortTakesTheEmptyAnswerAsDone)
{
    script({Server::Response::make(204)});
    s3.abortMultipartUpload(bucket, QStringLiteral("/f"), "the id");
    EXPECT_EQ(lastRequest().method, "DELETE");
    EXPECT_EQ(queryOf(lastRequest()), (Items{{"uploadId", "the id"}}));

    script({Server::Response::make(404, "<Error><Code>NoSuchUpload</Code></Error>")});
    EXPECT_THROW(s3.abortMultipartUpload(bucket, QStringLiteral("/f"), "old"),
                 Exception::MultipartInvalidUploadId);
}

TEST_F(ScriptedS3, PartListingPagesByPartNumber)
{
    script({ok(R"(<ListPartsResult><UploadId>id</UploadId><PartNumberMarker>0</PartNumberMarker>
        <NextPartNumberMarker>2</NextPartNumberMarker><IsTruncated>true</IsTruncated>
        <Part><PartNumber>1</PartNumber><ETag>"e1"</ETag><Size>5242880</Size></Part>
        <Part><PartNumber>2</PartNumber><ETag>"e2"</ETag><Size>5242880</Size></Part>
        </ListPartsResult>)")});
    quint64 marker = 0;
    QJsonArray parts = s3.listPartsMultipart(bucket, QStringLiteral("/f"), "id", marker);
    EXPECT_EQ(queryOf(lastRequest()), (Items{{"uploadId", "id"}}));
    ASSERT_EQ(parts.size(), 2);
    const MultipartListPartObject first(parts.at(0).toObject());
    EXPECT_EQ(first.partNumber(), 1u);
    EXPECT_EQ(first.eTag(), "\"e1\"");
    EXPECT_EQ(first.size(), 5242880u);
    EXPECT_EQ(marker, 2u);

    script(
        {ok(R"(<ListPartsResult><IsTruncated>false</IsTruncated><NextPartNumberMarker>3</NextPartNumberMarker>
        <Part><PartNumber>3</PartNumber><ETag>"e3"</ETag><Size>10</Size></Part></ListPartsResult>)")});
    parts = s3.listPartsMultipart(bucket, QStringLiteral("/f"), "id", marker);
    EXPECT_EQ(queryOf(lastRequest()), (Items{{"part-number-marker", "2"}, {"uploadId", "id"}}));
    EXPECT_EQ(parts.size(), 1);
    EXPECT_EQ(marker, 0u);
}

TEST_F(ScriptedS3, PartListingOfAVanishedUploadIsEmpty)
{
    quint64 marker = 7;
    script({Server::Response::make(404, "<Error><Code>NoSuchUpload</Code></Error>")});
    EXPECT_TRUE(s3.listPartsMultipart(bucket, QStringLiteral("/f"), "gone", marker).isEmpty());
    EXPECT_EQ(marker, 0u);

    marker = 7;
    script({ok("garbage")});
    EXPECT_TRUE(s3.listPartsMultipart(bucket, QStringLiteral("/f"), "id", marker).isEmpty());
    EXPECT_EQ(marker, 0u);

    // Other refusals are not hidden.
    script({Server::Response::make(403, "<Error><Code>AccessDenied</Code></Error>")});
    EXPECT_THROW(s3.listPartsMultipart(bucket, QStringLiteral("/f"), "id", marker), Exception::AccessDenied);
}

TEST(CheckUploadPart, MatchesAPartOfTheSameNumberSizeAndContent)
{
    CloudAmazonS3Like s3(Type::AmazonS3Like);
    const QByteArray data = NorvikTest::randomBytes(1000, 5);
    const QByteArray tag = CloudAmazonS3Like::calculateETag(readBuffer(data).data());
    ASSERT_EQ(tag,
              '"' + Norvik::Core::Hash::Digest::hash(data, Norvik::Core::Hash::Algorithm::Md5).toHex() + '"');

    const auto part = [](quint64 number, quint64 size, const QByteArray& etag) {
        MultipartListPartObject object;
        object.setPartNumber(number);
        object.setSize(size);
        object.setEtag(etag);
        return QJsonValue(object.json());
    };
    const QByteArray upperTag = tag.toUpper();

    // Another size of the same number is passed over; the tag is compared without case.
    const QJsonArray parts{part(1, 1000, "\"other\""), part(2, 999, "\"x\""), part(2, 1000, upperTag)};
    EXPECT_EQ(s3.checkUploadPart(2, parts, data), qMakePair(true, upperTag));

    // The device is left where it was.
    auto device = readBuffer(data);
    device->seek(0);
    EXPECT_TRUE(s3.checkUploadPart(2, parts, device, data.size()).first);
    EXPECT_EQ(device->pos(), 0);

    EXPECT_EQ(s3.checkUploadPart(1, parts, data), qMakePair(false, QByteArray()));
    EXPECT_EQ(s3.checkUploadPart(3, parts, data), qMakePair(false, QByteArray()));
    // Quotes count: a bare digest is another tag.
    EXPECT_FALSE(s3.checkUploadPart(1, QJsonArray{part(1, 1000, tag.mid(1, tag.size() - 2))}, data).first);
    EXPECT_TRUE(CloudAmazonS3Like::calculateETag(nullptr).isEmpty());
}

// --- Deletes --------------------------------------------------------------------------------

TEST_F(ScriptedS3, DeletingAnObjectNamesFoldersWithTheirSlashAndVersions)
{
    script({Server::Response::make(204), Server::Response::make(204),
            Server::Response::make(404, "<Error><Code>NoSuchKey</Code></Error>")});
    EXPECT_TRUE(
        s3.delete_(bucket, ListingObject(QStringLiteral("/dir"), QDateTime(), 0, {}, {}, true).json()));
    EXPECT_EQ(lastRequest().method, "DELETE");
    EXPECT_EQ(lastRequest().target, "/bucket/dir/");

    EXPECT_TRUE(
        s3.delete_(bucket, ListingObject(QStringLiteral("file"), QDateTime(), 1, "v 1", {}, false).json()));
    EXPECT_EQ(lastRequest().path(), "/bucket/file");
    EXPECT_EQ(queryOf(lastRequest()), (Items{{"versionId", "v 1"}}));

    // What is not there is deleted.
    EXPECT_TRUE(
        s3.delete_(bucket, ListingObject(QStringLiteral("/gone"), QDateTime(), 0, {}, {}, false).json()));

    script({Server::Response::make(403, "<Error><Code>AccessDenied</Code></Error>")});
    EXPECT_THROW(
        s3.delete_(bucket, ListingObject(QStringLiteral("/x"), QDateTime(), 0, {}, {}, false).json()),
        Exception::AccessDenied);
}

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

TEST_F(ScriptedS3, ContainersAreListedCreatedAndRemoved)
{
    script({ok(R"(<ListAllMyBucketsResult><Owner><ID>1</ID></Owner><Buckets>
        <Bucket><Name>one</Name><CreationDate>2024-01-01T00:00:00.000Z</CreationDate></Bucket>
        <Bucket><Name>two</Name><CreationDate>2024-02-01T00:00:00.000Z</CreationDate></Bucket>
        </Buckets></ListAllMyBucketsResult>)")});
    const QJsonArray buckets = s3.containers().array();
    EXPECT_EQ(lastRequest().target, "/");
    ASSERT_EQ(buckets.size(), 2);
    EXPECT_EQ(buckets.at(1).toObject(),
              (QJsonObject{{"Name", "two"}, {"CreationDate", "2024-02-01T00:00:00.000Z"}}));

    script({ok("<ListAllMyBucketsResult")});
    EXPECT_THROW(s3.containers(), Exception::InvalidData);

    script({Server::Response::ok()});
    EXPECT_TRUE(s3.createContainers({{"name", "new-bucket"}}));
    EXPECT_EQ(lastRequest().method, "PUT");
    EXPECT_EQ(lastRequest().target, "/new-bucket/");
    EXPECT_TRUE(lastRequest().body.isEmpty());

    const int before = server.requestCount();
    EXPECT_FALSE(s3.createContainers({{"Name", "wrong key"}}));
    EXPECT_FALSE(s3.removeContainers(QString()));
    EXPECT_EQ(server.requestCount(), before);

    // The empty answer of a removal arrives as NoContent, which the job boundary counts as done.
    script({Server::Response::make(204)});
    EXPECT_THROW(s3.removeContainers(QStringLiteral("old")), Exception::NoContent);
    EXPECT_EQ(lastRequest().method, "DELETE");
    EXPECT_EQ(lastRequest().target, "/old/");
}

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

TEST_F(ScriptedS3, SignedUrlsNameTheObjectAndExpireInTheFuture)
{
    const QString url =
        s3.signUrl(bucket, QStringLiteral("/dir/key"), false, QDateTime::currentDateTimeUtc().addSecs(600));
    EXPECT_THAT(url.toStdString(),
                ::testing::StartsWith(server.url().toString().toStdString() + "bucket/dir/key?"));
    EXPECT_THAT(url.toStdString(), HasSubstr("X-Amz-Signature="));
    EXPECT_THAT(url.toStdString(), HasSubstr("X-Amz-Expires=60"));
    EXPECT_TRUE(
        s3.signUrl(bucket, QStringLiteral("/dir/key"), false, QDateTime::currentDateTimeUtc().addSecs(-1))
            .isEmpty());
}

} // namespace
