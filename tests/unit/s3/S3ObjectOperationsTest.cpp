// What the S3 connection does that real servers cannot show: answers it cannot use, paths that
// would address the bucket itself, .

#include "s3/CloudAmazonS3Like.h"
#include "s3/CloudAmazonS3LikePrivate.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"

#include "S3TestConfig.h"
#include "ScriptedHttpServer.h"

#include <QBuffer>
#include <QMutex>

#include <gmock/gmock.h>

namespace {

using Norvik::Cloud::Type;
using Norvik::Cloud::Api::CloudAmazonS3Like;
using Norvik::Cloud::Api::CloudAmazonS3LikePrivate;
using Norvik::Cloud::Api::ListingObject;
using Server = NorvikTest::ScriptedHttpServer;
namespace Exception = Norvik::Cloud::Api::Exception;

// The next requests get the scripted answers, in order.
class ScriptedS3 : public ::testing::Test
{
protected:
    void SetUp() override
    {
        server.setHandler([this](const Server::Request& request) {
            QMutexLocker lock(&mutex);
            return answers.isEmpty() ? Server::Response::make(599, "unscripted request " + request.target)
                                     : answers.takeFirst();
        });
        ASSERT_TRUE(server.start()) << server.errorString().toStdString();
        ASSERT_TRUE(s3.setConfig(NorvikTest::s3Config(server.url(), QStringLiteral("V4"))));
    }

    void script(const Server::Response& response)
    {
        QMutexLocker lock(&mutex);
        answers.append(response);
    }
    static Server::Response ok(const QByteArray& body)
    {
        return Server::Response::ok(body).withHeader("Content-Type", "application/xml");
    }

    QMutex mutex;
    QList<Server::Response> answers;
    Server server;
    CloudAmazonS3Like s3{Type::AmazonS3Like};
    const QString bucket = QStringLiteral("bucket");
};

// --- Multipart uploads ----------------------------------------------------------------------

TEST_F(ScriptedS3, MultipartAnswersThatCannotBeUsedAreErrors)
{
    script(ok("<InitiateMultipartUploadResult>"));
    EXPECT_THROW(s3.beginMultipartUpload(bucket, QStringLiteral("/f"), {}), Exception::InvalidData);

    // A part without its tag could never be completed.
    script(Server::Response::ok());
    EXPECT_THROW(s3.uploadMultipart(bucket, QStringLiteral("/f"), "id", 1, QByteArray("abc"), QUuid()),
                 Exception::InvalidData);

    // The service may fail the assembly after accepting the request.
    script(ok("<Error><Code>InternalError</Code><Message>assembly failed</Message></Error>"));
    try {
        s3.endMultipartUpload(bucket, QStringLiteral("/f"), "id", {{1, "\"a\""}});
        FAIL() << "nothing thrown";
    } catch (const Exception::MultipartUploadError& e) {
        EXPECT_EQ(e.message(), "assembly failed");
    }
    script(Server::Response::make(400, "<Error><Code>InvalidPart</Code></Error>"));
    EXPECT_THROW(s3.endMultipartUpload(bucket, QStringLiteral("/f"), "id", {{1, "\"a\""}}),
                 Exception::MultipartUploadError);
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

} // namespace
