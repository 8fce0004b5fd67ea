// Reading one large object: a single stream download against the cloud streams.
//
//     bench_stream CONFIG.json CLOUD-PATH LOCAL-COPY [part MiB for the prepared stream, 0: automatic]
//
// CONFIG.json holds the library's configuration keys (as for norvik-cloud --config); the object
// must exist and LOCAL-COPY be the same bytes, against which every read is checked (SHA-256).
// Ways of reading, one after the other: Download2Stream into a file (one request); a prepared
// stream in parts (CloudPrepareMultiStream: parallel ranged requests into temporary files, then
// read through); a buffered stream (CloudWithBufferStream, 8 MiB requests, sequential reads).
// Prints wall time, rate and CPU seconds (user + system of this process) of each.

#include "engine/IOperation.h"
#include "engine/OperationManager.h"
#include "streams/CloudPrepareMultiStream.h"
#include "streams/CloudWithBufferStream.h"

#include <NorvikCore/Hash.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryFile>
#include <QThread>

#include <cstdio>
#include <functional>

#include <sys/resource.h>

using namespace Norvik::Cloud;

namespace {

constexpr qint64 MiB = 1024 * 1024;

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

bool waitFor(const std::function<bool()>& done)
{
    while (!done())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    return true;
}

QByteArray hashOf(QIODevice& device)
{
    // OpenSSL's digest, so that checking costs little next to reading.
    Norvik::Core::Hash::Digest hash(Norvik::Core::Hash::Algorithm::Sha256);
    while (!device.atEnd()) {
        const QByteArray piece = device.read(4 * MiB);
        if (piece.isEmpty())
            break;
        hash.addData(piece);
    }
    return hash.result();
}

struct Row
{
    const char* name;
    std::function<QByteArray()> run; // the SHA-256 of what was read
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 4) {
        std::fprintf(stderr, "usage: bench_stream CONFIG.json CLOUD-PATH LOCAL-COPY [part MiB]\n");
        return 2;
    }
    QFile configFile(QString::fromLocal8Bit(argv[1]));
    if (!configFile.open(QIODevice::ReadOnly))
        return 2;
    const QMap<QString, QVariant> config =
        QJsonDocument::fromJson(configFile.readAll()).object().toVariantMap();
    const QString path = QString::fromLocal8Bit(argv[2]);
    QFile local(QString::fromLocal8Bit(argv[3]));
    if (!local.open(QIODevice::ReadOnly))
        return 2;
    const qint64 size = local.size();
    const QByteArray expected = hashOf(local);
    const unsigned long long partSize = argc > 4 ? QByteArray(argv[4]).toULongLong() * MiB : 0;

    const Row rows[] = {
        {"single stream (Download2Stream)",
         [&] {
             QTemporaryFile file;
             file.open();
             auto operation = OperationManager::instance().download2Stream(config, path, &file);
             operation->exec();
             waitFor([&] { return operation->isComplite(); });
             operation->remove();
             file.seek(0);
             return operation->isError() ? QByteArray() : hashOf(file);
         }},
        {"prepared in parts (CloudPrepareMultiStream)",
         [&] {
             Stream::CloudPrepareMultiStream stream(config, path, static_cast<unsigned long long>(size),
                                                    QString(), partSize);
             if (!stream.open(QIODevice::ReadOnly))
                 return QByteArray();
             waitFor([&] { return stream.readyToRead() || !stream.isOpen(); });
             return stream.readyToRead() ? hashOf(stream) : QByteArray();
         }},
        {"buffered, 8 MiB requests (CloudWithBufferStream)",
         [&] {
             Stream::CloudWithBufferStream stream(config, path, size, QUuid(), 8 * MiB);
             stream.open(QIODevice::ReadOnly);
             return hashOf(stream);
         }},
    };

    OperationManager::instance();
    std::printf("%-50s %9s %9s %10s %6s\n", "way of reading", "wall s", "MiB/s", "CPU s/GiB", "exact");
    int status = 0;
    for (const Row& row : rows) {
        QElapsedTimer timer;
        timer.start();
        const double cpu = cpuSeconds();
        const bool exact = row.run() == expected;
        const double wall = static_cast<double>(timer.elapsed()) / 1000.0;
        const double gib = static_cast<double>(size) / (1024.0 * MiB);
        std::printf("%-50s %9.2f %9.1f %10.2f %6s\n", row.name, wall, static_cast<double>(size) / MiB / wall,
                    (cpuSeconds() - cpu) / gib, exact ? "yes" : "NO");
        std::fflush(stdout);
        if (!exact)
            status = 1;
    }
    OperationManager::instance().stop();
    return status;
}
