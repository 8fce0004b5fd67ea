#include "info/GoogleStorageInfo.h"

#include <QObject>

#ifndef NORVIK_GOOGLE_CLIENT_ID
#define NORVIK_GOOGLE_CLIENT_ID ""
#endif
#ifndef NORVIK_GOOGLE_CLIENT_SECRET
#define NORVIK_GOOGLE_CLIENT_SECRET ""
#endif

namespace Norvik::Cloud::Info {

const QString GoogleStorage::ClientID = QStringLiteral(NORVIK_GOOGLE_CLIENT_ID);
const QString GoogleStorage::ClientSecret = QStringLiteral(NORVIK_GOOGLE_CLIENT_SECRET);

GoogleStorage::GoogleStorage()
    : Base(Type::GoogleStorage)
{
    m_minChunkSize = 5 * MiB;
    m_maxChunkSize = 5 * GiB;
    m_maxChunkCount = 20000;
    m_maxFileSize = 5 * TiB;
    m_encryptionContainer = 3;
    m_supportSignedUrl = true;
}

GoogleStorage::~GoogleStorage() = default;

QUrl GoogleStorage::defaultEndpoint() const
{
    QUrl url;
    url.setHost(QStringLiteral("storage.googleapis.com"));
    return url;
}

QMap<QString, QString> GoogleStorage::regions() const
{
    return {
        {QStringLiteral("US"), QObject::tr("United States (multi-region)")},
        {QStringLiteral("EU"), QObject::tr("European Union (multi-region)")},
        {QStringLiteral("ASIA"), QObject::tr("Asia (multi-region)")},
        {QStringLiteral("us-central1"), QObject::tr("Iowa")},
        {QStringLiteral("us-east1"), QObject::tr("South Carolina")},
        {QStringLiteral("us-east4"), QObject::tr("Northern Virginia")},
        {QStringLiteral("us-west1"), QObject::tr("Oregon")},
        {QStringLiteral("us-west2"), QObject::tr("Los Angeles")},
        {QStringLiteral("northamerica-northeast1"), QObject::tr("Montreal")},
        {QStringLiteral("southamerica-east1"), QObject::tr("Sao Paulo")},
        {QStringLiteral("europe-north1"), QObject::tr("Finland")},
        {QStringLiteral("europe-west1"), QObject::tr("Belgium")},
        {QStringLiteral("europe-west2"), QObject::tr("London")},
        {QStringLiteral("europe-west3"), QObject::tr("Frankfurt")},
        {QStringLiteral("europe-west4"), QObject::tr("Netherlands")},
        {QStringLiteral("asia-east1"), QObject::tr("Taiwan")},
        {QStringLiteral("asia-east2"), QObject::tr("Hong Kong")},
        {QStringLiteral("asia-northeast1"), QObject::tr("Tokyo")},
        {QStringLiteral("asia-south1"), QObject::tr("Mumbai")},
        {QStringLiteral("asia-southeast1"), QObject::tr("Singapore")},
        {QStringLiteral("australia-southeast1"), QObject::tr("Sydney")},
    };
}

QMap<QString, QString> GoogleStorage::storageType() const
{
    return {
        {QStringLiteral("STANDARD"), QObject::tr("Standard")},
        {QStringLiteral("NEARLINE"), QObject::tr("Nearline")},
        {QStringLiteral("COLDLINE"), QObject::tr("Coldline")},
        {QStringLiteral("ARCHIVE"), QObject::tr("Archive")},
    };
}

} // namespace Norvik::Cloud::Info
