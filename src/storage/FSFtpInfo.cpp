#include "storage/FSFtpInfo.h"

#include <QLocale>
#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace Norvik::Cloud::Api {

namespace {

// Skips leading blanks and cuts the text up to the next blank off the front of rest.
QString cutChunkTrimmed(QString& rest)
{
    int start = 0;
    while (start < rest.size() && rest.at(start).isSpace())
        ++start;
    int end = start;
    while (end < rest.size() && !rest.at(end).isSpace())
        ++end;
    const QString chunk = rest.mid(start, end - start).trimmed();
    rest.remove(0, end);
    return chunk;
}

} // namespace

FSFtpInfo::FSFtpInfo(const QString& parentPath, const QString& line)
    : m_path(parentPath)
{
    // Only the line break goes: blanks at either end of the last field belong to the name.
    QString text = line;
    while (text.endsWith(QLatin1Char('\n')) || text.endsWith(QLatin1Char('\r')))
        text.chop(1);
    m_valid = parse(text);
    if (!m_path.endsWith(QLatin1Char('/')))
        m_path.append(QLatin1Char('/'));
    if (!m_valid) {
        m_path.clear();
        return;
    }
    m_path.append(m_name);
    if (m_folder)
        m_path.append(QLatin1Char('/'));
}

bool FSFtpInfo::parse(const QString& line)
{
    if (line.isEmpty())
        return false;
    QString rest = line;
    if (!parsePerm(cutChunkTrimmed(rest)))
        return false;
    cutChunkTrimmed(rest); // link count
    m_owner = cutChunkTrimmed(rest);
    m_group = cutChunkTrimmed(rest);
    if (!parseSize(cutChunkTrimmed(rest)))
        return false;
    QStringList date;
    for (int i = 0; i < 3; ++i)
        date << cutChunkTrimmed(rest);
    parseModDate(date.join(QLatin1Char(' ')));
    // One blank separates the date from the name; any further blank is the name's own, so that
    // an object named with blanks at its ends is listed under the name it was stored with.
    if (rest.startsWith(QLatin1Char(' ')))
        rest.remove(0, 1);
    m_name = rest;
    return !m_name.isEmpty() && m_name != QLatin1String(".") && m_name != QLatin1String("..");
}

bool FSFtpInfo::parsePerm(const QString& text)
{
    if (text.size() != 10)
        return false;
    if (text.at(0) == QLatin1Char('d'))
        m_folder = true;
    else if (text.at(0) == QLatin1Char('l'))
        m_link = true;
    static const QFile::Permission write[] = {QFile::WriteOwner, QFile::WriteGroup, QFile::WriteOther};
    static const QFile::Permission read[] = {QFile::ReadOwner, QFile::ReadGroup, QFile::ReadOther};
    static const QFile::Permission execute[] = {QFile::ExeOwner, QFile::ExeGroup, QFile::ExeOther};
    for (int i = 1; i < 10; ++i) {
        const int group = (i - 1) / 3;
        const QChar c = text.at(i);
        if (c == QLatin1Char('w'))
            m_permissions |= write[group];
        else if (c == QLatin1Char('r'))
            m_permissions |= read[group];
        else
            m_permissions |= execute[group];
    }
    return true;
}

bool FSFtpInfo::parseSize(const QString& text)
{
    QString number = text.trimmed();
    double multiplier = 1;
    if (!number.isEmpty()) {
        switch (number.back().toLower().toLatin1()) {
        case 'k':
            multiplier = 1e3;
            break;
        case 'm':
            multiplier = 1e6;
            break;
        case 'g':
            multiplier = 1e9;
            break;
        case 't':
            multiplier = 1e12;
            break;
        default:
            break;
        }
    }
    if (multiplier != 1) {
        static const QRegularExpression suffix(QStringLiteral("[kKmMgGtT]"));
        number.remove(suffix);
    }
    number.replace(QLatin1Char(','), QLatin1Char('.'));
    // Whole numbers are read exactly: a double loses bytes above 2^53.
    bool ok = false;
    if (multiplier == 1) {
        const qulonglong exact = number.toULongLong(&ok);
        if (ok) {
            m_size = exact;
            return true;
        }
    }
    const double value = number.toDouble(&ok) * multiplier;
    // Negative, not-a-number and out-of-range sizes are no sizes.
    if (!ok || !(value >= 0) || value >= 18446744073709551616.0)
        return false;
    m_size = static_cast<quint64>(value);
    return true;
}

bool FSFtpInfo::parseModDate(const QString& text)
{
    const QLocale c = QLocale::c();
    QDateTime date;
    if (text.contains(QLatin1Char(':'))) {
        const QString withYear = QStringLiteral("%1 %2").arg(text).arg(QDate::currentDate().year());
        date = c.toDateTime(withYear, QStringLiteral("MMM d hh:mm yyyy"));
    } else {
        date = c.toDateTime(text, QStringLiteral("MMM d yyyy"));
    }
    date.setTimeSpec(Qt::UTC);
    m_lastModified = date;
    return date.isValid();
}

} // namespace Norvik::Cloud::Api
