#pragma once

#include <QJsonObject>
#include <QString>

namespace Norvik::Cloud::Api {

// The cold tier of a storage: objects there must be restored before they can be read. A
// connection that has one implements this as a second base; job functions reach it by
// dynamic_cast from IConnection.
class IArchive
{
public:
    virtual ~IArchive();

    // Starts the restore. Throws Exception::ArchiveNotAvailable or
    // Exception::ArchiveRestoreAlreadyInProgress for the answers the caller reports.
    virtual void prepareForDownload(const QString& container, const QString& path,
                                    const QJsonObject& options) = 0;
    virtual bool checkReadyForDownload(const QString& container, const QString& path) = 0;
    virtual void finalizeDownloaded(const QString& container, const QString& path) = 0;
};

} // namespace Norvik::Cloud::Api
