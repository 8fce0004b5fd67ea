#pragma once

#include <QMap>
#include <QString>
#include <QVariant>

namespace NorvikTool {

// Reads a cloud configuration from a JSON object file: every key of the library's
// configuration map may stand in it, with its JSON value. "CloudType" may be given as the
// type's name ("FileSystem", "AmazonS3Like", ...) or its number. "CloudId" defaults to a
// value derived from the file's contents, so that a changed file is a new connection.
class ConfigFile
{
public:
    // When "UseSsl" is absent, it follows the scheme of "Endpoint", so that an https endpoint
    // is never used over plain http.
    static QMap<QString, QVariant> load(const QString& path, QString* error);
    // What a storage of config's type needs and lacks, or holds in a form it cannot use, named
    // key by key; empty when nothing is wrong. needsContainer: the command works on objects.
    static QString problems(const QMap<QString, QVariant>& config, bool needsContainer);
    // The configuration of the embedded default: a local folder storage rooted at root.
    static QMap<QString, QVariant> fileSystem(const QString& root);
};

} // namespace NorvikTool
