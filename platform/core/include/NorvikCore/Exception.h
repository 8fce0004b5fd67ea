#pragma once

#include <QByteArray>
#include <QString>

#include <exception>

namespace Norvik::Exception {

// Root of every exception the Norvik libraries throw. The message is user-facing text.
class Base : public std::exception
{
public:
    explicit Base(const QString& message = QString());
    Base(const Base&) = default;
    Base& operator=(const Base&) = default;
    ~Base() override;

    const QString& message() const { return m_message; }
    const char* what() const noexcept override;

private:
    QString m_message;
    QByteArray m_what;
};

} // namespace Norvik::Exception
