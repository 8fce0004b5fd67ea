#pragma once

#include "connection/CloudError.h"

#include <QDateTime>
#include <QSharedPointer>

namespace Norvik::Cloud::Error::Amazon {

// The service refused the request because the local clock is off. Both times are kept so that
// the user can be told by how much.
class RequestTimeTooSkewed : public CloudErrorBase
{
public:
    static constexpr int TypeNumber = 10001;

    RequestTimeTooSkewed();
    ~RequestTimeTooSkewed() override;

    // Null unless the body is an S3 error document with the code "RequestTimeTooSkewed".
    static QSharedPointer<RequestTimeTooSkewed> fromResponse(const QByteArray& body);

    const QDateTime& requestTime() const { return m_requestTime; }
    const QDateTime& serverTime() const { return m_serverTime; }
    void setRequestTime(const QDateTime& time) { m_requestTime = time; }
    void setServerTime(const QDateTime& time) { m_serverTime = time; }
    // Seconds by which the request time lies after the server time; 0 unless both are known.
    qint64 diffSecs() const;

protected:
    QByteArray toByteArrayCustom() const override;
    bool fromByteArrayCustom(const QByteArray& data) override;

private:
    class ToByteArray;
    class FromByteArray;

    QDateTime m_requestTime;
    QDateTime m_serverTime;
};

// Transfer acceleration was asked for on a bucket or account that does not have it.
class S3TransferAcceleration : public CloudErrorBase
{
public:
    static constexpr int TypeNumber = 10002;

    S3TransferAcceleration();
    ~S3TransferAcceleration() override;

    // Null unless the code is "InvalidRequest" and the message is about "S3 Transfer Acceleration".
    static QSharedPointer<S3TransferAcceleration> fromResponse(const QByteArray& body);

    bool fromByteArray(const QByteArray& data) override;
};

} // namespace Norvik::Cloud::Error::Amazon
