#include "operations/ContainerParams.h"

#include <QStringList>

namespace Norvik::Cloud::ContainerParams {

namespace {

const QString LowerName = QStringLiteral("name");
const QString LowerRegion = QStringLiteral("region");
const QString Name = QStringLiteral("Name");
const QString Region = QStringLiteral("Region");
const QString StorageType = QStringLiteral("StorageType");
const QString AccessType = QStringLiteral("AccessType");

bool hasAll(const QJsonObject& json, const QStringList& keys)
{
    for (const QString& key : keys) {
        if (!json.contains(key))
            return false;
    }
    return true;
}

QString text(const QJsonObject& json, const QString& key)
{
    return json.value(key).toString();
}

} // namespace

AmazonS3Like::AmazonS3Like(const QJsonObject& json)
    : m_valid(json.contains(LowerName))
{
    if (!m_valid)
        return;
    m_name = text(json, LowerName);
    m_region = text(json, LowerRegion);
}

AmazonS3Like::AmazonS3Like(const QString& name, const QString& region)
    : m_valid(true)
    , m_name(name)
    , m_region(region)
{
}

QJsonObject AmazonS3Like::json() const
{
    QJsonObject json{{LowerName, m_name}};
    if (useRegion())
        json.insert(LowerRegion, m_region);
    return json;
}

AmazonS3::AmazonS3(const QJsonObject& json)
    : m_valid(hasAll(json, {LowerName, LowerRegion}))
{
    if (!m_valid)
        return;
    m_name = text(json, LowerName);
    m_region = text(json, LowerRegion);
}

AmazonS3::AmazonS3(const QString& name, const QString& region)
    : m_valid(true)
    , m_name(name)
    , m_region(region)
{
}

QJsonObject AmazonS3::json() const
{
    return QJsonObject{{LowerName, m_name}, {LowerRegion, m_region}};
}

AzureBlob::AzureBlob(const QJsonObject& json)
    : m_valid(json.contains(LowerName))
{
    if (!m_valid)
        return;
    m_name = text(json, LowerName);
    m_accessType = text(json, AccessType);
}

AzureBlob::AzureBlob(const QString& name, const QString& accessType)
    : m_valid(true)
    , m_name(name)
    , m_accessType(accessType)
{
}

QJsonObject AzureBlob::json() const
{
    return QJsonObject{{LowerName, m_name}, {AccessType, m_accessType}};
}

GoogleStorage::GoogleStorage(const QJsonObject& json)
    : m_valid(hasAll(json, {Name, Region, StorageType}))
{
    if (!m_valid)
        return;
    m_name = text(json, Name);
    m_region = text(json, Region);
    m_storageType = text(json, StorageType);
}

GoogleStorage::GoogleStorage(const QString& name, const QString& region, const QString& storageType)
    : m_valid(!name.isEmpty() && !region.isEmpty() && !storageType.isEmpty())
    , m_name(name)
    , m_region(region)
    , m_storageType(storageType)
{
}

QJsonObject GoogleStorage::json() const
{
    return QJsonObject{{Name, m_name}, {Region, m_region}, {StorageType, m_storageType}};
}

BackBlaze::BackBlaze(const QJsonObject& json)
    : m_valid(hasAll(json, {Name, AccessType}))
{
    if (!m_valid)
        return;
    m_name = text(json, Name);
    m_accessType = text(json, AccessType);
}

BackBlaze::BackBlaze(const QString& name, const QString& accessType)
    : m_valid(!name.isEmpty() && !accessType.isEmpty())
    , m_name(name)
    , m_accessType(accessType)
{
}

QJsonObject BackBlaze::json() const
{
    return QJsonObject{{Name, m_name}, {AccessType, m_accessType}};
}

OpenStack::OpenStack(const QJsonObject& json)
    : m_valid(json.contains(Name))
{
    if (m_valid)
        m_name = text(json, Name);
}

OpenStack::OpenStack(const QString& name)
    : m_valid(!name.isEmpty())
    , m_name(name)
{
}

QJsonObject OpenStack::json() const
{
    return QJsonObject{{Name, m_name}};
}

} // namespace Norvik::Cloud::ContainerParams
