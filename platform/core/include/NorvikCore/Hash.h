#pragma once

#include <QByteArray>

#include <memory>

class QIODevice;

namespace Norvik::Core::Hash {

// Base64 of the MD5 digest of no data.
inline constexpr char EmptyMd5_Base64[] = "1B2M2Y8AsgTpgAmY7PhCfg==";

enum class Algorithm { Md5, Sha1, Sha256 };

// Incremental digest over OpenSSL's EVP interface: several times faster than
// QCryptographicHash for SHA-256 on bulk data.
class Digest
{
public:
    explicit Digest(Algorithm algorithm);
    ~Digest();
    Digest(const Digest&) = delete;
    Digest& operator=(const Digest&) = delete;

    void addData(const char* data, qsizetype length);
    void addData(const QByteArray& data) { addData(data.constData(), data.size()); }
    // Reads from the device's current position until its end, or at most limit bytes when
    // limit is not negative. Returns the count read, or -1 on a read error.
    qint64 addData(QIODevice& device, qint64 limit = -1);
    // The raw digest; the object is reset and can be used again.
    QByteArray result();

    static QByteArray hash(const QByteArray& data, Algorithm algorithm);

private:
    struct Context;
    std::unique_ptr<Context> m_context;
    Algorithm m_algorithm;
};

} // namespace Norvik::Core::Hash
