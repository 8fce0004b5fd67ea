#pragma once

#include "info/CloudType.h"
#include "info/Config.h"

#include <QMap>
#include <QString>
#include <QUrl>
#include <QUuid>
#include <QVariant>

namespace NorvikTest {

// A complete configuration of an S3 connection at endpoint. signature is "V2" or "V4";
// region is left out when empty.
inline QMap<QString, QVariant> s3Config(const QUrl& endpoint, const QString& signature,
                                        const QString& region = QString(),
                                        const QString& typeName = Norvik::Cloud::Name::AmazonS3Like)
{
    namespace Config = Norvik::Cloud::Config;
    QMap<QString, QVariant> config{
        {Config::Type, typeName},
        {Config::Id, QUuid::createUuid()},
        {Config::AmazonS3Like::AccessKey, QStringLiteral("AKIDEXAMPLE")},
        {Config::AmazonS3Like::SecretKey, QStringLiteral("wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY")},
        {Config::AmazonS3Like::Signature::Key, signature},
        {Norvik::Cloud::Api::Config::Http::Endpoint, endpoint},
    };
    if (!region.isEmpty())
        config.insert(Config::AmazonS3Like::Region, region);
    return config;
}

} // namespace NorvikTest
