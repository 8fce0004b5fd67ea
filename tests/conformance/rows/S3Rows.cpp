// S3-compatible connections to Swift's S3 layer, which checks both signature versions, and to
// s3rver, which takes version 4 only and checks no signature.

#include "Conformance.h"

#include "connection/CloudFileMetaData.h"
#include "info/CloudType.h"
#include "info/Config.h"

#include <QUrl>
#include <QUuid>

namespace {

namespace Config = Norvik::Cloud::Config;
using Norvik::Cloud::Api::CloudFileMetaData;

// Wrong secrets are refused as signature mismatches.
constexpr int SignatureDoesNotMatchCode = 9;

Conformance::Row s3Row(const QString& name, const QString& fixture, const QString& accessKey,
                       const QString& secretKey, const QString& signature,
                       const QList<Conformance::ServerLimit>& limits = {})
{
    return {
        name,
        [=] {
            const QString endpoint = Conformance::serverEndpoint(fixture);
            if (endpoint.isEmpty())
                return Conformance::ConfigMap();
            return Conformance::ConfigMap{
                {Config::Type, Norvik::Cloud::Name::AmazonS3Like},
                {Config::Id, QUuid::createUuid()},
                {Config::AmazonS3Like::AccessKey, accessKey},
                {Config::AmazonS3Like::SecretKey, secretKey},
                {Config::AmazonS3Like::Region, QStringLiteral("us-east-1")},
                {Config::AmazonS3Like::Signature::Key, signature},
                {Norvik::Cloud::Api::Config::Http::Endpoint, QUrl(endpoint + QLatin1Char('/'))},
            };
        },
        [](const QString& bucket) {
            return QJsonObject{{QStringLiteral("name"), bucket}};
        },
        [](Conformance::ConfigMap& config) {
            config.insert(Config::AmazonS3Like::SecretKey, QStringLiteral("not-the-secret"));
        },
        SignatureDoesNotMatchCode,
        {CloudFileMetaData::RealSize, CloudFileMetaData::FilePermissions, CloudFileMetaData::ContentEncoding,
         CloudFileMetaData::EncryptionHeader},
        limits,
    };
}

// Swift's S3 interface refuses a skewed request but does not name its own time.
Conformance::Row checkingClock(Conformance::Row row)
{
    row.reportsClockSkew = true;
    return row;
}

const QString swiftKey = QStringLiteral("test:tester");
const QString swiftSecret = QStringLiteral("testing");

[[maybe_unused]] const bool added =
    Conformance::addRow(checkingClock(s3Row(QStringLiteral("s3.swift.v2"), QStringLiteral("swift"), swiftKey,
                                            swiftSecret, QStringLiteral("V2")))) &&
    Conformance::addRow(checkingClock(s3Row(QStringLiteral("s3.swift.v4"), QStringLiteral("swift"), swiftKey,
                                            swiftSecret, QStringLiteral("V4")))) &&
    // s3rver refuses our version 2 bucket requests (it expects "/bucket" where others take
    // "/bucket/"), so it runs with version 4 alone.
    Conformance::addRow(s3Row(
        QStringLiteral("s3.s3rver"), QStringLiteral("s3rver"), QStringLiteral("S3RVER"),
        QStringLiteral("S3RVER"), QStringLiteral("V4"),
        {{&Conformance::Capabilities::checksCredentials, "s3rver does not verify version 4 signatures"},
         {&Conformance::Capabilities::continueUpload, "s3rver has no part listing, so no upload continues"},
         {&Conformance::Capabilities::pagedListings,
          "s3rver lists \"dir/1\" before \"dir.txt\", so a page after a marker misses keys, and it "
          "names no next marker for a truncated listing with a delimiter"},
         {&Conformance::Capabilities::firstByteRange,
          "s3rver answers \"bytes=0-0\" with the whole object"}}));

} // namespace
