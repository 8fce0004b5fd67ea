#pragma once

#include <QMap>
#include <QStringList>
#include <QVariant>

namespace NorvikTool {

class ProgressBar;

// The tool's commands. Each takes its positional arguments and options and returns the
// process exit status: 0 on success, 1 on a failed operation, 2 on bad usage.
class Commands
{
public:
    struct Options
    {
        QString range;       // get: "first-last", inclusive
        QString marker;      // ls
        QString delimiter;   // ls
        int maxCount = 1000; // ls: page size
        bool allPages = false;
        bool multipart = false; // put
        qint64 chunkSize = 0;   // put: part size of a multipart upload, 0 for the default
        QString stateFile;      // put: where the upload id of a multipart upload is kept
        int expires = 3600;     // sign: seconds
        bool useSsl = false;    // sign
        QString region;         // containers --create
        QString create;         // containers --create NAME
    };

    Commands(const QMap<QString, QVariant>& config, ProgressBar& progress, const Options& options);

    int put(const QStringList& args);
    int get(const QStringList& args);
    int ls(const QStringList& args);
    int cat(const QStringList& args);
    int rm(const QStringList& args);
    int multiRm(const QStringList& args);
    int mkdir(const QStringList& args);
    int sign(const QStringList& args);
    int containers(const QStringList& args);
    int check(const QStringList& args);

    // Uploads one local file; used by put and by backup. In one request or in parts, as the
    // storage and the file's length decide; in parts when asked, or when a kept upload id
    // continues an interrupted upload.
    bool uploadFile(const QString& localPath, const QString& cloudPath,
                    const QMap<QString, QVariant>& metadata, QString* error);
    // Downloads one object into a local file; on success fills metadata.
    bool downloadFile(const QString& cloudPath, const QString& localPath, QMap<QString, QVariant>* metadata,
                      QString* error);
    // Lists every object under prefix, page by page.
    bool listAll(const QString& prefix, const QString& delimiter, QList<QVariantMap>* objects,
                 QString* error);

    const QMap<QString, QVariant>& config() const { return m_config; }

private:
    QMap<QString, QVariant> m_config;
    ProgressBar& m_progress;
    Options m_options;
};

} // namespace NorvikTool
