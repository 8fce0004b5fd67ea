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
    // Only a status of plain text counts: one with markup inside is no answer of the service,
    // and acceleration that is wrongly on sends every request to a host that refuses them.
    const QDomElement status = root.firstChildElement(QStringLiteral("Status"));
    const QDomNodeList children = status.childNodes();
    if (children.size() != 1 || !children.at(0).isCharacterData())
        return false;
    return status.text() == QLatin1String("Enabled");
}

bool restoreFinished(const QByteArray& restoreHeader)
{
    return restoreHeader.contains("ongoing-request=\"false\"");
}

} // namespace Norvik::Cloud::Api::AmazonS3Answers
