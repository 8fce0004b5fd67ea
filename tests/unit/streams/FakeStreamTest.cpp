#include "streams/FakeStream.h"
#include "streams/TemporaryFake.h"

#include "LogRecorder.h"
#include "ScriptedSource.h"
#include "TestSupport.h"

#include <QBuffer>
#include <QPointer>

#include <gmock/gmock.h>

using Fake = Norvik::Cloud::TemporaryFileManager::TemporaryFake;
using FakeStream = Norvik::Cloud::TemporaryFileManager::TemporaryFake::FakeStream;

namespace {

const QByteArray Text("hello, world");

std::unique_ptr<QBuffer> openBuffer(const QByteArray& data, QIODevice::OpenMode mode = QIODevice::ReadOnly)
{
    auto buffer = std::make_unique<QBuffer>();
    buffer->setData(data);
    buffer->open(mode);
    return buffer;
}

TEST(TemporaryFakeTest, AKnownSizeHandsOutTheCallersDeviceAndNeverDeletesIt)
{
    LogRecorder log;
    auto* device = new QBuffer;
    device->setData(Text);
    device->open(QIODevice::ReadOnly);
    QPointer<QBuffer> watch(device);
    {
        QSharedPointer<QIODevice> handedOut;
        {
            Fake fake(Text.size(), device);
            EXPECT_EQ(fake.file().data(), device);
            EXPECT_EQ(fake.size(), Text.size());
            handedOut = fake.file();
        }
        EXPECT_EQ(handedOut->readAll(), Text);
    }
    // The last reference has gone; the device is still the caller's.
    ASSERT_FALSE(watch.isNull());
    EXPECT_TRUE(device->isOpen());
    EXPECT_TRUE(log.contains(NorvikDebug::Level::Debug, {"Call fake deleter."}));
    delete device;
}

TEST(TemporaryFakeTest, AnUnknownSizeIsLearntByReading)
{
    for (const long long declared : {0LL, -1LL}) {
        auto source = openBuffer(Text);
        Fake fake(declared, source.get());
        auto* stream = dynamic_cast<FakeStream*>(fake.file().data());
        ASSERT_NE(stream, nullptr) << "declared size " << declared;
        EXPECT_EQ(fake.size(), 0);

        EXPECT_EQ(stream->read(5), Text.left(5));
        EXPECT_EQ(fake.size(), 5);
        EXPECT_EQ(stream->readAll(), Text.mid(5));
        EXPECT_EQ(fake.size(), Text.size());

        // A storage that rewinds to retry counts afresh from where it seeks to.
        ASSERT_TRUE(stream->reset());
        EXPECT_EQ(fake.size(), 0);
        EXPECT_EQ(stream->readAll(), Text);
        EXPECT_EQ(fake.size(), Text.size());
    }
}

TEST(FakeStreamTest, PassesPositionSizeAndReadsThroughToTheSource)
{
    auto source = openBuffer(Text);
    source->seek(3);
    FakeStream stream(source.get());

    EXPECT_TRUE(stream.isOpen());
    EXPECT_TRUE(stream.openMode() & QIODevice::ReadOnly);
    EXPECT_TRUE(stream.openMode() & QIODevice::Unbuffered);
    EXPECT_TRUE(stream.isUnbuffered());
    EXPECT_EQ(stream.pos(), 3);
    EXPECT_EQ(stream.size(), Text.size());
    EXPECT_EQ(stream.bytesAvailable(), Text.size() - 3);
    EXPECT_EQ(stream.bytesToWrite(), 0);
    EXPECT_FALSE(stream.atEnd());

    EXPECT_EQ(stream.read(4), Text.mid(3, 4));
    EXPECT_EQ(source->pos(), 7) << "reads move the source itself";
    EXPECT_EQ(stream.pos(), 7);
    EXPECT_EQ(stream.calculatedSize(), 4);
    EXPECT_EQ(stream.readAll(), Text.mid(7));
    EXPECT_TRUE(stream.atEnd());
    EXPECT_EQ(stream.bytesAvailable(), 0);
    EXPECT_EQ(stream.read(1), QByteArray());
}

TEST(FakeStreamTest, SeekMovesTheSourceAndSetsTheCount)
{
    auto source = openBuffer(Text);
    FakeStream stream(source.get());

    ASSERT_TRUE(stream.seek(7));
    EXPECT_EQ(source->pos(), 7);
    EXPECT_EQ(stream.calculatedSize(), 7);
    EXPECT_EQ(stream.read(5), QByteArray("world"));
    EXPECT_EQ(stream.calculatedSize(), 12);

    // Seeking back and reading again stays in step with the source.
    ASSERT_TRUE(stream.seek(2));
    EXPECT_EQ(stream.read(3), Text.mid(2, 3));
    EXPECT_EQ(stream.calculatedSize(), 5);

    // A seek the source refuses fails, but has set the count all the same.
    EXPECT_FALSE(stream.seek(-4));
    EXPECT_EQ(stream.calculatedSize(), -4);

    // Without an open source nothing moves.
    source->close();
    EXPECT_FALSE(stream.seek(1));
    EXPECT_FALSE(stream.reset());
}

TEST(FakeStreamTest, ClaimsRandomAccessOverAPipeAndCountsEveryPiece)
{
    const QByteArray data = NorvikTest::randomBytes(1000, 21);
    ScriptedSource pipe(data, ScriptedSource::Access::Sequential, 33);
    FakeStream stream(&pipe);

    EXPECT_FALSE(stream.isSequential());
    QByteArray collected;
    char block[100];
    qint64 count = 0;
    while ((count = stream.read(block, sizeof block)) > 0)
        collected.append(block, static_cast<int>(count));
    EXPECT_EQ(collected, data);
    // The pipe's closing -1 is counted too, as the stream has always done.
    EXPECT_EQ(stream.calculatedSize(), data.size() - 1);
}

TEST(FakeStreamTest, OpensOnlyForReadingAndOpensAClosedSource)
{
    LogRecorder log(NorvikDebug::Level::Warning);
    QBuffer source;
    source.setData(Text);
    FakeStream stream(&source);
    EXPECT_FALSE(stream.isOpen()) << "a closed source gives a closed stream";
    EXPECT_EQ(stream.pos(), 0);
    EXPECT_EQ(stream.size(), 0);
    EXPECT_FALSE(stream.atEnd());
    EXPECT_EQ(stream.bytesAvailable(), 0);

    EXPECT_FALSE(stream.open(QIODevice::WriteOnly));
    EXPECT_FALSE(source.isOpen());
    EXPECT_TRUE(log.contains(
        NorvikDebug::Level::Warning,
        {"virtual bool "
         "Norvik::Cloud::TemporaryFileManager::TemporaryFake::FakeStream::open(QIODevice::OpenMode)",
         "stream don't support this operation"}));

    ASSERT_TRUE(stream.open(QIODevice::ReadOnly));
    EXPECT_TRUE(source.isOpen());
    EXPECT_TRUE(source.openMode() & QIODevice::ReadOnly);
    EXPECT_TRUE(stream.openMode() & QIODevice::Unbuffered);
    EXPECT_EQ(stream.readAll(), Text);
    EXPECT_EQ(stream.calculatedSize(), Text.size());

    stream.close();
    EXPECT_FALSE(stream.isOpen());
    EXPECT_FALSE(source.isOpen());

    FakeStream orphan(nullptr);
    EXPECT_FALSE(orphan.open(QIODevice::ReadOnly));
    EXPECT_EQ(orphan.size(), 0);
    char byte = 0;
    EXPECT_EQ(orphan.read(&byte, 1), -1);
}

TEST(FakeStreamTest, AnOpenSourceKeepsItsModeAndRefusesWrites)
{
    LogRecorder log(NorvikDebug::Level::Warning);
    auto source = openBuffer(Text, QIODevice::ReadWrite);
    const QIODevice::OpenMode before = source->openMode();
    FakeStream stream(source.get());
    ASSERT_TRUE(stream.open(QIODevice::ReadOnly));
    EXPECT_EQ(source->openMode(), before) << "an open source is not reopened";

    // The stream took over the source's ReadWrite mode, so the write reaches writeData.
    FakeStream writable(source.get());
    EXPECT_EQ(writable.write("XYZ"), 0);
    EXPECT_EQ(source->data(), Text);
    EXPECT_EQ(source->pos(), 0);
    EXPECT_TRUE(
        log.contains(NorvikDebug::Level::Warning,
                     {"virtual qint64 "
                      "Norvik::Cloud::TemporaryFileManager::TemporaryFake::FakeStream::writeData(const "
                      "char*, qint64)",
                      "stream don't support this operation"}));
}

} // namespace
