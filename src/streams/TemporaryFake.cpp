#include "streams/TemporaryFake.h"

#include "streams/FakeStream.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud {

namespace {

QSharedPointer<QIODevice> passThrough(long long size, QIODevice* device, void (*deleter)(QIODevice*))
{
    if (size >= 1 && device)
        return QSharedPointer<QIODevice>(device, deleter);
    // Without a size the bytes have to be counted on their way to the storage. A missing
    // device also gets a stream, which refuses to open, so that file() is never null.
    return QSharedPointer<QIODevice>(new TemporaryFileManager::TemporaryFake::FakeStream(device));
}

} // namespace

TemporaryFileManager::TemporaryFake::TemporaryFake(long long size, QIODevice* device)
    : TemporaryFile(passThrough(size, device, &TemporaryFake::doDeleter), size)
{
}

TemporaryFileManager::TemporaryFake::~TemporaryFake() = default;

long long TemporaryFileManager::TemporaryFake::size() const
{
    const long long declared = TemporaryFile::size();
    if (declared > 0)
        return declared;
    const auto* stream = dynamic_cast<const FakeStream*>(file().data());
    return stream ? stream->calculatedSize() : 0;
}

void TemporaryFileManager::TemporaryFake::doDeleter(QIODevice*)
{
    NorvikDebug("NKC").debug() << "Call fake deleter.";
}

} // namespace Norvik::Cloud
