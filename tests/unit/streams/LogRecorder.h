#pragma once

#include <NorvikCore/NorvikDebug.h>

#include <QMutex>
#include <QStringList>

// Collects the log lines written while it exists, at the given level and above, and puts the
// previous threshold and the default sink back when it goes.
class LogRecorder
{
public:
    explicit LogRecorder(NorvikDebug::Level threshold = NorvikDebug::Level::Debug);
    ~LogRecorder();
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    QStringList lines() const;
    // Whether a line of this level contains every one of the texts.
    bool contains(NorvikDebug::Level level, const QStringList& texts) const;

private:
    struct Line
    {
        NorvikDebug::Level level;
        QString text;
    };

    mutable QMutex m_mutex;
    QList<Line> m_lines;
    NorvikDebug::Level m_previousThreshold;
};
