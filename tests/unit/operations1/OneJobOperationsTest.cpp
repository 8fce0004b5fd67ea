#include "operations/CheckConfig.h"
#include "operations/CreateContainer.h"
#include "operations/DeleteOnce.h"
#include "operations/ListContainers.h"
#include "operations/Listing.h"
#include "operations/MultipleDelete.h"
#include "operations/SignUrl.h"
#include "operations/UploadEmptyFolder.h"

#include "OperationsTestSupport.h"

#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "info/CloudType.h"
#include "info/Config.h"
#include "storage/CloudFileSystem.h"

#include "TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QSet>
#include <QUrl>

#include <gmock/gmock.h>

using namespace Norvik::Cloud;
using NorvikTest::MockCloud;
using ::testing::_;
using ::testing::Return;
using ::testing::StrictMock;

namespace {

// Codes that the job boundary gives the exceptions these operations meet.
constexpr int ContainerCode = 6;
constexpr int InvalidArgumentCode = 7;
constexpr int UnsupportedCode = 8;
constexpr int NoContentCode = 13;

class OneJobOperations : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        m_root = NorvikTest::scratchDir(QStringLiteral("one-job.") + QString::fromLatin1(test->name()));
        m_config = NorvikTest::fileSystemConfig(m_root);
        ASSERT_TRUE(m_storage.setConfig(m_config));
    }

    // Runs the operation to its end on connection; false when it did not end.
    static bool run(IOperation& operation, Api::IConnection& connection)
    {
        const int jobs = NorvikTest::runByHand(operation, connection);
        EXPECT_EQ(jobs, 1) << "a one-job operation sent " << jobs << " jobs";
        return NorvikTest::waitUntilComplete(operation);
    }

    bool run(IOperation& operation) { return run(operation, m_storage); }

    QString local(const QString& path) const { return m_root + QLatin1Char('/') + path; }
    void put(const QString& path, const QByteArray& data = "data") const
    {
        NorvikTest::writeFile(local(path), data);
    }

    // Every name of a listing, walked page by page through new operations that start at the
    // previous page's marker.
    QStringList listAll(const QString& prefix, const QString& delimiter, quint16 pageSize,
                        QStringList& markers)
    {
        QStringList names;
        QString marker;
        for (int page = 0; page < 100; ++page) {
            Operation::Listing listing(m_config, prefix, marker, delimiter, pageSize);
            if (!run(listing) || listing.state() != IOperation::StateComplete) {
                ADD_FAILURE() << "page " << page << ": " << listing.errorMessage().toStdString();
                break;
            }
            EXPECT_LE(listing.data().size(), pageSize);
            for (const QJsonValue& record : listing.data())
                names.append(record.toObject().value(QStringLiteral("Name")).toString());
            marker = listing.marker();
            if (marker.isEmpty())
                break;
            markers.append(marker);
        }
        return names;
    }

    QString m_root;
    QMap<QString, QVariant> m_config;
    Api::CloudFileSystem m_storage;
};

TEST_F(OneJobOperations, EmptyFolderIsMadeWithOrWithoutItsTrailingSeparator)
{
    Operation::UploadEmptyFolder withSeparator(m_config, QStringLiteral("a/b/"));
    Operation::UploadEmptyFolder withoutSeparator(m_config, QStringLiteral("c/d"));
    ASSERT_TRUE(run(withSeparator));
    ASSERT_TRUE(run(withoutSeparator));

    EXPECT_EQ(withSeparator.state(), IOperation::StateComplete);
    EXPECT_EQ(withoutSeparator.state(), IOperation::StateComplete);
    EXPECT_TRUE(QFileInfo(local(QStringLiteral("a/b"))).isDir());
    EXPECT_TRUE(QFileInfo(local(QStringLiteral("c/d"))).isDir());
    EXPECT_TRUE(withSeparator.info().value(QStringLiteral("isFolder")).toBool());
    EXPECT_EQ(withoutSeparator.info().value(QStringLiteral("Name")).toString(), QStringLiteral("c/d/"));
}

TEST_F(OneJobOperations, EmptyFolderOnAStorageWithoutThemNeverReachesTheStorage)
{
    // This service's descriptor keeps no empty folders; a strict mock fails on any call.
    StrictMock<MockCloud> minio(Type::Minio);
    Operation::UploadEmptyFolder operation(m_config, QStringLiteral("a/"));
    ASSERT_TRUE(run(operation, minio));
    EXPECT_EQ(operation.state(), IOperation::StateError);
    EXPECT_EQ(operation.errorCode(), UnsupportedCode);
    EXPECT_EQ(operation.errorMessage(),
              QStringLiteral("Empty files or folders are not accepted by the storage provider"));
}

TEST_F(OneJobOperations, ListingPagesWithADelimiterCoverEveryEntryOnce)
{
    const QStringList files{QStringLiteral("top/a"), QStringLiteral("top/b"), QStringLiteral("top/c"),
                            QStringLiteral("top/d"), QStringLiteral("top/e")};
    for (const QString& file : files)
        put(file);
    put(QStringLiteral("top/sub/deep"));
    put(QStringLiteral("elsewhere/x"));

    QStringList markers;
    const QStringList names = listAll(QStringLiteral("top/"), QStringLiteral("/"), 2, markers);
    // Five files and the folder below the prefix, each once, on pages of two.
    QStringList expected = files;
    expected.append(QStringLiteral("top/sub/"));
    EXPECT_EQ(QSet<QString>(names.begin(), names.end()), QSet<QString>(expected.begin(), expected.end()));
    EXPECT_EQ(names.size(), expected.size());
    EXPECT_EQ(markers.size(), 2);

    // Without a delimiter the walk goes into the folder.
    markers.clear();
    const QStringList deep = listAll(QStringLiteral("top/"), QString(), 100, markers);
    EXPECT_TRUE(deep.contains(QStringLiteral("top/sub/deep")));
    EXPECT_TRUE(markers.isEmpty());
}

TEST_F(OneJobOperations, ListingHandsItsArgumentsOnAndFailsWithTheStorage)
{
    StrictMock<MockCloud> cloud(Type::AmazonS3);
    QMap<QString, QVariant> config = m_config;
    config.insert(OperationConfig::ContainerName, QStringLiteral("bucket"));
    const QJsonArray page{QJsonObject{{QStringLiteral("Name"), QStringLiteral("p/x")}}};
    EXPECT_CALL(cloud, listing(QStringLiteral("bucket"), QStringLiteral("p/"),
                               ::testing::Eq(QStringLiteral("m1")), QStringLiteral("/"), quint16(0)))
        .WillOnce([&](const QString&, const QString&, QString& marker, const QString&, quint16) {
            marker = QStringLiteral("m2");
            return QJsonDocument(page);
        });
    // A count of 0 is passed on as it stands.
    Operation::Listing listing(config, QStringLiteral("p/"), QStringLiteral("m1"), QStringLiteral("/"), 0);
    EXPECT_TRUE(listing.marker().isEmpty());
    ASSERT_TRUE(run(listing, cloud));
    EXPECT_EQ(listing.state(), IOperation::StateComplete);
    EXPECT_EQ(listing.data(), page);
    EXPECT_EQ(listing.marker(), QStringLiteral("m2"));

    // The storage refuses a marker it never gave.
    Operation::Listing badMarker(m_config, QString(), QStringLiteral("not-a-marker"), QString(), 10);
    ASSERT_TRUE(run(badMarker));
    EXPECT_EQ(badMarker.state(), IOperation::StateError);
    EXPECT_EQ(badMarker.errorCode(), InvalidArgumentCode);
    EXPECT_TRUE(badMarker.data().isEmpty());
    EXPECT_TRUE(badMarker.marker().isEmpty());
}

TEST_F(OneJobOperations, ContainersExistOnlyOnClouds)
{
    Operation::ListContainers onFolder(m_config);
    Operation::CreateContainer createOnFolder(m_config,
                                              QJsonObject{{QStringLiteral("name"), QStringLiteral("b")}});
    ASSERT_TRUE(run(onFolder));
    ASSERT_TRUE(run(createOnFolder));
    EXPECT_EQ(onFolder.errorCode(), UnsupportedCode);
    EXPECT_EQ(createOnFolder.errorCode(), UnsupportedCode);
    EXPECT_EQ(createOnFolder.state(), IOperation::StateError);

    StrictMock<MockCloud> cloud(Type::AmazonS3);
    const QJsonArray buckets{QJsonObject{{QStringLiteral("name"), QStringLiteral("one")}},
                             QJsonObject{{QStringLiteral("name"), QStringLiteral("two")}}};
    const QJsonObject params{{QStringLiteral("name"), QStringLiteral("new")},
                             {QStringLiteral("region"), QStringLiteral("eu")}};
    EXPECT_CALL(cloud, containers()).WillOnce(Return(QJsonDocument(buckets)));
    EXPECT_CALL(cloud, createContainers(params)).WillOnce(Return(true)).WillOnce(Return(false));

    Operation::ListContainers list(m_config);
    Operation::CreateContainer created(m_config, params);
    Operation::CreateContainer refused(m_config, params);
    ASSERT_TRUE(run(list, cloud));
    ASSERT_TRUE(run(created, cloud));
    ASSERT_TRUE(run(refused, cloud));
    EXPECT_EQ(list.state(), IOperation::StateComplete);
    EXPECT_EQ(list.data(), buckets);
    EXPECT_EQ(created.state(), IOperation::StateComplete);
    // A refusal without an exception: state 4 with code 0 and no text.
    EXPECT_EQ(refused.state(), IOperation::StateError);
    EXPECT_EQ(refused.errorCode(), 0);
    EXPECT_TRUE(refused.errorMessage().isEmpty());
}

TEST_F(OneJobOperations, CheckConfigGivesBackTheCompletedConfiguration)
{
    Operation::CheckConfig good(m_config);
    ASSERT_TRUE(run(good));
    EXPECT_EQ(good.state(), IOperation::StateComplete);
    EXPECT_EQ(good.cloudConfig().value(Config::FileSystem::Path).toString(), m_root);
    EXPECT_EQ(good.cloudConfig().value(JobFormat::Type).toString(), JobFormat::CheckConfig::Type);

    QMap<QString, QVariant> missingRoot = m_config;
    missingRoot.insert(Config::FileSystem::Path, QString(m_root + QStringLiteral("/not-there")));
    Operation::CheckConfig bad(missingRoot);
    ASSERT_TRUE(run(bad));
    EXPECT_EQ(bad.state(), IOperation::StateError);
    EXPECT_EQ(bad.errorCode(), ContainerCode);
    EXPECT_FALSE(bad.errorMessage().isEmpty());
    // A failed check leaves the configuration as the caller gave it.
    EXPECT_EQ(bad.cloudConfig(), missingRoot);

    StrictMock<MockCloud> cloud(Type::AmazonS3);
    EXPECT_CALL(cloud, checkConfig(_, _)).WillOnce([](const QString&, QMap<QString, QVariant>& config) {
        config.insert(Config::AmazonS3Like::Region, QStringLiteral("eu-north-1"));
    });
    Operation::CheckConfig amended(m_config);
    ASSERT_TRUE(run(amended, cloud));
    EXPECT_EQ(amended.cloudConfig().value(Config::AmazonS3Like::Region).toString(),
              QStringLiteral("eu-north-1"));
}

TEST_F(OneJobOperations, DeleteOnceRemovesTheListedObjectAndReportsAMissingOne)
{
    put(QStringLiteral("keep/gone"));
    put(QStringLiteral("keep/stays"));
    Operation::Listing listing(m_config, QStringLiteral("keep/"), QString(), QStringLiteral("/"), 10);
    ASSERT_TRUE(run(listing));
    QJsonObject record;
    for (const QJsonValue& value : listing.data()) {
        if (value.toObject().value(QStringLiteral("Name")).toString() == QStringLiteral("keep/gone"))
            record = value.toObject();
    }
    ASSERT_FALSE(record.isEmpty());

    Operation::DeleteOnce first(m_config, record);
    Operation::DeleteOnce second(m_config, record);
    ASSERT_TRUE(run(first));
    ASSERT_TRUE(run(second));
    EXPECT_EQ(first.state(), IOperation::StateComplete);
    EXPECT_FALSE(QFileInfo::exists(local(QStringLiteral("keep/gone"))));
    EXPECT_TRUE(QFileInfo::exists(local(QStringLiteral("keep/stays"))));
    EXPECT_EQ(second.state(), IOperation::StateError);
    EXPECT_EQ(second.errorCode(), NoContentCode);

    StrictMock<MockCloud> cloud(Type::AmazonS3);
    EXPECT_CALL(cloud, delete_(_, record)).WillOnce(Return(false));
    Operation::DeleteOnce refused(m_config, record);
    ASSERT_TRUE(run(refused, cloud));
    EXPECT_EQ(refused.state(), IOperation::StateError);
    EXPECT_EQ(refused.errorCode(), 0);
    EXPECT_TRUE(refused.errorMessage().isEmpty());
}

TEST_F(OneJobOperations, MultipleDeleteCompletesAndNamesTheObjectsThatStayed)
{
    const QJsonArray objects{QJsonObject{{QStringLiteral("Name"), QStringLiteral("a")}},
                             QJsonObject{{QStringLiteral("Name"), QStringLiteral("missing")}},
                             QJsonObject{{QStringLiteral("Name"), QStringLiteral("c")}}};
    const QJsonArray stayed{QJsonObject{{QStringLiteral("name"), QStringLiteral("missing")},
                                        {QStringLiteral("message"), QStringLiteral("No such key")},
                                        {QStringLiteral("code"), 2}}};
    QMap<QString, QVariant> config = m_config;
    config.insert(OperationConfig::ContainerName, QStringLiteral("bucket"));

    StrictMock<MockCloud> s3(Type::AmazonS3);
    // The whole list goes in one call.
    EXPECT_CALL(s3, delete_(QStringLiteral("bucket"), objects)).WillOnce(Return(stayed));
    Operation::MultipleDelete operation(config, objects);
    ASSERT_TRUE(run(operation, s3));
    EXPECT_EQ(operation.state(), IOperation::StateComplete);
    EXPECT_EQ(operation.data(), stayed);

    // Without batch delete the storage is not asked at all.
    StrictMock<MockCloud> minio(Type::Minio);
    Operation::MultipleDelete unsupported(config, objects);
    ASSERT_TRUE(run(unsupported, minio));
    EXPECT_EQ(unsupported.state(), IOperation::StateError);
    EXPECT_EQ(unsupported.errorCode(), UnsupportedCode);
    EXPECT_TRUE(unsupported.data().isEmpty());

    put(QStringLiteral("a"));
    Operation::MultipleDelete onFolder(m_config, objects);
    ASSERT_TRUE(run(onFolder));
    EXPECT_EQ(onFolder.errorCode(), UnsupportedCode);
    EXPECT_TRUE(QFileInfo::exists(local(QStringLiteral("a"))));
}

TEST_F(OneJobOperations, SignUrlGivesTheObjectsAddressAndPassesTheExpiryOn)
{
    const QDateTime expires = QDateTime::currentDateTimeUtc().addSecs(3600);
    Operation::SignUrl onFolder(m_config, QStringLiteral("dir/file name.txt"), true, expires);
    ASSERT_TRUE(run(onFolder));
    EXPECT_EQ(onFolder.state(), IOperation::StateComplete);
    EXPECT_EQ(QUrl(onFolder.data()).toLocalFile(),
              QDir(m_root).absoluteFilePath(QStringLiteral("dir/file name.txt")));

    StrictMock<MockCloud> cloud(Type::AmazonS3);
    QDateTime received;
    EXPECT_CALL(cloud, signUrl(_, QStringLiteral("dir/x"), false, _))
        .WillOnce([&](const QString&, const QString&, bool, const QDateTime& at) {
            received = at;
            return QStringLiteral("http://example.test/dir/x?sig=1");
        });
    Operation::SignUrl signedUrl(m_config, QStringLiteral("dir/x"), false, expires);
    ASSERT_TRUE(run(signedUrl, cloud));
    EXPECT_EQ(signedUrl.data(), QStringLiteral("http://example.test/dir/x?sig=1"));
    EXPECT_EQ(received.toMSecsSinceEpoch(), expires.toMSecsSinceEpoch());

    Operation::SignUrl outside(m_config, QStringLiteral("../etc/passwd"), false, expires);
    ASSERT_TRUE(run(outside));
    EXPECT_EQ(outside.state(), IOperation::StateError);
    EXPECT_EQ(outside.errorCode(), InvalidArgumentCode);
    EXPECT_TRUE(outside.data().isEmpty());
}

TEST_F(OneJobOperations, JobFunctionsAnswerANullConnectionWithNothing)
{
    const QJsonObject job{{JobFormat::Type, QStringLiteral("any")}};
    EXPECT_TRUE(checkConfig(nullptr, job).isNull());
    EXPECT_TRUE(uploadEmptyFolder(nullptr, job).isNull());
    EXPECT_TRUE(listing(nullptr, job).isNull());
    EXPECT_TRUE(listContainers(nullptr, job).isNull());
    EXPECT_TRUE(createContainer(nullptr, job).isNull());
    EXPECT_TRUE(deleteOnce(nullptr, job).isNull());
    EXPECT_TRUE(multipleDelete(nullptr, job).isNull());
    EXPECT_TRUE(signUrl(nullptr, job).isNull());
}

TEST_F(OneJobOperations, ResultsThatAreNoObjectOrComeTwiceChangeNothing)
{
    Operation::Listing listing(m_config, QString(), QString(), QString(), 10);
    const QJsonDocument job = listing.makeJob();
    ASSERT_TRUE(job.isObject());
    listing.resultJob(QJsonDocument());
    listing.resultJob(QJsonDocument(QJsonArray{1, 2}));
    QCoreApplication::processEvents();
    EXPECT_FALSE(listing.isComplite());
    EXPECT_TRUE(listing.makeJob().isNull());

    // A success without the page is a failure with empty texts.
    QJsonObject empty = job.object();
    empty.insert(JobFormat::Result::Status::Key, JobFormat::Result::Status::Value::Success);
    listing.resultJob(QJsonDocument(empty));
    ASSERT_TRUE(NorvikTest::waitUntilComplete(listing));
    EXPECT_EQ(listing.state(), IOperation::StateError);
    EXPECT_EQ(listing.errorCode(), 0);

    // A late second result is ignored.
    empty.insert(JobFormat::Result::ResultData, QJsonArray{QJsonObject{}});
    listing.resultJob(QJsonDocument(empty));
    QCoreApplication::processEvents();
    EXPECT_EQ(listing.state(), IOperation::StateError);
    EXPECT_TRUE(listing.data().isEmpty());
}

} // namespace
