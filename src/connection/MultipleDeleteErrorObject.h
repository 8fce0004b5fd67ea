#pragma once

#include <QJsonObject>
#include <QString>

namespace Norvik::Cloud::Api {

// One object that a multiple delete could not remove.
class MultipleDeleteErrorObject
{
public:
    enum Code
    {
        AccessDenied = 0,
        InternalError = 1,
        Other = 2,
    };

    MultipleDeleteErrorObject() = default;
    MultipleDeleteErrorObject(const QString& name, const QString& message, Code code);
    explicit MultipleDeleteErrorObject(const QJsonObject& object);
    MultipleDeleteErrorObject(const MultipleDeleteErrorObject&) = default;
    MultipleDeleteErrorObject& operator=(const MultipleDeleteErrorObject&) = default;
    virtual ~MultipleDeleteErrorObject();

    QString name() const;
    void setName(const QString& name);
    QString message() const;
    void setMessage(const QString& message);
    // Other when the key is absent or holds a number outside the enumeration.
    Code code() const;
    void setCode(Code code);

    const QJsonObject& json() const { return m_object; }

protected:
    QJsonObject m_object;
};

} // namespace Norvik::Cloud::Api
