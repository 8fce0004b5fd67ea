// norvik-cloud: a command-line client of libnorvikCloud.

#include "BackupRestore.h"
#include "Commands.h"
#include "ConfigFile.h"
#include "ProgressBar.h"

#include <NorvikCore/GlobalConfig.h>
#include <NorvikCore/NorvikDebug.h>
#include <engine/OperationManager.h>
#include <info/Config.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTextStream>

using namespace NorvikTool;

namespace {

const char* const Description = R"(A client of the Norvik cloud storage library.

The storage is either a local folder (--local ROOT, the default being ./norvik-storage) or
any storage described by a JSON configuration file (--config FILE): an object with the
library's configuration keys, for example
  {"CloudType": "S3Compatible", "Endpoint": "http://127.0.0.1:8080", "AccessKey": "...",
   "SecretKey": "...", "Region": "us-east-1", "ContainerName": "bucket", "Signature": "V4"}

Commands:
  put LOCAL-FILE CLOUD-PATH    upload a file (in parts when larger than --chunk-size or with
                               --multipart; --state FILE keeps the upload id so that an
                               interrupted upload continues where it stopped when run again)
  get CLOUD-PATH LOCAL-FILE    download an object (--range FIRST-LAST for a byte range); a
                               broken transfer is continued where it stopped
  cat CLOUD-PATH               write an object to standard output
  ls [PREFIX]                  list one page (--all for every page; --marker, --delimiter,
                               --max)
  rm CLOUD-PATH                delete an object
  multi-rm CLOUD-PATH...       delete several objects in one request
  mkdir CLOUD-PATH             create an empty folder
  sign CLOUD-PATH              print a signed URL (--expires SECONDS, --ssl)
  containers                   list containers (--create NAME [--region R] creates one)
  check                        check that the configuration reaches its storage
  backup FOLDER CLOUD-PREFIX   copy a folder tree, with sizes and permissions, into storage
  restore CLOUD-PREFIX FOLDER  copy it back, setting the permissions

Without "UseSsl", an https endpoint is used with TLS and an http one without. A configuration
that lacks a key its storage needs is refused before anything is sent.

Errors are printed as "error <code>: <message>" with the library's error code; the library's
own log lines show only with --verbose. The exit status is 0 on success, 1 when an operation
failed, 2 on bad usage or a bad configuration.)";

// The network settings of the command line; everything else keeps the library's defaults.
class ClientGlobalConfig : public Norvik::Core::GlobalConfig
{
public:
    ClientGlobalConfig(const QString& proxy, const QString& caFile)
        : m_proxy(proxy)
        , m_caFile(caFile)
    {
    }
    QString proxy() const override { return m_proxy; }
    QString caCertificatesPath() const override { return m_caFile; }

private:
    const QString m_proxy;
    const QString m_caFile;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("norvik-cloud"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromUtf8(Description));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("command"),
                                 QStringLiteral("The command to run (see above)."));
    parser.addPositionalArgument(QStringLiteral("arguments"), QStringLiteral("The command's arguments."),
                                 QStringLiteral("[arguments...]"));
    const QCommandLineOption configOption(QStringLiteral("config"),
                                          QStringLiteral("JSON configuration of the storage."),
                                          QStringLiteral("FILE"));
    const QCommandLineOption localOption(QStringLiteral("local"),
                                         QStringLiteral("Use a local folder as the storage."),
                                         QStringLiteral("ROOT"), QStringLiteral("norvik-storage"));
    const QCommandLineOption containerOption(
        QStringLiteral("container"),
        QStringLiteral("Container (bucket) name, overriding the configuration's."), QStringLiteral("NAME"));
    const QCommandLineOption rangeOption(
        QStringLiteral("range"), QStringLiteral("get: inclusive byte range."), QStringLiteral("FIRST-LAST"));
    const QCommandLineOption markerOption(
        QStringLiteral("marker"), QStringLiteral("ls: start after this marker."), QStringLiteral("MARKER"));
    const QCommandLineOption delimiterOption(QStringLiteral("delimiter"),
                                             QStringLiteral("ls: folder delimiter."), QStringLiteral("TEXT"));
    const QCommandLineOption maxOption(QStringLiteral("max"),
                                       QStringLiteral("ls: objects per page (1-65535)."), QStringLiteral("N"),
                                       QStringLiteral("1000"));
    const QCommandLineOption allOption(QStringLiteral("all"), QStringLiteral("ls: every page."));
    const QCommandLineOption multipartOption(QStringLiteral("multipart"),
                                             QStringLiteral("put: upload in parts."));
    const QCommandLineOption chunkOption(QStringLiteral("chunk-size"), QStringLiteral("Part size in bytes."),
                                         QStringLiteral("BYTES"));
    const QCommandLineOption stateOption(
        QStringLiteral("state"), QStringLiteral("put: file that keeps the upload id of a multipart upload."),
        QStringLiteral("FILE"));
    const QCommandLineOption expiresOption(QStringLiteral("expires"),
                                           QStringLiteral("sign: validity in seconds."),
                                           QStringLiteral("SECONDS"), QStringLiteral("3600"));
    const QCommandLineOption sslOption(QStringLiteral("ssl"), QStringLiteral("sign: an https URL."));
    const QCommandLineOption createOption(
        QStringLiteral("create"), QStringLiteral("containers: create this one."), QStringLiteral("NAME"));
    const QCommandLineOption regionOption(QStringLiteral("region"),
                                          QStringLiteral("containers: region of a new one."),
                                          QStringLiteral("REGION"));
    const QCommandLineOption threadsOption(QStringLiteral("threads"),
                                           QStringLiteral("Task and job threads of the engine (default 10)."),
                                           QStringLiteral("N"));
    const QCommandLineOption memoryOption(
        QStringLiteral("memory"),
        QStringLiteral("Memory budget for part buffers, in bytes (at least 100 MiB)."),
        QStringLiteral("BYTES"));
    const QCommandLineOption tempOption(
        QStringLiteral("temp"), QStringLiteral("Folder for temporary part files."), QStringLiteral("DIR"));
    const QCommandLineOption proxyOption(
        QStringLiteral("proxy"),
        QStringLiteral(
            "HTTP proxy of the storage's requests (none by default; the environment's proxy variables "
            "are not read)."),
        QStringLiteral("URL"));
    const QCommandLineOption caFileOption(
        QStringLiteral("ca-file"),
        QStringLiteral("PEM file of the certificate authorities to trust instead of the system's."),
        QStringLiteral("FILE"));
    const QCommandLineOption verboseOption(
        QStringList{QStringLiteral("v"), QStringLiteral("verbose")},
        QStringLiteral("Log the library's lines, down to debug, to stderr."));
    parser.addOptions({configOption, localOption, containerOption, rangeOption, markerOption, delimiterOption,
                       maxOption, allOption, multipartOption, chunkOption, stateOption, expiresOption,
                       sslOption, createOption, regionOption, threadsOption, memoryOption, tempOption,
                       verboseOption});
    parser.addOptions({proxyOption, caFileOption});
    parser.process(app);

    const QStringList positional = parser.positionalArguments();
    if (positional.isEmpty()) {
        QTextStream(stderr) << parser.helpText();
        return 2;
    }
    // The client says what went wrong in its own words; the library's lines are for --verbose.
    NorvikDebug::setThreshold(parser.isSet(verboseOption) ? NorvikDebug::Level::Debug
                                                          : NorvikDebug::Level::Off);

    QMap<QString, QVariant> config;
    if (parser.isSet(configOption)) {
        QString error;
        config = ConfigFile::load(parser.value(configOption), &error);
        if (config.isEmpty()) {
            QTextStream(stderr) << "norvik-cloud: " << error << Qt::endl;
            return 2;
        }
    } else {
        const QString root = parser.value(localOption);
        if (!QDir().mkpath(root)) {
            QTextStream(stderr) << "norvik-cloud: cannot create the storage folder " << root << Qt::endl;
            return 2;
        }
        config = ConfigFile::fileSystem(root);
    }
    if (parser.isSet(containerOption))
        config.insert(QStringLiteral("ContainerName"), parser.value(containerOption));

    // Checked before any operation starts: the library would only refuse the connection, and
    // the operation end with no reason.
    const QString command = positional.first();
    const QString problems = ConfigFile::problems(config, command != QLatin1String("containers"));
    if (!problems.isEmpty()) {
        QTextStream(stderr) << "norvik-cloud: " << problems << Qt::endl;
        return 2;
    }

    Commands::Options options;
    options.range = parser.value(rangeOption);
    options.marker = parser.value(markerOption);
    options.delimiter = parser.value(delimiterOption);
    options.maxCount = parser.value(maxOption).toInt();
    options.allPages = parser.isSet(allOption);
    options.multipart = parser.isSet(multipartOption);
    options.chunkSize = parser.value(chunkOption).toLongLong();
    options.stateFile = parser.value(stateOption);
    options.expires = parser.value(expiresOption).toInt();
    options.useSsl = parser.isSet(sslOption);
    options.create = parser.value(createOption);
    options.region = parser.value(regionOption);
    if (options.maxCount < 1 || options.maxCount > 65535) {
        QTextStream(stderr) << "norvik-cloud: --max must be between 1 and 65535" << Qt::endl;
        return 2;
    }

    if (parser.isSet(caFileOption) && !QFileInfo(parser.value(caFileOption)).isReadable()) {
        QTextStream(stderr) << "norvik-cloud: cannot read --ca-file " << parser.value(caFileOption)
                            << Qt::endl;
        return 2;
    }
    if (parser.isSet(proxyOption) || parser.isSet(caFileOption))
        Norvik::Core::GlobalConfig::install(
            new ClientGlobalConfig(parser.value(proxyOption), parser.value(caFileOption)));

    // Engine settings take effect only before the engine starts.
    using Norvik::Cloud::OperationManager;
    if (parser.isSet(threadsOption))
        OperationManager::setThreadCount(parser.value(threadsOption).toInt());
    if (parser.isSet(memoryOption))
        OperationManager::setMemoryUsed(parser.value(memoryOption).toULongLong());
    if (parser.isSet(tempOption))
        OperationManager::setTemporaryFileFolderPath(parser.value(tempOption));

    const QStringList args = positional.mid(1);
    ProgressBar progress;
    Commands commands(config, progress, options);
    BackupRestore backupRestore(commands);

    int status = 2;
    if (command == QLatin1String("put"))
        status = commands.put(args);
    else if (command == QLatin1String("get"))
        status = commands.get(args);
    else if (command == QLatin1String("ls"))
        status = commands.ls(args);
    else if (command == QLatin1String("cat"))
        status = commands.cat(args);
    else if (command == QLatin1String("rm"))
        status = commands.rm(args);
    else if (command == QLatin1String("multi-rm"))
        status = commands.multiRm(args);
    else if (command == QLatin1String("mkdir"))
        status = commands.mkdir(args);
    else if (command == QLatin1String("sign"))
        status = commands.sign(args);
    else if (command == QLatin1String("containers"))
        status = commands.containers(args);
    else if (command == QLatin1String("check"))
        status = commands.check(args);
    else if (command == QLatin1String("backup") && args.size() == 2)
        status = backupRestore.backup(args[0], args[1]);
    else if (command == QLatin1String("restore") && args.size() == 2)
        status = backupRestore.restore(args[0], args[1]);
    else {
        QTextStream(stderr) << "norvik-cloud: unknown command or wrong arguments: "
                            << positional.join(QLatin1Char(' ')) << "\nSee norvik-cloud --help." << Qt::endl;
        return 2;
    }

    // A client stops the engine before it exits; its threads are joined here.
    OperationManager::instance().stop();
    return status;
}
