#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QString>

namespace Norvik::Cloud::Api {

// One entry of a listing: a typed view on the JSON object that travels in the result
// document. Each connection derives a small class that fills it from its service's answer.
class ListingObject
{
public:
    ListingObject() = default;
    explicit ListingObject(const QJsonObject& object);
    // Name, size and folder flag are always set; the date and the two byte strings only when
    // they are not null or empty, so that their keys stay absent.
    ListingObject(const QString& name, const QDateTime& lastModified, quint64 size, const QByteArray& fileId,
                  const QByteArray& eTag, bool isFolder);
    ListingObject(const ListingObject&) = default;
    ListingObject& operator=(const ListingObject&) = default;
    virtual ~ListingObject();

    QString name() const;
    void setName(const QString& name);
    QDateTime lastModified() const;
    void setLastModified(const QDateTime& lastModified);
    quint64 size() const;
    void setSize(quint64 size);
    QByteArray eTag() const;
    void setEtag(const QByteArray& eTag);
    QByteArray fileId() const;
    void setFileId(const QByteArray& fileId);
    // False when the key is absent.
    bool isFolder() const;
    void setIsFolder(bool isFolder);

    const QJsonObject& json() const { return m_object; }

protected:
    QJsonObject m_object;
};

} // namespace Norvik::Cloud::Api
