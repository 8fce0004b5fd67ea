#pragma once

#include <QJsonObject>
#include <QString>

// Typed views on the "params" object of a create-container job, one class per cloud family.
// The JSON keys differ in case between the families ("name" against "Name"), and each family's
// keys are kept exactly as its connection reads them. Built from JSON, a class is valid when
// the keys it needs are present (an empty text counts as present); an invalid one has empty
// fields. Built from fields, the rule of each class says when it is valid.
namespace Norvik::Cloud::ContainerParams {

// The S3 protocol: a name and, optionally, the region to create the bucket in.
class AmazonS3Like
{
public:
    AmazonS3Like() = default;
    // Valid when "name" is present; "region" may be absent.
    explicit AmazonS3Like(const QJsonObject& json);
    // Always valid; without a region the service's default applies.
    explicit AmazonS3Like(const QString& name, const QString& region = QString());

    bool isValid() const { return m_valid; }
    const QString& name() const { return m_name; }
    const QString& region() const { return m_region; }
    bool useRegion() const { return !m_region.isEmpty(); }
    // "region" only when useRegion().
    QJsonObject json() const;

private:
    bool m_valid = false;
    QString m_name;
    QString m_region;
};

// Amazon S3 itself, where the region is always named.
class AmazonS3
{
public:
    AmazonS3() = default;
    // Valid when "name" and "region" are both present.
    explicit AmazonS3(const QJsonObject& json);
    // Always valid.
    AmazonS3(const QString& name, const QString& region);

    bool isValid() const { return m_valid; }
    const QString& name() const { return m_name; }
    const QString& region() const { return m_region; }
    QJsonObject json() const;

private:
    bool m_valid = false;
    QString m_name;
    QString m_region;
};

class AzureBlob
{
public:
    AzureBlob() = default;
    // Valid when "name" is present; "AccessType" may be absent.
    explicit AzureBlob(const QJsonObject& json);
    // Always valid.
    AzureBlob(const QString& name, const QString& accessType);

    bool isValid() const { return m_valid; }
    const QString& name() const { return m_name; }
    const QString& accessType() const { return m_accessType; }
    QJsonObject json() const;

private:
    bool m_valid = false;
    QString m_name;
    QString m_accessType;
};

class GoogleStorage
{
public:
    GoogleStorage() = default;
    // Valid when "Name", "Region" and "StorageType" are all present.
    explicit GoogleStorage(const QJsonObject& json);
    // Valid when no field is empty.
    GoogleStorage(const QString& name, const QString& region, const QString& storageType);

    bool isValid() const { return m_valid; }
    const QString& name() const { return m_name; }
    const QString& region() const { return m_region; }
    const QString& storageType() const { return m_storageType; }
    QJsonObject json() const;

private:
    bool m_valid = false;
    QString m_name;
    QString m_region;
    QString m_storageType;
};

class BackBlaze
{
public:
    BackBlaze() = default;
    // Valid when "Name" and "AccessType" are both present.
    explicit BackBlaze(const QJsonObject& json);
    // Valid when neither field is empty.
    BackBlaze(const QString& name, const QString& accessType);

    bool isValid() const { return m_valid; }
    const QString& name() const { return m_name; }
    const QString& accessType() const { return m_accessType; }
    QJsonObject json() const;

private:
    bool m_valid = false;
    QString m_name;
    QString m_accessType;
};

class OpenStack
{
public:
    OpenStack() = default;
    // Valid when "Name" is present.
    explicit OpenStack(const QJsonObject& json);
    // Valid when the name is not empty.
    explicit OpenStack(const QString& name);

    bool isValid() const { return m_valid; }
    const QString& name() const { return m_name; }
    QJsonObject json() const;

private:
    bool m_valid = false;
    QString m_name;
};

} // namespace Norvik::Cloud::ContainerParams
