#pragma once

#include <NorvikCore/Exception.h>

namespace Norvik::Stream::Exception {

// Thrown by an application's source device when the file it reads from changes under it.
class SourceFileBase : public Norvik::Exception::Base
{
public:
    SourceFileBase(const QString& path, const QString& message);
    ~SourceFileBase() override;

    const QString& path() const { return m_path; }

private:
    QString m_path;
};

// The source file disappeared while it was being read.
class SourceFileDeleted : public SourceFileBase
{
public:
    explicit SourceFileDeleted(const QString& path);
    ~SourceFileDeleted() override;
};

// The source file was written to while it was being read.
class SourceFileModified : public SourceFileBase
{
public:
    explicit SourceFileModified(const QString& path);
    ~SourceFileModified() override;
};

// A device was asked for something its kind cannot do (seeking a pipe, writing a source).
class UnsupportedOperation : public Norvik::Exception::Base
{
public:
    explicit UnsupportedOperation(const QString& message);
    ~UnsupportedOperation() override;
};

} // namespace Norvik::Stream::Exception
