// Folder listings of file servers in the long form, one entry a line, as an SFTP or FTP server
// sends them. Every line either reads as an entry or is dropped; an entry's path is the listed
// folder, its name and, for a folder, a "/"; its record names it relative to the folder.
#include "FuzzSupport.h"
#include "storage/FSFtpInfo.h"
#include "storage/ListingObjectFSFtp.h"

#include <QString>
#include <QStringList>
#include <QUrl>

#include <cstdio>
#include <cstdlib>

using namespace Norvik::Cloud::Api;

namespace {

// A failed property aborts, with its line in the report.

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const QUrl base(QStringLiteral("sftp://host/srv/base/"));
    const QString folder = QStringLiteral("/srv/base/dir/");
    for (const QString& line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        const FSFtpInfo info(folder, line);
        if (!info.isValid()) {
            check(info.path().isEmpty());
            continue;
        }
        check(!info.name().isEmpty());
        check(info.name() != QLatin1String(".") && info.name() != QLatin1String(".."));
        check(!(info.isFolder() && info.isLink()));
        check(info.path() == folder + info.name() + (info.isFolder() ? QStringLiteral("/") : QString()));
        const ListingObjectFSFtp record(info, base);
        check(QStringLiteral("/srv/base/") + record.name() == info.path());
        // A record keeps sizes as JSON numbers: exact up to 2^53 bytes, far beyond any file.
        check(record.size() == info.size() || info.size() > (quint64(1) << 53));
        check(record.isFolder() == info.isFolder());
    }
    return 0;
}
