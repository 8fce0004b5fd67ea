#pragma once

#include "streams/TemporaryFile.h"

class QIODevice;

namespace Norvik::Cloud {

// An entry of TemporaryFileManager that is no file at all but the caller's own device, so
// that a storage without multipart upload can stream a large source straight from it, with
// neither a memory copy nor a temporary file. The device is never deleted here.
//
// With a known size the entry hands out the device itself. With a size below 1 it hands out
// a FakeStream over the device, which counts the bytes read through it; size() is then that
// count, and a source of unknown length learns its size by being uploaded.
class TemporaryFileManager::TemporaryFake : public TemporaryFileManager::TemporaryFile
{
public:
    class FakeStream;

    TemporaryFake(long long size, QIODevice* device);
    ~TemporaryFake() override;

    long long size() const override;

private:
    // The deleter of the shared pointer on the caller's device: it must not delete it.
    static void doDeleter(QIODevice* device);
};

} // namespace Norvik::Cloud
