// What identity services and Swift answer: Keystone v2 and v3 token answers with their
// catalogues, error pages (Keystone's JSON, Swift's small HTML) and JSON listing pages. The
// first byte chooses the reader and, for catalogues, internal or public addresses; the rest is
// the answer. An answer that cannot be read throws InvalidData and nothing else.
#include "openstack/CloudOpenStackPrivate.h"
#include "openstack/OpenStackRecords.h"

#include "FuzzSupport.h"

#include "connection/Exception.h"

#include <NorvikCore/NorvikDebug.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdlib>

using namespace Norvik::Cloud::Api;

namespace {

bool isJsonObject(const QByteArray& answer)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(answer, &error);
    return !answer.isEmpty() && error.error == QJsonParseError::NoError && document.isObject();
}

void fuzzCatalogue(int version, bool internal, const QByteArray& answer)
{
    QByteArray token;
    QDateTime expires;
    QMap<QString, QUrl> endpoints;
    try {
        endpoints = version == 2 ? CloudOpenStackPrivate::catalogueV2(answer, internal, token, expires)
                                 : CloudOpenStackPrivate::catalogueV3(answer, internal, expires);
    } catch (const Exception::InvalidData& e) {
        check(!isJsonObject(answer) && e.data() == answer);
        return;
    }
    check(isJsonObject(answer));
    const QJsonObject access =
        QJsonDocument::fromJson(answer).object().value(QLatin1String("access")).toObject();
    check(
        version == 3 ||
        token ==
            access.value(QStringLiteral("token")).toObject().value(QStringLiteral("id")).toString().toUtf8());
    // An address that is no URL stays unusable; it is never a valid URL without its "/".
    for (const QUrl& url : endpoints)
        check(!url.isValid() || url.toString().endsWith(QLatin1Char('/')));
    check(!expires.isValid() || expires.timeSpec() == Qt::UTC);
}

void fuzzErrorPage(bool json, const QByteArray& body)
{
    const QMap<QByteArray, QByteArray> headers{
        {"content-type", json ? QByteArrayLiteral("application/json") : QByteArrayLiteral("text/html")}};
    const QMap<QString, QString> map = CloudOpenStackPrivate::parceError(body, headers);
    check(!json || map.isEmpty() ||
          (map.size() == 2 && map.contains(QStringLiteral("h1")) && map.contains(QStringLiteral("p"))));
}

void fuzzListing(const QByteArray& page)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(page, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray())
        return;
    for (const QJsonValue& value : document.array()) {
        const QJsonObject entry = value.toObject();
        const ListingObjectOpenStack record(entry);
        check(record.name().startsWith(QLatin1Char('/')));
        check(record.isFolder() == entry.contains(QStringLiteral("subdir")));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const QByteArray answer(reinterpret_cast<const char*>(data) + 1, static_cast<int>(size - 1));
    // Qt's reader leaks on repeated members, whoever calls it: such texts are not given.
    if (hasDuplicateMember(answer))
        return 0;
    const bool flag = data[0] & 0x10;
    if ((data[0] & 0x03) < 2)
        fuzzCatalogue(2 + (data[0] & 0x03), flag, answer);
    else if ((data[0] & 0x03) == 2)
        fuzzErrorPage(flag, answer);
    else
        fuzzListing(answer);
    return 0;
}
