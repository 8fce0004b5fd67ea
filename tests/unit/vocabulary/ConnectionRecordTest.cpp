#include "connection/Exception.h"
#include "connection/ICloud.h"
#include "connection/ListingObject.h"
#include "connection/MultipartListPartObject.h"
#include "connection/MultipleDeleteErrorObject.h"
#include "info/Config.h"

#include <QIODevice>
#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace Norvik::Cloud;

TEST(ListingObject, OptionalKeysStayAbsentUnlessGiven)
{
    const Api::ListingObject bare(QStringLiteral("a"), QDateTime(), 0, QByteArray(), QByteArray(), false);
    EXPECT_EQ(bare.json().keys(),
              (QStringList{QStringLiteral("Name"), QStringLiteral("Size"), QStringLiteral("isFolder")}));

    const QDateTime modified(QDate(2023, 5, 17), QTime(8, 30, 15, 250), Qt::UTC);
    const Api::ListingObject full(QStringLiteral("dir/b.bin"), modified, 42, "4_zfile", "\"etag\"", true);
    EXPECT_EQ(full.json().size(), 6);
    EXPECT_EQ(full.name(), QStringLiteral("dir/b.bin"));
    EXPECT_EQ(full.lastModified(), modified);
    EXPECT_EQ(full.size(), 42u);
    EXPECT_EQ(full.fileId(), QByteArray("4_zfile"));
    EXPECT_EQ(full.eTag(), QByteArray("\"etag\""));
    EXPECT_TRUE(full.isFolder());
}

// The object travels through the job documents as JSON text; what comes out must be what went in.
TEST(ListingObject, SurvivesTheTripThroughAResultDocument)
{
    const QDateTime modified(QDate(2021, 12, 31), QTime(23, 59, 59, 999), Qt::UTC);
    const quint64 fiveTiB = 5ull << 40;
    const Api::ListingObject original(QStringLiteral("ünïcode/名前"), modified, fiveTiB, "id", "tag", false);

    const QByteArray text = QJsonDocument(original.json()).toJson(QJsonDocument::Compact);
    const Api::ListingObject read(QJsonDocument::fromJson(text).object());
    EXPECT_EQ(read.name(), original.name());
    EXPECT_EQ(read.lastModified(), modified);
    EXPECT_EQ(read.size(), fiveTiB);
    EXPECT_EQ(read.eTag(), QByteArray("tag"));
    EXPECT_FALSE(read.isFolder());

    Api::ListingObject edited(read.json());
    edited.setIsFolder(true);
    edited.setEtag(QByteArray());
    EXPECT_TRUE(edited.isFolder());
    EXPECT_TRUE(edited.json().contains(QStringLiteral("Etag")));
    EXPECT_FALSE(Api::ListingObject(QJsonObject{}).isFolder());
    EXPECT_EQ(Api::ListingObject(QJsonObject{}).size(), 0u);
}

TEST(MultipartListPartObject, NumbersAreDecimalTextsAndSurviveBeyondDoublePrecision)
{
    const Api::MultipartListPartObject fromService(
        QJsonObject{{QStringLiteral("PartNumber"), QStringLiteral("3")},
                    {QStringLiteral("Size"), QStringLiteral("5242880")},
                    {QStringLiteral("ETag"), QStringLiteral("\"9b2cf535f27731c974343645a3985328\"")}});
    EXPECT_EQ(fromService.partNumber(), 3u);
    EXPECT_EQ(fromService.size(), 5242880u);
    EXPECT_EQ(fromService.eTag(), QByteArray("\"9b2cf535f27731c974343645a3985328\""));

    Api::MultipartListPartObject part;
    part.setPartNumber(10000);
    part.setSize(std::numeric_limits<quint64>::max());
    EXPECT_TRUE(part.json().value(QStringLiteral("Size")).isString());
    EXPECT_EQ(part.json().value(QStringLiteral("PartNumber")).toString(), QStringLiteral("10000"));
    const Api::MultipartListPartObject read(
        QJsonDocument::fromJson(QJsonDocument(part.json()).toJson()).object());
    EXPECT_EQ(read.size(), std::numeric_limits<quint64>::max());

    // A number where a text belongs, or a text that is no number, reads as 0 rather than as garbage.
    EXPECT_EQ(Api::MultipartListPartObject(QJsonObject{{QStringLiteral("Size"), 5242880}}).size(), 0u);
    EXPECT_EQ(
        Api::MultipartListPartObject(QJsonObject{{QStringLiteral("Size"), QStringLiteral("5MB")}}).size(),
        0u);
}

TEST(MultipleDeleteErrorObject, KeysAndCodes)
{
    const Api::MultipleDeleteErrorObject error(QStringLiteral("a/b"), QStringLiteral("Access Denied"),
                                               Api::MultipleDeleteErrorObject::AccessDenied);
    EXPECT_EQ(error.json().value(QStringLiteral("name")).toString(), QStringLiteral("a/b"));
    EXPECT_EQ(error.json().value(QStringLiteral("message")).toString(), QStringLiteral("Access Denied"));
    EXPECT_EQ(error.json().value(QStringLiteral("code")).toInt(-1), 0);

    const Api::MultipleDeleteErrorObject internal(QJsonObject{{QStringLiteral("code"), 1}});
    EXPECT_EQ(internal.code(), Api::MultipleDeleteErrorObject::InternalError);
    EXPECT_EQ(Api::MultipleDeleteErrorObject(QJsonObject{{QStringLiteral("code"), 17}}).code(),
              Api::MultipleDeleteErrorObject::Other);
    EXPECT_EQ(Api::MultipleDeleteErrorObject(QJsonObject{}).code(), Api::MultipleDeleteErrorObject::Other);
}

namespace {

// The smallest connection: it has nothing but what the interface gives.
class NullConnection : public Api::ICloud
{
public:
    using Api::ICloud::ICloud;

    void checkConfig(const QString&, QMap<QString, QVariant>&) override { fail(); }
    QJsonDocument listing(const QString&, const QString&, QString&, const QString&, quint16) override
    {
        fail();
    }
    QJsonObject upload(const QString&, const QString&, const QMap<QString, QVariant>&, const QByteArray&,
                       const QUuid&) override
    {
        fail();
    }
    QJsonObject upload(const QString&, const QString&, const QMap<QString, QVariant>&,
                       QSharedPointer<QIODevice>, qint64, const QUuid&) override
    {
        fail();
    }
    void download(const QString&, const QString&, QIODevice&, QMap<QString, QVariant>&, const QUuid&) override
    {
        fail();
    }
    bool delete_(const QString&, const QJsonObject&) override { fail(); }
    QJsonArray delete_(const QString&, const QJsonArray&) override { fail(); }
    QByteArray beginMultipartUpload(const QString&, const QString&, const QMap<QString, QVariant>&) override
    {
        fail();
    }
    QJsonObject endMultipartUpload(const QString&, const QString&, const QByteArray&,
                                   const QList<QPair<quint64, QByteArray>>&) override
    {
        fail();
    }
    QByteArray uploadMultipart(const QString&, const QString&, const QByteArray&, quint64, const QByteArray&,
                               const QUuid&) override
    {
        fail();
    }
    QByteArray uploadMultipart(const QString&, const QString&, const QByteArray&, quint64,
                               QSharedPointer<QIODevice>, qint64, const QUuid&) override
    {
        fail();
    }
    void abortMultipartUpload(const QString&, const QString&, const QByteArray&) override { fail(); }
    QJsonArray listPartsMultipart(const QString&, const QString&, const QByteArray&, quint64&) override
    {
        fail();
    }
    QPair<bool, QByteArray> checkUploadPart(quint64, const QJsonArray&, const QByteArray&) override
    {
        fail();
    }
    QPair<bool, QByteArray> checkUploadPart(quint64, const QJsonArray&, QSharedPointer<QIODevice>,
                                            qint64) override
    {
        fail();
    }
    QByteArray download(const QString&, const QString&, qint64, qint64, QMap<QString, QVariant>&,
                        const QUuid&) override
    {
        fail();
    }
    void download(const QString&, const QString&, qint64, qint64, QIODevice&, QMap<QString, QVariant>&,
                  const QUuid&) override
    {
        fail();
    }
    QMap<QByteArray, QByteArray> header(const QString&, const QString&) override { fail(); }
    void setHeader(const QString&, const QString&, const QMap<QByteArray, QByteArray>&) override { fail(); }
    QString signUrl(const QString&, const QString&, bool, const QDateTime&) override { fail(); }
    bool createContainers(const QJsonObject&) override { fail(); }
    bool removeContainers(const QString&) override { fail(); }
    QJsonDocument containers() override { fail(); }

private:
    [[noreturn]] static void fail() { throw Api::Exception::UnsupportedOperation(); }
};

} // namespace

TEST(IConnection, SetConfigNeedsTheCloudId)
{
    NullConnection connection(Type::AmazonS3);
    EXPECT_TRUE(connection.id().isNull());
    EXPECT_FALSE(connection.setConfig({{QStringLiteral("CloudType"), QStringLiteral("AmazonS3")}}));
    EXPECT_TRUE(connection.id().isNull());

    const QUuid id = QUuid::createUuid();
    EXPECT_TRUE(connection.setConfig({{Config::Id, id.toString()}}));
    EXPECT_EQ(connection.id(), id);
    EXPECT_TRUE(connection.setConfig({{Config::Id, QVariant::fromValue(id)}}));
    EXPECT_EQ(connection.id(), id);
}

// The engine sizes parts and decides on parallel parts through the connection, which must
// answer with its own storage's limits.
TEST(IConnection, LimitsComeFromTheDescriptorOfItsType)
{
    const NullConnection folder(Type::FileSystem);
    EXPECT_EQ(folder.type(), Type::FileSystem);
    EXPECT_TRUE(folder.supportEmptyFolder());
    EXPECT_FALSE(folder.supportMultypartThread());
    EXPECT_EQ(folder.minimumChunkSize(), 1u);
    EXPECT_EQ(folder.maximumChunkSize(), 104857600u);
    EXPECT_EQ(folder.maximumChunkCount(), 0u);

    const NullConnection azure(Type::AzureBlob);
    EXPECT_FALSE(azure.supportEmptyFolder());
    EXPECT_TRUE(azure.supportMultypartThread());
    EXPECT_EQ(azure.maximumChunkCount(), 50000u);

    const NullConnection s3(Type::AmazonS3);
    EXPECT_EQ(s3.minimumChunkSize(), 5242880u);
    EXPECT_EQ(s3.maximumChunkSize(), 5368709120u);
    EXPECT_EQ(s3.maximumChunkCount(), 10000u);
}
