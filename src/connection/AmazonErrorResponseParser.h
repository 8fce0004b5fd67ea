#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

namespace Norvik::Cloud::Error::Amazon {

// The error document of the S3 protocol: the children of the root element "Error". An answer
// that is not such a document leaves every field empty.
class AmazonErrorResponseParser
{
public:
    explicit AmazonErrorResponseParser(const QByteArray& body);

    bool isValid() const { return m_valid; }
    const QString& code() const { return m_code; }
    const QString& message() const { return m_message; }
    const QString& resource() const { return m_resource; }
    const QString& requestId() const { return m_requestId; }
    // Every further element by its name, such as "RequestTime" or "Region".
    const QMap<QString, QString>& other() const { return m_other; }

private:
    bool m_valid = false;
    QString m_code;
    QString m_message;
    QString m_resource;
    QString m_requestId;
    QMap<QString, QString> m_other;
};

} // namespace Norvik::Cloud::Error::Amazon
