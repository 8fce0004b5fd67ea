// Interoperability with the service's own command-line client, Debian's azure-cli, against
// azurite: what we upload in one piece or in blocks, with metadata, az downloads byte for byte
// and shows the metadata of; what az uploads we list and download.

#include "AzuriteSupport.h"

#include "connection/CloudFileMetaData.h"
#include "connection/ListingObject.h"

#include "TestSupport.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using Norvik::Cloud::Api::CloudAzureBlob;
using Norvik::Cloud::Api::CloudFileMetaData;
using Norvik::Cloud::Api::ListingObject;
namespace Azurite = NorvikTest::Azurite;

constexpr int MiB = 1024 * 1024;

class AzInterop : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        // The installer runs first, so that the test works on a fresh machine and fails when
        // the client cannot be had.
        QProcess installer;
        installer.setProcessChannelMode(QProcess::ForwardedChannels);
        installer.start(QStringLiteral("bash"), {qEnvironmentVariable("NORVIK_AZURE_CLIENT_INSTALLER")});
        installer.waitForFinished(900000);
        installed = installer.exitStatus() == QProcess::NormalExit && installer.exitCode() == 0;
    }

    void SetUp() override
    {
        ASSERT_TRUE(installed) << "azure-cli could not be installed";
        ASSERT_FALSE(Azurite::pathStyleEndpoint().isEmpty()) << "the azurite fixture did not start";
        ASSERT_TRUE(scratch.isValid());
        azure = Azurite::connect(Azurite::config());
        ASSERT_TRUE(azure);
        container = Azurite::newContainer(*azure, "interop");
    }

    // Runs "az storage ..." on the container; its standard output, or a failure.
    QByteArray az(QStringList arguments)
    {
        arguments.prepend(QStringLiteral("storage"));
        arguments << "-c" << container << "--connection-string" << Azurite::connectionString() << "-o"
                  << "json";
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("AZURE_CONFIG_DIR"), scratch.filePath(QStringLiteral("az")));
        environment.insert(QStringLiteral("AZURE_CORE_COLLECT_TELEMETRY"), QStringLiteral("no"));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral("/usr/bin/az"), arguments);
        const bool finished = process.waitForFinished(180000);
        EXPECT_TRUE(finished && process.exitCode() == 0)
            << arguments.join(' ').toStdString() << ": " << process.readAllStandardError().toStdString();
        return process.readAllStandardOutput();
    }

    QByteArray azDownload(const QString& name)
    {
        const QString file = scratch.filePath(QStringLiteral("download.bin"));
        QFile::remove(file);
        az({"blob", "download", "-n", name, "-f", file});
        QFile downloaded(file);
        return downloaded.open(QIODevice::ReadOnly) ? downloaded.readAll() : QByteArray();
    }

    QJsonObject azMetadata(const QString& name)
    {
        return QJsonDocument::fromJson(az({"blob", "metadata", "show", "-n", name})).object();
    }

    static inline bool installed = false;
    QTemporaryDir scratch;
    std::unique_ptr<CloudAzureBlob> azure;
    QString container;
};

TEST_F(AzInterop, AzReadsWhatWeUploadWithItsMetadata)
{
    const QMap<QString, QVariant> metaData = {{CloudFileMetaData::RealSize, QStringLiteral("777")},
                                              {CloudFileMetaData::FilePermissions, QStringLiteral("0640")}};
    const QByteArray single = NorvikTest::randomBytes(100000, 5);
    azure->upload(container, QStringLiteral("/ours/single.bin"), metaData, single, QUuid());

    const QByteArray blocks = NorvikTest::randomBytes(2 * MiB + 7, 6);
    const QString path = QStringLiteral("/ours/blocks.bin");
    const QByteArray id = azure->beginMultipartUpload(container, path, metaData);
    QList<QPair<quint64, QByteArray>> parts;
    for (quint64 part = 1; part <= 3; ++part)
        parts.append({part, azure->uploadMultipart(container, path, id, part,
                                                   blocks.mid(int(part - 1) * MiB, MiB), QUuid())});
    azure->endMultipartUpload(container, path, id, parts);

    EXPECT_EQ(azDownload(QStringLiteral("ours/single.bin")), single);
    EXPECT_EQ(azDownload(QStringLiteral("ours/blocks.bin")), blocks);
    for (const QString name : {"ours/single.bin", "ours/blocks.bin"}) {
        SCOPED_TRACE(name.toStdString());
        const QJsonObject shown = azMetadata(name);
        EXPECT_EQ(shown.value(QStringLiteral("nkrealsize")).toString(), QStringLiteral("777"));
        EXPECT_EQ(shown.value(QStringLiteral("nkunixpermissons")).toString(), QStringLiteral("0640"));
    }
}

TEST_F(AzInterop, WeListAndDownloadWhatAzUploads)
{
    const QByteArray data = NorvikTest::randomBytes(3 * MiB + 11, 7);
    const QString file = scratch.filePath(QStringLiteral("theirs.bin"));
    QFile out(file);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    out.write(data);
    out.close();
    az({"blob", "upload", "-n", "theirs/data.bin", "-f", file, "--metadata", "origin=az"});

    QString marker;
    const QJsonArray page =
        azure->listing(container, QStringLiteral("/theirs/"), marker, QString(), 100).array();
    ASSERT_EQ(page.size(), 1);
    EXPECT_EQ(ListingObject(page.at(0).toObject()).name(), QStringLiteral("theirs/data.bin"));
    EXPECT_EQ(ListingObject(page.at(0).toObject()).size(), quint64(data.size()));

    QMap<QString, QVariant> metaData;
    EXPECT_EQ(Azurite::downloadAll(*azure, container, QStringLiteral("/theirs/data.bin"), &metaData), data);
    EXPECT_EQ(metaData.value(QStringLiteral("x-ms-meta-origin")).toString(), QStringLiteral("az"));
}

} // namespace
