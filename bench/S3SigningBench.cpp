// Throughput of version 4 signing of a large streamed PUT: the payload's SHA-256 is computed
// from the device before the transfer, so it bounds the upload rate of every V4 service.

#include "s3/CloudAmazonS3LikePrivate.h"
#include "s3/CloudAmazonS3Private.h"

#include "info/Config.h"

#include <QBuffer>
#include <QRandomGenerator>
#include <QTemporaryFile>
#include <QUrlQuery>

#include <benchmark/benchmark.h>

namespace {

using Norvik::Cloud::Type;
using Norvik::Cloud::Api::CloudAmazonS3LikePrivate;
using Norvik::Cloud::Api::CloudAmazonS3Private;
namespace Keys = Norvik::Cloud::Config::AmazonS3Like;

constexpr qint64 BodySize = 256LL * 1024 * 1024;

const QByteArray& body()
{
    static const QByteArray data = [] {
        QByteArray bytes(static_cast<int>(BodySize), Qt::Uninitialized);
        QRandomGenerator generator(42);
        generator.fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
        return bytes;
    }();
    return data;
}

// The body as a part held in memory, or as a part kept in a temporary file (read through the
// page cache after the first pass).
QSharedPointer<QIODevice> memoryBody()
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(body());
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

QSharedPointer<QIODevice> fileBody()
{
    auto file = QSharedPointer<QTemporaryFile>::create();
    if (!file->open() || file->write(body()) != BodySize || !file->seek(0))
        return nullptr;
    return file;
}

template <typename Private>
void signStreamedPut(benchmark::State& state, QSharedPointer<QIODevice> (*makeBody)())
{
    Private s3(std::is_same_v<Private, CloudAmazonS3Private> ? Type::AmazonS3 : Type::AmazonS3Like);
    s3.setConfig(
        {{Keys::AccessKey, "AKIDEXAMPLE"}, {Keys::SecretKey, "secret"}, {Keys::Signature::Key, "V4"}});
    s3.setEndpoint(QUrl(QStringLiteral("http://127.0.0.1:8080/")));
    const QSharedPointer<QIODevice> device = makeBody();
    if (!device) {
        state.SkipWithError("the body could not be prepared");
        return;
    }

    for (auto _ : state) {
        CloudAmazonS3LikePrivate::HeaderMap headers{{"Content-Type", "application/octet-stream"}};
        const auto signedRequest =
            s3.signature(CloudAmazonS3LikePrivate::PUT, QStringLiteral("bucket"),
                         QStringLiteral("/backup/part.bin"), QUrlQuery(), headers, true, device, BodySize);
        benchmark::DoNotOptimize(signedRequest);
        if (headers.value("x-amz-content-sha256").size() != 64)
            state.SkipWithError("no payload digest");
    }
    state.SetBytesProcessed(state.iterations() * BodySize);
    state.counters["MB/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * BodySize / 1e6,
                                                benchmark::Counter::kIsRate);
}

// SHA-256 of the body: what any S3-compatible service costs with version 4.
void s3CompatibleV4(benchmark::State& state, QSharedPointer<QIODevice> (*makeBody)())
{
    signStreamedPut<CloudAmazonS3LikePrivate>(state, makeBody);
}

// Amazon S3 adds MD5, computed in the same pass over the body.
void amazonS3V4(benchmark::State& state, QSharedPointer<QIODevice> (*makeBody)())
{
    signStreamedPut<CloudAmazonS3Private>(state, makeBody);
}

BENCHMARK_CAPTURE(s3CompatibleV4, memory, &memoryBody)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(s3CompatibleV4, file, &fileBody)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(amazonS3V4, memory, &memoryBody)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
