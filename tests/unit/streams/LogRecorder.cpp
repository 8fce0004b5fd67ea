#include "LogRecorder.h"

#include <QMutexLocker>

#include <algorithm>

LogRecorder::LogRecorder(NorvikDebug::Level threshold)
    : m_previousThreshold(NorvikDebug::threshold())
{
    NorvikDebug::setSink([this](NorvikDebug::Level level, const QString&, const QString& message) {
        QMutexLocker lock(&m_mutex);
        m_lines.append({level, message});
    });
    NorvikDebug::setThreshold(threshold);
}

LogRecorder::~LogRecorder()
{
    NorvikDebug::setSink({});
    NorvikDebug::setThreshold(m_previousThreshold);
}

QStringList LogRecorder::lines() const
{
    QMutexLocker lock(&m_mutex);
    QStringList texts;
    for (const Line& line : m_lines)
        texts.append(line.text);
    return texts;
}

bool LogRecorder::contains(NorvikDebug::Level level, const QStringList& texts) const
{
    QMutexLocker lock(&m_mutex);
    for (const Line& line : m_lines) {
        if (line.level != level)
            continue;
        if (std::all_of(texts.begin(), texts.end(),
                        [&](const QString& text) { return line.text.contains(text); }))
            return true;
    }
    return false;
}
