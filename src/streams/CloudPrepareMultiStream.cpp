#include "streams/CloudPrepareMultiStream.h"

#include "engine/IOperation.h"
#include "engine/OperationManager.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikCore/Preallocate.h>

#include <QTemporaryFile>

namespace Norvik::Cloud::Stream {

namespace {

unsigned long long choosePartSize(long long size, unsigned long long given)
{
    if (given >= CloudPrepareMultiStream::MinimumPartSize)
        return given;
    if (given != 0) {
        NorvikDebug("NKC").warning() << "CloudPrepareMultiStream: set default part size:"
                                     << CloudPrepareMultiStream::MinimumPartSize;
        return CloudPrepareMultiStream::MinimumPartSize;
    }
    const long long threads = OperationManager::threadCount();
    if (size / threads < static_cast<long long>(CloudPrepareMultiStream::MinimumPartSize))
        return CloudPrepareMultiStream::MinimumPartSize;
    // At most `threads` parts, the remainder in the last one.
    return static_cast<unsigned long long>(size % threads == 0 ? size / threads : size / (threads - 1));
}

} // namespace

CloudPrepareMultiStream::CloudPrepareMultiStream(const QMap<QString, QVariant>& config, const QString& path,
                                                 unsigned long long size, const QString& temporaryTemplate,
                                                 unsigned long long partSize, QObject* parent)
    : ICloudPrepareStream(config, path, size, temporaryTemplate, parent)
    , m_partSize(choosePartSize(static_cast<long long>(size), partSize))
{
    NorvikDebug("NKC").debug() << "CloudPrepareMultiStream: set part size:" << m_partSize;
    unsigned long long count = 1;
    if (size > m_partSize)
        count = size / m_partSize + (size % m_partSize ? 1 : 0);
    for (unsigned long long i = 1; i <= count; ++i) {
        // The last part reaches one byte past the object; the storage cuts it off.
        const Extensions::Range<unsigned long long> range((i - 1) * m_partSize,
                                                          qMin(i * m_partSize - 1, size));
        m_parts.append(Part(range, nullptr));
    }
}

CloudPrepareMultiStream::~CloudPrepareMultiStream()
{
    for (const QSharedPointer<IOperation>& operation : qAsConst(m_running)) {
        disconnect(operation.data(), nullptr, this, nullptr);
        operation->remove();
    }
    for (const Part& part : qAsConst(m_parts))
        delete part.second;
}

bool CloudPrepareMultiStream::open(OpenMode mode)
{
    if (!ICloudStream::open(mode))
        return false;
    for (int index = 0; index < m_parts.size(); ++index) {
        Part& part = m_parts[index];
        if (part.second && m_finished.contains(index))
            continue;
        if (!part.second) {
            auto* file =
                m_temporaryTemplate.isEmpty() ? new QTemporaryFile : new QTemporaryFile(m_temporaryTemplate);
            if (!file->open() || !Utility::preallocateFile(file->handle(), part.first.length())) {
                NorvikDebug("NKC").error() << "on preallocate file";
                delete file;
                setOpenMode(NotOpen);
                return false;
            }
            part.second = file;
        }
        if (m_running.contains(index))
            continue; // still loading from an earlier open()
        if (!addOperation(index)) {
            setOpenMode(NotOpen);
            return false;
        }
    }
    return true;
}

bool CloudPrepareMultiStream::addOperation(int index)
{
    const Part& part = m_parts.at(index);
    part.second->seek(0);
    const QSharedPointer<IOperation> operation = OperationManager::instance().downloadBlob2Stream(
        m_config, m_path, part.first.left(), part.first.length(), part.second);
    if (!operation)
        return false;
    operation->setProperty(PropertyIdx, index);
    m_running.insert(index, operation);
    connect(operation.data(), &IOperation::finished, this, &CloudPrepareMultiStream::onOperationFinished);
    operation->exec();
    return true;
}

void CloudPrepareMultiStream::onOperationFinished()
{
    auto* operation = qobject_cast<IOperation*>(sender());
    if (!operation)
        return;
    const int index = operation->property(PropertyIdx).toInt();
    if (operation->state() != IOperation::StateComplete || operation->isError()) {
        NorvikDebug("NKC").error() << "CloudPrepareMultiStream: on load prepare stream object"
                                   << operation->errorMessage();
        setOpenMode(NotOpen);
    } else {
        m_finished.insert(index);
    }
    operation->remove();
    m_running.remove(index);
    if (isComplite() && isOpen())
        emit readyRead();
}

qint64 CloudPrepareMultiStream::readData(char* data, qint64 maxSize)
{
    if (!readyToRead() || atEnd() || maxSize <= 0)
        return 0;
    if (m_position + maxSize > m_size)
        maxSize = m_size - m_position;

    int index = 0;
    for (int i = 0; i < m_parts.size(); ++i) {
        if (m_parts.at(i).first.contains(static_cast<unsigned long long>(m_position))) {
            index = i;
            break;
        }
    }
    qint64 delivered = 0;
    while (delivered < maxSize && index < m_parts.size()) {
        const Part& part = m_parts.at(index);
        const unsigned long long offset = static_cast<unsigned long long>(m_position + delivered);
        part.second->seek(static_cast<qint64>(offset - part.first.left()));
        const qint64 remaining = maxSize - delivered;
        // The part's own bytes end at its right end or at the object's end, whichever is first.
        const qint64 inPart = static_cast<qint64>(
            qMin(part.first.right() + 1, static_cast<unsigned long long>(m_size)) - offset);
        const qint64 wanted = qMin(remaining, inPart);
        const qint64 got = part.second->read(data + delivered, wanted);
        if (got <= 0)
            break;
        delivered += got;
        if (got == inPart)
            ++index;
    }
    m_position += delivered;
    return delivered;
}

} // namespace Norvik::Cloud::Stream
