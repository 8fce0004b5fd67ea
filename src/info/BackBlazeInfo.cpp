#include "info/BackBlazeInfo.h"

#include <QObject>

namespace Norvik::Cloud::Info {

BackBlaze::BackBlaze()
    : Base(Type::BackBlaze)
{
    m_minChunkSize = 5 * MiB;
    m_maxChunkSize = 100 * MiB;
    m_maxChunkCount = 10000;
    m_maxFileSize = 10 * TiB;
    m_encryptionContainer = 3;
    m_compressionContainer = 3;
    m_supportSignedUrl = true;
    m_supportContinueUpload = true;
    m_supportSynthetic = true;
    m_syntheticMinBlockSize = 5 * MiB;
}

BackBlaze::~BackBlaze() = default;

QUrl BackBlaze::defaultEndpoint() const
{
    QUrl url;
    url.setHost(QStringLiteral("api.backblazeb2.com"));
    return url;
}

QMap<QString, QString> BackBlaze::containerAccessType() const
{
    return {
        {QStringLiteral("allPrivate"), QObject::tr("Private")},
        {QStringLiteral("allPublic"), QObject::tr("Public")},
    };
}

} // namespace Norvik::Cloud::Info
