#pragma once

#include <QByteArray>
#include <QChar>
#include <QList>
#include <QSet>

#include <cstdio>
#include <cstdlib>

// A property that does not hold ends the run, naming its place.
#define check(condition)                                                                                     \
    ((condition)                                                                                             \
         ? void()                                                                                            \
         : (std::fprintf(stderr, "%s:%d: property does not hold\n", __FILE__, __LINE__), std::abort()))

// Whether some object of the JSON text (well formed or not) may name a member twice. Qt 5.15's
// JSON reader leaks the earlier value of such a member when it is an array or an object, inside
// QJsonDocument::fromJson, whoever calls it; those texts are not given to the JSON readers here,
// so that a leak of the parsers' own stays visible. Errs on the side of "yes": a member name
// with an escape in it counts as a repeat.
inline bool hasDuplicateMember(const QByteArray& text)
{
    QList<QSet<QByteArray>> objects; // the member names of each open object or array
    QList<bool> isObject;
    for (int i = 0; i < text.size(); ++i) {
        const char c = text.at(i);
        if (c == '{' || c == '[') {
            objects.append(QSet<QByteArray>());
            isObject.append(c == '{');
        } else if ((c == '}' || c == ']') && !objects.isEmpty()) {
            objects.removeLast();
            isObject.removeLast();
        } else if (c == '"') {
            const int begin = ++i;
            bool escaped = false;
            for (; i < text.size() && text.at(i) != '"'; ++i) {
                if (text.at(i) == '\\')
                    escaped = ++i > 0;
            }
            const QByteArray name = text.mid(begin, i - begin);
            // A member name is a string in an object with a colon after it.
            int next = i + 1;
            while (next < text.size() && QChar::isSpace(uchar(text.at(next))))
                ++next;
            if (next < text.size() && text.at(next) == ':' && !isObject.isEmpty() && isObject.last()) {
                if (escaped || objects.last().contains(name))
                    return true;
                objects.last().insert(name);
            }
        }
    }
    return false;
}
