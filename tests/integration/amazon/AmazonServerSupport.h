#pragma once

#include "s3/CloudAmazonS3.h"

#include <QMap>
#include <QString>
#include <QUrl>
#include <QVariant>

#include <gtest/gtest.h>

#include <memory>

namespace NorvikTest {

// The Amazon S3 test server of the fixture "amazon": https with a CA of its own, the
// service's host names under "amazon.test", all connected to the server's address.
struct AmazonServer
{
    QUrl address; // https://127.0.0.1:port
    QString caFile;
    QString accessKey = QStringLiteral("AKIAAMAZONTEST000001");
    QString secretKey = QStringLiteral("amazon-test-secret/Key+0123456789abcdefghij");

    // Installs a global configuration that trusts the server's CA, sends every host name to
    // its address and retries quickly. Fails the test when the fixture left no endpoint.
    static AmazonServer start();
    // Asks the server's test interface: "restore-delay?seconds=S" (how long restores take from
    // now on), "finish-restores" (ends every running restore now), "broken-answers?on=1|0"
    // (whether lifecycle and acceleration answers come cut in the middle).
    void control(const QString& request) const;
};

// The configuration of an Amazon S3 connection to the server, by its own host names.
QMap<QString, QVariant> amazonConfig(const AmazonServer& server, const QString& signature = "V4",
                                     const QString& region = "us-east-1");

// Each test gets the server, a bucket of its own in "us-east-1" and a connection to it.
class AmazonBucketTest : public ::testing::Test
{
protected:
    void SetUp() override;

    std::unique_ptr<Norvik::Cloud::Api::CloudAmazonS3> connect(const QMap<QString, QVariant>& config);
    QByteArray download(const QString& path);

    AmazonServer server;
    QString bucket;
    std::unique_ptr<Norvik::Cloud::Api::CloudAmazonS3> s3;
};

} // namespace NorvikTest
