#pragma once

#include "connection/CloudError.h"

#include <QSharedPointer>

namespace Norvik::Stream::Exception {
class SourceFileDeleted;
class SourceFileModified;
} // namespace Norvik::Stream::Exception

namespace Norvik::Cloud::Error::FileSource {

// Common part of the two records about an upload's source file: the file's path.
class SourceFileError : public CloudErrorBase
{
public:
    ~SourceFileError() override;

    const QString& path() const { return m_path; }
    void setPath(const QString& path) { m_path = path; }

protected:
    explicit SourceFileError(int type);

    QByteArray toByteArrayCustom() const override;
    bool fromByteArrayCustom(const QByteArray& data) override;

private:
    class ToByteArray;
    class FromByteArray;

    // The class's own number: a failed read may have replaced the one that type() gives.
    int m_ownType;
    QString m_path;
};

// The source file was written to while it was being uploaded.
class SourceFileModified : public SourceFileError
{
public:
    static constexpr int TypeNumber = 90001;

    SourceFileModified();
    ~SourceFileModified() override;

    static QSharedPointer<SourceFileModified>
    fromException(const Norvik::Stream::Exception::SourceFileModified& e);
};

// The source file disappeared while it was being uploaded.
class SourceFileDeleted : public SourceFileError
{
public:
    static constexpr int TypeNumber = 90002;

    SourceFileDeleted();
    ~SourceFileDeleted() override;

    static QSharedPointer<SourceFileDeleted>
    fromException(const Norvik::Stream::Exception::SourceFileDeleted& e);
};

} // namespace Norvik::Cloud::Error::FileSource
