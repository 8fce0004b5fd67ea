#pragma once

#include <QJsonObject>
#include <QMap>
#include <QSharedPointer>
#include <QString>
#include <QVariant>

namespace Norvik::Cloud {

namespace Api {

// How an object is to be brought back from an archive tier, and how often to look whether it
// has come back (in seconds).
class ArchiveOption
{
public:
    virtual ~ArchiveOption();
    virtual bool isValid() const = 0;
    virtual QJsonObject toJson() const = 0;
    virtual unsigned long long firstCheckInterval() const = 0;
    virtual unsigned long long checkInterval() const = 0;
};

// An Amazon S3 restore: a retrieval tier and the days the restored copy stays.
class ArchiveAmazonS3Option : public ArchiveOption
{
public:
    enum Tier
    {
        Expedited = 0,
        Standard = 1,
        Bulk = 2,
    };

    // From the cloud configuration's "Glacier" value (1, 2 or 3), for 3 days; any other value
    // makes an invalid option.
    explicit ArchiveAmazonS3Option(const QMap<QString, QVariant>& config);
    // From toJson(); valid when both "tier" and "days" are there.
    explicit ArchiveAmazonS3Option(const QJsonObject& json);
    ArchiveAmazonS3Option(Tier tier, unsigned long long days);
    ~ArchiveAmazonS3Option() override;

    bool isValid() const override { return m_valid; }
    QJsonObject toJson() const override;
    unsigned long long firstCheckInterval() const override;
    unsigned long long checkInterval() const override;

    Tier tier() const { return m_tier; }
    unsigned long long days() const { return m_days; }
    // The tier's name in a restore request.
    static QString tierName(Tier tier);

private:
    bool m_valid = false;
    Tier m_tier = Expedited;
    unsigned long long m_days = 0;
};

// Azure archive blobs: rehydration has no options.
class ArchiveAzureBlobOption : public ArchiveOption
{
public:
    explicit ArchiveAzureBlobOption(const QMap<QString, QVariant>& config);
    ~ArchiveAzureBlobOption() override;

    bool isValid() const override { return true; }
    QJsonObject toJson() const override { return QJsonObject(); }
    unsigned long long firstCheckInterval() const override { return 3600; }
    unsigned long long checkInterval() const override { return 1200; }
};

} // namespace Api

namespace Archive {

class ArchiveOptionFactory
{
public:
    // The option of the configuration's cloud type; null for a type without an archive tier.
    static QSharedPointer<Api::ArchiveOption> create(const QMap<QString, QVariant>& config);
};

} // namespace Archive

} // namespace Norvik::Cloud
