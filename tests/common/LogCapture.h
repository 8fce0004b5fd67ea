#pragma once

#include <NorvikCore/NorvikDebug.h>

#include <QMutex>
#include <QStringList>

namespace NorvikTest {

// Collects every log line, debug level included, while it exists.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    QStringList lines() const;
    // Lines that contain every one of the given texts.
    int count(const QStringList& texts) const;
    bool waitFor(const QStringList& texts, int atLeast = 1, int timeoutMs = 5000) const;

private:
    mutable QMutex m_mutex;
    QStringList m_lines;
    NorvikDebug::Level m_previousThreshold;
};

} // namespace NorvikTest
