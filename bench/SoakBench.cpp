// A long run of mixed transfers at once, checking that nothing is lost and nothing piles up.
//
//     bench_soak CONFIG.json [seconds, default 600] [operations at once, default 20]
//
// CONFIG.json holds the library's configuration keys (as for norvik-cloud --config), with the
// container. One process and one OperationManager at the default budget keep that many
// operations in flight: single-shot, multipart and automatic uploads of 0 bytes to 110 MiB (some
// larger than the budget, which go through temporary files) from files on disk, then whole, ranged and
// automatic downloads of what was uploaded, each checked by SHA-256 against the source, and
// deletes that keep the 24 newest objects. Every 5 seconds it
// samples the resident set, the open descriptors and the files in the library's temporary
// folder. At the end it prints a table and exits 1 if any transfer failed or came back
// different, if the peak resident set passed the budget plus 40 MiB, or if descriptors or
// temporary files grew from the start to the end.

#include "connection/ListingObject.h"
#include "engine/IOperation.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryFile>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <malloc.h>
#include <map>
#include <memory>
#include <random>

using namespace Norvik::Cloud;

namespace {

constexpr qint64 MiB = 1024 * 1024;

qint64 statusKiB(const char* key)
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith(key))
            return line.mid(static_cast<int>(qstrlen(key))).trimmed().split(' ').value(0).toLongLong();
    return 0;
}

int entries(const QString& folder)
{
    return static_cast<int>(
        QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System | QDir::Hidden).size());
}

struct Sample
{
    qint64 rssKiB;
    int descriptors;
    int temporaryFiles;
};

Sample sample()
{
    return {statusKiB("VmRSS:"), entries(QStringLiteral("/proc/self/fd")),
            entries(OperationManager::temporaryFileFolderPath())};
}

// The contents of an object: size bytes that its seed alone decides, made 1 MiB at a time so
// that neither a source nor a check ever holds a whole object in this process.
struct Contents
{
    quint64 seed;
    qint64 size;

    QByteArray chunk(qint64 index) const
    {
        const qint64 length = std::min(MiB, size - index * MiB);
        QByteArray out(static_cast<int>((length + 7) / 8 * 8), Qt::Uninitialized);
        quint64 state = seed * 0x9E3779B97F4A7C15ull + static_cast<quint64>(index);
        for (int i = 0; i < out.size(); i += 8) {
            quint64 z = (state += 0x9E3779B97F4A7C15ull);
            z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
            z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
            z ^= z >> 31;
            std::memcpy(out.data() + i, &z, 8);
        }
        out.truncate(static_cast<int>(length));
        return out;
    }
    // SHA-256 of the bytes from position, count of them.
    QByteArray hash(qint64 position, qint64 count) const
    {
        QCryptographicHash hash(QCryptographicHash::Sha256);
        for (qint64 index = position / MiB; index * MiB < position + count; ++index) {
            const QByteArray piece = chunk(index);
            const qint64 from = std::max<qint64>(0, position - index * MiB);
            const qint64 to = std::min<qint64>(piece.size(), position + count - index * MiB);
            hash.addData(piece.constData() + from, static_cast<int>(to - from));
        }
        return hash.result();
    }
};

QByteArray hashOf(QIODevice& device)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    device.seek(0);
    while (!device.atEnd())
        hash.addData(device.read(4 * MiB));
    return hash.result();
}

// One transfer in flight and what it needs to be checked when it ends.
struct Transfer
{
    QString kind;
    QSharedPointer<IOperation> operation;
    std::unique_ptr<QIODevice> device;
    QString path;
    Contents contents;
    QByteArray expected; // SHA-256 of what a download must bring
};

struct Counts
{
    int done = 0;
    int failed = 0;
    int wrong = 0;
    qint64 bytes = 0;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_soak CONFIG.json [seconds] [operations at once]\n");
        return 2;
    }
    QFile configFile(QString::fromLocal8Bit(argv[1]));
    if (!configFile.open(QIODevice::ReadOnly))
        return 2;
    QMap<QString, QVariant> config = QJsonDocument::fromJson(configFile.readAll()).object().toVariantMap();
    if (!config.contains(OperationConfig::ChunkSize))
        config.insert(OperationConfig::ChunkSize, 8 * MiB); // multipart uploads need their part size
    const qint64 seconds = argc > 2 ? QByteArray(argv[2]).toLongLong() : 600;
    const int inFlight = argc > 3 ? QByteArray(argv[3]).toInt() : 20;

    OperationManager& manager = OperationManager::instance();
    const qint64 budgetMiB = static_cast<qint64>(OperationManager::memoryUsed() / MiB);
    std::mt19937 random(20261124);
    const qint64 sizes[] = {0, 1, 4096, 1 * MiB + 7, 6 * MiB, 17 * MiB + 3, 40 * MiB, 64 * MiB, 110 * MiB};
    std::map<QString, Contents> stored; // what was uploaded, for the downloads
    std::deque<QString> age;            // stored paths, oldest first
    std::map<QString, int> reading;     // downloads in flight by path
    std::map<QString, Counts> counts;
    QList<std::shared_ptr<Transfer>> running;
    int serial = 0;

    auto startOne = [&] {
        auto transfer = std::make_shared<Transfer>();
        const int choice = static_cast<int>(random() % 6);
        if (stored.size() < 4 || choice < 3) {
            const qint64 size = sizes[random() % (sizeof sizes / sizeof *sizes)];
            transfer->contents = {static_cast<quint64>(serial) * 7919 + 1, size};
            transfer->path = QStringLiteral("/soak/%1-%2.bin").arg(serial++).arg(size);
            auto* source = new QTemporaryFile;
            source->open();
            for (qint64 index = 0; index * MiB < size; ++index)
                source->write(transfer->contents.chunk(index));
            source->seek(0);
            transfer->device.reset(source);
            auto* buffer = source;
            const char* kinds[] = {"upload single", "upload multipart", "upload auto"};
            // A multipart upload of nothing never ends, by design: callers send empty sources
            // through the automatic upload, which makes them single-shot.
            const int way = size == 0 && choice % 3 == 1 ? 2 : choice % 3;
            transfer->kind = QString::fromLatin1(kinds[way]);
            transfer->operation = way == 0   ? manager.upload(config, transfer->path, {}, buffer)
                                  : way == 1 ? manager.uploadMultipart(config, transfer->path, {}, buffer, {})
                                             : manager.uploadAuto(config, transfer->path, {}, buffer);
        } else {
            auto it = stored.begin();
            std::advance(it, static_cast<long>(random() % stored.size()));
            transfer->path = it->first;
            ++reading[transfer->path];
            const Contents& data = it->second;
            auto* file = new QTemporaryFile;
            file->open();
            transfer->device.reset(file);
            if (choice == 3) {
                transfer->kind = QStringLiteral("download whole");
                transfer->expected = data.hash(0, data.size);
                transfer->operation = manager.download2Stream(config, transfer->path, file);
            } else if (choice == 4 && data.size > 1) {
                const quint64 position = random() % static_cast<quint64>(data.size - 1);
                const quint64 length = 1 + random() % std::min<quint64>(8 * MiB, data.size - position);
                transfer->kind = QStringLiteral("download range");
                transfer->expected = data.hash(static_cast<qint64>(position), static_cast<qint64>(length));
                // Into a file like every other download: a blob download keeps its bytes in
                // memory for the caller, which is the caller's memory, not the library's.
                transfer->operation =
                    manager.DownloadAuto2Stream(config, transfer->path, file, true, length, position);
            } else {
                transfer->kind = QStringLiteral("download auto");
                transfer->expected = data.hash(0, data.size);
                transfer->operation = manager.DownloadAuto2Stream(config, transfer->path, file, false, 0, 0);
            }
        }
        if (!transfer->operation) {
            ++counts[transfer->kind].failed;
            return;
        }
        transfer->operation->exec();
        running.append(transfer);
    };

    // Deletes the oldest object that no download reads, once more than MaxStored are kept: the
    // server's disk holds a bounded amount however long the run, and deletes join the mix.
    constexpr std::size_t MaxStored = 24;
    auto pruneOne = [&] {
        for (auto it = age.begin(); it != age.end() && stored.size() > MaxStored; ++it) {
            if (reading[*it] > 0)
                continue;
            auto transfer = std::make_shared<Transfer>();
            transfer->kind = QStringLiteral("delete");
            transfer->path = *it;
            transfer->operation = manager.deleteOnce(
                config, Api::ListingObject(*it, QDateTime(), 0, QByteArray(), QByteArray(), false).json());
            stored.erase(*it);
            age.erase(it);
            transfer->operation->exec();
            running.append(transfer);
            return;
        }
    };

    auto finish = [&](const std::shared_ptr<Transfer>& transfer) {
        Counts& c = counts[transfer->kind];
        IOperation& operation = *transfer->operation;
        if (operation.isError()) {
            ++c.failed;
            std::fprintf(stderr, "%s %s failed: %d %s\n", qPrintable(transfer->kind),
                         qPrintable(transfer->path), operation.errorCode(),
                         qPrintable(operation.errorMessage()));
        } else if (transfer->kind.startsWith(QLatin1String("upload"))) {
            ++c.done;
            c.bytes += transfer->contents.size;
            stored[transfer->path] = transfer->contents;
            age.push_back(transfer->path);
            pruneOne();
        } else if (transfer->kind == QLatin1String("delete")) {
            ++c.done;
        } else {
            c.bytes += transfer->device->size();
            ++c.done;
            if (hashOf(*transfer->device) != transfer->expected) {
                ++c.wrong;
                std::fprintf(stderr, "%s %s came back different\n", qPrintable(transfer->kind),
                             qPrintable(transfer->path));
            }
        }
        if (transfer->kind.startsWith(QLatin1String("download")))
            --reading[transfer->path];
        operation.remove();
    };

    bool hung = false;
    const Sample first = sample();
    Sample peak = first;
    QElapsedTimer clock;
    clock.start();
    qint64 nextSample = 0;
    while (clock.elapsed() < seconds * 1000 || !running.isEmpty()) {
        while (clock.elapsed() < seconds * 1000 && running.size() < inFlight)
            startOne();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (clock.elapsed() > (seconds + 180) * 1000) {
            // Three minutes after the last start: whatever still runs is stuck.
            for (const auto& transfer : running) {
                ++counts[transfer->kind].failed;
                std::fprintf(stderr, "%s %s never ended (state %d)\n", qPrintable(transfer->kind),
                             qPrintable(transfer->path), static_cast<int>(transfer->operation->state()));
            }
            hung = true;
            break;
        }
        for (int i = running.size() - 1; i >= 0; --i) {
            if (running.at(i)->operation->isComplite()) {
                finish(running.at(i));
                running.removeAt(i);
            }
        }
        if (clock.elapsed() >= nextSample) {
            const Sample now = sample();
            peak = {std::max(peak.rssKiB, now.rssKiB), std::max(peak.descriptors, now.descriptors),
                    std::max(peak.temporaryFiles, now.temporaryFiles)};
            nextSample += 5000;
        }
    }
    stored.clear();
    const Sample last = sample();
    // What the allocator keeps for reuse against what is still in use.
    malloc_trim(0);
    const qint64 trimmedMiB = statusKiB("VmRSS:") / 1024;
    const qint64 hwmMiB = statusKiB("VmHWM:") / 1024;
    // Stuck operations still use their devices: the process ends without tearing them down.
    if (!hung)
        manager.stop();

    std::printf("soak: %lld s, %d at once, budget %lld MiB\n", static_cast<long long>(seconds), inFlight,
                static_cast<long long>(budgetMiB));
    std::printf("%-18s %7s %7s %7s %10s\n", "kind", "done", "failed", "wrong", "MiB");
    bool ok = true;
    for (const auto& [kind, c] : counts) {
        std::printf("%-18s %7d %7d %7d %10.1f\n", qPrintable(kind), c.done, c.failed, c.wrong,
                    static_cast<double>(c.bytes) / MiB);
        ok = ok && c.failed == 0 && c.wrong == 0;
    }
    const bool memoryOk = hwmMiB <= budgetMiB + 40;
    // Descriptors: Qt and libcurl open a few for good on first use, so the baseline is taken
    // from the first sample after work began; temporary files must all be gone.
    const bool descriptorsOk = last.descriptors <= first.descriptors + 8;
    const bool temporaryOk = last.temporaryFiles <= first.temporaryFiles;
    std::printf("%-18s %7s %7s %7s\n", "", "start", "peak", "end");
    std::printf("%-18s %7lld %7lld %7lld  (peak of the whole run %lld MiB, limit %lld) %s\n", "resident MiB",
                static_cast<long long>(first.rssKiB / 1024), static_cast<long long>(peak.rssKiB / 1024),
                static_cast<long long>(last.rssKiB / 1024), static_cast<long long>(hwmMiB),
                static_cast<long long>(budgetMiB + 40), memoryOk ? "ok" : "OVER");
    std::printf("%-18s %7lld  (after giving free memory back to the system)\n", "resident at end MiB",
                static_cast<long long>(trimmedMiB));
    std::printf("%-18s %7d %7d %7d  %s\n", "open descriptors", first.descriptors, peak.descriptors,
                last.descriptors, descriptorsOk ? "ok" : "GREW");
    std::printf("%-18s %7d %7d %7d  %s\n", "temporary files", first.temporaryFiles, peak.temporaryFiles,
                last.temporaryFiles, temporaryOk ? "ok" : "GREW");
    std::fflush(stdout);
    if (hung)
        std::_Exit(1);
    return ok && memoryOk && descriptorsOk && temporaryOk ? 0 : 1;
}
