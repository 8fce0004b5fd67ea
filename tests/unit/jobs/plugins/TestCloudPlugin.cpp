#include "TestCloudPlugin.h"

#include "s3/CloudAmazonS3LikePrivate.h"
#include "s3/CloudAmazonS3Private.h"

#include <QUrl>

using namespace Norvik::Cloud;

namespace {

QUrl markedEndpoint(const char* function, Type type)
{
    return QUrl(QStringLiteral("https://plugin.invalid/%1/%2")
                    .arg(QLatin1String(function))
                    .arg(static_cast<int>(type)));
}

} // namespace

Api::CloudAmazonS3Private* TestCloudPlugin::createAmazonS3(Type type)
{
    auto* object = new Api::CloudAmazonS3Private(type);
    object->setEndpoint(markedEndpoint("createAmazonS3", type));
    return object;
}

Api::CloudAmazonS3LikePrivate* TestCloudPlugin::createAmazonS3Like(Type type)
{
    auto* object = new Api::CloudAmazonS3LikePrivate(type);
    object->setEndpoint(markedEndpoint("createAmazonS3Like", type));
    return object;
}
