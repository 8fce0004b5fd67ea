#pragma once

#include <QByteArray>
#include <QString>

namespace Norvik::Cloud::Error::BackBlaze {

// The JSON error body of the B2 interface: {"status": 400, "code": "...", "message": "..."}.
class ResponseParser
{
public:
    explicit ResponseParser(const QByteArray& body);

    // Whether the body was a JSON object.
    bool isValid() const { return m_valid; }
    int status() const { return m_status; }
    const QString& code() const { return m_code; }
    const QString& message() const { return m_message; }

private:
    bool m_valid = false;
    int m_status = 0;
    QString m_code;
    QString m_message;
};

} // namespace Norvik::Cloud::Error::BackBlaze
