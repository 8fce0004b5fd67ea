#include "OperationsTestSupport.h"

#include "engine/JobFormat.h"
#include "engine/OperationJob.h"
#include "engine/OperationManager.h"
#include "info/CloudType.h"
#include "info/Config.h"
#include "streams/TemporaryFileManager.h"

#include "TestSupport.h"

#include <NorvikStreams/SourceFileException.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <algorithm>

namespace NorvikTest {

SourceDevice::SourceDevice(qint64 length, Kind kind)
    : m_length(length)
    , m_kind(kind)
{
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

char SourceDevice::patternByte(qint64 offset)
{
    // Period 251, a prime, so that no power-of-two block repeats the same bytes.
    return static_cast<char>((offset * 7 + offset / 251) % 251);
}

QByteArray SourceDevice::pattern(qint64 from, qint64 count)
{
    QByteArray bytes(static_cast<int>(count), Qt::Uninitialized);
    for (qint64 i = 0; i < count; ++i)
        bytes[static_cast<int>(i)] = patternByte(from + i);
    return bytes;
}

void SourceDevice::changeAt(qint64 offset, Change change, const QString& path)
{
    m_changeAt = offset;
    m_change = change;
    m_changedPath = path;
}

bool SourceDevice::isSequential() const
{
    return m_kind == Kind::Sequential;
}

qint64 SourceDevice::size() const
{
    // A pipe does not know its length.
    return m_kind == Kind::Sequential ? 0 : m_length;
}

qint64 SourceDevice::end() const
{
    return m_endAt >= 0 ? std::min(m_endAt, m_length) : m_length;
}

bool SourceDevice::atEnd() const
{
    return m_offset.load() >= end();
}

qint64 SourceDevice::bytesAvailable() const
{
    return end() - m_offset.load();
}

bool SourceDevice::seek(qint64 pos)
{
    if (m_kind == Kind::Sequential || !QIODevice::seek(pos))
        return false;
    m_offset = pos;
    return true;
}

qint64 SourceDevice::readData(char* data, qint64 maxSize)
{
    ++m_readCalls;
    const qint64 offset = m_offset.load();
    if (m_changeAt >= 0 && offset >= m_changeAt) {
        if (m_change == Change::Deleted)
            throw Norvik::Stream::Exception::SourceFileDeleted(m_changedPath);
        if (m_change == Change::Modified)
            throw Norvik::Stream::Exception::SourceFileModified(m_changedPath);
    }
    qint64 count = std::min(maxSize, end() - offset);
    if (m_changeAt >= 0)
        count = std::min(count, m_changeAt - offset);
    if (count <= 0)
        return m_kind == Kind::Sequential && offset >= end() ? -1 : 0;
    for (qint64 i = 0; i < count; ++i)
        data[i] = patternByte(offset + i);
    m_offset = offset + count;
    return count;
}

qint64 SourceDevice::writeData(const char*, qint64)
{
    return -1;
}

QMap<QString, QVariant> fileSystemConfig(const QString& root)
{
    namespace Config = Norvik::Cloud::Config;
    return {{Config::Type, Norvik::Cloud::Name::FileSystem},
            {Config::Id, QUuid::createUuid().toString()},
            {Config::FileSystem::Path, root}};
}

int runByHand(Norvik::Cloud::IOperation& operation, Norvik::Cloud::Api::IConnection& connection,
              int maxPasses)
{
    using namespace Norvik::Cloud;
    const QString taskId = QUuid::createUuid().toString();
    int jobs = 0;
    for (int pass = 0; pass < maxPasses; ++pass) {
        QCoreApplication::processEvents();
        if (operation.isComplite())
            break;
        const QJsonDocument job = operation.makeJob();
        if (job.isNull())
            continue;
        QJsonObject sent = job.object();
        sent.insert(JobFormat::TaskId, taskId);
        const QJsonDocument result = OperationJob::exec(&connection, QJsonDocument(sent));
        // What crosses the command socket: the binary form, read back with validation.
        operation.resultJob(QJsonDocument::fromBinaryData(result.toBinaryData(), QJsonDocument::Validate));
        ++jobs;
    }
    QCoreApplication::processEvents();
    return jobs;
}

bool waitUntilComplete(const Norvik::Cloud::IOperation& operation, int timeoutMs)
{
    return waitFor([&] { return operation.isComplite(); }, timeoutMs);
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

void writeFile(const QString& path, const QByteArray& data)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(data);
}

int freeTemporaryFileSlots()
{
    using Norvik::Cloud::TemporaryFileManager;
    QBuffer probe;
    probe.open(QIODevice::ReadOnly);
    QList<QUuid> made;
    for (int i = 0; i < Norvik::Cloud::OperationManager::threadCount(); ++i) {
        const QUuid id = TemporaryFileManager::instance().tryAdd(0, probe).first;
        if (id.isNull())
            break;
        made.append(id);
    }
    for (const QUuid& id : made)
        TemporaryFileManager::instance().remove(id);
    return made.size();
}

int entryCount(const QString& folder)
{
    return QDir(folder).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden).size();
}

MockCloud::MockCloud(Norvik::Cloud::Type type)
    : ICloud(type)
{
}

MockCloud::~MockCloud() = default;

} // namespace NorvikTest
