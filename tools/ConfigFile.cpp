#include "ConfigFile.h"

#include <info/CloudType.h>
#include <info/Config.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace NorvikTool {

using namespace Norvik::Cloud;

QMap<QString, QVariant> ConfigFile::load(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return {};
    }
    const QByteArray bytes = file.readAll();
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (document.isNull() || !document.isObject()) {
        *error = QStringLiteral("%1 is not a JSON object: %2").arg(path, parseError.errorString());
        return {};
    }
    QMap<QString, QVariant> config = document.object().toVariantMap();

    const QVariant type = config.value(Config::Type);
    if (!type.isValid()) {
        *error = QStringLiteral("%1 has no \"%2\"").arg(path, Config::Type);
        return {};
    }
    bool isNumber = false;
    const int number = type.toString().toInt(&isNumber);
    if (isNumber) {
        const auto name = TypeName.constFind(static_cast<Type>(number));
        if (name == TypeName.constEnd()) {
            *error = QStringLiteral("unknown cloud type number %1").arg(number);
            return {};
        }
        config.insert(Config::Type, *name);
    } else if (!TypeName.values().contains(type.toString())) {
        *error = QStringLiteral("unknown cloud type \"%1\"").arg(type.toString());
        return {};
    }
    if (!config.contains(Config::Id))
        config.insert(Config::Id,
                      QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex()));
    return config;
}

QMap<QString, QVariant> ConfigFile::fileSystem(const QString& root)
{
    const QString absolute = QDir(root).absolutePath();
    return {{Config::Type, TypeName.value(Type::FileSystem)},
            {Config::Id, QString(QStringLiteral("filesystem:") + absolute)},
            {Config::FileSystem::Path, absolute}};
}

} // namespace NorvikTool
