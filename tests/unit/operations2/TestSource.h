#pragma once

#include <QByteArray>
#include <QIODevice>

// A read-only, random-access source over bytes in memory that can be told to break at an
// offset the way an application's source does: by throwing the exception of a changed or
// deleted file, or by a failing read (-1) from there on.
class TestSource : public QIODevice
{
public:
    enum class Breakage
    {
        None,
        Modified,   // throws SourceFileModified
        Deleted,    // throws SourceFileDeleted
        ReadFailed, // read() returns -1
    };

    explicit TestSource(const QByteArray& data, const QString& path = QStringLiteral("/source/file.bin"));

    void breakAt(qint64 offset, Breakage how);
    // Bytes handed out so far, the highest offset reached.
    qint64 bytesRead() const { return m_highest; }

    qint64 size() const override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;

private:
    QByteArray m_data;
    QString m_path;
    qint64 m_breakAt = -1;
    Breakage m_breakage = Breakage::None;
    qint64 m_highest = 0;
};
