// Folder listings of file servers in the long form, one entry a line, as an SFTP or FTP server
// sends them. Every line either reads as an entry or is dropped; an entry's path is the listed
// folder, its name and, for a folder, a "/"; its record names it relative to the folder.
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
#define CHECK(condition) ((condition) ? void() : (std::fprintf(stderr, "line %d\n", __LINE__), std::abort()))

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const QUrl base(QStringLiteral("sftp://host/srv/base/"));
    const QString folder = QStringLiteral("/srv/base/dir/");
    for (const QString& line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        const FSFtpInfo info(folder, line);
        if (!info.isValid()) {
            CHECK(info.path().isEmpty());
            continue;
        }
        CHECK(!info.name().isEmpty());
        CHECK(info.name() != QLatin1String(".") && info.name() != QLatin1String(".."));
        CHECK(!(info.isFolder() && info.isLink()));
        CHECK(info.path() == folder + info.name() + (info.isFolder() ? QStringLiteral("/") : QString()));
        const ListingObjectFSFtp record(info, base);
        CHECK(QStringLiteral("/srv/base/") + record.name() == info.path());
        // A record keeps sizes as JSON numbers: exact up to 2^53 bytes, far beyond any file.
        CHECK(record.size() == info.size() || info.size() > (quint64(1) << 53));
        CHECK(record.isFolder() == info.isFolder());
    }
    return 0;
}
