#include "info/CloudType.h"

#include <gtest/gtest.h>

#include <QSet>

using namespace Norvik::Cloud;

namespace {

QMap<QString, Type> invertedTypeNames()
{
    QMap<QString, Type> byName;
    for (auto it = TypeName.cbegin(); it != TypeName.cend(); ++it)
        byName.insert(it.value(), it.key());
    return byName;
}

} // namespace

TEST(CloudType, EveryNameLeadsBackToItsType)
{
    const QMap<QString, Type> byName = invertedTypeNames();
    // A duplicated text would collapse two rows into one here.
    ASSERT_EQ(byName.size(), TypeName.size());
    for (auto it = TypeName.cbegin(); it != TypeName.cend(); ++it) {
        EXPECT_FALSE(it.value().isEmpty()) << int(it.key());
        EXPECT_EQ(byName.value(it.value()), it.key()) << it.value().toStdString();
    }
}

TEST(CloudType, TableCoversOneToThirtyEightWithoutThirtyTwo)
{
    EXPECT_EQ(TypeName.size(), 37);
    for (int value = 1; value <= 38; ++value)
        EXPECT_EQ(TypeName.contains(static_cast<Type>(value)), value != 32) << value;
}

TEST(CloudType, WireNamesThatDifferFromTheEnumerators)
{
    // The texts clients send; several differ from the enumerator names.
    const QMap<QString, Type> byName = invertedTypeNames();
    EXPECT_EQ(int(byName.value(QStringLiteral("S3Compatible"))), 11);
    EXPECT_FALSE(byName.contains(QStringLiteral("AmazonS3Like")));
    EXPECT_EQ(int(byName.value(QStringLiteral("Wasabi (UB)"))), 34);
    EXPECT_EQ(int(byName.value(QStringLiteral("Wasabi (UB) Stage"))), 35);
    EXPECT_EQ(int(byName.value(QStringLiteral("Wasabi Stage"))), 36);
    EXPECT_EQ(int(byName.value(QStringLiteral("AmazonS3 (UB)"))), 37);
    EXPECT_EQ(int(byName.value(QStringLiteral("Openstack"))), 6);
    EXPECT_EQ(int(byName.value(QStringLiteral("KTR_CLOUD"))), 38);
}

TEST(CloudType, FamiliesAreDisjointAndKnown)
{
    const QList<QSet<Type>> families = {S3Compatible, AmazonS3, OpenStack, NetworkConnection};
    QSet<Type> seen;
    for (const QSet<Type>& family : families) {
        EXPECT_FALSE(family.isEmpty());
        EXPECT_FALSE(seen.intersects(family));
        seen.unite(family);
    }
    for (Type type : seen)
        EXPECT_TRUE(TypeName.contains(type)) << int(type);
    // Stand-alone services belong to no family.
    for (int value : {1, 3, 7, 31, 38})
        EXPECT_FALSE(seen.contains(static_cast<Type>(value))) << value;
    EXPECT_EQ(S3Compatible.size(), 22);
    EXPECT_TRUE(S3Compatible.contains(Type::AmazonS3Like));
    EXPECT_TRUE(AmazonS3.contains(Type::NorvikUbAmazonS3));
}

TEST(CloudType, DeprecatedTypesAreAllKnownServices)
{
    EXPECT_EQ(DepricatedTypes.size(), 14);
    for (Type type : DepricatedTypes)
        EXPECT_TRUE(TypeName.contains(type)) << int(type);
    EXPECT_FALSE(DepricatedTypes.contains(Type::AmazonS3));
    EXPECT_FALSE(DepricatedTypes.contains(Type::HPHelion));
    EXPECT_TRUE(DepricatedTypes.contains(Type::Sftp));
}
