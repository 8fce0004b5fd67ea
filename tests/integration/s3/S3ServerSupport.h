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

// A real S3 server that a test fixture starts on 127.0.0.1.
struct S3Server
{
    QUrl endpoint; // empty when the fixture did not start the server
    QString accessKey;
    QString secretKey;
};

// Swift's S3 layer: checks signatures of both versions, has part listings and aborts.
S3Server swiftS3();

// The configuration of an S3-compatible connection to server, signing with "V2" or "V4".
QMap<QString, QVariant> configFor(const S3Server& server, const QString& signature);
std::unique_ptr<Norvik::Cloud::Api::CloudAmazonS3Like> connectTo(const S3Server& server,
                                                                 const QString& signature);

// A bucket name of its own for each run, so that runs never see each other's objects.
QString uniqueBucket(const QString& prefix);

// Deletes the objects and the bucket; a bucket left behind is only logged.
void removeBucket(Norvik::Cloud::Api::CloudAmazonS3Like& s3, const QString& bucket);

QSharedPointer<QIODevice> readBuffer(const QByteArray& data);
// The whole object, and its metadata when asked for.
QByteArray downloadAll(Norvik::Cloud::Api::CloudAmazonS3Like& s3, const QString& bucket, const QString& key,
                       QMap<QString, QVariant>* metaData = nullptr);

// Each test gets a bucket of its own on Swift's S3 layer, and a connection that signs
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

} // namespace NorvikTest
