// Interoperability with the clients that users have beside this library: what we upload is
// read back byte for byte, with its metadata, by Debian's awscli, boto3 and rclone, and what
// they upload (in one piece or in parts) we list and download. Runs against Swift's S3 layer,
// whose buckets are containers of the Swift account: Swift's own client sees our objects too.

#include "S3ServerSupport.h"

#include "connection/CloudFileMetaData.h"
#include "connection/ListingObject.h"

#include "TestSupport.h"

#include <NorvikCore/Hash.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <gmock/gmock.h>

namespace {

using Norvik::Cloud::Api::CloudAmazonS3Like;
using Norvik::Cloud::Api::CloudFileMetaData;
using Norvik::Cloud::Api::ListingObject;
using NorvikTest::downloadAll;
using NorvikTest::readBuffer;

constexpr int MiB = 1024 * 1024;
// Debian's clients, not whatever comes first on PATH.
const QString Aws = QStringLiteral("/usr/bin/aws");
const QString Python = QStringLiteral("/usr/bin/python3");
const QString Rclone = QStringLiteral("/usr/bin/rclone");
const QString Swift = QStringLiteral("/usr/bin/swift");
// The name of the S3 remote that rclone is given through its environment.
const QString RcloneRemote = QStringLiteral("norvik");

struct ProcessRun
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

ProcessRun run(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment,
               int timeoutMs = 180000)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    ProcessRun result;
    if (!process.waitForStarted(10000)) {
        result.err = process.errorString().toUtf8();
        return result;
    }
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(5000);
        result.err = "timed out";
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

QByteArray sha256(const QByteArray& data)
{
    return Norvik::Core::Hash::Digest::hash(data, Norvik::Core::Hash::Algorithm::Sha256).toHex();
}

class ClientInterop : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        // A fresh machine has no clients: the installer makes sure they are there, and its
        // failure is the test's.
        const QString installer = QString::fromLocal8Bit(qgetenv("NORVIK_S3_CLIENT_INSTALLER"));
        const ProcessRun installed =
            run(QStringLiteral("/bin/bash"), {installer}, QProcessEnvironment::systemEnvironment(), 600000);
        installerOutput = installed.err;
        clientsReady = installed.exitCode == 0;
    }

    void SetUp() override
    {
        ASSERT_TRUE(clientsReady) << "the S3 clients could not be installed:\n"
                                  << installerOutput.toStdString();
        ASSERT_TRUE(QFile::exists(Aws)) << "missing " << Aws.toStdString();
        server = NorvikTest::swiftS3();
        ASSERT_FALSE(server.endpoint.isEmpty()) << "the swift test server did not start";
        ASSERT_TRUE(scratch.isValid());
        s3 = NorvikTest::connectTo(server, QStringLiteral("V4"));
        ASSERT_TRUE(s3);
        bucket = NorvikTest::uniqueBucket(QStringLiteral("s3-clients"));
        ASSERT_TRUE(s3->createContainers({{"name", bucket}}));

        // Path-style addressing and no settings of the machine's user.
        const QString config = scratch.filePath(QStringLiteral("aws-config"));
        QFile file(config);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("[default]\nregion = us-east-1\ns3 =\n    addressing_style = path\n");
        file.close();
        environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("AWS_ACCESS_KEY_ID"), server.accessKey);
        environment.insert(QStringLiteral("AWS_SECRET_ACCESS_KEY"), server.secretKey);
        environment.insert(QStringLiteral("AWS_DEFAULT_REGION"), QStringLiteral("us-east-1"));
        environment.insert(QStringLiteral("AWS_CONFIG_FILE"), config);
        environment.insert(QStringLiteral("AWS_SHARED_CREDENTIALS_FILE"),
                           scratch.filePath(QStringLiteral("none")));
        environment.insert(QStringLiteral("AWS_EC2_METADATA_DISABLED"), QStringLiteral("true"));
        environment.insert(QStringLiteral("AWS_PAGER"), QString());
        // rclone's S3 backend fails every request while AWS_CA_BUNDLE is set.
        environment.remove(QStringLiteral("AWS_CA_BUNDLE"));
        environment.remove(QStringLiteral("AWS_PROFILE"));

        // rclone: one S3 remote from the environment, and no configuration file of the user.
        const QString prefix = QStringLiteral("RCLONE_CONFIG_%1_").arg(RcloneRemote.toUpper());
        environment.insert(QStringLiteral("RCLONE_CONFIG"),
                           writeFile(QStringLiteral("rclone.conf"), QByteArray()));
        environment.insert(prefix + QStringLiteral("TYPE"), QStringLiteral("s3"));
        environment.insert(prefix + QStringLiteral("PROVIDER"), QStringLiteral("Other"));
        environment.insert(prefix + QStringLiteral("ENDPOINT"), endpointText());
        environment.insert(prefix + QStringLiteral("ACCESS_KEY_ID"), server.accessKey);
        environment.insert(prefix + QStringLiteral("SECRET_ACCESS_KEY"), server.secretKey);
        environment.insert(prefix + QStringLiteral("REGION"), QStringLiteral("us-east-1"));
        environment.insert(prefix + QStringLiteral("FORCE_PATH_STYLE"), QStringLiteral("true"));

        // Swift's client: only what its command line says.
        for (const QString& name : environment.keys()) {
            if (name.startsWith(QLatin1String("OS_")) || name.startsWith(QLatin1String("ST_")))
                environment.remove(name);
        }
    }

    void TearDown() override
    {
        if (s3)
            NorvikTest::removeBucket(*s3, bucket);
    }

    QString endpointText() const { return server.endpoint.toString(QUrl::StripTrailingSlash); }

    ProcessRun aws(const QStringList& arguments)
    {
        return run(Aws,
                   QStringList{QStringLiteral("--endpoint-url"), endpointText(), QStringLiteral("--output"),
                               QStringLiteral("json")} +
                       arguments,
                   environment);
    }

    ProcessRun rclone(const QStringList& arguments)
    {
        return run(Rclone, QStringList{QStringLiteral("--retries"), QStringLiteral("1")} + arguments,
                   environment);
    }

    // "remote:bucket/key" of rclone's S3 remote; "remote:bucket" for an empty key.
    QString rclonePath(const QString& key = QString()) const
    {
        const QString path = QStringLiteral("%1:%2").arg(RcloneRemote, bucket);
        return key.isEmpty() ? path : path + QLatin1Char('/') + key;
    }

    // Swift's client with the account of the S3 keys (tempauth v1: "account:user" and key).
    ProcessRun swift(const QStringList& arguments)
    {
        return run(Swift,
                   QStringList{QStringLiteral("-A"),
                               server.endpoint.resolved(QUrl(QStringLiteral("/auth/v1.0"))).toString(),
                               QStringLiteral("-U"), server.accessKey, QStringLiteral("-K"),
                               server.secretKey} +
                       arguments,
                   environment);
    }

    // One object in one piece and one in two parts, both with the metadata of the application.
    QList<QPair<QString, QByteArray>> uploadOurObjects()
    {
        const QMap<QString, QVariant> metaData{
            {CloudFileMetaData::RealSize, 123456789},
            {CloudFileMetaData::FilePermissions, 420},
            {CloudFileMetaData::ContentEncoding, QStringLiteral("gzip")},
            {CloudFileMetaData::EncryptionHeader, QStringLiteral("2;7;name;256;;1")}};
        const QByteArray single = NorvikTest::randomBytes(300 * 1024 + 3, 61);
        const QByteArray first = NorvikTest::randomBytes(5 * MiB, 62);
        const QByteArray last = NorvikTest::randomBytes(MiB + 17, 63);
        s3->upload(bucket, QStringLiteral("/ours/single file.bin"), metaData, single, QUuid());
        const QByteArray uploadId =
            s3->beginMultipartUpload(bucket, QStringLiteral("/ours/multi.bin"), metaData);
        const QByteArray tag1 =
            s3->uploadMultipart(bucket, QStringLiteral("/ours/multi.bin"), uploadId, 1, first, QUuid());
        const QByteArray tag2 =
            s3->uploadMultipart(bucket, QStringLiteral("/ours/multi.bin"), uploadId, 2, last, QUuid());
        s3->endMultipartUpload(bucket, QStringLiteral("/ours/multi.bin"), uploadId, {{1, tag1}, {2, tag2}});
        return {{QStringLiteral("ours/single file.bin"), single},
                {QStringLiteral("ours/multi.bin"), first + last}};
    }

    // Runs a boto3 script with a client "s3" for the server and the bucket name in "bucket".
    ProcessRun boto3(const QString& body)
    {
        const QString script =
            QStringLiteral("import sys, json, hashlib, boto3, botocore.config\n"
                           "s3 = boto3.client('s3', endpoint_url='%1', region_name='us-east-1',\n"
                           "    config=botocore.config.Config(s3={'addressing_style': 'path'}))\n"
                           "bucket = '%2'\n")
                .arg(endpointText(), bucket) +
            body;
        return run(Python, {QStringLiteral("-c"), script}, environment);
    }

    QString writeFile(const QString& name, const QByteArray& data)
    {
        const QString path = scratch.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size())
            ADD_FAILURE() << "cannot write " << path.toStdString();
        return path;
    }

    static QByteArray readFile(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    static inline bool clientsReady = false;
    static inline QByteArray installerOutput;

    NorvikTest::S3Server server;
    std::unique_ptr<CloudAmazonS3Like> s3;
    QString bucket;
    QTemporaryDir scratch;
    QProcessEnvironment environment;
};

TEST_F(ClientInterop, ObjectsWeUploadAreReadByAwsCliAndBoto3)
{
    const QList<QPair<QString, QByteArray>> objects = uploadOurObjects();
    for (const auto& object : objects) {
        const QString target = scratch.filePath(QStringLiteral("aws-download"));
        const ProcessRun get =
            aws({"s3api", "get-object", "--bucket", bucket, "--key", object.first, target});
        ASSERT_EQ(get.exitCode, 0) << get.err.toStdString();
        EXPECT_EQ(readFile(target), object.second) << object.first.toStdString();

        const ProcessRun head = aws({"s3api", "head-object", "--bucket", bucket, "--key", object.first});
        ASSERT_EQ(head.exitCode, 0) << head.err.toStdString();
        const QJsonObject answer = QJsonDocument::fromJson(head.out).object();
        EXPECT_EQ(answer.value("ContentLength").toInt(), object.second.size());
        EXPECT_EQ(answer.value("ContentEncoding").toString(), "gzip");
        EXPECT_EQ(answer.value("Metadata").toObject(),
                  (QJsonObject{{"nk-realsize", "123456789"},
                               {"nk-unix-permissons", "420"},
                               {"nk-encryptioninfo", "2;7;name;256;;1"}}))
            << head.out.toStdString();

        const ProcessRun read = boto3(QStringLiteral("o = s3.get_object(Bucket=bucket, Key='%1')\n"
                                                     "print(hashlib.sha256(o['Body'].read()).hexdigest())\n"
                                                     "print(json.dumps(o['Metadata'], sort_keys=True))\n")
                                          .arg(object.first));
        ASSERT_EQ(read.exitCode, 0) << read.err.toStdString();
        const QList<QByteArray> lines = read.out.trimmed().split('\n');
        ASSERT_EQ(lines.size(), 2) << read.out.toStdString();
        EXPECT_EQ(lines.at(0), sha256(object.second)) << object.first.toStdString();
        EXPECT_EQ(QJsonDocument::fromJson(lines.at(1)).object().value("nk-realsize").toString(), "123456789");
    }
}

TEST_F(ClientInterop, ObjectsTheClientsUploadAreListedAndDownloaded)
{
    const QByteArray awsBig = NorvikTest::randomBytes(12 * MiB + 5, 71);
    const QByteArray awsSmall = NorvikTest::randomBytes(2000, 72);
    const QByteArray botoSmall = NorvikTest::randomBytes(3000, 73);
    const QByteArray botoBig = NorvikTest::randomBytes(11 * MiB + 1, 74);

    // awscli sends files over 8 MiB in parts of 8 MiB.
    const ProcessRun big =
        aws({"s3", "cp", writeFile("aws-big", awsBig), QStringLiteral("s3://%1/aws/big file.bin").arg(bucket),
             "--metadata", "nk-realsize=999"});
    ASSERT_EQ(big.exitCode, 0) << big.err.toStdString();
    const ProcessRun small = aws({"s3api", "put-object", "--bucket", bucket, "--key", "aws/small.bin",
                                  "--body", writeFile("aws-small", awsSmall), "--content-encoding", "gzip"});
    ASSERT_EQ(small.exitCode, 0) << small.err.toStdString();
    const ProcessRun boto = boto3(
        QStringLiteral("from boto3.s3.transfer import TransferConfig\n"
                       "s3.put_object(Bucket=bucket, Key='boto/small.bin', Body=open('%1', 'rb').read(),\n"
                       "    Metadata={'nk-realsize': '3000', 'nk-unix-permissons': '384'})\n"
                       "s3.upload_file('%2', bucket, 'boto/big.bin', Config=TransferConfig(\n"
                       "    multipart_threshold=5 * 1024 * 1024, multipart_chunksize=5 * 1024 * 1024))\n")
            .arg(writeFile("boto-small", botoSmall), writeFile("boto-big", botoBig)));
    ASSERT_EQ(boto.exitCode, 0) << boto.err.toStdString();

    const QMap<QString, QByteArray> expected{{"/aws/big file.bin", awsBig},
                                             {"/aws/small.bin", awsSmall},
                                             {"/boto/small.bin", botoSmall},
                                             {"/boto/big.bin", botoBig}};
    QMap<QString, quint64> listed;
    QMap<QString, QByteArray> tags;
    QString marker;
    do {
        for (const QJsonValue& entry : s3->listing(bucket, QString(), marker, QString(), 3).array()) {
            const ListingObject object(entry.toObject());
            listed.insert(object.name(), object.size());
            tags.insert(object.name(), object.eTag());
        }
    } while (!marker.isEmpty());
    EXPECT_EQ(listed.keys(), expected.keys());
    // The tags of assembled objects count their parts: the clients did send these in parts.
    EXPECT_THAT(tags.value("/aws/big file.bin").toStdString(), ::testing::EndsWith("-2\""));
    EXPECT_THAT(tags.value("/boto/big.bin").toStdString(), ::testing::EndsWith("-3\""));
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        EXPECT_EQ(listed.value(it.key()), static_cast<quint64>(it.value().size())) << it.key().toStdString();
        QMap<QString, QVariant> metaData;
        EXPECT_EQ(downloadAll(*s3, bucket, it.key(), &metaData), it.value()) << it.key().toStdString();
        if (it.key() == QLatin1String("/aws/big file.bin")) {
            EXPECT_EQ(metaData.value(CloudFileMetaData::RealSize).toString(), "999");
        }
        if (it.key() == QLatin1String("/aws/small.bin")) {
            EXPECT_EQ(metaData.value(CloudFileMetaData::ContentEncoding).toString(), "gzip");
        }
        if (it.key() == QLatin1String("/boto/small.bin")) {
            const CloudFileMetaData record(metaData);
            EXPECT_EQ(record.realSize(), 3000);
            EXPECT_EQ(CloudFileMetaData::permissionsToInt(record.permission()), 384);
        }
    }

    // Ranges of a client's multipart object cross its part boundaries.
    QMap<QString, QVariant> metaData;
    EXPECT_EQ(s3->download(bucket, QStringLiteral("/aws/big file.bin"), 8 * MiB - 50, 99, metaData, QUuid()),
              awsBig.mid(8 * MiB - 50, 100));
}

TEST_F(ClientInterop, ObjectsWeUploadAreReadByRclone)
{
    ASSERT_TRUE(QFile::exists(Rclone)) << "missing " << Rclone.toStdString();
    const QList<QPair<QString, QByteArray>> objects = uploadOurObjects();

    // Both are listed, with their sizes.
    const ProcessRun list = rclone({"lsjson", "--recursive", "--files-only", rclonePath()});
    ASSERT_EQ(list.exitCode, 0) << list.err.toStdString();
    QMap<QString, qint64> listed;
    for (const QJsonValue& entry : QJsonDocument::fromJson(list.out).array())
        listed.insert(entry.toObject().value("Path").toString(),
                      static_cast<qint64>(entry.toObject().value("Size").toDouble()));
    EXPECT_EQ(listed, (QMap<QString, qint64>{{"ours/single file.bin", objects.at(0).second.size()},
                                             {"ours/multi.bin", objects.at(1).second.size()}}))
        << list.out.toStdString();

    for (const auto& object : objects) {
        // To standard output, and to a file (where rclone checks the hash it can know).
        const ProcessRun cat = rclone({"cat", rclonePath(object.first)});
        ASSERT_EQ(cat.exitCode, 0) << cat.err.toStdString();
        EXPECT_EQ(cat.out.size(), object.second.size()) << object.first.toStdString();
        EXPECT_EQ(sha256(cat.out), sha256(object.second)) << object.first.toStdString();

        const QString target = scratch.filePath(QStringLiteral("rclone-download"));
        QFile::remove(target);
        const ProcessRun copy = rclone({"copyto", rclonePath(object.first), target});
        ASSERT_EQ(copy.exitCode, 0) << copy.err.toStdString();
        EXPECT_EQ(sha256(readFile(target)), sha256(object.second)) << object.first.toStdString();
    }

    // The tag of an object in one piece is its MD5, and rclone takes it as such.
    const ProcessRun sums = rclone({"md5sum", rclonePath(QStringLiteral("ours"))});
    ASSERT_EQ(sums.exitCode, 0) << sums.err.toStdString();
    const QByteArray md5 =
        Norvik::Core::Hash::Digest::hash(objects.at(0).second, Norvik::Core::Hash::Algorithm::Md5).toHex();
    EXPECT_TRUE(sums.out.contains(md5 + "  single file.bin\n")) << sums.out.toStdString();
}

TEST_F(ClientInterop, ObjectsRcloneUploadsAreListedAndDownloaded)
{
    ASSERT_TRUE(QFile::exists(Rclone)) << "missing " << Rclone.toStdString();
    const QByteArray big = NorvikTest::randomBytes(12 * MiB + 7, 81);
    const QByteArray small = NorvikTest::randomBytes(4321, 82);

    // Over the cutoff of 5 MiB the file goes in parts of 5 MiB: three of them.
    const ProcessRun putBig = rclone({"copyto", "--s3-upload-cutoff", "5M", "--s3-chunk-size", "5M",
                                      writeFile("rclone-big", big), rclonePath("rclone/big file.bin")});
    ASSERT_EQ(putBig.exitCode, 0) << putBig.err.toStdString();
    const ProcessRun putSmall =
        rclone({"copyto", writeFile("rclone-small", small), rclonePath("rclone/small.bin")});
    ASSERT_EQ(putSmall.exitCode, 0) << putSmall.err.toStdString();

    const QMap<QString, QByteArray> expected{{"/rclone/big file.bin", big}, {"/rclone/small.bin", small}};
    QMap<QString, quint64> listed;
    QMap<QString, QByteArray> tags;
    QString marker;
    do {
        for (const QJsonValue& entry : s3->listing(bucket, QString(), marker, QString(), 1).array()) {
            const ListingObject object(entry.toObject());
            listed.insert(object.name(), object.size());
            tags.insert(object.name(), object.eTag());
        }
    } while (!marker.isEmpty());
    ASSERT_EQ(listed.keys(), expected.keys());
    EXPECT_THAT(tags.value("/rclone/big file.bin").toStdString(), ::testing::EndsWith("-3\""));
    EXPECT_EQ(tags.value("/rclone/small.bin"),
              '"' + Norvik::Core::Hash::Digest::hash(small, Norvik::Core::Hash::Algorithm::Md5).toHex() +
                  '"');
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        EXPECT_EQ(listed.value(it.key()), static_cast<quint64>(it.value().size())) << it.key().toStdString();
        QMap<QString, QVariant> metaData;
        const QByteArray data = downloadAll(*s3, bucket, it.key(), &metaData);
        EXPECT_EQ(data.size(), it.value().size()) << it.key().toStdString();
        EXPECT_EQ(sha256(data), sha256(it.value())) << it.key().toStdString();
        // rclone's own metadata comes along under its header name.
        EXPECT_FALSE(metaData.value(QStringLiteral("x-amz-meta-mtime")).toString().isEmpty())
            << it.key().toStdString();
    }

    // A range across the boundary of the first two parts.
    QMap<QString, QVariant> metaData;
    EXPECT_EQ(
        s3->download(bucket, QStringLiteral("/rclone/big file.bin"), 5 * MiB - 50, 99, metaData, QUuid()),
        big.mid(5 * MiB - 50, 100));
}

TEST_F(ClientInterop, ObjectsWeUploadAreSeenBySwiftsOwnClient)
{
    ASSERT_TRUE(QFile::exists(Swift)) << "missing " << Swift.toStdString();
    const QList<QPair<QString, QByteArray>> objects = uploadOurObjects();

    // The bucket is a container of the account, and holds our two objects (the parts of the
    // multipart object live in a container of their own).
    const ProcessRun containers = swift({"list"});
    ASSERT_EQ(containers.exitCode, 0) << containers.err.toStdString();
    EXPECT_TRUE(containers.out.split('\n').contains(bucket.toUtf8())) << containers.out.toStdString();
    const ProcessRun list = swift({"list", bucket});
    ASSERT_EQ(list.exitCode, 0) << list.err.toStdString();
    EXPECT_EQ(list.out, QByteArray("ours/multi.bin\nours/single file.bin\n"));

    for (const auto& object : objects) {
        const QString target = scratch.filePath(QStringLiteral("swift-download"));
        QFile::remove(target);
        const ProcessRun get = swift({"download", bucket, object.first, "--output", target});
        ASSERT_EQ(get.exitCode, 0) << get.err.toStdString();
        const QByteArray data = readFile(target);
        EXPECT_EQ(data.size(), object.second.size()) << object.first.toStdString();
        EXPECT_EQ(sha256(data), sha256(object.second)) << object.first.toStdString();

        // Size and the application's metadata, as Swift keeps them.
        const ProcessRun stat = swift({"stat", bucket, object.first});
        ASSERT_EQ(stat.exitCode, 0) << stat.err.toStdString();
        const QString text = QString::fromUtf8(stat.out);
        EXPECT_TRUE(text.contains(QStringLiteral("Content Length: %1\n").arg(object.second.size())))
            << stat.out.toStdString();
        EXPECT_TRUE(text.contains(QStringLiteral("Meta Nk-Realsize: 123456789\n"), Qt::CaseInsensitive))
            << stat.out.toStdString();
    }
}

} // namespace
