#pragma once

#include <QByteArray>
#include <QJsonObject>

namespace Norvik::Cloud::Api {

// One part of an unfinished multipart upload. Numbers are stored as decimal strings, unlike
// ListingObject, so that 64-bit values survive JSON's doubles.
class MultipartListPartObject
{
public:
    MultipartListPartObject() = default;
    explicit MultipartListPartObject(const QJsonObject& object);
    MultipartListPartObject(const MultipartListPartObject&) = default;
    MultipartListPartObject& operator=(const MultipartListPartObject&) = default;
    virtual ~MultipartListPartObject();

    // 0 when the key is absent or not a decimal number.
    quint64 partNumber() const;
    void setPartNumber(quint64 partNumber);
    quint64 size() const;
    void setSize(quint64 size);
    QByteArray eTag() const;
    void setEtag(const QByteArray& eTag);

    const QJsonObject& json() const { return m_object; }

protected:
    QJsonObject m_object;
};

} // namespace Norvik::Cloud::Api
