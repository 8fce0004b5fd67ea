#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>

#include <atomic>

namespace NorvikTool {

// A one-line progress bar with rate on stderr, fed by the library's progress reports. It
// draws only when stderr is a terminal, so that logs and pipes stay clean.
class ProgressBar : public QObject
{
    Q_OBJECT
public:
    ProgressBar();
    ~ProgressBar() override;

    void start(const QString& label, qint64 total);
    void finish();
    qint64 bytes() const { return m_bytes.load(); }

private:
    void draw(bool final);

    QString m_label;
    qint64 m_total = 0;
    std::atomic<qint64> m_bytes{0};
    QElapsedTimer m_elapsed;
    QTimer m_timer;
    bool m_enabled;
};

} // namespace NorvikTool
