#include "operations/ArchiveOption.h"

#include "info/CloudType.h"
#include "info/Config.h"

namespace Norvik::Cloud {

namespace Api {

namespace {

const QString TierKey = QStringLiteral("tier");
const QString DaysKey = QStringLiteral("days");

} // namespace

ArchiveOption::~ArchiveOption() = default;

ArchiveAmazonS3Option::ArchiveAmazonS3Option(const QMap<QString, QVariant>& config)
    : m_days(3)
{
    namespace Glacier = ::Norvik::Cloud::Config::AmazonS3::Glacier;
    bool isNumber = false;
    const int value = config.value(Glacier::Key).toInt(&isNumber);
    if (!isNumber)
        return;
    switch (value) {
    case Glacier::Value::Expedited:
        m_tier = Expedited;
        break;
    case Glacier::Value::Standard:
        m_tier = Standard;
        break;
    case Glacier::Value::Bulk:
        m_tier = Bulk;
        break;
    default:
        return;
    }
    m_valid = true;
}

ArchiveAmazonS3Option::ArchiveAmazonS3Option(const QJsonObject& json)
    : m_valid(json.contains(TierKey) && json.contains(DaysKey))
    , m_tier(static_cast<Tier>(json.value(TierKey).toInt()))
    , m_days(json.value(DaysKey).toVariant().toULongLong())
{
}

ArchiveAmazonS3Option::ArchiveAmazonS3Option(Tier tier, unsigned long long days)
    : m_valid(true)
    , m_tier(tier)
    , m_days(days)
{
}

ArchiveAmazonS3Option::~ArchiveAmazonS3Option() = default;

QJsonObject ArchiveAmazonS3Option::toJson() const
{
    return QJsonObject{{TierKey, int(m_tier)}, {DaysKey, QJsonValue::fromVariant(QVariant(m_days))}};
}

unsigned long long ArchiveAmazonS3Option::firstCheckInterval() const
{
    switch (m_tier) {
    case Expedited:
        return 60;
    case Standard:
        return 14400;
    case Bulk:
        return 18000;
    }
    return 0;
}

unsigned long long ArchiveAmazonS3Option::checkInterval() const
{
    switch (m_tier) {
    case Expedited:
        return 60;
    case Standard:
    case Bulk:
        return 1800;
    }
    return 0;
}

QString ArchiveAmazonS3Option::tierName(Tier tier)
{
    switch (tier) {
    case Expedited:
        return QStringLiteral("Expedited");
    case Standard:
        return QStringLiteral("Standard");
    case Bulk:
        return QStringLiteral("Bulk");
    }
    return QString();
}

ArchiveAzureBlobOption::ArchiveAzureBlobOption(const QMap<QString, QVariant>&) {}

ArchiveAzureBlobOption::~ArchiveAzureBlobOption() = default;

} // namespace Api

namespace Archive {

QSharedPointer<Api::ArchiveOption> ArchiveOptionFactory::create(const QMap<QString, QVariant>& config)
{
    const QString type = config.value(::Norvik::Cloud::Config::Type).toString();
    if (type == Name::AmazonS3)
        return QSharedPointer<Api::ArchiveAmazonS3Option>::create(config);
    if (type == Name::AzureBlob)
        return QSharedPointer<Api::ArchiveAzureBlobOption>::create(config);
    return {};
}

} // namespace Archive

} // namespace Norvik::Cloud
