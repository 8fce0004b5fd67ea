#include "NorvikCore/StringFilters.h"

namespace Norvik::Utility {

QString StringFilters::escape(const QString& text)
{
    QString result;
    result.reserve(text.size() + 8);
    for (const QChar c : text) {
        if (c == QLatin1Char('\\') || c == QLatin1Char('"'))
            result.append(QLatin1Char('\\'));
        result.append(c);
    }
    return result;
}

QString StringFilters::safeFileName(const QString& text, QChar replacement)
{
    QString result = text;
    for (QChar& c : result)
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c == QLatin1Char(':') || c == QLatin1Char('*') ||
            c == QLatin1Char('?') || c == QLatin1Char('"') || c == QLatin1Char('<') || c == QLatin1Char('>') ||
            c == QLatin1Char('|') || c.unicode() < 0x20)
            c = replacement;
    return result;
}

} // namespace Norvik::Utility
