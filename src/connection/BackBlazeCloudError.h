#pragma once

#include "connection/CloudError.h"

#include <QSharedPointer>

namespace Norvik::Cloud::Error::BackBlaze {

// The file that a request named does not exist, or no longer does.
class FileNotPresent : public CloudErrorBase
{
public:
    static constexpr int TypeNumber = 20001;

    FileNotPresent();
    ~FileNotPresent() override;

    // Null unless the body is a B2 error with the code "file_not_present".
    static QSharedPointer<FileNotPresent> fromResponse(const QByteArray& body);

    bool fromByteArray(const QByteArray& data) override;
};

// The B2 form of an object name with characters the service refuses. It travels with the type
// number of the general record and is rebuilt as that.
class PathContainsIllegalSymbols : public Error::PathContainsIllegalSymbols
{
public:
    PathContainsIllegalSymbols();
    ~PathContainsIllegalSymbols() override;

    // Null unless the body is a B2 "bad_request" about control or DELETE characters in a name.
    static QSharedPointer<PathContainsIllegalSymbols> fromResponse(const QByteArray& body);
};

} // namespace Norvik::Cloud::Error::BackBlaze
