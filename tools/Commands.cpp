#include "Commands.h"

#include "OperationRunner.h"
#include "ProgressBar.h"

#include <connection/ListingObject.h>
#include <engine/OperationConfig.h>
#include <engine/OperationManager.h>
#include <operations/CheckConfig.h>
#include <operations/DownloadAuto2Stream.h>
#include <operations/ListContainers.h>
#include <operations/Listing.h>
#include <operations/MultipleDelete.h>
#include <operations/SignUrl.h>
#include <operations/UploadAuto.h>
#include <operations/UploadMultipart.h>
#include <streams/CloudWithBufferStream.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QTextStream>

namespace NorvikTool {

using namespace Norvik::Cloud;

namespace {

// Part size of uploads in parts, and the largest object that goes in one request.
constexpr qint64 DefaultChunkSize = 8 * 1024 * 1024;
// What cat fetches per request.
constexpr int CatBufferSize = 8 * 1024 * 1024;

QTextStream& out()
{
    static QTextStream stream(stdout);
    return stream;
}

void printError(const QString& text)
{
    QTextStream(stderr) << "norvik-cloud: " << text << Qt::endl;
}

int usage(const QString& text)
{
    printError(text);
    return 2;
}

// Names as the user gives them, whatever the storage: some storages answer with a leading "/".
QString displayName(const QString& name)
{
    return name.startsWith(QLatin1Char('/')) ? name.mid(1) : name;
}

QJsonObject objectRecord(const QString& cloudPath)
{
    return Api::ListingObject(cloudPath, QDateTime(), 0, QByteArray(), QByteArray(),
                              cloudPath.endsWith(QLatin1Char('/')))
        .json();
}

bool parseRange(const QString& text, quint64* first, quint64* last)
{
    const QStringList parts = text.split(QLatin1Char('-'));
    if (parts.size() != 2)
        return false;
    bool ok1 = false;
    bool ok2 = false;
    *first = parts[0].toULongLong(&ok1);
    *last = parts[1].toULongLong(&ok2);
    return ok1 && ok2 && *last >= *first;
}

} // namespace

Commands::Commands(const QMap<QString, QVariant>& config, ProgressBar& progress, const Options& options)
    : m_config(config)
    , m_progress(progress)
    , m_options(options)
{
}

bool Commands::uploadFile(const QString& localPath, const QString& cloudPath,
                          const QMap<QString, QVariant>& metadata, QString* error)
{
    QFile file(localPath);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(localPath, file.errorString());
        return false;
    }
    m_progress.start(QFileInfo(localPath).fileName(), file.size());

    QMap<QString, QVariant> config = m_config;
    config.insert(OperationConfig::ChunkSize,
                  m_options.chunkSize > 0 ? m_options.chunkSize : DefaultChunkSize);
    QByteArray uploadInfo;
    if (!m_options.stateFile.isEmpty()) {
        QFile state(m_options.stateFile);
        if (state.open(QIODevice::ReadOnly))
            uploadInfo = state.readAll().trimmed();
    }

    // The storage, the file's length and the part size decide between one request and parts;
    // an upload id kept from an interrupted run, or --multipart, asks for parts outright.
    OperationManager& manager = OperationManager::instance();
    QSharedPointer<IOperation> operation;
    QSharedPointer<Operation::UploadMultipart> multipart;
    if (m_options.multipart || !uploadInfo.isEmpty()) {
        operation = manager.uploadMultipart(config, cloudPath, metadata, &file, uploadInfo);
        multipart = qSharedPointerCast<Operation::UploadMultipart>(operation);
    } else {
        operation = manager.uploadAuto(config, cloudPath, metadata, &file);
        if (auto automatic = qSharedPointerCast<Operation::UploadAuto>(operation))
            multipart = automatic->uploadMultipartOperation();
    }
    if (multipart && !m_options.stateFile.isEmpty()) {
        // Keep the upload id as soon as the service gives it, so that an interrupted upload
        // can be continued by running the same command again.
        const QString stateFile = m_options.stateFile;
        QObject::connect(multipart.data(), &Operation::UploadMultipart::updateUploadInfo, &m_progress,
                         [stateFile](const QByteArray& info) {
                             QSaveFile state(stateFile);
                             if (state.open(QIODevice::WriteOnly)) {
                                 state.write(info + '\n');
                                 state.commit();
                             }
                         });
    }
    const OperationRunner::Outcome outcome = OperationRunner::run(operation);
    m_progress.finish();
    if (!outcome.ok) {
        *error = QStringLiteral("upload of %1 failed: %2").arg(localPath, outcome.describe());
        return false;
    }
    if (!m_options.stateFile.isEmpty())
        QFile::remove(m_options.stateFile);
    return true;
}

bool Commands::downloadFile(const QString& cloudPath, const QString& localPath,
                            QMap<QString, QVariant>* metadata, QString* error)
{
    // Written beside the target and renamed at the end: a failed download never leaves a
    // half-written file under the real name.
    QSaveFile file(localPath);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = QStringLiteral("cannot write %1: %2").arg(localPath, file.errorString());
        return false;
    }
    m_progress.start(QFileInfo(localPath).fileName(), 0);
    // A broken transfer is continued from where the file stands, by ranged requests.
    bool useRange = false;
    quint64 first = 0;
    quint64 count = 0;
    if (!m_options.range.isEmpty()) {
        quint64 last = 0;
        if (!parseRange(m_options.range, &first, &last)) {
            *error = QStringLiteral("bad range \"%1\": expected FIRST-LAST, inclusive").arg(m_options.range);
            return false;
        }
        useRange = true;
        count = last - first + 1;
    }
    const QSharedPointer<IOperation> operation =
        OperationManager::instance().DownloadAuto2Stream(m_config, cloudPath, &file, useRange, count, first);
    const auto download = qSharedPointerCast<Operation::DownloadAuto2Stream>(operation);
    const OperationRunner::Outcome outcome = OperationRunner::run(operation);
    m_progress.finish();
    if (!outcome.ok) {
        file.cancelWriting();
        *error = QStringLiteral("download of %1 failed: %2").arg(cloudPath, outcome.describe());
        return false;
    }
    if (!file.commit()) {
        *error = QStringLiteral("cannot write %1: %2").arg(localPath, file.errorString());
        return false;
    }
    if (metadata && download)
        *metadata = download->metaData();
    return true;
}

bool Commands::listAll(const QString& prefix, const QString& delimiter, QList<QVariantMap>* objects,
                       QString* error)
{
    QString marker = m_options.marker;
    do {
        auto operation = OperationManager::instance().listing(m_config, prefix, marker, delimiter,
                                                              static_cast<quint16>(m_options.maxCount));
        auto listing = qSharedPointerCast<Operation::Listing>(operation);
        const OperationRunner::Outcome outcome = OperationRunner::run(operation);
        if (!outcome.ok) {
            *error = QStringLiteral("listing of \"%1\" failed: %2").arg(prefix, outcome.describe());
            return false;
        }
        for (const QJsonValue& value : listing->data())
            objects->append(value.toObject().toVariantMap());
        marker = listing->marker();
    } while (!marker.isEmpty());
    return true;
}

int Commands::put(const QStringList& args)
{
    if (args.size() != 2)
        return usage(QStringLiteral("put needs LOCAL-FILE CLOUD-PATH"));
    QString error;
    if (!uploadFile(args[0], args[1], {}, &error)) {
        printError(error);
        return 1;
    }
    return 0;
}

int Commands::get(const QStringList& args)
{
    if (args.size() != 2)
        return usage(QStringLiteral("get needs CLOUD-PATH LOCAL-FILE"));
    QString error;
    if (!downloadFile(args[0], args[1], nullptr, &error)) {
        printError(error);
        return 1;
    }
    return 0;
}

int Commands::ls(const QStringList& args)
{
    if (args.size() > 1)
        return usage(QStringLiteral("ls takes at most one PREFIX"));
    const QString prefix = args.value(0);
    QString marker = m_options.marker;
    for (;;) {
        auto operation = OperationManager::instance().listing(m_config, prefix, marker, m_options.delimiter,
                                                              static_cast<quint16>(m_options.maxCount));
        auto listing = qSharedPointerCast<Operation::Listing>(operation);
        const OperationRunner::Outcome outcome = OperationRunner::run(operation);
        if (!outcome.ok) {
            printError(QStringLiteral("listing failed: ") + outcome.describe());
            return 1;
        }
        for (const QJsonValue& value : listing->data()) {
            const Api::ListingObject object(value.toObject());
            out() << (object.isFolder() ? "d " : "- ") << QString::number(object.size()).rightJustified(14)
                  << "  " << object.lastModified().toUTC().toString(Qt::ISODate).leftJustified(20) << "  "
                  << displayName(object.name()) << '\n';
        }
        marker = listing->marker();
        if (marker.isEmpty() || !m_options.allPages)
            break;
    }
    if (!marker.isEmpty())
        out() << "next marker: " << marker << '\n';
    out().flush();
    return 0;
}

int Commands::cat(const QStringList& args)
{
    if (args.size() != 1)
        return usage(QStringLiteral("cat needs CLOUD-PATH"));
    // A stream is given the object's length; the listing of its own name tells it.
    QList<QVariantMap> objects;
    QString error;
    if (!listAll(args[0], QString(), &objects, &error)) {
        printError(error);
        return 1;
    }
    qint64 size = -1;
    for (const QVariantMap& object : qAsConst(objects)) {
        const Api::ListingObject record(QJsonObject::fromVariantMap(object));
        if (displayName(record.name()) == displayName(args[0]) && !record.isFolder())
            size = static_cast<qint64>(record.size());
    }
    if (size < 0) {
        printError(QStringLiteral("no object %1").arg(args[0]));
        return 1;
    }
    Stream::CloudWithBufferStream stream(m_config, args[0], size, QUuid(), CatBufferSize);
    if (!stream.open(QIODevice::ReadOnly)) {
        printError(QStringLiteral("cannot read %1").arg(args[0]));
        return 1;
    }
    QFile output;
    output.open(stdout, QIODevice::WriteOnly);
    while (!stream.atEnd()) {
        const QByteArray piece = stream.read(CatBufferSize);
        if (piece.isEmpty()) {
            printError(QStringLiteral("reading %1 failed: %2").arg(args[0], stream.errorString()));
            return 1;
        }
        if (output.write(piece) != piece.size()) {
            printError(QStringLiteral("writing to standard output failed: ") + output.errorString());
            return 1;
        }
    }
    return 0;
}

int Commands::rm(const QStringList& args)
{
    if (args.size() != 1)
        return usage(QStringLiteral("rm needs CLOUD-PATH"));
    const OperationRunner::Outcome outcome =
        OperationRunner::run(OperationManager::instance().deleteOnce(m_config, objectRecord(args[0])));
    if (!outcome.ok) {
        printError(QStringLiteral("delete of %1 failed: %2").arg(args[0], outcome.describe()));
        return 1;
    }
    return 0;
}

int Commands::multiRm(const QStringList& args)
{
    if (args.isEmpty())
        return usage(QStringLiteral("multi-rm needs CLOUD-PATH..."));
    QJsonArray objects;
    for (const QString& path : args)
        objects.append(objectRecord(path));
    auto operation = OperationManager::instance().multipleDelete(m_config, objects);
    auto remove = qSharedPointerCast<Operation::MultipleDelete>(operation);
    const OperationRunner::Outcome outcome = OperationRunner::run(operation);
    if (!outcome.ok) {
        printError(QStringLiteral("multiple delete failed: ") + outcome.describe());
        return 1;
    }
    const QJsonArray failures = remove->data();
    for (const QJsonValue& failure : failures)
        printError(QStringLiteral("not deleted: ") +
                   QString::fromUtf8(QJsonDocument(failure.toObject()).toJson(QJsonDocument::Compact)));
    return failures.isEmpty() ? 0 : 1;
}

int Commands::mkdir(const QStringList& args)
{
    if (args.size() != 1)
        return usage(QStringLiteral("mkdir needs CLOUD-PATH"));
    QString path = args[0];
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    const OperationRunner::Outcome outcome =
        OperationRunner::run(OperationManager::instance().uploadEmptyFolder(m_config, path));
    if (!outcome.ok) {
        printError(QStringLiteral("mkdir %1 failed: %2").arg(path, outcome.describe()));
        return 1;
    }
    return 0;
}

int Commands::sign(const QStringList& args)
{
    if (args.size() != 1)
        return usage(QStringLiteral("sign needs CLOUD-PATH"));
    auto operation = OperationManager::instance().signUrl(
        m_config, args[0], m_options.useSsl, QDateTime::currentDateTime().addSecs(m_options.expires));
    auto signUrl = qSharedPointerCast<Operation::SignUrl>(operation);
    const OperationRunner::Outcome outcome = OperationRunner::run(operation);
    if (!outcome.ok) {
        printError(QStringLiteral("signing %1 failed: %2").arg(args[0], outcome.describe()));
        return 1;
    }
    out() << signUrl->data() << '\n';
    out().flush();
    return 0;
}

int Commands::containers(const QStringList& args)
{
    if (!args.isEmpty())
        return usage(QStringLiteral("containers takes no arguments"));
    if (!m_options.create.isEmpty()) {
        QJsonObject params{{QStringLiteral("name"), m_options.create},
                           {QStringLiteral("Name"), m_options.create}};
        if (!m_options.region.isEmpty()) {
            params.insert(QStringLiteral("region"), m_options.region);
            params.insert(QStringLiteral("Region"), m_options.region);
        }
        const OperationRunner::Outcome outcome =
            OperationRunner::run(OperationManager::instance().createContainer(m_config, params));
        if (!outcome.ok) {
            printError(
                QStringLiteral("creating container %1 failed: %2").arg(m_options.create, outcome.describe()));
            return 1;
        }
        return 0;
    }
    auto operation = OperationManager::instance().listContainers(m_config);
    auto list = qSharedPointerCast<Operation::ListContainers>(operation);
    const OperationRunner::Outcome outcome = OperationRunner::run(operation);
    if (!outcome.ok) {
        printError(QStringLiteral("listing containers failed: ") + outcome.describe());
        return 1;
    }
    for (const QJsonValue& value : list->data())
        out() << QString::fromUtf8(QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact)) << '\n';
    out().flush();
    return 0;
}

int Commands::check(const QStringList& args)
{
    if (!args.isEmpty())
        return usage(QStringLiteral("check takes no arguments"));
    auto operation = OperationManager::instance().checkConfig(m_config);
    const OperationRunner::Outcome outcome = OperationRunner::run(operation);
    if (!outcome.ok) {
        printError(QStringLiteral("configuration check failed: ") + outcome.describe());
        return 1;
    }
    out() << "configuration is usable\n";
    out().flush();
    return 0;
}

} // namespace NorvikTool
