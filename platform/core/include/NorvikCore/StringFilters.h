#pragma once

#include <QString>

namespace Norvik::Utility {

class StringFilters
{
public:
    // Escapes backslashes and double quotes, so that the text can stand between double
    // quotes in a server command (FTP "MKD", SFTP "mkdir").
    static QString escape(const QString& text);
    // Replaces the characters that are not allowed in a file name on common systems.
    static QString safeFileName(const QString& text, QChar replacement = QLatin1Char('_'));
};

} // namespace Norvik::Utility
