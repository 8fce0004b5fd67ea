#include "backblaze/BackBlazeRecords.h"

#include "connection/Exception.h"
#include "connection/JsonCount.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QRegularExpression>

namespace Norvik::Cloud::Api {

BackBlazeBucket::BackBlazeBucket(const QString& container)
{
    const QStringList parts = container.split(QLatin1Char('|'), Qt::KeepEmptyParts);
    m_name = parts.value(0);
    m_id = parts.value(1);
}

BackBlazeBucket::BackBlazeBucket(const QString& name, const QString& id)
    : m_name(name)
    , m_id(id)
{
}

QString BackBlazeBucket::container() const
{
    return QStringLiteral("%1|%2").arg(m_name, m_id);
}

BackBlazeError::BackBlazeError(const QByteArray& body)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError) {
        NorvikDebug("NKC").error() << "On parce content data" << error.errorString();
        NorvikDebug("NKC").debug() << body;
        throw Exception::InvalidData(body);
    }
    const QJsonObject object = document.object();
    m_code = object.value(QStringLiteral("code")).toString();
    m_message = object.value(QStringLiteral("message")).toString();
    // "more than one upload using auth token 4_…" names the token itself, and every message ends
    // up in the log: keep only its first characters.
    static const QRegularExpression token(QStringLiteral("(auth token )(\\S{0,6})\\S*"));
    m_message.replace(token, QStringLiteral("\\1\\2***"));
}

ListingObjectBackBlaze::ListingObjectBackBlaze(const QJsonObject& file)
{
    setName(file.value(QStringLiteral("fileName")).toString());
    const QString sha1 = file.value(QStringLiteral("contentSha1")).toString();
    if (!sha1.isEmpty())
        setEtag(sha1.toUtf8());
    // Sizes beyond 2^53 do not occur: the service's files end at 10 TB.
    setSize(jsonCount(file.value(QStringLiteral("contentLength"))));
    const qint64 timestamp = static_cast<qint64>(jsonCount(file.value(QStringLiteral("uploadTimestamp"))));
    if (timestamp > 0)
        setLastModified(QDateTime::fromMSecsSinceEpoch(timestamp, Qt::UTC));
    setIsFolder(file.value(QStringLiteral("action")).toString() == QLatin1String("folder"));
    const QString fileId = file.value(QStringLiteral("fileId")).toString();
    if (!fileId.isEmpty())
        setFileId(fileId.toUtf8());
}

ListingObjectBackBlaze::ListingObjectBackBlaze(const QJsonObject& object, bool)
    : ListingObject(object)
{
}

MultipartListPartObjectBackBlaze::MultipartListPartObjectBackBlaze(const QJsonObject& part)
{
    setEtag(part.value(QStringLiteral("contentSha1")).toString().toUtf8());
    setPartNumber(jsonCount(part.value(QStringLiteral("partNumber"))));
    setSize(jsonCount(part.value(QStringLiteral("contentLength"))));
}

} // namespace Norvik::Cloud::Api
