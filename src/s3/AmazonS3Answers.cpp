#include "s3/AmazonS3Answers.h"

#include <QDomDocument>
#include <QDomElement>

namespace Norvik::Cloud::Api::AmazonS3Answers {

std::optional<bool> accelerationEnabled(const QByteArray& body)
{
    QDomDocument document;
    if (!document.setContent(body))
        return std::nullopt;
    QDomElement root = document.documentElement();
    if (root.tagName() != QLatin1String("AccelerateConfiguration"))
        root = root.firstChildElement(QStringLiteral("AccelerateConfiguration"));
    if (root.firstChildElement().isNull())
        return false;
    return root.firstChildElement(QStringLiteral("Status")).text() == QLatin1String("Enabled");
}

bool restoreFinished(const QByteArray& restoreHeader)
{
    return restoreHeader.contains("ongoing-request=\"false\"");
}

} // namespace Norvik::Cloud::Api::AmazonS3Answers
