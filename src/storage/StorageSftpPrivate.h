#pragma once

#include "storage/StorageFtpPrivate.h"

#include <memory>

namespace Norvik::Cloud::Api {

class KeyHelper;

// The SFTP engine: password or key sign-in, and the server's host key pinned when the
// configuration names it.
class StorageSftpPrivate : public StorageFtpPrivate
{
public:
    StorageSftpPrivate();
    ~StorageSftpPrivate() override;

    // "Path" ("/" when missing or empty), "User" (required), "Password", "PrivateKey",
    // "HostKeySha256". False without a user.
    bool setConfig(const QMap<QString, QVariant>& config);

    void setPrivateKey(const QByteArray& key);
    const QByteArray& privateKey() const { return m_privateKey; }
    // Base64 of the SHA-256 of the host key, as OpenSSH prints it, without "SHA256:".
    void setHostKeySha256(const QString& fingerprint);
    const QString& hostKeySha256() const { return m_hostKeySha256; }
    // The fingerprint of the key that the server showed on the last request (empty before).
    const QString& seenHostKeySha256() const { return m_seenHostKey; }

protected:
    // A password wins over a key; with neither, false.
    bool auth(curlpp::Easy& request) override;

private:
    static int onHostKey(void* self, int keyType, const char* key, size_t length);

    QByteArray m_privateKey;
    QString m_hostKeySha256;
    QString m_seenHostKey;
    std::unique_ptr<KeyHelper> m_keyHelper;
};

} // namespace Norvik::Cloud::Api
