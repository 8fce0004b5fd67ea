#pragma once

#include <QString>

class QIODevice;

namespace Norvik::Utility {

// Copies a counted number of bytes between two devices through one block-sized buffer.
class StreamCopy
{
public:
    explicit StreamCopy(int blockSize);

    // Copies up to size bytes from source's position to destination. Returns the count
    // copied, which is lower than size when the source ends early or a device fails
    // (see errorString()). Exceptions thrown by the source's read pass through untouched.
    long long exec(QIODevice& destination, QIODevice& source, long long size);
    QString errorString() const;

private:
    int m_blockSize;
    QString m_error;
};

} // namespace Norvik::Utility
