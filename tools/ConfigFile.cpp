#include "ConfigFile.h"

#include <info/AmazonS3LikeInfo.h>
#include <info/CloudType.h>
#include <info/Config.h>
#include <info/InfoFactory.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

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
    const QString endpoint = Api::Config::Http::Endpoint;
    const QString useSsl = Api::Config::Http::UseSsl;
    if (config.contains(endpoint) && !config.contains(useSsl)) {
        const QString scheme = config.value(endpoint).toUrl().scheme();
        if (scheme == QLatin1String("https") || scheme == QLatin1String("http"))
            config.insert(useSsl, scheme == QLatin1String("https"));
    }
    if (!config.contains(Config::Id))
        config.insert(Config::Id,
                      QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex()));
    return config;
}

namespace {

bool isBlank(const QMap<QString, QVariant>& config, const QString& key)
{
    return config.value(key).toString().trimmed().isEmpty();
}

// The keys without which the library refuses a connection of this type.
QStringList requiredKeys(Type type, const QMap<QString, QVariant>& config)
{
    if (type == Type::FileSystem)
        return {Config::FileSystem::Path};
    if (S3Compatible.contains(type) || AmazonS3.contains(type))
        return {Config::AmazonS3Like::AccessKey, Config::AmazonS3Like::SecretKey};
    if (OpenStack.contains(type))
        return {Config::OpenStack::Username, Config::OpenStack::ApiKey};
    if (NetworkConnection.contains(type))
        return {Config::Network::Address, Config::Network::Sftp::User};
    if (type == Type::AzureBlob) {
        QStringList keys{Config::AzureBlob::Username, Config::AzureBlob::Password};
        if (config.value(Config::AzureBlob::AccountTypes::Key).toString() ==
            Config::AzureBlob::AccountTypes::Value::AzureStack)
            keys << Api::Config::Http::Endpoint;
        return keys;
    }
    if (type == Type::BackBlaze)
        return {Config::BackBlaze::AccountId, Config::BackBlaze::ApplicationKey};
    if (type == Type::GoogleStorage) {
        switch (config.value(Config::GoogleStorage::AuthType, -1).toInt()) {
        case 0:
            return {Config::GoogleStorage::Auth_AccessAndSecretKey::AccessKey,
                    Config::GoogleStorage::Auth_AccessAndSecretKey::SecretKey};
        case 1:
            return {Config::GoogleStorage::Auth_ServiceAccount::PrivateKey,
                    Config::GoogleStorage::Auth_ServiceAccount::ProjectId,
                    Config::GoogleStorage::Auth_ServiceAccount::ServiceAccount};
        case 2:
            return {Config::GoogleStorage::Auth_InstalledApplication::ProjectId};
        default:
            return {Config::GoogleStorage::AuthType};
        }
    }
    return {};
}

} // namespace

QString ConfigFile::problems(const QMap<QString, QVariant>& config, bool needsContainer)
{
    const Type type = TypeName.key(config.value(Config::Type).toString(), static_cast<Type>(-1));
    QStringList missing;
    for (const QString& key : requiredKeys(type, config)) {
        if (isBlank(config, key))
            missing << key;
    }
    if (type == Type::GoogleStorage && config.value(Config::GoogleStorage::AuthType).toInt() == 2 &&
        isBlank(config, Config::GoogleStorage::Auth_InstalledApplication::InitCode) &&
        isBlank(config, Config::GoogleStorage::Auth_InstalledApplication::RefreshToken))
        missing << QStringLiteral("%1\" or \"%2")
                       .arg(Config::GoogleStorage::Auth_InstalledApplication::InitCode,
                            Config::GoogleStorage::Auth_InstalledApplication::RefreshToken);
    const bool s3 = S3Compatible.contains(type) || AmazonS3.contains(type);
    const QString endpointKey = Api::Config::Http::Endpoint;
    if (s3 && !config.contains(endpointKey)) {
        // Services without a descriptor of their own have no host to fall back on.
        const auto info = qSharedPointerDynamicCast<Info::AmazonS3Like>(Info::InfoFactory::create(type));
        if (!info || info->defaultEndpoint().isEmpty())
            missing << endpointKey;
    }
    if (needsContainer && type != Type::FileSystem && !NetworkConnection.contains(type) &&
        isBlank(config, QStringLiteral("ContainerName")))
        missing << QStringLiteral("ContainerName");

    QStringList wrong;
    if (config.contains(endpointKey)) {
        const QUrl url = config.value(endpointKey).toUrl();
        if (!url.isValid() || url.host().isEmpty() ||
            (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https")))
            wrong << QStringLiteral("\"%1\" must be an http or https URL with a host").arg(endpointKey);
    }
    const QString signature = Config::AmazonS3Like::Signature::Key;
    if (s3 && config.contains(signature) &&
        config.value(signature) != Config::AmazonS3Like::Signature::Value::V2 &&
        config.value(signature) != Config::AmazonS3Like::Signature::Value::V4)
        wrong << QStringLiteral("\"%1\" must be \"V2\" or \"V4\"").arg(signature);
    if (type == Type::GoogleStorage && missing.contains(Config::GoogleStorage::AuthType) &&
        config.contains(Config::GoogleStorage::AuthType)) {
        missing.removeAll(Config::GoogleStorage::AuthType);
        wrong << QStringLiteral("\"%1\" must be 0, 1 or 2").arg(Config::GoogleStorage::AuthType);
    }

    QStringList text;
    if (!missing.isEmpty())
        text << QStringLiteral("the configuration lacks \"%1\"").arg(missing.join(QStringLiteral("\", \"")));
    text += wrong;
    return text.join(QStringLiteral("; "));
}

QMap<QString, QVariant> ConfigFile::fileSystem(const QString& root)
{
    const QString absolute = QDir(root).absolutePath();
    return {{Config::Type, TypeName.value(Type::FileSystem)},
            {Config::Id, QString(QStringLiteral("filesystem:") + absolute)},
            {Config::FileSystem::Path, absolute}};
}

} // namespace NorvikTool
