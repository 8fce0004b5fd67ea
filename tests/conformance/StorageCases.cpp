// What every storage must do, each case chosen by what the storage can do. Contents are
// compared by SHA-256; names are those below the test's own prefix.

#include "Conformance.h"

#include "connection/CloudFileMetaData.h"
#include "connection/Exception.h"
#include "connection/ICloud.h"
#include "connection/ListingObject.h"
#include "engine/JobFormat.h"
#include "engine/OperationManager.h"
#include "info/Config.h"
#include "operations/DownloadBlob.h"
#include "operations/ListContainers.h"
#include "operations/MultipleDelete.h"
#include "operations/SignUrl.h"
#include "operations/UploadMultipart.h"

#include "LogCapture.h"
#include "TestSupport.h"

#include <NorvikCore/GlobalConfig.h>

#include <QBuffer>
#include <QJsonArray>
#include <QUuid>

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

using Conformance::Capabilities;
using Conformance::ConfigMap;
using Norvik::Cloud::IOperation;
using Norvik::Cloud::OperationManager;
using Norvik::Cloud::Api::CloudFileMetaData;
using Norvik::Cloud::Api::ListingObject;
namespace Operation = Norvik::Cloud::Operation;

constexpr int KiB = 1024;
// Error codes that clients see.
constexpr int UnsupportedCode = 8;
constexpr int NotFoundCode = 13;

OperationManager& manager()
{
    return OperationManager::instance();
}

bool always(const Capabilities&)
{
    return true;
}

QSharedPointer<QIODevice> readable(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

QSharedPointer<Operation::UploadMultipart> uploadMultipart(const QString& path, QIODevice* device,
                                                           const ConfigMap& metaData = {},
                                                           const QByteArray& uploadId = {})
{
    return qSharedPointerCast<Operation::UploadMultipart>(
        manager().uploadMultipart(Conformance::StorageTest::config(), path, metaData, device, uploadId));
}

size_t appendTo(char* data, size_t size, size_t count, void* body)
{
    static_cast<QByteArray*>(body)->append(data, static_cast<int>(size * count));
    return size * count;
}

// What any client of a signed URL gets from it: a plain libcurl GET, failing on an error status.
QByteArray plainGet(const QString& url)
{
    QByteArray body;
    CURL* curl = curl_easy_init();
    const QByteArray address = url.toUtf8();
    curl_easy_setopt(curl, CURLOPT_URL, address.constData());
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &appendTo);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
    // A test server with a CA of its own and a service's host names: the client trusts that CA
    // and reaches those names where the library does.
    const Norvik::Core::GlobalConfig& global = Norvik::Core::GlobalConfig::instance();
    const QByteArray ca = global.caCertificatesPath().toUtf8();
    if (!ca.isEmpty())
        curl_easy_setopt(curl, CURLOPT_CAINFO, ca.constData());
    curl_slist* connectTo = nullptr;
    for (const QString& entry : global.connectTo())
        connectTo = curl_slist_append(connectTo, entry.toUtf8().constData());
    curl_easy_setopt(curl, CURLOPT_CONNECT_TO, connectTo);
    const CURLcode result = curl_easy_perform(curl);
    curl_easy_cleanup(curl);
    curl_slist_free_all(connectTo);
    EXPECT_EQ(result, CURLE_OK) << curl_easy_strerror(result) << " for " << url.toStdString();
    return body;
}

CONFORMANCE_CASE(SingleShotRoundTrip, always)
{
    const QByteArray data = NorvikTest::randomBytes(300 * KiB + 7, 1);
    // A shorter object replaces a longer one whole.
    ASSERT_TRUE(put("engine.bin", data + data));
    ASSERT_TRUE(put("engine.bin", data));
    EXPECT_EQ(sha256(get("engine.bin")), sha256(data));

    // The connection itself, from memory and from a stream.
    const QByteArray small = NorvikTest::randomBytes(70 * KiB + 3, 2);
    const ListingObject made(connection().upload(container(), path("memory.bin"), {}, small, QUuid()));
    EXPECT_EQ(made.size(), static_cast<quint64>(small.size()));
    connection().upload(container(), path("stream.bin"), {}, readable(data), data.size(), QUuid());
    QBuffer out;
    out.open(QIODevice::WriteOnly);
    ConfigMap metaData;
    connection().download(container(), path("memory.bin"), out, metaData, QUuid());
    EXPECT_EQ(sha256(out.data()), sha256(small));
    EXPECT_EQ(sha256(get("stream.bin")), sha256(data));

    const QMap<QString, int> sizes{
        {"engine.bin", data.size()}, {"memory.bin", small.size()}, {"stream.bin", data.size()}};
    const QList<Entry> entries = list("", "", 100);
    EXPECT_EQ(names(entries), sizes.keys());
    for (const Entry& entry : entries)
        EXPECT_EQ(entry.size, static_cast<quint64>(sizes.value(entry.name))) << entry.name.toStdString();
}

CONFORMANCE_CASE(MultipartRoundTrip, [](const Capabilities& c) { return c.multipart; })
{
    const int part = static_cast<int>(caps().partSize);
    const QByteArray data = NorvikTest::randomBytes(2 * part + 12345, 3);
    // A short last part, and a source that ends exactly on a part boundary.
    for (const int size : {data.size(), 2 * part}) {
        QBuffer device;
        device.setData(data.left(size));
        device.open(QIODevice::ReadOnly);
        const auto upload = uploadMultipart(path("engine.bin"), &device);
        ASSERT_TRUE(run(upload));
        // The id that would let a client continue the upload later.
        EXPECT_FALSE(upload->multipartUploadInfo().isEmpty());
        EXPECT_EQ(sha256(get("engine.bin")), sha256(data.left(size))) << size;
    }

    // Through the connection: out of order where parts may travel in parallel.
    const QList<quint64> order = caps().parallelParts ? QList<quint64>{3, 1, 2} : QList<quint64>{1, 2, 3};
    const QByteArray id = connection().beginMultipartUpload(container(), path("parts.bin"), {});
    QList<QPair<quint64, QByteArray>> tags;
    for (const quint64 n : order) {
        const QByteArray piece = data.mid(static_cast<int>(n - 1) * part, part);
        tags.append({n, connection().uploadMultipart(container(), path("parts.bin"), id, n, piece, QUuid())});
    }
    std::sort(tags.begin(), tags.end());
    connection().endMultipartUpload(container(), path("parts.bin"), id, tags);
    EXPECT_EQ(sha256(get("parts.bin")), sha256(data));
}

CONFORMANCE_CASE(ContinuesByUploadIdSendingOnlyMissingParts,
                 [](const Capabilities& c) { return c.multipart && c.continueUpload; })
{
    const int part = static_cast<int>(caps().partSize);
    const QByteArray data = NorvikTest::randomBytes(2 * part + 100, 4);
    // An earlier run got as far as the second part, which has changed in the source since.
    const QByteArray id = connection().beginMultipartUpload(container(), path("continued.bin"), {});
    connection().uploadMultipart(container(), path("continued.bin"), id, 1, data.left(part), QUuid());
    const QByteArray stale = NorvikTest::randomBytes(part, 40);
    connection().uploadMultipart(container(), path("continued.bin"), id, 2, stale, QUuid());

    // The engine says so for each part that it takes from the listing instead of sending it.
    NorvikTest::LogCapture log;
    QBuffer device;
    device.setData(data);
    device.open(QIODevice::ReadOnly);
    const auto upload = uploadMultipart(path("continued.bin"), &device, {}, id);
    const bool done = run(upload);
    ASSERT_TRUE(done);
    EXPECT_EQ(upload->multipartUploadInfo(), id);
    EXPECT_EQ(log.count({QStringLiteral("Part is already uploaded:")}), 1);
    EXPECT_EQ(sha256(get("continued.bin")), sha256(data));
}

CONFORMANCE_CASE(Ranges, always)
{
    const QByteArray data = NorvikTest::randomBytes(64 * KiB + 5, 5);
    const int n = data.size();
    ASSERT_TRUE(put("range.bin", data));
    struct Range
    {
        const char* what;
        int position;
        int count;
    };
    const Range ranges[] = {
        {"first byte", 0, 1},
        {"last byte", n - 1, 1},
        {"one byte inside", n / 2, 1},
        {"a long span", 1000, 40000},
        {"running past the end", n - 10, 100},
    };
    for (const Range& range : ranges) {
        if (range.position == 0 && range.count == 1 && !caps().firstByteRange)
            continue;
        SCOPED_TRACE(range.what);
        const QByteArray expected = sha256(data.mid(range.position, range.count));
        // Ranges are the first offset and the count of bytes less one.
        const auto blob = qSharedPointerCast<Operation::DownloadBlob>(
            manager().downloadBlob(config(), path("range.bin"), range.position, range.count - 1));
        if (run(blob)) {
            EXPECT_EQ(sha256(blob->data()), expected);
        }
        QBuffer out;
        out.open(QIODevice::WriteOnly);
        if (run(manager().downloadBlob2Stream(config(), path("range.bin"), range.position, range.count - 1,
                                              &out))) {
            EXPECT_EQ(sha256(out.data()), expected);
        }
        ConfigMap metaData;
        EXPECT_EQ(sha256(connection().download(container(), path("range.bin"), range.position,
                                               range.count - 1, metaData, QUuid())),
                  expected);
    }
    // A range that begins past the end brings no byte: it is empty or an error.
    const auto beyond = qSharedPointerCast<Operation::DownloadBlob>(
        manager().downloadBlob(config(), path("range.bin"), n + 10, 9));
    ASSERT_TRUE(runAll({beyond}));
    if (!beyond->isError()) {
        EXPECT_TRUE(beyond->data().isEmpty());
    }
}

CONFORMANCE_CASE(ListingPagesWithMarkersAndDelimiter, always)
{
    const QStringList files{"a.txt",     "b.txt",         "dir.txt", "dir/1.txt",
                            "dir/2.txt", "dir/sub/3.txt", "e f.txt", "z.txt"};
    for (const QString& file : files)
        connection().upload(container(), path(file), {}, file.toUtf8(), QUuid());

    // Every object exactly once, a page starting after the marker of the one before, also
    // when a page ends on a folder of a delimited listing.
    for (const quint16 pageSize : {1, 2, 1000}) {
        if (pageSize < 1000 && !caps().pagedListings)
            continue;
        SCOPED_TRACE(pageSize);
        int pages = 0;
        const QList<Entry> all = list("", "", pageSize, &pages);
        EXPECT_EQ(names(all), files);
        EXPECT_GE(pages, (files.size() + pageSize - 1) / pageSize);
        for (const Entry& entry : all) {
            EXPECT_FALSE(entry.folder) << entry.name.toStdString();
            EXPECT_EQ(entry.size, static_cast<quint64>(entry.name.size()));
        }
        // A delimiter gives one level, with its folders once each.
        const QList<Entry> top = list("", "/", pageSize);
        EXPECT_EQ(names(top), (QStringList{"a.txt", "b.txt", "dir.txt", "dir/", "e f.txt", "z.txt"}));
        for (const Entry& entry : top)
            EXPECT_EQ(entry.folder, entry.name == "dir/") << entry.name.toStdString();
        EXPECT_EQ(names(list("dir/", "/", pageSize)), (QStringList{"dir/1.txt", "dir/2.txt", "dir/sub/"}));
    }
}

CONFORMANCE_CASE(DeleteOneObjectAndAMissingOne, always)
{
    ASSERT_TRUE(put("gone.bin", "gone"));
    ASSERT_TRUE(put("kept.bin", "kept"));
    const QList<Entry> before = list("", "", 100);
    ASSERT_EQ(names(before), (QStringList{"gone.bin", "kept.bin"}));
    const QJsonObject gone = before.at(0).record;
    EXPECT_TRUE(remove(gone));
    EXPECT_EQ(names(list("", "", 100)), QStringList{"kept.bin"});

    // What is not there any more is deleted without effect, or reported missing.
    const auto again = manager().deleteOnce(config(), gone);
    ASSERT_TRUE(runAll({again}));
    if (again->isError()) {
        EXPECT_EQ(again->errorCode(), NotFoundCode) << again->errorMessage().toStdString();
    }
    EXPECT_EQ(names(list("", "", 100)), QStringList{"kept.bin"});

    QBuffer out;
    out.open(QIODevice::WriteOnly);
    const auto download = manager().download2Stream(config(), path("gone.bin"), &out);
    ASSERT_TRUE(run(download, IOperation::StateError));
    EXPECT_EQ(download->errorCode(), NotFoundCode);
}

CONFORMANCE_CASE(MultipleDeleteWithAMissingKey, [](const Capabilities& c) { return c.maxDeleteCount > 0; })
{
    for (const char* name : {"one", "two", "three", "keep"})
        ASSERT_TRUE(put(QString::fromLatin1(name), name));
    QJsonArray objects;
    for (const Entry& entry : list("", "", 100)) {
        if (entry.name != "keep")
            objects.append(entry.record);
    }
    objects.append(ListingObject(path("never-there"), QDateTime(), 1, {}, {}, false).json());
    const auto batch =
        qSharedPointerCast<Operation::MultipleDelete>(manager().multipleDelete(config(), objects));
    ASSERT_TRUE(run(batch));
    EXPECT_TRUE(batch->data().isEmpty()) << QJsonDocument(batch->data()).toJson().toStdString();
    EXPECT_EQ(names(list("", "", 100)), QStringList{"keep"});
}

CONFORMANCE_CASE(MultipleDeleteIsRefusedWithoutBatchDelete,
                 [](const Capabilities& c) { return c.maxDeleteCount == 0; })
{
    ASSERT_TRUE(put("one", "1"));
    ASSERT_TRUE(put("two", "2"));
    QJsonArray objects;
    for (const Entry& entry : list("", "", 100))
        objects.append(entry.record);
    const auto batch = manager().multipleDelete(config(), objects);
    ASSERT_TRUE(run(batch, IOperation::StateError));
    EXPECT_EQ(batch->errorCode(), UnsupportedCode);
    EXPECT_EQ(names(list("", "", 100)), (QStringList{"one", "two"}));
}

CONFORMANCE_CASE(MetadataRoundTrip, [](const Capabilities& c) { return !c.keptMetadata.isEmpty(); })
{
    const CloudFileMetaData::Encryption encryption(CloudFileMetaData::Encryption::Version2, 3,
                                                   QStringLiteral("key-name"), 32, QByteArray(), true);
    const ConfigMap sent{
        {CloudFileMetaData::RealSize, 9876543210LL},
        {CloudFileMetaData::FilePermissions, 416},
        {CloudFileMetaData::ContentEncoding, QStringLiteral("gzip")},
        {CloudFileMetaData::EncryptionHeader, encryption.toString()},
    };
    const QByteArray data = NorvikTest::randomBytes(1000, 6);
    ASSERT_TRUE(put("once.bin", data, sent));
    QStringList objects{"once.bin"};
    // Two parts: some services (B2) refuse a multipart upload of one part.
    const QByteArray parts = NorvikTest::randomBytes(static_cast<qsizetype>(caps().partSize) + 1000, 7);
    if (caps().multipart) {
        QBuffer device;
        device.setData(parts);
        device.open(QIODevice::ReadOnly);
        ASSERT_TRUE(run(uploadMultipart(path("parts.bin"), &device, sent)));
        objects << "parts.bin";
    }
    for (const QString& object : objects) {
        ConfigMap back;
        EXPECT_EQ(sha256(get(object, &back)), sha256(object == QLatin1String("parts.bin") ? parts : data));
        for (const QString& key : caps().keptMetadata)
            EXPECT_EQ(back.value(key).toString(), sent.value(key).toString())
                << object.toStdString() << ' ' << key.toStdString();
    }
}

CONFORMANCE_CASE(NamesWithBlanksUnicodeAndReservedCharacters, always)
{
    const QStringList odd{
        "a blank.bin",
        QString::fromUtf8("ünïcödé 名前.bin"),
        "hash#tag.bin",
        "question?mark.bin",
        "per%41cent%.bin",
        "plus+sign.bin",
        "and&more.bin",
        // What signing and URLs treat apart, and blanks at both ends.
        "semi;colon,comma=equals.bin",
        "star*bang!(paren)'quote'~.bin",
        "at@dollar$colon:.bin",
        " lead and trail .bin ",
    };
    for (const QString& name : odd)
        ASSERT_TRUE(put(name, name.toUtf8()));
    const QList<Entry> entries = list("", "", 100);
    QStringList sorted = odd;
    sorted.sort();
    EXPECT_EQ(names(entries), sorted);
    // Keeps the prefix's folder where folders go with their last object: a missing folder
    // is no listing.
    ASSERT_TRUE(put("anchor", "anchor"));
    for (const QString& name : odd) {
        SCOPED_TRACE(name.toStdString());
        EXPECT_EQ(get(name), name.toUtf8());
        // The name is a listing prefix too.
        EXPECT_EQ(names(list(name, "", 100)), QStringList{name});
    }
    for (const Entry& entry : entries)
        EXPECT_TRUE(remove(entry.record)) << entry.name.toStdString();
    EXPECT_EQ(names(list("", "", 100)), QStringList{"anchor"});
}

CONFORMANCE_CASE(EmptyObject, always)
{
    ASSERT_TRUE(put("empty", QByteArray()));
    const QList<Entry> entries = list("", "", 100);
    ASSERT_EQ(names(entries), QStringList{"empty"});
    EXPECT_EQ(entries.at(0).size, 0u);
    EXPECT_FALSE(entries.at(0).folder);
    EXPECT_TRUE(get("empty").isEmpty());
}

CONFORMANCE_CASE(EmptyFolder, [](const Capabilities& c) { return c.emptyFolder; })
{
    ASSERT_TRUE(run(manager().uploadEmptyFolder(config(), path("folder/"))));
    ASSERT_TRUE(put("file.bin", "x"));
    const QList<Entry> level = list("", "/", 100);
    ASSERT_EQ(names(level), (QStringList{"file.bin", "folder/"}));
    const Entry folder = level.at(0).name == "folder/" ? level.at(0) : level.at(1);
    EXPECT_TRUE(folder.folder);
    EXPECT_TRUE(remove(folder.record));
    EXPECT_EQ(names(list("", "/", 100)), QStringList{"file.bin"});
}

CONFORMANCE_CASE(SignedUrlServesAPlainClient, [](const Capabilities& c) { return c.signedUrl; })
{
    const QByteArray data = NorvikTest::randomBytes(4 * KiB + 1, 7);
    ASSERT_TRUE(put("signed file.bin", data));
    // The URL's scheme is the one the storage is reached by: a TLS-only server serves no "http".
    const bool https =
        config().value(Norvik::Cloud::Api::Config::Http::Endpoint).toUrl().scheme() == QLatin1String("https");
    const auto sign = qSharedPointerCast<Operation::SignUrl>(manager().signUrl(
        config(), path("signed file.bin"), https, QDateTime::currentDateTime().addSecs(600)));
    ASSERT_TRUE(run(sign));
    EXPECT_EQ(sha256(plainGet(sign->data())), sha256(data));
}

CONFORMANCE_CASE(FiftyOperationsAtOnce, always)
{
    constexpr int Count = 50;
    std::vector<std::unique_ptr<QBuffer>> devices;
    QList<QByteArray> contents;
    QList<QSharedPointer<IOperation>> uploads;
    for (int i = 0; i < Count; ++i) {
        contents << NorvikTest::randomBytes(1000 + 37 * i, 100 + i);
        devices.push_back(std::make_unique<QBuffer>());
        devices.back()->setData(contents.last());
        devices.back()->open(QIODevice::ReadOnly);
        uploads << manager().upload(config(), path(QStringLiteral("many/%1.bin").arg(i)), {},
                                    devices.back().get());
    }
    ASSERT_TRUE(runAll(uploads));
    for (const auto& upload : uploads)
        EXPECT_EQ(upload->state(), IOperation::StateComplete) << upload->errorMessage().toStdString();
    EXPECT_EQ(list("many/", "", 1000).size(), Count);

    QList<QSharedPointer<IOperation>> downloads;
    for (int i = 0; i < Count; ++i) {
        devices[i] = std::make_unique<QBuffer>();
        devices[i]->open(QIODevice::WriteOnly);
        downloads << manager().download2Stream(config(), path(QStringLiteral("many/%1.bin").arg(i)),
                                               devices[i].get());
    }
    ASSERT_TRUE(runAll(downloads));
    for (int i = 0; i < Count; ++i) {
        EXPECT_EQ(downloads.at(i)->state(), IOperation::StateComplete)
            << downloads.at(i)->errorMessage().toStdString();
        EXPECT_EQ(sha256(devices[i]->data()), sha256(contents.at(i))) << i;
    }

    // And gone at once: the anchor keeps the prefix's folder.
    ASSERT_TRUE(put("anchor", "anchor"));
    QList<QSharedPointer<IOperation>> deletes;
    for (const Entry& entry : list("many/", "", 1000))
        deletes << manager().deleteOnce(config(), entry.record);
    ASSERT_TRUE(runAll(deletes));
    for (const auto& deletion : deletes)
        EXPECT_EQ(deletion->state(), IOperation::StateComplete) << deletion->errorMessage().toStdString();
    EXPECT_EQ(names(list("", "", 1000)), QStringList{"anchor"});
}

CONFORMANCE_CASE(ConfigurationCheckPasses, always)
{
    const auto check = manager().checkConfig(config());
    ASSERT_TRUE(run(check));
    // What the storage may have added (a region, say) comes on top of the configuration.
    for (auto it = config().cbegin(); it != config().cend(); ++it)
        EXPECT_TRUE(check->cloudConfig().contains(it.key())) << it.key().toStdString();
}

CONFORMANCE_CASE(WrongCredentialsAreRefused, [](const Capabilities& c) { return c.checksCredentials; })
{
    ASSERT_TRUE(put("anchor", "anchor"));
    ConfigMap wrong = config();
    row().breakCredentials(wrong);
    // A changed configuration needs an id of its own, or a job thread keeps its old connection.
    wrong.insert(Norvik::Cloud::Config::Id, QUuid::createUuid());

    QBuffer device;
    device.setData("refused");
    device.open(QIODevice::ReadOnly);
    QBuffer parts;
    parts.setData("refused");
    parts.open(QIODevice::ReadOnly);
    QList<QSharedPointer<IOperation>> refused{
        manager().upload(wrong, path("refused.bin"), {}, &device),
        manager().listing(wrong, prefix(), QString(), QString(), 10),
    };
    // A storage without multipart refuses the operation itself, before any sign-in.
    if (caps().multipart)
        refused << manager().uploadMultipart(wrong, path("refused-parts.bin"), {}, &parts, {});
    for (const auto& operation : refused) {
        ASSERT_TRUE(run(operation, IOperation::StateError));
        const bool multipart = operation->type() == Norvik::Cloud::OperationType::UploadMultipart;
        const int expected = multipart && row().wrongCredentialsMultipartCode >= 0
                                 ? row().wrongCredentialsMultipartCode
                                 : row().wrongCredentialsCode;
        EXPECT_EQ(operation->errorCode(), expected) << operation->type().toStdString();
    }
    EXPECT_EQ(names(list("", "", 100)), QStringList{"anchor"});
}

CONFORMANCE_CASE(ContainersAreMadeAndListed, [](const Capabilities& c) { return c.containers; })
{
    const QString extra =
        QStringLiteral("conformance-extra-") + QUuid::createUuid().toString(QUuid::Id128).left(12);
    ASSERT_TRUE(run(manager().createContainer(config(), row().containerParams(extra))));
    const auto listed = qSharedPointerCast<Operation::ListContainers>(manager().listContainers(config()));
    const bool done = run(listed);
    const QString extraString = row().containerString ? row().containerString(connection(), extra) : extra;
    try {
        dynamic_cast<Norvik::Cloud::Api::ICloud&>(connection()).removeContainers(extra);
    } catch (const Norvik::Cloud::Api::Exception::NoContent&) {
        // Removed, with an answer without a body.
    }
    ASSERT_TRUE(done);
    QStringList containers;
    for (const QJsonValue& entry : listed->data())
        containers << entry.toObject().value(QStringLiteral("Name")).toString();
    EXPECT_TRUE(containers.contains(container()));
    EXPECT_TRUE(containers.contains(extraString));
}

CONFORMANCE_CASE(ContainersAreRefusedWithoutThem, [](const Capabilities& c) { return !c.containers; })
{
    for (const auto& operation : {manager().listContainers(config()),
                                  manager().createContainer(config(), QJsonObject{{"name", "anything"}})}) {
        ASSERT_TRUE(run(operation, IOperation::StateError));
        EXPECT_EQ(operation->errorCode(), UnsupportedCode) << operation->type().toStdString();
    }
}

} // namespace
