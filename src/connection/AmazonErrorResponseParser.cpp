#include "connection/AmazonErrorResponseParser.h"

#include <QDomDocument>
#include <QDomElement>

namespace Norvik::Cloud::Error::Amazon {

AmazonErrorResponseParser::AmazonErrorResponseParser(const QByteArray& body)
{
    QDomDocument document;
    if (body.isEmpty() || !document.setContent(body))
        return;
    const QDomElement root = document.documentElement();
    if (root.tagName() != QLatin1String("Error"))
        return;
    m_valid = true;
    for (QDomElement child = root.firstChildElement(); !child.isNull(); child = child.nextSiblingElement()) {
        const QString name = child.tagName();
        const QString text = child.text();
        if (name == QLatin1String("Code"))
            m_code = text;
        else if (name == QLatin1String("Message"))
            m_message = text;
        else if (name == QLatin1String("Resource"))
            m_resource = text;
        else if (name == QLatin1String("RequestId"))
            m_requestId = text;
        else
            m_other.insert(name, text);
    }
}

} // namespace Norvik::Cloud::Error::Amazon
