#include "connection/MultipartListPartObject.h"

#include <QJsonValue>
#include <QString>

namespace Norvik::Cloud::Api {

namespace {

const QString PartNumberKey = QStringLiteral("PartNumber");
const QString SizeKey = QStringLiteral("Size");
const QString EtagKey = QStringLiteral("ETag");

} // namespace

MultipartListPartObject::MultipartListPartObject(const QJsonObject& object)
    : m_object(object)
{
}

MultipartListPartObject::~MultipartListPartObject() = default;

quint64 MultipartListPartObject::partNumber() const
{
    return m_object.value(PartNumberKey).toString().toULongLong();
}

void MultipartListPartObject::setPartNumber(quint64 partNumber)
{
    m_object.insert(PartNumberKey, QString::number(partNumber));
}

quint64 MultipartListPartObject::size() const
{
    return m_object.value(SizeKey).toString().toULongLong();
}

void MultipartListPartObject::setSize(quint64 size)
{
    m_object.insert(SizeKey, QString::number(size));
}

QByteArray MultipartListPartObject::eTag() const
{
    return m_object.value(EtagKey).toString().toUtf8();
}

void MultipartListPartObject::setEtag(const QByteArray& eTag)
{
    m_object.insert(EtagKey, QString::fromUtf8(eTag));
}

} // namespace Norvik::Cloud::Api
