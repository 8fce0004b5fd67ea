#pragma once

#include <QDebug>
#include <QElapsedTimer>
#include <QString>

#include <functional>
#include <memory>

// Line-oriented logging shared by every Norvik library.
//
//     NorvikDebug("NKC").warning() << "path:" << path << "message:" << text;
//
// A line is assembled with the usual QDebug operators and handed to the sink when the
// builder goes out of scope. Lines below the threshold cost one comparison and nothing else.
class NorvikDebug
{
public:
    enum class Level { Debug = 0, Info = 1, InfoHigh = 2, Warning = 3, Error = 4, Off = 5 };

    // Receives each finished line. Called on the logging thread; must not log itself.
    using Sink = std::function<void(Level level, const QString& category, const QString& message)>;

    class Line
    {
    public:
        Line(Level level, const char* category);
        Line(Line&&) noexcept;
        Line& operator=(Line&&) = delete;
        Line(const Line&) = delete;
        ~Line();

        template <typename T>
        Line& operator<<(const T& value)
        {
            if (m_stream)
                *m_stream << value;
            return *this;
        }

    private:
        Level m_level;
        const char* m_category;
        QString m_text;
        std::unique_ptr<QDebug> m_stream;
    };

    explicit NorvikDebug(const char* category = "NKC");

    Line debug() const { return Line(Level::Debug, m_category); }
    Line info() const { return Line(Level::Info, m_category); }
    Line infoH() const { return Line(Level::InfoHigh, m_category); }
    Line warning() const { return Line(Level::Warning, m_category); }
    Line error() const { return Line(Level::Error, m_category); }

    // Lines below this level are dropped. The default is Warning.
    static void setThreshold(Level level);
    static Level threshold();
    static bool isEnabled(Level level);

    // Replaces the sink; an empty function restores the default, which writes to stderr.
    static void setSink(Sink sink);
    static QString levelName(Level level);

private:
    const char* m_category;
};

// Function-scope trace: logs entry and exit (with the elapsed time) of the given signature at
// debug level. Usually built as NorvikFullDebug trace(Q_FUNC_INFO).
class NorvikFullDebug
{
public:
    explicit NorvikFullDebug(const char* signature, const char* category = "NKC");
    ~NorvikFullDebug();
    NorvikFullDebug(const NorvikFullDebug&) = delete;
    NorvikFullDebug& operator=(const NorvikFullDebug&) = delete;

private:
    const char* m_signature;
    const char* m_category;
    bool m_enabled;
    QElapsedTimer m_timer;
};
