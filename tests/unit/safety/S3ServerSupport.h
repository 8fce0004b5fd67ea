#pragma once

#include "s3/CloudAmazonS3Like.h"

#include <QByteArray>
#include <QIODevice>
#include <QMap>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace NorvikTest {

// One of the real S3 servers that the test fixtures start on 127.0.0.1.
struct S3Server
{
    QUrl endpoint; // empty when the fixture did not start the server
    QString accessKey;
    QString secretKey;
    // Whether the server refuses requests with wrong signatures (s3rver serves them).
    bool verifiesSignatures = true;
    // The signature versions that the server takes for every request. s3rver expects version
    // 2 signatures of bucket requests over "/bucket" rather than "/bucket/", and refuses ours.
    QStringList signatures{QStringLiteral("V2"), QStringLiteral("V4")};
    // Whether a truncated listing with a delimiter names its next marker (s3rver's do not).
    bool nextMarkerWithDelimiter = true;
};

// Swift's S3 layer: checks signatures of both versions, has part listings and aborts.
S3Server swiftS3();
// s3rver: a small S3 server without version 4 checks, part listings or aborts.
S3Server s3rver();

// The server named by NORVIK_S3_SERVER ("swift" or "s3rver"), for suites that run on both.
S3Server serverUnderTest();
// The signature versions to test the server under test with.
std::vector<QString> signaturesUnderTest();

// The configuration of an S3-compatible connection to server, signing with "V2" or "V4".
QMap<QString, QVariant> configFor(const S3Server& server, const QString& signature);
std::unique_ptr<Norvik::Cloud::Api::CloudAmazonS3Like> connectTo(const S3Server& server,
                                                                 const QString& signature);

// A bucket name of its own for each run, so that runs never see each other's objects.
QString uniqueBucket(const QString& prefix);

// Every object name of a bucket, by listing page after page.
QStringList objectNames(Norvik::Cloud::Api::CloudAmazonS3Like& s3, const QString& bucket,
                        const QString& prefix = QString());

// Deletes the objects and the bucket; a bucket left behind is only logged.
void removeBucket(Norvik::Cloud::Api::CloudAmazonS3Like& s3, const QString& bucket);

QSharedPointer<QIODevice> readBuffer(const QByteArray& data);
// The whole object, and its metadata when asked for.
QByteArray downloadAll(Norvik::Cloud::Api::CloudAmazonS3Like& s3, const QString& bucket, const QString& key,
                       QMap<QString, QVariant>* metaData = nullptr);

// Each test gets a bucket of its own on the server under test, and a connection that signs
// with the version of the parameter ("V2" or "V4").
class S3BucketTest : public ::testing::TestWithParam<QString>
{
protected:
    void SetUp() override;
    void TearDown() override;

    S3Server server;
    std::unique_ptr<Norvik::Cloud::Api::CloudAmazonS3Like> s3;
    QString bucket;
};

// Status and body of a GET of url by plain libcurl, as any client of a pre-signed URL sends it.
QPair<long, QByteArray> plainGet(const QString& url);

} // namespace NorvikTest
