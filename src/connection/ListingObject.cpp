#include "connection/ListingObject.h"

#include <QJsonValue>
#include <QVariant>

namespace Norvik::Cloud::Api {

namespace {

const QString NameKey = QStringLiteral("Name");
const QString LastModifiedKey = QStringLiteral("TagLastModified");
const QString SizeKey = QStringLiteral("Size");
const QString EtagKey = QStringLiteral("Etag");
const QString FileIdKey = QStringLiteral("fileId");
const QString IsFolderKey = QStringLiteral("isFolder");

} // namespace

ListingObject::ListingObject(const QJsonObject& object)
    : m_object(object)
{
}

ListingObject::ListingObject(const QString& name, const QDateTime& lastModified, quint64 size,
                             const QByteArray& fileId, const QByteArray& eTag, bool isFolder)
{
    setName(name);
    setSize(size);
    setIsFolder(isFolder);
    if (!lastModified.isNull())
        setLastModified(lastModified);
    if (!fileId.isEmpty())
        setFileId(fileId);
    if (!eTag.isEmpty())
        setEtag(eTag);
}

ListingObject::~ListingObject() = default;

QString ListingObject::name() const
{
    return m_object.value(NameKey).toString();
}

void ListingObject::setName(const QString& name)
{
    m_object.insert(NameKey, name);
}

QDateTime ListingObject::lastModified() const
{
    return m_object.value(LastModifiedKey).toVariant().toDateTime();
}

void ListingObject::setLastModified(const QDateTime& lastModified)
{
    m_object.insert(LastModifiedKey, QJsonValue::fromVariant(lastModified));
}

quint64 ListingObject::size() const
{
    return m_object.value(SizeKey).toVariant().value<quint64>();
}

void ListingObject::setSize(quint64 size)
{
    m_object.insert(SizeKey, QJsonValue::fromVariant(size));
}

QByteArray ListingObject::eTag() const
{
    return m_object.value(EtagKey).toString().toUtf8();
}

void ListingObject::setEtag(const QByteArray& eTag)
{
    m_object.insert(EtagKey, QString::fromUtf8(eTag));
}

QByteArray ListingObject::fileId() const
{
    return m_object.value(FileIdKey).toString().toUtf8();
}

void ListingObject::setFileId(const QByteArray& fileId)
{
    m_object.insert(FileIdKey, QString::fromUtf8(fileId));
}

bool ListingObject::isFolder() const
{
    return m_object.value(IsFolderKey).toBool(false);
}

void ListingObject::setIsFolder(bool isFolder)
{
    m_object.insert(IsFolderKey, isFolder);
}

} // namespace Norvik::Cloud::Api
