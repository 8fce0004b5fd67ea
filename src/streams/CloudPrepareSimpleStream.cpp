#include "streams/CloudPrepareSimpleStream.h"

#include "engine/IOperation.h"
#include "engine/OperationManager.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikCore/Preallocate.h>

#include <QTemporaryFile>

namespace Norvik::Cloud::Stream {

CloudPrepareSimpleStream::CloudPrepareSimpleStream(const QMap<QString, QVariant>& config, const QString& path,
                                                   unsigned long long size, const QString& temporaryTemplate,
                                                   QObject* parent)
    : ICloudPrepareStream(config, path, size, temporaryTemplate, parent)
{
}

CloudPrepareSimpleStream::~CloudPrepareSimpleStream()
{
    if (m_operation)
        m_operation->remove();
    delete m_file;
}

bool CloudPrepareSimpleStream::hasData() const
{
    return readyToRead() && m_file;
}

bool CloudPrepareSimpleStream::open(OpenMode mode)
{
    if (m_file)
        return false;
    m_file = m_temporaryTemplate.isEmpty() ? new QTemporaryFile : new QTemporaryFile(m_temporaryTemplate);
    if (!m_file->open()) {
        delete m_file;
        m_file = nullptr;
        return false;
    }
    if (!Utility::preallocateFile(m_file->handle(), static_cast<unsigned long long>(m_size))) {
        NorvikDebug("NKC").error() << "on preallocate file" << m_file->fileName();
        delete m_file;
        m_file = nullptr;
        return false;
    }
    if (!ICloudStream::open(mode))
        return false;
    m_operation = OperationManager::instance().download2Stream(m_config, m_path, m_file);
    if (!m_operation)
        return false;
    connect(m_operation.data(), &IOperation::finished, this, &CloudPrepareSimpleStream::onOperationFinished);
    m_operation->exec();
    return true;
}

void CloudPrepareSimpleStream::onOperationFinished()
{
    if (!m_operation)
        return;
    if (m_operation->state() == IOperation::StateComplete && !m_operation->isError()) {
        m_file->reset();
        emit readyRead();
    } else {
        NorvikDebug("NKC").error() << "on load data for stream:" << m_operation->errorMessage();
        delete m_file;
        m_file = nullptr;
        setOpenMode(NotOpen);
    }
    m_operation->remove();
    m_operation.reset();
}

void CloudPrepareSimpleStream::close()
{
    if (m_file)
        m_file->close();
}

bool CloudPrepareSimpleStream::atEnd() const
{
    return hasData() && m_file->atEnd();
}

qint64 CloudPrepareSimpleStream::pos() const
{
    return hasData() ? m_file->pos() : 0;
}

bool CloudPrepareSimpleStream::reset()
{
    return hasData() && m_file->reset() && QIODevice::seek(0);
}

bool CloudPrepareSimpleStream::seek(qint64 pos)
{
    return hasData() && m_file->seek(pos) && QIODevice::seek(pos);
}

qint64 CloudPrepareSimpleStream::size() const
{
    return hasData() ? m_file->size() : 0;
}

qint64 CloudPrepareSimpleStream::readData(char* data, qint64 maxSize)
{
    if (!hasData())
        return 0;
    return m_file->read(data, maxSize);
}

} // namespace Norvik::Cloud::Stream
