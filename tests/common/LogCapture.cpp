#include "LogCapture.h"

#include "LogArchive.h"
#include "TestSupport.h"

#include <QMutexLocker>

namespace NorvikTest {

LogCapture::LogCapture()
    : m_previousThreshold(NorvikDebug::threshold())
{
    NorvikDebug::setSink([this](NorvikDebug::Level level, const QString& category, const QString& message) {
        LogArchive::write(level, category, message);
        QMutexLocker lock(&m_mutex);
        m_lines.append(NorvikDebug::levelName(level) + QLatin1Char(' ') + message);
    });
    NorvikDebug::setThreshold(NorvikDebug::Level::Debug);
}

LogCapture::~LogCapture()
{
    NorvikDebug::setThreshold(m_previousThreshold);
    NorvikDebug::setSink(LogArchive::sink());
}

QStringList LogCapture::lines() const
{
    QMutexLocker lock(&m_mutex);
    return m_lines;
}

int LogCapture::count(const QStringList& texts) const
{
    int found = 0;
    for (const QString& line : lines()) {
        bool all = true;
        for (const QString& text : texts)
            all = all && line.contains(text);
        found += all ? 1 : 0;
    }
    return found;
}

bool LogCapture::waitFor(const QStringList& texts, int atLeast, int timeoutMs) const
{
    return NorvikTest::waitFor([&] { return count(texts) >= atLeast; }, timeoutMs);
}

} // namespace NorvikTest
