#include <NorvikCore/Hash.h>

#include "TestSupport.h"

#include <QBuffer>
#include <QCryptographicHash>

#include <gtest/gtest.h>

namespace {

using Norvik::Core::Hash::Algorithm;
using Norvik::Core::Hash::Digest;

TEST(Digest, MatchesKnownDigestsAndQtsOwn)
{
    EXPECT_EQ(Digest::hash(QByteArray(), Algorithm::Md5).toBase64(),
              QByteArray(Norvik::Core::Hash::EmptyMd5_Base64));
    EXPECT_EQ(Digest::hash("abc", Algorithm::Sha256).toHex(),
              QByteArray("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    EXPECT_EQ(Digest::hash("abc", Algorithm::Sha1).toHex(),
              QByteArray("a9993e364706816aba3e25717850c26c9cd0d89d"));

    const QByteArray data = NorvikTest::randomBytes(3 * 1024 * 1024 + 11, 3);
    EXPECT_EQ(Digest::hash(data, Algorithm::Sha256),
              QCryptographicHash::hash(data, QCryptographicHash::Sha256));
    EXPECT_EQ(Digest::hash(data, Algorithm::Md5), QCryptographicHash::hash(data, QCryptographicHash::Md5));
}

TEST(Digest, ReadsDevicesWithALimitAndCanBeReused)
{
    QByteArray data = NorvikTest::randomBytes(2500000, 9);
    QBuffer device(&data);
    ASSERT_TRUE(device.open(QIODevice::ReadOnly));
    ASSERT_TRUE(device.seek(1000));

    Digest digest(Algorithm::Sha256);
    EXPECT_EQ(digest.addData(device, 1500000), 1500000);
    EXPECT_EQ(digest.result(), QCryptographicHash::hash(data.mid(1000, 1500000), QCryptographicHash::Sha256));
    EXPECT_EQ(device.pos(), 1501000);

    EXPECT_EQ(digest.addData(device), 2500000 - 1501000);
    EXPECT_EQ(digest.result(), QCryptographicHash::hash(data.mid(1501000), QCryptographicHash::Sha256));

    QBuffer closed(&data);
    EXPECT_EQ(digest.addData(closed), -1);
}

} // namespace
