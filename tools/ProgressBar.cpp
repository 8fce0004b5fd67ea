#include "ProgressBar.h"

#include <NorvikNetwork/ProgressReporter.h>

#include <cstdio>
#include <unistd.h>

namespace NorvikTool {

using Norvik::Network::Utility::ProgressReporter;

namespace {

QString humanBytes(double bytes)
{
    static const char* units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    int unit = 0;
    while (bytes >= 1024 && unit < 4) {
        bytes /= 1024;
        ++unit;
    }
    return QStringLiteral("%1 %2").arg(bytes, 0, 'f', unit == 0 ? 0 : 1).arg(QLatin1String(units[unit]));
}

} // namespace

ProgressBar::ProgressBar()
    : m_enabled(::isatty(STDERR_FILENO) == 1)
{
    connect(&m_timer, &QTimer::timeout, this, [this] { draw(false); });
    // Reports come from the library's threads; the listener only adds, the timer draws.
    ProgressReporter::setListener([this](const ProgressReporter::Event& event) {
        if (event.kind == ProgressReporter::Event::Progress && !event.id.isNull())
            m_bytes.fetch_add(event.received + event.sent, std::memory_order_relaxed);
    });
}

ProgressBar::~ProgressBar()
{
    ProgressReporter::setListener({});
}

void ProgressBar::start(const QString& label, qint64 total)
{
    m_label = label;
    m_total = total;
    m_bytes.store(0);
    m_elapsed.start();
    if (m_enabled)
        m_timer.start(200);
}

void ProgressBar::finish()
{
    m_timer.stop();
    if (m_enabled)
        draw(true);
}

void ProgressBar::draw(bool final)
{
    const qint64 done = m_bytes.load();
    const double seconds = std::max<qint64>(m_elapsed.elapsed(), 1) / 1000.0;
    const QString rate = humanBytes(done / seconds) + QStringLiteral("/s");
    QString line;
    if (m_total > 0) {
        const double fraction = std::min(1.0, double(done) / double(m_total));
        const int width = 30;
        const int filled = int(fraction * width);
        line = QStringLiteral("\r%1 [%2%3] %4% %5 of %6, %7")
                   .arg(m_label.left(40), QString(filled, QLatin1Char('#')), QString(width - filled, QLatin1Char(' ')))
                   .arg(int(fraction * 100), 3)
                   .arg(humanBytes(done), humanBytes(m_total), rate);
    } else {
        line = QStringLiteral("\r%1 %2, %3").arg(m_label.left(40), humanBytes(done), rate);
    }
    std::fputs(line.toLocal8Bit().constData(), stderr);
    std::fputs(final ? "\n" : "\x1b[K", stderr);
    std::fflush(stderr);
}

} // namespace NorvikTool
