#include "LogArchive.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>

#include <cstdio>

namespace NorvikTest {

namespace {

QMutex s_mutex;
QFile* s_file = nullptr;

} // namespace

void LogArchive::install()
{
    const QByteArray run = qgetenv("CLOUDTEST_RUN");
    const QString folder =
        (run.isEmpty() ? QStringLiteral("/tmp/norvik-cloudtest") : QString::fromLocal8Bit(run)) +
        QStringLiteral("/logs");
    QDir().mkpath(folder);
    auto* file = new QFile(QStringLiteral("%1/%2-%3.log")
                               .arg(folder, QFileInfo(QCoreApplication::applicationFilePath()).fileName())
                               .arg(QCoreApplication::applicationPid()));
    if (!file->open(QIODevice::WriteOnly | QIODevice::Append)) {
        std::fprintf(stderr, "cannot keep the log in %s\n", qPrintable(file->fileName()));
        delete file;
        return;
    }
    file->write("log of " + QCoreApplication::arguments().join(QLatin1Char(' ')).toUtf8() + '\n');
    file->flush();
    s_file = file;
    if (!NorvikDebug::isEnabled(NorvikDebug::Level::Info))
        NorvikDebug::setThreshold(NorvikDebug::Level::Info);
    NorvikDebug::setSink(sink());
}

NorvikDebug::Sink LogArchive::sink()
{
    if (!s_file)
        return {};
    return [](NorvikDebug::Level level, const QString& category, const QString& message) {
        write(level, category, message);
        if (level >= NorvikDebug::Level::Warning)
            std::fprintf(stderr, "[%s] %s %s\n", qPrintable(category),
                         qPrintable(NorvikDebug::levelName(level)), qPrintable(message));
    };
}

void LogArchive::write(NorvikDebug::Level level, const QString& category, const QString& message)
{
    if (level < NorvikDebug::Level::Info)
        return;
    QMutexLocker lock(&s_mutex);
    if (!s_file)
        return;
    s_file->write(
        QStringLiteral("[%1] %2 %3\n").arg(category, NorvikDebug::levelName(level), message).toUtf8());
    s_file->flush();
}

} // namespace NorvikTest
