#pragma once

#include <QByteArray>
#include <QIODevice>

#include <atomic>

// A read-only source device whose misbehaviour is chosen by the test: it hands out its data
// in pieces of at most chunkSize bytes, and at a chosen offset it fails (read returns -1) or
// throws the exception that an application's source throws when its file changes.
class ScriptedSource : public QIODevice
{
public:
    enum class Access
    {
        Sequential,
        RandomAccess
    };

    explicit ScriptedSource(const QByteArray& data, Access access = Access::Sequential,
                            qint64 chunkSize = 1 << 20);

    void failAt(qint64 offset) { m_failAt = offset; }
    void throwAt(qint64 offset) { m_throwAt = offset; }
    // How often readData() was called: 0 means nothing was read.
    int readCalls() const { return m_readCalls.load(); }

    bool isSequential() const override;
    qint64 size() const override;
    qint64 bytesAvailable() const override;
    bool atEnd() const override;
    bool seek(qint64 pos) override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;

private:
    QByteArray m_data;
    Access m_access;
    qint64 m_chunkSize;
    qint64 m_offset = 0;
    qint64 m_failAt = -1;
    qint64 m_throwAt = -1;
    std::atomic<int> m_readCalls{0};
};
