#pragma once

#include <QByteArray>
#include <QChar>
#include <QList>
#include <QSet>
#include <QString>

// Whether some object of the JSON text (well formed or not) names a member twice. Qt 5.15's
// JSON reader leaks the earlier value of such a member when it is an array or an object, inside
// QJsonDocument::fromJson, whoever calls it; those texts are not given to the JSON readers here,
// so that a leak of the parsers' own stays visible. Errs on the side of "yes".
inline bool hasDuplicateMember(const QByteArray& text)
{
    QList<QSet<QString>> objects; // the member names of each open object; arrays hold none
    QList<bool> isObject;
    for (int i = 0; i < text.size(); ++i) {
        const char c = text.at(i);
        if (c == '{' || c == '[') {
            objects.append(QSet<QString>());
            isObject.append(c == '{');
        } else if ((c == '}' || c == ']') && !objects.isEmpty()) {
            objects.removeLast();
            isObject.removeLast();
        } else if (c == '"') {
            // A string, its escapes decoded as the reader decodes them.
            QString value;
            int begin = ++i;
            for (; i < text.size() && text.at(i) != '"'; ++i) {
                if (text.at(i) != '\\')
                    continue;
                value += QString::fromUtf8(text.mid(begin, i - begin));
                if (++i >= text.size())
                    break;
                const char escaped = text.at(i);
                if (escaped == 'u' && i + 4 < text.size()) {
                    value += QChar(text.mid(i + 1, 4).toUShort(nullptr, 16));
                    i += 4;
                } else {
                    value += QLatin1Char(escaped);
                }
                begin = i + 1;
            }
            value += QString::fromUtf8(text.mid(begin, i - begin));
            // A member name is a string in an object with a colon after it.
            int next = i + 1;
            while (next < text.size() && QChar::isSpace(uchar(text.at(next))))
                ++next;
            if (next < text.size() && text.at(next) == ':' && !isObject.isEmpty() && isObject.last()) {
                if (objects.last().contains(value))
                    return true;
                objects.last().insert(value);
            }
        }
    }
    return false;
}
