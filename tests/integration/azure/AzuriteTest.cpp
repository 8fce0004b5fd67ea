// What is particular to Azure Blob, against azurite: the archive tier, and interoperability with the
// service's own client, Debian's azure-cli.

#include "azure/CloudAzureBlob.h"

#include "connection/CloudFactory.h"
#include "connection/CloudFileMetaData.h"
#include "connection/Exception.h"
#include "connection/ListingObject.h"
#include "info/Config.h"

#include "TestSupport.h"

#include <QBuffer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QUuid>

#include <gtest/gtest.h>

#include <memory>

namespace {

using Norvik::Cloud::Api::CloudAzureBlob;
using Norvik::Cloud::Api::CloudFileMetaData;
using Norvik::Cloud::Api::ListingObject;
namespace Config = Norvik::Cloud::Config;
namespace Exception = Norvik::Cloud::Api::Exception;

constexpr int MiB = 1024 * 1024;
const QString Key = QStringLiteral(
    "Eby8vdM02xNOcqFlqUwJPLlmEtlCDXJ1OUzFT50uSRZ6IFsuFq2UVErCz4I6tq/K1SZFPTOtr/KBHBeksoGMGw==");

// The path-style endpoint the fixture wrote: http://127.0.0.1:PORT/devstoreaccount1.
QUrl endpoint()
{
    QFile file(qEnvironmentVariable("NORVIK_AZURITE_ENDPOINT_FILE"));
    return file.open(QIODevice::ReadOnly) ? QUrl(QString::fromUtf8(file.readAll().trimmed())) : QUrl();
}

// The account goes in front of "blob.localhost", which libcurl resolves to the loopback.
std::unique_ptr<CloudAzureBlob> connect(const QString& storageClass = QString())
{
    namespace Http = Norvik::Cloud::Api::Config::Http;
    return std::unique_ptr<CloudAzureBlob>(
        dynamic_cast<CloudAzureBlob*>(Norvik::Cloud::Api::CloudFactory::create(
            {{Config::Type, QStringLiteral("AzureBlob")},
             {Config::Id, QUuid::createUuid()},
             {Config::AzureBlob::Username, QStringLiteral("devstoreaccount1")},
             {Config::AzureBlob::Password, Key},
             {Config::AzureBlob::StorageClass::Key, storageClass},
             {Http::Endpoint, QStringLiteral("http://blob.localhost:%1").arg(endpoint().port())},
             {Http::UseSsl, false}})));
}

QByteArray downloadAll(CloudAzureBlob& azure, const QString& container, const QString& path,
                       QMap<QString, QVariant>* metaData = nullptr)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QMap<QString, QVariant> received;
    azure.download(container, path, buffer, metaData ? *metaData : received, QUuid());
    return buffer.data();
}

class Azurite : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(endpoint().isEmpty()) << "the azurite fixture did not start";
        azure = connect();
        ASSERT_TRUE(azure);
        container = QStringLiteral("family-") + QUuid::createUuid().toString(QUuid::Id128).left(12);
        ASSERT_TRUE(azure->createContainers(QJsonObject{{QStringLiteral("name"), container}}));
    }

    std::unique_ptr<CloudAzureBlob> azure;
    QString container;
};

TEST_F(Azurite, ArchivedBlobIsReadableOnlyBetweenRestoreAndFinish)
{
    auto archive = connect(QStringLiteral("Archive"));
    const QString path = QStringLiteral("/cold/archive.bin");
    const QByteArray data = NorvikTest::randomBytes(4096, 3);
    archive->upload(container, path, {}, data, QUuid());
    EXPECT_FALSE(archive->checkReadyForDownload(container, path));
    EXPECT_THROW(downloadAll(*archive, container, path), Exception::InvalidObjectState);

    archive->prepareForDownload(container, path, {});
    ASSERT_TRUE(archive->checkReadyForDownload(container, path));
    EXPECT_EQ(downloadAll(*archive, container, path), data);
    archive->finalizeDownloaded(container, path);
    EXPECT_FALSE(archive->checkReadyForDownload(container, path));
}

class AzInterop : public Azurite
{
protected:
    static void SetUpTestSuite()
    {
        // The installer runs first, so that the test works on a fresh machine and fails when
        // the client cannot be had.
        QProcess installer;
        installer.setProcessChannelMode(QProcess::ForwardedChannels);
        installer.start(QStringLiteral("bash"), {qEnvironmentVariable("NORVIK_AZURE_CLIENT_INSTALLER")});
        installed = installer.waitForFinished(900000) && installer.exitCode() == 0;
    }

    // Runs "az storage blob ..." on the container; its standard output.
    QByteArray az(const QStringList& arguments)
    {
        const QString connection =
            QStringLiteral("AccountName=devstoreaccount1;AccountKey=%1;BlobEndpoint=%2;")
                .arg(Key, endpoint().toString());
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("AZURE_CONFIG_DIR"), scratch.filePath(QStringLiteral("az")));
        environment.insert(QStringLiteral("AZURE_CORE_COLLECT_TELEMETRY"), QStringLiteral("no"));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral("/usr/bin/az"),
                      QStringList{"storage", "blob"} + arguments +
                          QStringList{"-c", container, "--connection-string", connection, "-o", "json"});
        EXPECT_TRUE(installed && process.waitForFinished(180000) && process.exitCode() == 0)
            << arguments.join(' ').toStdString() << ": " << process.readAllStandardError().toStdString();
        return process.readAllStandardOutput();
    }

    static inline bool installed = false;
    QTemporaryDir scratch;
};

// What we upload in one piece or in blocks, az reads with its metadata; what az uploads we
// list and download with its metadata.
TEST_F(AzInterop, EachReadsWhatTheOtherWrites)
{
    const QMap<QString, QVariant> metaData = {{CloudFileMetaData::RealSize, QStringLiteral("777")},
                                              {CloudFileMetaData::FilePermissions, QStringLiteral("0640")}};
    const QByteArray single = NorvikTest::randomBytes(100000, 5),
                     blocks = NorvikTest::randomBytes(2 * MiB + 7, 6);
    azure->upload(container, QStringLiteral("/ours/single.bin"), metaData, single, QUuid());
    const QString path = QStringLiteral("/ours/blocks.bin");
    const QByteArray id = azure->beginMultipartUpload(container, path, metaData);
    QList<QPair<quint64, QByteArray>> parts;
    for (int part = 1; part <= 3; ++part)
        parts.append({quint64(part), azure->uploadMultipart(container, path, id, quint64(part),
                                                            blocks.mid((part - 1) * MiB, MiB), QUuid())});
    azure->endMultipartUpload(container, path, id, parts);
    for (const auto& [name, data] :
         {qMakePair(QStringLiteral("single.bin"), single), qMakePair(QStringLiteral("blocks.bin"), blocks)}) {
        QFile file(scratch.filePath(name));
        az({"download", "-n", "ours/" + name, "-f", file.fileName()});
        EXPECT_TRUE(file.open(QIODevice::ReadOnly) && file.readAll() == data) << name.toStdString();
        const QJsonObject shown =
            QJsonDocument::fromJson(az({"metadata", "show", "-n", "ours/" + name})).object();
        EXPECT_EQ(shown.value(QStringLiteral("nkrealsize")).toString(), QStringLiteral("777"));
        EXPECT_EQ(shown.value(QStringLiteral("nkunixpermissons")).toString(), QStringLiteral("0640"));
    }

    const QByteArray data = NorvikTest::randomBytes(3 * MiB + 11, 7);
    QFile file(scratch.filePath(QStringLiteral("theirs.bin")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(data) == data.size());
    file.close();
    az({"upload", "-n", "theirs/data.bin", "-f", file.fileName(), "--metadata", "origin=az"});
    QString marker;
    const QJsonArray page =
        azure->listing(container, QStringLiteral("/theirs/"), marker, QString(), 100).array();
    ASSERT_EQ(page.size(), 1);
    EXPECT_EQ(ListingObject(page.at(0).toObject()).name(), QStringLiteral("theirs/data.bin"));
    EXPECT_EQ(ListingObject(page.at(0).toObject()).size(), quint64(data.size()));
    QMap<QString, QVariant> received;
    EXPECT_EQ(downloadAll(*azure, container, QStringLiteral("/theirs/data.bin"), &received), data);
    EXPECT_EQ(received.value(QStringLiteral("x-ms-meta-origin")).toString(), QStringLiteral("az"));
}

} // namespace
