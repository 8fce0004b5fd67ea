#pragma once

#include "s3/CloudAmazonS3Like.h"

#include <QMap>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>

#include <gtest/gtest.h>

#include <memory>

namespace NorvikTest {

// Swift's S3 layer as the test fixture started it on 127.0.0.1.
struct S3Server
{
    QUrl endpoint; // empty when the fixture did not start the server
    QString accessKey = QStringLiteral("test:tester");
    QString secretKey = QStringLiteral("testing");
};

// The configuration of an S3-compatible connection to server, signing with "V2" or "V4".
QMap<QString, QVariant> configFor(const S3Server& server, const QString& signature);

// Every object name of a bucket, by listing page after page.
QStringList objectNames(Norvik::Cloud::Api::CloudAmazonS3Like& s3, const QString& bucket);

QByteArray downloadAll(Norvik::Cloud::Api::CloudAmazonS3Like& s3, const QString& bucket, const QString& key);

// Each test gets a bucket of its own and a connection that signs with the version of the
// parameter ("V2" or "V4").
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
