#include "connection/BackBlazeCloudError.h"

#include "connection/BackBlazeResponseParser.h"

namespace Norvik::Cloud::Error::BackBlaze {

FileNotPresent::FileNotPresent()
    : CloudErrorBase(TypeNumber)
{
}

FileNotPresent::~FileNotPresent() = default;

QSharedPointer<FileNotPresent> FileNotPresent::fromResponse(const QByteArray& body)
{
    const ResponseParser parser(body);
    if (!parser.isValid() || parser.code() != QLatin1String("file_not_present"))
        return {};
    auto error = QSharedPointer<FileNotPresent>::create();
    error->setMessage(parser.message());
    error->setRawBody(QString::fromUtf8(body));
    return error;
}

bool FileNotPresent::fromByteArray(const QByteArray& data)
{
    return CloudErrorBase::fromByteArray(data) && type() == TypeNumber;
}

PathContainsIllegalSymbols::PathContainsIllegalSymbols() = default;

PathContainsIllegalSymbols::~PathContainsIllegalSymbols() = default;

QSharedPointer<PathContainsIllegalSymbols> PathContainsIllegalSymbols::fromResponse(const QByteArray& body)
{
    const ResponseParser parser(body);
    if (!parser.isValid() || parser.code() != QLatin1String("bad_request"))
        return {};
    const QString& message = parser.message();
    if (!message.contains(
            QLatin1String("File names must not contain unicode characters with codes less than")) &&
        !message.contains(QLatin1String("File names must not contain DELETE")))
        return {};
    auto error = QSharedPointer<PathContainsIllegalSymbols>::create();
    error->setMessage(message);
    error->setRawBody(QString::fromUtf8(body));
    return error;
}

} // namespace Norvik::Cloud::Error::BackBlaze
