#include "BackupRestore.h"

#include "Commands.h"

#include <NorvikCore/FileInfo.h>
#include <connection/CloudFileMetaData.h>
#include <connection/ListingObject.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

namespace NorvikTool {

using namespace Norvik::Cloud;

namespace {

void report(const QString& text)
{
    QTextStream(stderr) << "norvik-cloud: " << text << Qt::endl;
}

QString joinCloud(const QString& prefix, const QString& relative)
{
    QString result = prefix;
    while (result.endsWith(QLatin1Char('/')))
        result.chop(1);
    return result.isEmpty() ? relative : result + QLatin1Char('/') + relative;
}

QString normalisedPrefix(QString prefix)
{
    while (prefix.startsWith(QLatin1Char('/')))
        prefix.remove(0, 1);
    while (prefix.endsWith(QLatin1Char('/')))
        prefix.chop(1);
    return prefix;
}

} // namespace

BackupRestore::BackupRestore(Commands& commands)
    : m_commands(commands)
{
}

int BackupRestore::backup(const QString& folder, const QString& cloudPrefix)
{
    const QDir root(folder);
    if (!root.exists()) {
        report(QStringLiteral("backup: %1 is not a folder").arg(folder));
        return 2;
    }
    int files = 0;
    int folders = 0;
    qint64 bytes = 0;
    int failures = 0;
    QDirIterator it(root.absolutePath(), QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const Norvik::Core::FS::FileInfo info(path);
        const QString relative = root.relativeFilePath(path);
        const QString cloudPath = QLatin1Char('/') + joinCloud(normalisedPrefix(cloudPrefix), relative);
        if (info.isSymLink()) {
            report(QStringLiteral("backup: skipping symbolic link %1").arg(relative));
            continue;
        }
        if (info.isDir()) {
            if (!QDir(path).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System))
                continue; // folders with content are implied by their files
            if (m_commands.mkdir({cloudPath}) != 0)
                ++failures;
            else
                ++folders;
            continue;
        }
        if (!info.isFile()) {
            report(QStringLiteral("backup: skipping special file %1").arg(relative));
            continue;
        }
        const Api::CloudFileMetaData metadata(info);
        QString error;
        if (!m_commands.uploadFile(path, cloudPath, metadata.metaData(false), &error)) {
            report(error);
            ++failures;
            continue;
        }
        ++files;
        bytes += info.size();
    }
    QTextStream(stdout) << "backed up " << files << " files (" << bytes << " bytes) and " << folders
                        << " empty folders into " << cloudPrefix << Qt::endl;
    return failures == 0 ? 0 : 1;
}

int BackupRestore::restore(const QString& cloudPrefix, const QString& folder)
{
    const QString prefix = normalisedPrefix(cloudPrefix);
    QList<QVariantMap> objects;
    QString error;
    if (!m_commands.listAll(prefix, QString(), &objects, &error)) {
        report(error);
        return 1;
    }
    if (!QDir().mkpath(folder)) {
        report(QStringLiteral("restore: cannot create %1").arg(folder));
        return 1;
    }
    const QDir root(folder);
    int files = 0;
    int folders = 0;
    int failures = 0;
    for (const QVariantMap& map : objects) {
        const Api::ListingObject object(QJsonObject::fromVariantMap(map));
        QString name = object.name();
        while (name.startsWith(QLatin1Char('/')))
            name.remove(0, 1);
        if (!prefix.isEmpty()) {
            if (!name.startsWith(prefix + QLatin1Char('/')))
                continue; // a sibling that merely shares the prefix's first letters
            name = name.mid(prefix.size() + 1);
        }
        while (name.endsWith(QLatin1Char('/')))
            name.chop(1);
        if (name.isEmpty())
            continue;
        if (name.split(QLatin1Char('/')).contains(QStringLiteral(".."))) {
            report(QStringLiteral("restore: refusing object name that leaves the target folder: %1").arg(name));
            ++failures;
            continue;
        }
        const QString target = root.absoluteFilePath(name);
        if (object.isFolder()) {
            if (QDir().mkpath(target))
                ++folders;
            else
                ++failures;
            continue;
        }
        QDir().mkpath(QFileInfo(target).absolutePath());
        QMap<QString, QVariant> metadata;
        if (!m_commands.downloadFile(QLatin1Char('/') + joinCloud(prefix, name), target, &metadata, &error)) {
            report(error);
            ++failures;
            continue;
        }
        const Api::CloudFileMetaData record(metadata);
        // Storages that keep no metadata of their own (a local folder) report a real size of 0.
        if (record.realSize() > 0 && QFileInfo(target).size() != record.realSize()) {
            report(QStringLiteral("restore: %1 has %2 bytes, its metadata says %3")
                       .arg(name)
                       .arg(QFileInfo(target).size())
                       .arg(record.realSize()));
            ++failures;
            continue;
        }
        if (metadata.contains(Api::CloudFileMetaData::FilePermissions))
            QFile::setPermissions(target, record.permission());
        ++files;
    }
    QTextStream(stdout) << "restored " << files << " files and " << folders << " empty folders into " << folder
                        << Qt::endl;
    return failures == 0 ? 0 : 1;
}

} // namespace NorvikTool
