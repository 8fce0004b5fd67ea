#include "openstack/CloudOpenStackPrivate.h"

#include "connection/Exception.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDomDocument>
#include <QDomElement>
#include <QJsonObject>
#include <QJsonParseError>

// The readers of what identity services and Swift answer: token answers with their
// catalogues, and error pages. They stand apart from the request layer so that they can be
// fuzzed alone.
namespace Norvik::Cloud::Api {

namespace {

// Keystone writes "2026-11-24T09:00:00.000000Z" (version 3) or "2026-11-24T09:00:00Z"
// (version 2); a time without a zone is UTC as well.
QDateTime readExpiry(const QJsonValue& value)
{
    QDateTime time = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    if (!time.isValid())
        return time;
    if (time.timeSpec() == Qt::LocalTime)
        time.setTimeSpec(Qt::UTC);
    return time.toUTC();
}

QJsonObject answerObject(const QByteArray& answer, const char* label)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(answer, &error);
    if (answer.isEmpty() || error.error != QJsonParseError::NoError || !document.isObject()) {
        NorvikDebug("NKC").error() << label << error.errorString();
        throw Exception::InvalidData(answer);
    }
    return document.object();
}

void insertEndpoint(QMap<QString, QUrl>& endpoints, const QString& region, const QString& address)
{
    endpoints.insert(region, QUrl(address.endsWith(QLatin1Char('/')) ? address : address + QLatin1Char('/')));
}

} // namespace

QMap<QString, QUrl> CloudOpenStackPrivate::catalogueV2(const QByteArray& answer, bool useInternalUrl,
                                                       QByteArray& token, QDateTime& expires)
{
    const QJsonObject access = answerObject(answer, "OpenStack Auth V2, error on parce response:")
                                   .value(QStringLiteral("access"))
                                   .toObject();
    const QJsonObject tokenObject = access.value(QStringLiteral("token")).toObject();
    token = tokenObject.value(QStringLiteral("id")).toString().toUtf8();
    expires = readExpiry(tokenObject.value(QStringLiteral("expires")));

    QMap<QString, QUrl> endpoints;
    for (const QJsonValue& service : access.value(QStringLiteral("serviceCatalog")).toArray()) {
        const QJsonObject entry = service.toObject();
        if (entry.value(QStringLiteral("type")).toString() != QLatin1String("object-store"))
            continue;
        for (const QJsonValue& value : entry.value(QStringLiteral("endpoints")).toArray()) {
            const QJsonObject endpoint = value.toObject();
            QString address;
            if (!useInternalUrl)
                address = endpoint.value(QStringLiteral("publicURL")).toString();
            else if (endpoint.contains(QStringLiteral("internalURL")))
                address = endpoint.value(QStringLiteral("internalURL")).toString();
            else if (endpoint.contains(QStringLiteral("privateURL")))
                address = endpoint.value(QStringLiteral("privateURL")).toString();
            // An endpoint without the address asked for is kept as "/": a configured
            // region then finds its entry and fails on the first request, not here.
            insertEndpoint(endpoints, endpoint.value(QStringLiteral("region")).toString(), address);
        }
    }
    return endpoints;
}

QMap<QString, QUrl> CloudOpenStackPrivate::catalogueV3(const QByteArray& answer, bool useInternalUrl,
                                                       QDateTime& expires)
{
    const QJsonObject token = answerObject(answer, "OpenStack Auth V3, error on parce response:")
                                  .value(QStringLiteral("token"))
                                  .toObject();
    expires = readExpiry(token.value(QStringLiteral("expires_at")));

    const QString wanted = useInternalUrl ? QStringLiteral("internal") : QStringLiteral("public");
    QMap<QString, QUrl> endpoints;
    for (const QJsonValue& service : token.value(QStringLiteral("catalog")).toArray()) {
        const QJsonObject entry = service.toObject();
        if (entry.value(QStringLiteral("type")).toString() != QLatin1String("object-store"))
            continue;
        for (const QJsonValue& value : entry.value(QStringLiteral("endpoints")).toArray()) {
            const QJsonObject endpoint = value.toObject();
            if (endpoint.value(QStringLiteral("interface")).toString() != wanted)
                continue;
            const QString address = endpoint.value(QStringLiteral("url")).toString();
            if (!address.isEmpty())
                insertEndpoint(endpoints, endpoint.value(QStringLiteral("region")).toString(), address);
        }
    }
    return endpoints;
}

QMap<QString, QString> CloudOpenStackPrivate::parceError(const QByteArray& body,
                                                         const HeaderMap& responseHeaders)
{
    QMap<QString, QString> map;
    if (responseHeaders.value("content-type") == "application/json") {
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(body, &error);
        if (body.isEmpty() || error.error != QJsonParseError::NoError) {
            NorvikDebug("NKC").warning() << "Error on parce error message content:" << error.errorString();
            NorvikDebug("NKC").debug() << body;
            return map;
        }
        const QJsonObject object = document.object().value(QStringLiteral("error")).toObject();
        map.insert(QStringLiteral("h1"), object.value(QStringLiteral("title")).toString());
        map.insert(QStringLiteral("p"), object.value(QStringLiteral("message")).toString());
        return map;
    }

    QDomDocument document;
    QString message;
    if (!document.setContent(body, &message)) {
        NorvikDebug("NKC").warning() << "Error on parce error message content:" << message;
        return map;
    }
    QDomElement html = document.documentElement();
    if (html.tagName() != QLatin1String("html"))
        html = html.firstChildElement(QStringLiteral("html"));
    for (QDomElement e = html.firstChildElement(); !e.isNull(); e = e.nextSiblingElement())
        map.insert(e.tagName(), e.firstChild().nodeValue());
    return map;
}

} // namespace Norvik::Cloud::Api
