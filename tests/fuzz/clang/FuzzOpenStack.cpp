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

#define check(condition) ((condition) ? void() : std::abort())

bool isJsonObject(const QByteArray& answer)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(answer, &error);
    return !answer.isEmpty() && error.error == QJsonParseError::NoError && document.isObject();
}

// Every address of a catalogue ends in "/", and only object-store entries give one.
void checkCatalogue(const QMap<QString, QUrl>& endpoints, const QJsonArray& catalogue)
{
    int storeEndpoints = 0;
    for (const QJsonValue& service : catalogue)
        if (service.toObject().value(QStringLiteral("type")).toString() == QLatin1String("object-store"))
            storeEndpoints += service.toObject().value(QStringLiteral("endpoints")).toArray().size();
    check(endpoints.size() <= storeEndpoints);
    // An address that is no URL stays unusable; it is never a valid URL without its "/".
    for (const QUrl& url : endpoints)
        check(!url.isValid() || url.toString().endsWith(QLatin1Char('/')));
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
    const QJsonObject root = QJsonDocument::fromJson(answer).object();
    const QJsonObject access = root.value(QLatin1String(version == 2 ? "access" : "token")).toObject();
    const QJsonObject issued = access.value(QStringLiteral("token")).toObject();
    check(version == 3 || token == issued.value(QStringLiteral("id")).toString().toUtf8());
    checkCatalogue(endpoints,
                   access.value(QLatin1String(version == 2 ? "serviceCatalog" : "catalog")).toArray());
    check(!expires.isValid() || expires.timeSpec() == Qt::UTC);
}

void fuzzErrorPage(bool json, const QByteArray& body)
{
    const QMap<QByteArray, QByteArray> headers{
        {"content-type", json ? QByteArrayLiteral("application/json") : QByteArrayLiteral("text/html")}};
    const QMap<QString, QString> map = CloudOpenStackPrivate::parceError(body, headers);
    if (json) {
        check(map.isEmpty() ||
              (map.size() == 2 && map.contains(QStringLiteral("h1")) && map.contains(QStringLiteral("p"))));
        check(map.isEmpty() || isJsonObject(body) || QJsonDocument::fromJson(body).isArray());
    }
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        check(!it.key().isEmpty());
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
        // A tag keeps the text up to a NUL character, which no service sends.
        const QByteArray hash = entry.value(QStringLiteral("hash")).toString().toUtf8();
        if (!record.isFolder())
            check(record.eTag() == hash.left(hash.indexOf('\0') < 0 ? hash.size() : hash.indexOf('\0')));
        check(!record.lastModified().isValid() || record.lastModified().timeSpec() == Qt::UTC);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    NorvikDebug::setThreshold(NorvikDebug::Level::Off);
    return 0;
}

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
