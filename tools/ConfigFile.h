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
    static QMap<QString, QVariant> load(const QString& path, QString* error);
    // The configuration of the embedded default: a local folder storage rooted at root.
    static QMap<QString, QVariant> fileSystem(const QString& root);
};

} // namespace NorvikTool
