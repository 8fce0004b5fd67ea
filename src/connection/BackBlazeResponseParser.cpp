#include "connection/BackBlazeResponseParser.h"

#include <NorvikCore/NorvikDebug.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

namespace Norvik::Cloud::Error::BackBlaze {

ResponseParser::ResponseParser(const QByteArray& body)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        NorvikDebug("NKC").warning() << "BackBlaze: On parse content data" << parseError.errorString();
        return;
    }
    if (!document.isObject())
        return;
    m_valid = true;
    const QJsonObject object = document.object();
    m_status = object.value(QStringLiteral("status")).toInt();
    m_code = object.value(QStringLiteral("code")).toString();
    m_message = object.value(QStringLiteral("message")).toString();
}

} // namespace Norvik::Cloud::Error::BackBlaze
