#pragma once

#include "streams/TemporaryFake.h"

#include <QIODevice>

namespace Norvik::Cloud {

// A read-only window on the caller's device that counts the bytes read through it.
//
// It passes reads, seeks and queries straight through to the source, which it does not own,
// and keeps no buffer of its own. The count follows the position: seek(pos) sets it to pos
// and reset() to 0, so a storage that rewinds to retry an upload counts afresh.
//
// isSequential() answers false even over a pipe: the stream is handed to the storages as if it
// were a file, and a storage that only reads from start to end reads a pipe just the same.
class TemporaryFileManager::TemporaryFake::FakeStream : public QIODevice
{
public:
    // Takes over the open mode of source, unbuffered, when source is open.
    explicit FakeStream(QIODevice* source, QObject* parent = nullptr);
    ~FakeStream() override;

    bool isSequential() const override;
    // Read modes only. Opens a closed source with mode first.
    bool open(OpenMode mode) override;
    // Closes the source too.
    void close() override;
    qint64 pos() const override;
    qint64 size() const override;
    bool seek(qint64 pos) override;
    bool atEnd() const override;
    bool reset() override;
    qint64 bytesAvailable() const override;
    qint64 bytesToWrite() const override;
    bool canReadLine() const override;

    // The bytes read through the stream, counted from 0 at construction and from the target
    // of the last seek() or reset(): at the end of a read from the start, the source's length.
    long long calculatedSize() const { return m_calculatedSize; }
    virtual bool isUnbuffered() const;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;

private:
    bool sourceOpen() const;

    QIODevice* m_source;
    long long m_calculatedSize = 0;
};

} // namespace Norvik::Cloud
