#include "connection/CloudErrorFactory.h"

#include "connection/AmazonCloudError.h"
#include "connection/BackBlazeCloudError.h"
#include "connection/FileSourceCloudError.h"

namespace Norvik::Cloud::Error {

namespace {

template <typename Record>
QSharedPointer<CloudErrorBase> readAs(const QByteArray& data)
{
    auto record = QSharedPointer<Record>::create();
    if (!record->fromByteArray(data))
        return {};
    return record;
}

} // namespace

QSharedPointer<CloudErrorBase> CloudErrorFactory::operator()(const QByteArray& data) const
{
    CloudErrorBase probe(0);
    if (!probe.fromByteArray(data) || probe.type() == 0)
        return {};
    switch (probe.type()) {
    case PathContainsIllegalSymbols::TypeNumber:
        // The B2 subclass shares the number; the general class stands for both.
        return readAs<PathContainsIllegalSymbols>(data);
    case Amazon::RequestTimeTooSkewed::TypeNumber:
        return readAs<Amazon::RequestTimeTooSkewed>(data);
    case Amazon::S3TransferAcceleration::TypeNumber:
        return readAs<Amazon::S3TransferAcceleration>(data);
    case BackBlaze::FileNotPresent::TypeNumber:
        return readAs<BackBlaze::FileNotPresent>(data);
    case FileSource::SourceFileModified::TypeNumber:
        return readAs<FileSource::SourceFileModified>(data);
    case FileSource::SourceFileDeleted::TypeNumber:
        return readAs<FileSource::SourceFileDeleted>(data);
    default:
        return {};
    }
}

} // namespace Norvik::Cloud::Error
