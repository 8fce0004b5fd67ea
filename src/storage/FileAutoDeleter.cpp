#include "storage/FileAutoDeleter.h"

#include <NorvikCore/NorvikDebug.h>

#include <QFile>

namespace Norvik::Cloud::Api {

FileAutoDeleter::FileAutoDeleter(const QString& path)
    : m_file(QSharedPointer<QFile>::create(path))
{
}

FileAutoDeleter::~FileAutoDeleter()
{
    if (m_file->isOpen())
        m_file->close();
    if (!m_delete || !m_file->exists())
        return;
    // Runs during stack unwinding: report, never throw.
    if (!m_file->remove())
        NorvikDebug("NKC").error() << "Error on remove autodeleted file:" << m_file->fileName()
                                   << "error message:" << m_file->errorString();
}

} // namespace Norvik::Cloud::Api
