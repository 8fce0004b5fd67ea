#include "connection/CloudError.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QJsonValue>

#include <cmath>
#include <limits>

namespace Norvik::Cloud::Error {

namespace {

const QString TypeKey = QStringLiteral("type");
const QString MessageKey = QStringLiteral("message");
const QString RawBodyKey = QStringLiteral("raw_body");

// JSON has only doubles; a type number must be a whole number that fits an int.
bool readTypeNumber(const QJsonValue& value, int& type)
{
    if (!value.isDouble())
        return false;
    const double number = value.toDouble();
    if (!std::isfinite(number) || std::trunc(number) != number || number < std::numeric_limits<int>::min() ||
        number > std::numeric_limits<int>::max())
        return false;
    type = static_cast<int>(number);
    return true;
}

} // namespace

QJsonObject CloudErrorToByteArray::operator()(const CloudErrorBase& error) const
{
    QJsonObject object;
    object.insert(TypeKey, error.type());
    if (!error.message().isEmpty())
        object.insert(MessageKey, error.message());
    if (!error.rawBody().isEmpty())
        object.insert(RawBodyKey, error.rawBody());
    return object;
}

QByteArray CloudErrorToByteArray::encode(const QByteArray& json)
{
    return json.toBase64();
}

bool CloudErrorFromByteArray::operator()(CloudErrorBase& error, const QByteArray& data)
{
    m_object = QJsonObject();
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(decode(data), &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject())
        return false;
    m_object = document.object();

    int type = 0;
    if (!m_object.contains(TypeKey) || !readTypeNumber(m_object.value(TypeKey), type))
        return false;
    error.m_type = type;
    return CloudErrorBase::readString(m_object, MessageKey, error.m_message, false) &&
           CloudErrorBase::readString(m_object, RawBodyKey, error.m_rawBody, false);
}

QByteArray CloudErrorFromByteArray::decode(QByteArray data)
{
    // Strict: a text that is not Base64 is refused instead of being read as something else.
    const QByteArray::FromBase64Result result =
        QByteArray::fromBase64Encoding(data.trimmed(), QByteArray::AbortOnBase64DecodingErrors);
    return result ? result.decoded : QByteArray();
}

CloudErrorBase::CloudErrorBase(int type)
    : m_type(type)
{
}

CloudErrorBase::~CloudErrorBase() = default;

bool CloudErrorBase::fromByteArray(const QByteArray& data)
{
    return fromByteArrayCustom(data);
}

QByteArray CloudErrorBase::toByteArray() const
{
    return toByteArrayCustom();
}

QByteArray CloudErrorBase::toByteArrayCustom() const
{
    return ToByteArray(*this)();
}

bool CloudErrorBase::fromByteArrayCustom(const QByteArray& data)
{
    return FromByteArray(*this, 0)(data);
}

bool CloudErrorBase::readString(const QJsonObject& object, const QString& key, QString& target, bool required)
{
    const auto it = object.constFind(key);
    if (it == object.constEnd())
        return !required;
    if (!it->isString())
        return false;
    target = it->toString();
    return true;
}

CloudErrorBase::ToByteArray::ToByteArray(const CloudErrorBase& error)
    : m_error(error)
{
}

CloudErrorBase::ToByteArray::~ToByteArray() = default;

QByteArray CloudErrorBase::ToByteArray::operator()() const
{
    QJsonObject object = CloudErrorToByteArray()(m_error);
    extend(object);
    return CloudErrorToByteArray::encode(QJsonDocument(object).toJson());
}

void CloudErrorBase::ToByteArray::extend(QJsonObject&) const {}

CloudErrorBase::FromByteArray::FromByteArray(CloudErrorBase& error, int expectedType)
    : m_error(error)
    , m_expectedType(expectedType)
{
}

CloudErrorBase::FromByteArray::~FromByteArray() = default;

bool CloudErrorBase::FromByteArray::operator()(const QByteArray& data)
{
    CloudErrorFromByteArray reader;
    if (!reader(m_error, data))
        return false;
    if (m_expectedType != 0 && m_error.type() != m_expectedType)
        return false;
    return read(reader.object());
}

bool CloudErrorBase::FromByteArray::read(const QJsonObject&)
{
    return true;
}

PathContainsIllegalSymbols::PathContainsIllegalSymbols()
    : CloudErrorBase(TypeNumber)
{
}

PathContainsIllegalSymbols::~PathContainsIllegalSymbols() = default;

bool PathContainsIllegalSymbols::fromByteArray(const QByteArray& data)
{
    return CloudErrorBase::fromByteArray(data) && type() == TypeNumber;
}

} // namespace Norvik::Cloud::Error
