#include "NorvikCore/Hash.h"

#include <QIODevice>

#include <openssl/evp.h>

#include <algorithm>
#include <stdexcept>

namespace Norvik::Core::Hash {

struct Digest::Context
{
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    ~Context() { EVP_MD_CTX_free(ctx); }
};

namespace {

const EVP_MD* evpOf(Algorithm algorithm)
{
    switch (algorithm) {
    case Algorithm::Md5:
        return EVP_md5();
    case Algorithm::Sha1:
        return EVP_sha1();
    case Algorithm::Sha256:
        return EVP_sha256();
    }
    return EVP_sha256();
}

} // namespace

Digest::Digest(Algorithm algorithm)
    : m_context(std::make_unique<Context>())
    , m_algorithm(algorithm)
{
    if (!m_context->ctx || EVP_DigestInit_ex(m_context->ctx, evpOf(algorithm), nullptr) != 1)
        throw std::runtime_error("EVP digest initialisation failed");
}

Digest::~Digest() = default;

void Digest::addData(const char* data, qsizetype length)
{
    if (length > 0)
        EVP_DigestUpdate(m_context->ctx, data, static_cast<size_t>(length));
}

qint64 Digest::addData(QIODevice& device, qint64 limit)
{
    constexpr qint64 blockSize = 1 << 20;
    QByteArray block(static_cast<int>(blockSize), Qt::Uninitialized);
    qint64 total = 0;
    while (limit < 0 || total < limit) {
        const qint64 wanted = limit < 0 ? blockSize : std::min(blockSize, limit - total);
        const qint64 got = device.read(block.data(), wanted);
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        addData(block.constData(), got);
        total += got;
    }
    return total;
}

QByteArray Digest::result()
{
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(m_context->ctx, out, &length);
    EVP_DigestInit_ex(m_context->ctx, evpOf(m_algorithm), nullptr);
    return QByteArray(reinterpret_cast<const char*>(out), static_cast<int>(length));
}

QByteArray Digest::hash(const QByteArray& data, Algorithm algorithm)
{
    Digest digest(algorithm);
    digest.addData(data);
    return digest.result();
}

} // namespace Norvik::Core::Hash
