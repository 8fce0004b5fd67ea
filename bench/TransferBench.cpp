// Large transfers through the engine to a folder storage, against cp on the same disk.
//
//     bench_transfer [size in MiB, default 1024] [part size in MiB, default 8] [runs, default 3]
//
// A source file of the given size is written once. Then, each run in turn: cp of the source into
// the storage folder; a multipart upload of it through the engine (OperationManager, task and
// job threads, a file-system connection); a stream download of the uploaded object into a
// file beside it. Every step starts after sync(), so that no step pays for the dirty pages of
// the one before, and none of them syncs its own output: the times are those of the page
// cache, as for cp. The table gives the median of the runs.
//
// Memory: the peak resident set (VmHWM) is reset before each step (clear_refs), so each row
// shows the peak of its own step, beside the memory budget (OperationManager::memoryUsed())
// and the highest use of that budget sampled during the step.

#include "engine/IOperation.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "info/Config.h"
#include "operations/UploadMultipart.h"
#include "streams/MemoryManager.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QUuid>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

using namespace Norvik::Cloud;

namespace {

constexpr qint64 MiB = 1024 * 1024;

struct Step
{
    double seconds = 0;
    double cpuSeconds = 0;
    qint64 peakRssKiB = 0;
    unsigned long long maxBudgetUsed = 0;
    bool ok = true;
};

qint64 statusValueKiB(const char* key)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(static_cast<int>(qstrlen(key))).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

// Starts a new peak: VmHWM falls back to the current resident set.
void resetPeakRss()
{
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (clear.open(QIODevice::WriteOnly))
        clear.write("5");
}

// Samples MemoryManager::used() on its own thread while a step runs.
class BudgetSampler
{
public:
    BudgetSampler()
        : m_thread([this] {
            while (!m_stop.load()) {
                m_max.store(std::max(m_max.load(), MemoryManager::instance().used()));
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        })
    {
    }
    unsigned long long stop()
    {
        m_stop.store(true);
        m_thread.join();
        return m_max.load();
    }

private:
    std::atomic<bool> m_stop{false};
    std::atomic<unsigned long long> m_max{0};
    std::thread m_thread;
};

// User and system time of this process and of its finished children (cp).
double cpuSeconds()
{
    double total = 0;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        ::getrusage(who, &usage);
        for (const timeval& time : {usage.ru_utime, usage.ru_stime})
            total += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    }
    return total;
}

template <typename Body>
Step measure(Body body)
{
    ::sync();
    resetPeakRss();
    BudgetSampler sampler;
    QElapsedTimer timer;
    const double cpuBefore = cpuSeconds();
    timer.start();
    Step step;
    step.ok = body();
    step.seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;
    // The sampler's own time, a few milliseconds, is counted too.
    step.cpuSeconds = cpuSeconds() - cpuBefore;
    step.maxBudgetUsed = sampler.stop();
    step.peakRssKiB = statusValueKiB("VmHWM:");
    return step;
}

bool runOperation(const QSharedPointer<IOperation>& operation)
{
    if (!operation)
        return false;
    QEventLoop loop;
    QObject::connect(operation.data(), &IOperation::finished, &loop, &QEventLoop::quit);
    operation->exec();
    loop.exec();
    const bool ok = operation->state() == IOperation::StateComplete;
    if (!ok)
        std::fprintf(stderr, "operation failed: %s\n", qPrintable(operation->errorMessage()));
    operation->remove();
    return ok;
}

bool writeSource(const QString& path, qint64 size)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    // xorshift: incompressible and fast enough not to dominate the set-up.
    std::vector<quint64> block(static_cast<size_t>(4 * MiB / 8));
    quint64 state = 0x9E3779B97F4A7C15ull;
    for (qint64 written = 0; written < size;) {
        for (quint64& word : block) {
            state ^= state << 13;
            state ^= state >> 7;
            state ^= state << 17;
            word = state;
        }
        const qint64 count = std::min<qint64>(4 * MiB, size - written);
        if (file.write(reinterpret_cast<const char*>(block.data()), count) != count)
            return false;
        written += count;
    }
    return true;
}

QByteArray digest(const QString& path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha1);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file))
        return QByteArray();
    return hash.result().toHex();
}

Step median(std::vector<Step> steps)
{
    std::sort(steps.begin(), steps.end(), [](const Step& a, const Step& b) { return a.seconds < b.seconds; });
    Step result = steps.at(steps.size() / 2);
    for (const Step& step : steps) {
        result.peakRssKiB = std::max(result.peakRssKiB, step.peakRssKiB);
        result.maxBudgetUsed = std::max(result.maxBudgetUsed, step.maxBudgetUsed);
        result.ok = result.ok && step.ok;
    }
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const qint64 size = (args.size() > 1 ? args.at(1).toLongLong() : 1024) * MiB;
    const qint64 partSize = (args.size() > 2 ? args.at(2).toLongLong() : 8) * MiB;
    const int runs = std::max(1, args.size() > 3 ? args.at(3).toInt() : 3);

    const QString base = QDir::tempPath() + QStringLiteral("/norvik-bench-transfer-%1").arg(::getpid());
    const QString root = base + QStringLiteral("/storage");
    const QString source = base + QStringLiteral("/source.bin");
    if (!QDir().mkpath(root) || !writeSource(source, size)) {
        std::fprintf(stderr, "cannot prepare %s\n", qPrintable(base));
        return 1;
    }
    const qint64 rssBeforeEngine = statusValueKiB("VmRSS:");
    OperationManager& manager = OperationManager::instance();
    const QMap<QString, QVariant> config = {{Config::Id, QUuid::createUuid().toString()},
                                            {Config::Type, QStringLiteral("FileSystem")},
                                            {Config::FileSystem::Path, root},
                                            {OperationConfig::ChunkSize, partSize}};

    std::vector<Step> copies;
    std::vector<Step> uploads;
    std::vector<Step> downloads;
    bool identical = true;
    for (int run = 0; run < runs; ++run) {
        QFile::remove(root + QStringLiteral("/cp.bin"));
        QFile::remove(root + QStringLiteral("/uploaded.bin"));
        QFile::remove(base + QStringLiteral("/downloaded.bin"));

        copies.push_back(measure([&] {
            return QProcess::execute(QStringLiteral("cp"), {source, root + QStringLiteral("/cp.bin")}) == 0;
        }));
        uploads.push_back(measure([&] {
            QFile device(source);
            device.open(QIODevice::ReadOnly);
            return runOperation(
                manager.uploadMultipart(config, QStringLiteral("/uploaded.bin"), {}, &device, QByteArray()));
        }));
        downloads.push_back(measure([&] {
            QFile device(base + QStringLiteral("/downloaded.bin"));
            device.open(QIODevice::WriteOnly);
            return runOperation(manager.download2Stream(config, QStringLiteral("/uploaded.bin"), &device));
        }));
    }
    const QByteArray sourceDigest = digest(source);
    identical = sourceDigest == digest(root + QStringLiteral("/uploaded.bin")) &&
                sourceDigest == digest(base + QStringLiteral("/downloaded.bin"));
    manager.stop();
    QDir(base).removeRecursively();

    const Step copy = median(copies);
    const Step upload = median(uploads);
    const Step download = median(downloads);
    const double budgetMiB = static_cast<double>(OperationManager::memoryUsed()) / MiB;
    const double sizeMiB = static_cast<double>(size) / MiB;

    std::printf("\nTransfer of %.0f MiB, parts of %.0f MiB, median of %d runs, memory budget %.0f MiB, "
                "%d job threads\n",
                sizeMiB, static_cast<double>(partSize) / MiB, runs, budgetMiB,
                OperationManager::threadCount());
    std::printf("resident set before the engine started: %.1f MiB\n\n", rssBeforeEngine / 1024.0);
    std::printf("| %-34s | %8s | %8s | %9s | %9s | %13s | %15s |\n", "step", "wall s", "MiB/s", "time / cp",
                "CPU s/GiB", "peak RSS MiB", "budget used MiB");
    std::printf("|%s|%s|%s|%s|%s|%s|%s|\n", "------------------------------------", "----------",
                "----------", "-----------", "-----------", "---------------", "-----------------");
    const auto row = [&](const char* name, const Step& step) {
        std::printf("| %-34s | %8.2f | %8.1f | %9.2f | %9.2f | %13.1f | %15.1f |%s\n", name, step.seconds,
                    sizeMiB / step.seconds, step.seconds / copy.seconds, step.cpuSeconds * 1024 / sizeMiB,
                    step.peakRssKiB / 1024.0,
                    static_cast<double>(step.maxBudgetUsed) / MiB, step.ok ? "" : " FAILED");
    };
    row("cp (same disk)", copy);
    row("engine: multipart upload", upload);
    row("engine: download to stream", download);
    std::printf("\nresult files identical to the source: %s\n", identical ? "yes" : "NO");
    return identical && copy.ok && upload.ok && download.ok ? 0 : 1;
}
