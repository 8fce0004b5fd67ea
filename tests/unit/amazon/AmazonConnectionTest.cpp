#include "connection/CloudFactory.h"
#include "connection/CloudHttp.h"
#include "connection/IArchive.h"
#include "info/CloudType.h"
#include "info/Config.h"
#include "s3/CloudAmazonS3.h"
#include "s3/S3CompatibleServices.h"

#include <QUrl>
#include <QUuid>

#include <gtest/gtest.h>

#include <memory>

using namespace Norvik::Cloud;

namespace {

QMap<QString, QVariant> configOf(Type type)
{
    QMap<QString, QVariant> config{
        {Config::Type, TypeName.value(type)},
        {Config::Id, QUuid::createUuid()},
        {Config::AmazonS3Like::AccessKey, QStringLiteral("AKIDEXAMPLE")},
        {Config::AmazonS3Like::SecretKey, QStringLiteral("secret")},
        {Config::AmazonS3Like::Signature::Key, QStringLiteral("V4")},
        {Api::Config::Http::Endpoint, QStringLiteral("http://storage.example.test")},
    };
    return config;
}

bool isAmazon(Type type)
{
    return type == Type::AmazonS3 || type == Type::AmazonS3Chinese || type == Type::NorvikUbAmazonS3;
}

} // namespace

// Every type of the S3 families gets a connection of its own type number; the Amazon family
// has the archive interface and is reached over https by default, the others over http.
TEST(AmazonConnections, FactoryMakesEveryS3FamilyType)
{
    QList<int> numbers{2, 34, 35, 36, 37};
    for (int n = 11; n <= 30; ++n)
        numbers.append(n);
    for (const int number : numbers) {
        const Type type = static_cast<Type>(number);
        SCOPED_TRACE(number);
        std::unique_ptr<Api::IConnection> connection(Api::CloudFactory::create(configOf(type)));
        ASSERT_NE(connection, nullptr);
        EXPECT_EQ(connection->type(), type);
        auto* s3 = dynamic_cast<Api::CloudAmazonS3Like*>(connection.get());
        ASSERT_NE(s3, nullptr);
        EXPECT_EQ(dynamic_cast<Api::IArchive*>(connection.get()) != nullptr, isAmazon(type));
        EXPECT_EQ(s3->endpoint().scheme(), isAmazon(type) ? "https" : "http");
        EXPECT_EQ(s3->endpoint().host(), "storage.example.test");
    }
}
