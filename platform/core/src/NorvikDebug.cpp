#include "NorvikCore/NorvikDebug.h"

#include <QDateTime>
#include <QMutex>
#include <QMutexLocker>

#include <atomic>
#include <cstdio>
#include <unistd.h>
#include <sys/syscall.h>

namespace {

std::atomic<int> g_threshold{static_cast<int>(NorvikDebug::Level::Warning)};

QMutex& sinkMutex()
{
    static QMutex mutex;
    return mutex;
}

NorvikDebug::Sink& customSink()
{
    static NorvikDebug::Sink sink;
    return sink;
}

void writeToStderr(NorvikDebug::Level level, const QString& category, const QString& message)
{
    const QByteArray line = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toUtf8() + " [" +
                            category.toUtf8() + "] " + NorvikDebug::levelName(level).toUtf8() + " " +
                            QByteArray::number(static_cast<qlonglong>(::syscall(SYS_gettid))) + " " +
                            message.toUtf8() + "\n";
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
}

} // namespace

NorvikDebug::NorvikDebug(const char* category)
    : m_category(category)
{
}

void NorvikDebug::setThreshold(Level level)
{
    g_threshold.store(static_cast<int>(level), std::memory_order_relaxed);
}

NorvikDebug::Level NorvikDebug::threshold()
{
    return static_cast<Level>(g_threshold.load(std::memory_order_relaxed));
}

bool NorvikDebug::isEnabled(Level level)
{
    return level != Level::Off && static_cast<int>(level) >= g_threshold.load(std::memory_order_relaxed);
}

void NorvikDebug::setSink(Sink sink)
{
    QMutexLocker lock(&sinkMutex());
    customSink() = std::move(sink);
}

QString NorvikDebug::levelName(Level level)
{
    switch (level) {
    case Level::Debug:
        return QStringLiteral("DEBUG");
    case Level::Info:
        return QStringLiteral("INFO");
    case Level::InfoHigh:
        return QStringLiteral("INFO+");
    case Level::Warning:
        return QStringLiteral("WARNING");
    case Level::Error:
        return QStringLiteral("ERROR");
    case Level::Off:
        break;
    }
    return QStringLiteral("OFF");
}

NorvikDebug::Line::Line(Level level, const char* category)
    : m_level(level)
    , m_category(category)
{
    if (isEnabled(level)) {
        m_stream = std::make_unique<QDebug>(&m_text);
        m_stream->noquote();
    }
}

NorvikDebug::Line::Line(Line&& other) noexcept
    : m_level(other.m_level)
    , m_category(other.m_category)
{
    // QDebug keeps a pointer to the text it writes to, so the moved-to line writes anew.
    if (other.m_stream) {
        other.m_stream.reset();
        m_text = std::move(other.m_text);
        m_stream = std::make_unique<QDebug>(&m_text);
        m_stream->noquote();
    }
}

NorvikDebug::Line::~Line()
{
    if (!m_stream)
        return;
    m_stream.reset(); // flushes into m_text
    if (m_text.endsWith(QLatin1Char(' ')))
        m_text.chop(1); // QDebug separates every item, the last one too
    const QString category = QString::fromLatin1(m_category ? m_category : "NKC");
    Sink sink;
    {
        QMutexLocker lock(&sinkMutex());
        sink = customSink();
    }
    if (sink)
        sink(m_level, category, m_text);
    else
        writeToStderr(m_level, category, m_text);
}

NorvikFullDebug::NorvikFullDebug(const char* signature, const char* category)
    : m_signature(signature)
    , m_category(category)
    , m_enabled(NorvikDebug::isEnabled(NorvikDebug::Level::Debug))
{
    if (m_enabled) {
        m_timer.start();
        NorvikDebug(m_category).debug() << "enter:" << m_signature;
    }
}

NorvikFullDebug::~NorvikFullDebug()
{
    if (m_enabled)
        NorvikDebug(m_category).debug() << "leave:" << m_signature << "ms:" << m_timer.elapsed();
}
