#include "connection/AmazonCloudError.h"

#include "connection/AmazonErrorResponseParser.h"

#include <QJsonObject>

namespace Norvik::Cloud::Error::Amazon {

namespace {

const QString RequestTimeKey = QStringLiteral("RequestTime");
const QString ServerTimeKey = QStringLiteral("ServerTime");

} // namespace

class RequestTimeTooSkewed::ToByteArray : public CloudErrorBase::ToByteArray
{
public:
    explicit ToByteArray(const RequestTimeTooSkewed& error)
        : CloudErrorBase::ToByteArray(error)
        , m_error(error)
    {
    }

protected:
    // Unknown times are written as empty texts: the reader needs both keys.
    void extend(QJsonObject& object) const override
    {
        object.insert(RequestTimeKey, m_error.m_requestTime.toString(Qt::ISODate));
        object.insert(ServerTimeKey, m_error.m_serverTime.toString(Qt::ISODate));
    }

private:
    const RequestTimeTooSkewed& m_error;
};

class RequestTimeTooSkewed::FromByteArray : public CloudErrorBase::FromByteArray
{
public:
    explicit FromByteArray(RequestTimeTooSkewed& error)
        : CloudErrorBase::FromByteArray(error, TypeNumber)
        , m_error(error)
    {
    }

protected:
    bool read(const QJsonObject& object) override
    {
        QString serverTime;
        QString requestTime;
        if (!readString(object, ServerTimeKey, serverTime, true) ||
            !readString(object, RequestTimeKey, requestTime, true))
            return false;
        m_error.m_serverTime = QDateTime::fromString(serverTime, Qt::ISODate);
        m_error.m_requestTime = QDateTime::fromString(requestTime, Qt::ISODate);
        return true;
    }

private:
    RequestTimeTooSkewed& m_error;
};

RequestTimeTooSkewed::RequestTimeTooSkewed()
    : CloudErrorBase(TypeNumber)
{
}

RequestTimeTooSkewed::~RequestTimeTooSkewed() = default;

QSharedPointer<RequestTimeTooSkewed> RequestTimeTooSkewed::fromResponse(const QByteArray& body)
{
    const AmazonErrorResponseParser parser(body);
    if (parser.code() != QLatin1String("RequestTimeTooSkewed"))
        return {};
    auto error = QSharedPointer<RequestTimeTooSkewed>::create();
    error->setMessage(parser.message());
    error->setRawBody(QString::fromUtf8(body));
    const auto& other = parser.other();
    if (other.contains(RequestTimeKey) && other.contains(ServerTimeKey)) {
        // The service writes the two times in different forms.
        error->m_requestTime = QDateTime::fromString(other.value(RequestTimeKey), Qt::RFC2822Date);
        error->m_serverTime = QDateTime::fromString(other.value(ServerTimeKey), Qt::ISODate);
    }
    return error;
}

qint64 RequestTimeTooSkewed::diffSecs() const
{
    if (!m_serverTime.isValid() || !m_requestTime.isValid())
        return 0;
    return m_serverTime.secsTo(m_requestTime);
}

QByteArray RequestTimeTooSkewed::toByteArrayCustom() const
{
    return ToByteArray(*this)();
}

bool RequestTimeTooSkewed::fromByteArrayCustom(const QByteArray& data)
{
    return FromByteArray(*this)(data);
}

S3TransferAcceleration::S3TransferAcceleration()
    : CloudErrorBase(TypeNumber)
{
}

S3TransferAcceleration::~S3TransferAcceleration() = default;

QSharedPointer<S3TransferAcceleration> S3TransferAcceleration::fromResponse(const QByteArray& body)
{
    const AmazonErrorResponseParser parser(body);
    if (parser.code() != QLatin1String("InvalidRequest") ||
        !parser.message().contains(QLatin1String("S3 Transfer Acceleration"), Qt::CaseSensitive))
        return {};
    auto error = QSharedPointer<S3TransferAcceleration>::create();
    error->setMessage(parser.message());
    error->setRawBody(QString::fromUtf8(body));
    return error;
}

bool S3TransferAcceleration::fromByteArray(const QByteArray& data)
{
    return CloudErrorBase::fromByteArray(data) && type() == TypeNumber;
}

} // namespace Norvik::Cloud::Error::Amazon
