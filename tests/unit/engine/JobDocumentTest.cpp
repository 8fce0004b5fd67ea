#include "engine/JobFormat.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QVariant>

#include <limits>

using namespace Norvik::Cloud;

namespace {

// A ranged download as the operations write it and the job functions read it: through
// QVariant into a JSON number, over the wire in binary JSON, and back through QVariant.
QJsonObject blobJob(quint64 position, quint64 size)
{
    QJsonObject job;
    job.insert(JobFormat::Type, JobFormat::Download::Blob::Type);
    job.insert(JobFormat::Download::Blob::Position, QJsonValue::fromVariant(QVariant::fromValue(position)));
    job.insert(JobFormat::Download::Blob::Size, QJsonValue::fromVariant(QVariant::fromValue(size)));
    return job;
}

QJsonObject overTheWire(const QJsonObject& job)
{
    const QByteArray bytes = QJsonDocument(job).toBinaryData();
    const QJsonDocument back = QJsonDocument::fromBinaryData(bytes, QJsonDocument::Validate);
    EXPECT_TRUE(back.isObject());
    return back.object();
}

quint64 readUInt64(const QJsonObject& object, const QString& key)
{
    return object.value(key).toVariant().value<quint64>();
}

constexpr quint64 TwoTo53 = quint64(1) << 53;

} // namespace

TEST(JobDocument, SixtyFourBitValuesUpToTwoTo53AreExact)
{
    // Ranges of a large file: offsets beyond 4 GiB and the last byte of the exact range.
    const quint64 values[] = {
        0, 1, 4294967295ull, 4294967296ull, 5ull * 1024 * 1024 * 1024 * 1024 + 7, TwoTo53 - 1, TwoTo53};
    for (quint64 value : values) {
        const QJsonObject back = overTheWire(blobJob(value, value / 2));
        EXPECT_EQ(readUInt64(back, JobFormat::Download::Blob::Position), value);
        EXPECT_EQ(readUInt64(back, JobFormat::Download::Blob::Size), value / 2);
    }
}

TEST(JobDocument, AboveTwoTo53OnlyTheNearestDoubleSurvives)
{
    // Job documents carry these values as JSON numbers, that is doubles: the integer above
    // 2^53 is lost, and what arrives is the double that was sent, bit for bit.
    const QJsonObject sent = blobJob(TwoTo53 + 1, TwoTo53 + 3);
    const QJsonObject back = overTheWire(sent);
    EXPECT_EQ(readUInt64(back, JobFormat::Download::Blob::Position), TwoTo53);
    EXPECT_EQ(readUInt64(back, JobFormat::Download::Blob::Size), TwoTo53 + 4);
    EXPECT_EQ(back.value(JobFormat::Download::Blob::Size).toDouble(), double(TwoTo53 + 4));

    // A value that is itself a double comes through exactly, however large below 2^63.
    const quint64 representable = quint64(1) << 62;
    EXPECT_EQ(readUInt64(overTheWire(blobJob(representable, 0)), JobFormat::Download::Blob::Position),
              representable);
}

TEST(JobDocument, KeysAndNestedValuesSurviveTheWire)
{
    QJsonObject job = blobJob(10, 20);
    job.insert(JobFormat::Id, QStringLiteral("{6f1c3a52-8a0e-4c3e-9b0e-0c5a8a3e2f11}"));
    job.insert(JobFormat::UploadMultipart::End::Parts::Key,
               QJsonArray{QJsonObject{{JobFormat::UploadMultipart::End::Parts::Value::Id, 1},
                                      {JobFormat::UploadMultipart::End::Parts::Value::Data, "etag-1"}}});
    job.insert(JobFormat::SignUrl::Expires,
               QJsonValue::fromVariant(QDateTime(QDate(2031, 5, 6), QTime(7, 8, 9))));
    job.insert(QStringLiteral("Secret"), QString::fromUtf8("\xc3\xa4\xe2\x82\xac unicode"));
    EXPECT_EQ(overTheWire(job), job);
}

TEST(JobDocument, EmptyObjectHasNoBinaryForm)
{
    // Binary JSON of an empty object is empty and reads back as a null document, which a
    // task thread drops: a result always carries at least the job's keys.
    EXPECT_TRUE(QJsonDocument(QJsonObject()).toBinaryData().isEmpty());
    EXPECT_TRUE(QJsonDocument::fromBinaryData(QByteArray(), QJsonDocument::Validate).isNull());
}
