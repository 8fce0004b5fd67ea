#include "NorvikStreams/SourceFileException.h"

#include <QCoreApplication>

namespace Norvik::Stream::Exception {

SourceFileBase::SourceFileBase(const QString& path, const QString& message)
    : Norvik::Exception::Base(message)
    , m_path(path)
{
}

SourceFileBase::~SourceFileBase() = default;

SourceFileDeleted::SourceFileDeleted(const QString& path)
    : SourceFileBase(path, QCoreApplication::translate("SourceFile", "The file %1 was deleted while it was read").arg(path))
{
}

SourceFileDeleted::~SourceFileDeleted() = default;

SourceFileModified::SourceFileModified(const QString& path)
    : SourceFileBase(path,
                     QCoreApplication::translate("SourceFile", "The file %1 was modified while it was read").arg(path))
{
}

SourceFileModified::~SourceFileModified() = default;

UnsupportedOperation::UnsupportedOperation(const QString& message)
    : Norvik::Exception::Base(message)
{
}

UnsupportedOperation::~UnsupportedOperation() = default;

} // namespace Norvik::Stream::Exception
