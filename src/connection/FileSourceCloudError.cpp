#include "connection/FileSourceCloudError.h"

#include <NorvikStreams/SourceFileException.h>

#include <QJsonObject>

namespace Norvik::Cloud::Error::FileSource {

namespace {

const QString PathKey = QStringLiteral("path");

} // namespace

class SourceFileError::ToByteArray : public CloudErrorBase::ToByteArray
{
public:
    explicit ToByteArray(const SourceFileError& error)
        : CloudErrorBase::ToByteArray(error)
        , m_error(error)
    {
    }

protected:
    void extend(QJsonObject& object) const override { object.insert(PathKey, m_error.m_path); }

private:
    const SourceFileError& m_error;
};

class SourceFileError::FromByteArray : public CloudErrorBase::FromByteArray
{
public:
    explicit FromByteArray(SourceFileError& error)
        : CloudErrorBase::FromByteArray(error, error.m_ownType)
        , m_error(error)
    {
    }

protected:
    bool read(const QJsonObject& object) override
    {
        return readString(object, PathKey, m_error.m_path, true);
    }

private:
    SourceFileError& m_error;
};

SourceFileError::SourceFileError(int type)
    : CloudErrorBase(type)
    , m_ownType(type)
{
}

SourceFileError::~SourceFileError() = default;

QByteArray SourceFileError::toByteArrayCustom() const
{
    return ToByteArray(*this)();
}

bool SourceFileError::fromByteArrayCustom(const QByteArray& data)
{
    return FromByteArray(*this)(data);
}

SourceFileModified::SourceFileModified()
    : SourceFileError(TypeNumber)
{
}

SourceFileModified::~SourceFileModified() = default;

QSharedPointer<SourceFileModified>
SourceFileModified::fromException(const Norvik::Stream::Exception::SourceFileModified& e)
{
    auto error = QSharedPointer<SourceFileModified>::create();
    error->setMessage(e.message());
    error->setPath(e.path());
    return error;
}

SourceFileDeleted::SourceFileDeleted()
    : SourceFileError(TypeNumber)
{
}

SourceFileDeleted::~SourceFileDeleted() = default;

QSharedPointer<SourceFileDeleted>
SourceFileDeleted::fromException(const Norvik::Stream::Exception::SourceFileDeleted& e)
{
    auto error = QSharedPointer<SourceFileDeleted>::create();
    error->setMessage(e.message());
    error->setPath(e.path());
    return error;
}

} // namespace Norvik::Cloud::Error::FileSource
