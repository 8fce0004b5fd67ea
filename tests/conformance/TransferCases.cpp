// Automatic transfers and cloud read streams on every storage: the automatic upload's choice of
// single or multipart, the automatic download's resumption after a broken connection, and
// random-access reads through each kind of cloud stream against the object's own bytes.

#include "Conformance.h"
#include "FaultProxy.h"

#include "engine/OperationManager.h"
#include "operations/DownloadAuto2Stream.h"
#include "operations/UploadAuto.h"
#include "streams/CloudPrepareMultiStream.h"
#include "streams/CloudPrepareSimpleStream.h"
#include "streams/CloudSimpleStream.h"
#include "streams/CloudWithBufferStream.h"

#include "TestSupport.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>

#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <thread>

namespace {

using Conformance::Capabilities;
using Conformance::ConfigMap;
using Norvik::Cloud::IOperation;
using Norvik::Cloud::OperationManager;
namespace Operation = Norvik::Cloud::Operation;
namespace Stream = Norvik::Cloud::Stream;

constexpr int MiB = 1024 * 1024;

bool always(const Capabilities&)
{
    return true;
}

bool routable(const Capabilities& caps)
{
    return caps.routable;
}

// A source that tells its length to nobody, as a pipe would.
class Pipe : public QIODevice
{
public:
    explicit Pipe(const QByteArray& data)
        : m_data(data)
    {
        open(ReadOnly);
    }
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_data.size() - m_offset + QIODevice::bytesAvailable(); }
    bool atEnd() const override { return bytesAvailable() == 0; }

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        const qint64 count = qMin(maxSize, static_cast<qint64>(m_data.size()) - m_offset);
        std::memcpy(data, m_data.constData() + m_offset, static_cast<size_t>(count));
        m_offset += count;
        return count;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    const QByteArray m_data;
    qint64 m_offset = 0;
};

// Reads at random places and lengths, and once straight through, comparing with the original.
void compareRandomReads(QIODevice& stream, const QByteArray& original, quint32 seed)
{
    std::mt19937 random(seed);
    for (int i = 0; i < 25; ++i) {
        const qint64 position = static_cast<qint64>(random() % static_cast<quint32>(original.size()));
        const qint64 length = 1 + static_cast<qint64>(random() % (300 * 1024));
        ASSERT_TRUE(stream.seek(position)) << "seek to " << position;
        EXPECT_EQ(stream.pos(), position);
        EXPECT_EQ(stream.bytesAvailable(), original.size() - position);
        const QByteArray read = stream.read(length);
        ASSERT_EQ(read, original.mid(static_cast<int>(position), static_cast<int>(length)))
            << "read of " << length << " at " << position;
    }
    ASSERT_TRUE(stream.seek(0));
    QByteArray whole;
    while (!stream.atEnd()) {
        const QByteArray piece = stream.read(MiB / 2);
        ASSERT_FALSE(piece.isEmpty()) << "no progress at " << stream.pos();
        whole += piece;
    }
    EXPECT_EQ(QCryptographicHash::hash(whole, QCryptographicHash::Sha256),
              QCryptographicHash::hash(original, QCryptographicHash::Sha256));
}

// Runs events until the stream says it is ready, while another thread waits for it the way a
// reader on a worker thread would.
bool waitUntilReady(Stream::ICloudPrepareStream& stream)
{
    std::atomic<int> waited{-1};
    std::thread waiter([&] { waited = stream.waitForReadyRead(120000) ? 1 : 0; });
    const bool ready = NorvikTest::waitFor([&] { return stream.readyToRead(); }, 120000);
    waiter.join();
    EXPECT_EQ(waited.load(), 1) << "waitForReadyRead gave up";
    return ready;
}

} // namespace

CONFORMANCE_CASE(AutomaticUploadChoosesByLength, always)
{
    const int part = static_cast<int>(caps().partSize);
    struct Source
    {
        const char* name;
        int size;
        bool sequential;
    };
    const Source sources[] = {
        {"empty", 0, false},        {"below", part - 1, false}, {"at", part, false},
        {"above", part + 1, false}, {"piped-at", part, true},   {"piped-above", part + 1, true},
    };
    for (const Source& source : sources) {
        SCOPED_TRACE(source.name);
        const QByteArray data = NorvikTest::randomBytes(source.size, static_cast<quint32>(source.size) + 3);
        QBuffer buffer;
        buffer.setData(data);
        buffer.open(QIODevice::ReadOnly);
        Pipe pipe(data);
        QIODevice* device = source.sequential ? static_cast<QIODevice*>(&pipe) : &buffer;
        const auto upload = qSharedPointerCast<Operation::UploadAuto>(
            OperationManager::instance().uploadAuto(config(), path(source.name), {}, device));
        ASSERT_TRUE(run(upload));
        const int expected = caps().multipart && source.size > part ? Operation::UploadAuto::Multipart
                                                                    : Operation::UploadAuto::Once;
        EXPECT_EQ(upload->uploadType(), expected);
        EXPECT_EQ(upload->size(), static_cast<unsigned long long>(source.size));
        EXPECT_EQ(sha256(get(source.name)), sha256(data));
    }
}

CONFORMANCE_CASE(AutomaticDownloadResumesAfterBrokenConnection, routable)
{
    // Every connection through the proxy ends after 1 MiB, however often the transport and the
    // storage's own request loops try; once the operation has given the job up and decided to
    // try again by itself, connections pass, and the download must end exact.
    const QByteArray data = NorvikTest::randomBytes(MiB + MiB / 2 + 11, 17);
    ASSERT_TRUE(put("resumed.bin", data));
    ConfigMap routed = config();
    const QString target = Conformance::routeThrough(row(), routed, 0);
    const QStringList cutEvery{QStringLiteral("--mode"),        QStringLiteral("close"),
                               QStringLiteral("--after"),       QString::number(MiB),
                               QStringLiteral("--connections"), QStringLiteral("-1")};
    struct Request
    {
        const char* name;
        bool useRange;
        quint64 position;
        quint64 size;
    };
    const Request requests[] = {{"whole", false, 0, 0},
                                {"range", true, 1000, static_cast<quint64>(data.size()) - 1000}};
    for (const Request& request : requests) {
        SCOPED_TRACE(request.name);
        FaultProxy proxy(target, cutEvery);
        ASSERT_NE(proxy.port(), 0);
        routed = config();
        Conformance::routeThrough(row(), routed, proxy.port());
        QBuffer out;
        out.open(QIODevice::WriteOnly);
        const auto download = qSharedPointerCast<Operation::DownloadAuto2Stream>(
            OperationManager::instance().DownloadAuto2Stream(
                routed, path("resumed.bin"), &out, request.useRange, request.size, request.position));
        download->exec();
        ASSERT_TRUE(
            NorvikTest::waitFor([&] { return download->retries() > 0 || download->isComplite(); }, 120000));
        proxy.release();
        ASSERT_TRUE(NorvikTest::waitFor([&] { return download->isComplite(); }, 120000));
        download->remove();
        ASSERT_EQ(download->state(), IOperation::StateComplete)
            << download->errorCode() << ": " << download->errorMessage().toStdString();
        EXPECT_EQ(download->retries(), 1u);
        EXPECT_EQ(sha256(out.data()), sha256(data.mid(static_cast<int>(request.position))));
    }
}

CONFORMANCE_CASE(CloudStreamsReadLikeFiles, always)
{
    // Several parts of the smallest prepared part size, and a short last one.
    const QByteArray data = NorvikTest::randomBytes(
        2 * static_cast<int>(Stream::CloudPrepareMultiStream::MinimumPartSize) + 3 * MiB + 5, 29);
    ASSERT_TRUE(put("streamed.bin", data));
    const quint64 size = static_cast<quint64>(data.size());
    QTemporaryDir folder;
    const QString pattern = folder.filePath(QStringLiteral("prepared-XXXXXX"));
    const std::function<QIODevice*()> streams[] = {
        [&] { return new Stream::CloudSimpleStream(config(), path("streamed.bin"), size); },
        [&] {
            return new Stream::CloudWithBufferStream(config(), path("streamed.bin"), data.size(), QUuid(),
                                                     MiB);
        },
        [&] { return new Stream::CloudPrepareSimpleStream(config(), path("streamed.bin"), size, pattern); },
        [&] { return new Stream::CloudPrepareMultiStream(config(), path("streamed.bin"), size, pattern, 0); },
    };
    quint32 seed = 0;
    for (const auto& make : streams) {
        const std::unique_ptr<QIODevice> stream(make());
        SCOPED_TRACE(stream->metaObject()->className());
        ASSERT_TRUE(stream->open(QIODevice::ReadOnly));
        if (auto* prepared = qobject_cast<Stream::ICloudPrepareStream*>(stream.get())) {
            ASSERT_TRUE(waitUntilReady(*prepared));
        }
        compareRandomReads(*stream, data, ++seed);
    }
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList()) << "temporary files left behind";
}
