#include "storage/StorageSftpPrivate.h"

#include "connection/KeyHelper.h"
#include "info/Config.h"

#include <NorvikCore/NorvikDebug.h>

#include <QCryptographicHash>

#include <curl/curl.h>
#include <curlpp/Easy.hpp>
#include <curlpp/Options.hpp>

namespace Norvik::Cloud::Api {

namespace Keys = Norvik::Cloud::Config::Network::Sftp;

namespace {

constexpr long AuthPasswordAndKeyboard = CURLSSH_AUTH_PASSWORD | CURLSSH_AUTH_KEYBOARD;
constexpr long AuthPublicKey = CURLSSH_AUTH_PUBLICKEY;

} // namespace

StorageSftpPrivate::StorageSftpPrivate() = default;

StorageSftpPrivate::~StorageSftpPrivate() = default;

bool StorageSftpPrivate::setConfig(const QMap<QString, QVariant>& config)
{
    const QString path = config.value(Keys::Path).toString();
    setPath(path.isEmpty() ? QStringLiteral("/") : path);
    setUser(config.value(Keys::User).toString());
    if (user().isEmpty()) {
        NorvikDebug("NKC").error() << "SFTP config: the user is missing";
        return false;
    }
    setPassword(config.value(Keys::Password).toString());
    setPrivateKey(config.value(Keys::PrivateKey).toByteArray());
    setHostKeySha256(config.value(Keys::HostKeySha256).toString());
    return true;
}

void StorageSftpPrivate::setPrivateKey(const QByteArray& key)
{
    if (key != m_privateKey)
        m_keyHelper.reset();
    m_privateKey = key;
}

void StorageSftpPrivate::setHostKeySha256(const QString& fingerprint)
{
    QString text = fingerprint.trimmed();
    if (text.startsWith(QLatin1String("SHA256:")))
        text.remove(0, 7);
    // OpenSSH prints the Base64 text without its padding.
    while (text.endsWith(QLatin1Char('=')))
        text.chop(1);
    m_hostKeySha256 = text;
}

int StorageSftpPrivate::onHostKey(void* self, int, const char* key, size_t length)
{
    auto* storage = static_cast<StorageSftpPrivate*>(self);
    const QByteArray digest =
        QCryptographicHash::hash(QByteArray(key, static_cast<int>(length)), QCryptographicHash::Sha256);
    storage->m_seenHostKey = QString::fromLatin1(digest.toBase64(QByteArray::OmitTrailingEquals));
    if (storage->m_hostKeySha256.isEmpty() || storage->m_hostKeySha256 == storage->m_seenHostKey)
        return CURLKHMATCH_OK;
    NorvikDebug("NKC").error() << "SFTP server shows an unknown host key:" << storage->m_seenHostKey
                               << "expected:" << storage->m_hostKeySha256;
    return CURLKHMATCH_MISMATCH;
}

bool StorageSftpPrivate::auth(curlpp::Easy& request)
{
    if (user().isEmpty())
        return false;
    // Every handshake passes the host key by this check, which also records it.
    curl_easy_setopt(request.getHandle(), CURLOPT_SSH_HOSTKEYFUNCTION, &StorageSftpPrivate::onHostKey);
    curl_easy_setopt(request.getHandle(), CURLOPT_SSH_HOSTKEYDATA, this);
    if (!password().isEmpty()) {
        request.setOpt(curlpp::OptionTrait<long, CURLOPT_SSH_AUTH_TYPES>(AuthPasswordAndKeyboard));
        request.setOpt(
            curlpp::options::UserPwd(QStringLiteral("%1:%2").arg(user(), password()).toStdString()));
        return true;
    }
    if (m_privateKey.isEmpty())
        return false;
    request.setOpt(curlpp::OptionTrait<long, CURLOPT_SSH_AUTH_TYPES>(AuthPublicKey));
    request.setOpt(curlpp::options::UserPwd(QStringLiteral("%1:").arg(user()).toStdString()));
    if (!m_keyHelper)
        m_keyHelper = std::make_unique<KeyHelper>();
    m_keyHelper->setPrivateKey(m_privateKey);
    if (m_keyHelper->pathToPrivateKey().isEmpty())
        return false;
    // An empty public key file lets libssh2 derive the public key from the private one.
    request.setOpt(curlpp::OptionTrait<std::string, CURLOPT_SSH_PUBLIC_KEYFILE>(std::string()));
    request.setOpt(curlpp::OptionTrait<std::string, CURLOPT_SSH_PRIVATE_KEYFILE>(
        m_keyHelper->pathToPrivateKey().toStdString()));
    return true;
}

} // namespace Norvik::Cloud::Api
