// What is particular to the B2 connection, against our B2 server with its fault hooks: which
// failure repeats a request and which first throws away the upload URL, a part URL or the token;
// large files continued by their id; the server's SHA-1 check of what we send; names the service
// refuses; capabilities of restricted keys.

#include "backblaze/CloudBackBlaze.h"

#include "connection/CloudError.h"
#include "connection/Exception.h"
#include "connection/ListingObject.h"
#include "info/Config.h"

#include "TestSupport.h"

#include <NorvikCore/GlobalConfig.h>
#include <NorvikCore/Hash.h>

#include <QBuffer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

#include <curlpp/Easy.hpp>
#include <curlpp/Options.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>

namespace {

using Norvik::Cloud::Api::CloudBackBlaze;
using Norvik::Cloud::Api::ListingObject;
namespace Exception = Norvik::Cloud::Api::Exception;
namespace Keys = Norvik::Cloud::Config;
namespace HttpKeys = Norvik::Cloud::Api::Config::Http;

const QString KeyId = QStringLiteral("000a1b2c3d4e5f60000000001");
const QString Key = QStringLiteral("K000xxxxxxxxxxxxxxxxxxxxxxxxxxx");

QString endpoint()
{
    QFile file(qEnvironmentVariable("NORVIK_B2_ENDPOINT_FILE"));
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll().trimmed());
}

// A call of the server's test hooks; GET without a body.
QJsonObject control(const QString& what, const QJsonObject& body = QJsonObject(), bool get = false)
{
    curlpp::Easy request;
    request.setOpt(
        curlpp::options::Url(QString(endpoint() + QStringLiteral("/_test/") + what).toStdString()));
    const std::string data = QJsonDocument(body).toJson().toStdString();
    if (!get)
        request.setOpt(curlpp::options::PostFields(data));
    std::ostringstream out;
    request.setOpt(curlpp::options::WriteStream(&out));
    request.perform();
    return QJsonDocument::fromJson(QByteArray::fromStdString(out.str())).object();
}

QJsonObject calls()
{
    return control(QStringLiteral("calls"), QJsonObject(), true);
}

// The next times calls of op fail with status, with the code and message that the service
// gives it; status 0 drops the connection instead.
void fail(const QString& op, int status, int times)
{
    static const QMap<int, QString> codes{{400, "bad_request"},
                                          {401, "expired_auth_token"},
                                          {429, "too_many_requests"},
                                          {500, "internal_error"},
                                          {503, "service_unavailable"}};
    QJsonObject fault{{"op", op}, {"status", status}, {"code", codes.value(status)}, {"times", times}};
    if (status == 400)
        fault.insert(QStringLiteral("message"), "more than one upload using auth token 4_x");
    control(QStringLiteral("fail"), fault);
}

std::unique_ptr<CloudBackBlaze> connect(const QString& keyId = KeyId, const QString& key = Key)
{
    auto b2 = std::make_unique<CloudBackBlaze>();
    const QMap<QString, QVariant> config{
        {Keys::Type, QStringLiteral("BackBlaze")}, {Keys::Id, QUuid::createUuid()},
        {HttpKeys::Endpoint, endpoint()},          {HttpKeys::UseSsl, false},
        {Keys::BackBlaze::AccountId, keyId},       {Keys::BackBlaze::ApplicationKey, key},
    };
    EXPECT_TRUE(b2->setConfig(config));
    return b2;
}

QByteArray sha1(const QByteArray& data)
{
    return Norvik::Core::Hash::Digest::hash(data, Norvik::Core::Hash::Algorithm::Sha1).toHex();
}

// The name of the exception that a call ends with, "ok" when it returns.
QString outcome(const std::function<void()>& call)
{
    try {
        call();
        return QStringLiteral("ok");
    } catch (const Exception::BackBlaze::ServiceUnavailable&) {
        return QStringLiteral("ServiceUnavailable");
    } catch (const Exception::BackBlaze::InternalError&) {
        return QStringLiteral("InternalError");
    } catch (const Exception::Operation& e) {
        return QStringLiteral("Operation %1: %2").arg(e.code()).arg(e.message());
    } catch (const Exception::Base& e) {
        return QStringLiteral("Base: ") + e.message();
    }
}

class B2Family : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        NorvikTest::installFastRetries();
        ASSERT_FALSE(endpoint().isEmpty()) << "the b2 test server did not start";
        control(QStringLiteral("calls"));
        const QString name =
            QStringLiteral("family-%1").arg(QUuid::createUuid().toString(QUuid::Id128).left(12));
        auto b2 = connect();
        ASSERT_TRUE(b2->createContainers({{"Name", name}, {"AccessType", "allPrivate"}}));
        for (const QJsonValue& entry : b2->containers().array()) {
            if (entry.toObject().value("Name").toString().startsWith(name + '|'))
                container = entry.toObject().value("Name").toString();
        }
        ASSERT_FALSE(container.isEmpty());
    }

    // Calls of the server since the last reset, by operation; absent ones are 0.
    static int count(const QJsonObject& calls, const char* op) { return calls.value(op).toInt(); }

    static QString container;
};

QString B2Family::container;

// --- Retry rules ------------------------------------------------------------------------------

enum class Action
{
    Upload,
    Part,
    Listing,
    StartLarge,
    CreateBucket,
};

// Further calls beyond those of a clean run: authorize, get_upload_url, get_upload_part_url.
struct RetryCase
{
    const char* name;
    Action action;
    int status; // 0 drops the connection; 400 is the upload token limit
    int times;  // -1: as many times as the transport tries one request
    QString expected;
    int authorize;
    int uploadUrl;
    int partUrl;
};

class B2RetryRules : public B2Family, public ::testing::WithParamInterface<RetryCase>
{
};

TEST_P(B2RetryRules, RepeatsAndThrowsAwayWhatTheRuleSays)
{
    const RetryCase& c = GetParam();
    auto b2 = connect();
    QByteArray fileId;
    if (c.action == Action::Part)
        fileId = b2->beginMultipartUpload(container, QStringLiteral("/retry/part.bin"), {});
    control(QStringLiteral("calls"));
    static const char* const ops[] = {"b2_upload_file", "b2_upload_part", "b2_list_file_names",
                                      "b2_start_large_file", "b2_create_bucket"};
    const int times = c.times < 0 ? Norvik::Core::GlobalConfig::instance().retryAttempts() : c.times;
    fail(ops[static_cast<int>(c.action)], c.status, times);

    QString marker;
    const QString result = outcome([&]() {
        switch (c.action) {
        case Action::Upload:
            b2->upload(container, QStringLiteral("/retry/%1").arg(c.name), {}, QByteArray("data"), QUuid());
            break;
        case Action::Part:
            b2->uploadMultipart(container, QString(), fileId, 1, QByteArray(1000, 'p'), QUuid());
            break;
        case Action::Listing:
            b2->listing(container, QString(), marker, QString(), 10);
            break;
        case Action::StartLarge:
            fileId = b2->beginMultipartUpload(container, QStringLiteral("/retry/large.bin"), {});
            break;
        case Action::CreateBucket:
            if (!b2->createContainers(
                    {{"Name",
                      QStringLiteral("bucket-%1").arg(QUuid::createUuid().toString(QUuid::Id128).left(12))},
                     {"AccessType", "allPrivate"}}))
                throw Exception::Base(QStringLiteral("refused"), false);
            break;
        }
    });
    EXPECT_EQ(result, c.expected);

    const QJsonObject seen = calls();
    // A fresh connection authorises once and a single upload asks for its URL once; a part
    // reuses the URL that the start of the file fetched.
    const int cleanAuthorize = c.action == Action::Part ? 0 : 1;
    const int cleanUploadUrl = c.action == Action::Upload ? 1 : 0;
    EXPECT_EQ(count(seen, "b2_authorize_account"), cleanAuthorize + c.authorize);
    EXPECT_EQ(count(seen, "b2_get_upload_url"), cleanUploadUrl + c.uploadUrl);
    const int startUrl = c.action == Action::StartLarge && result == QLatin1String("ok") ? 1 : 0;
    EXPECT_EQ(count(seen, "b2_get_upload_part_url"), startUrl + c.partUrl);
    // Faults that were not spent stay out of the next case.
    control(QStringLiteral("calls"));
    if (!fileId.isEmpty())
        b2->abortMultipartUpload(container, QString(), fileId);
}

const QString Ok = QStringLiteral("ok");
using A = Action;

INSTANTIATE_TEST_SUITE_P(
    Table, B2RetryRules,
    ::testing::Values(
        // A single upload gets a new URL after trouble of the service, not after throttling
        // or a network failure.
        RetryCase{"upload503", A::Upload, 503, 1, Ok, 0, 1, 0},
        RetryCase{"upload500", A::Upload, 500, 1, Ok, 0, 1, 0},
        RetryCase{"upload429", A::Upload, 429, 1, Ok, 0, 0, 0},
        RetryCase{"uploadLimit", A::Upload, 400, 1, Ok, 0, 1, 0},
        RetryCase{"upload401", A::Upload, 401, 1, Ok, 1, 1, 0},
        RetryCase{"uploadDrop", A::Upload, 0, -1, Ok, 0, 0, 0},
        RetryCase{"uploadSpent", A::Upload, 503, 50, "ServiceUnavailable", 0, 3, 0},
        // A part gets a new part URL after any trouble but throttling.
        RetryCase{"part503", A::Part, 503, 1, Ok, 0, 0, 1},
        RetryCase{"part429", A::Part, 429, 1, Ok, 0, 0, 0},
        RetryCase{"part401", A::Part, 401, 1, Ok, 1, 0, 1},
        RetryCase{"partLimit", A::Part, 400, 1, Ok, 0, 0, 1},
        RetryCase{"partDrop", A::Part, 0, -1, Ok, 0, 0, 1},
        // Reading calls repeat a busy service and an expired token, not an internal error.
        RetryCase{"list503", A::Listing, 503, 1, Ok, 0, 0, 0},
        RetryCase{"list401", A::Listing, 401, 1, Ok, 1, 0, 0},
        RetryCase{"list500", A::Listing, 500, 1, "InternalError", 0, 0, 0},
        // Large-file calls repeat internal errors too.
        RetryCase{"start500", A::StartLarge, 500, 1, Ok, 0, 0, 0},
        // Bucket creation repeats a busy service and answers false once the attempts are spent.
        RetryCase{"create503", A::CreateBucket, 503, 1, Ok, 0, 0, 0},
        RetryCase{"createSpent", A::CreateBucket, 503, 50, "Base: refused", 0, 0, 0}),
    [](const ::testing::TestParamInfo<RetryCase>& param) { return std::string(param.param.name); });

// --- SHA-1 ------------------------------------------------------------------------------------

// Content that changes after it was hashed: one byte differs from the second pass on.
class ChangingBuffer : public QBuffer
{
public:
    using QBuffer::QBuffer;
    bool seek(qint64 position) override
    {
        if (position == 0 && pos() > 0)
            buffer()[0] = static_cast<char>(buffer()[0] ^ 0x5a);
        return QBuffer::seek(position);
    }
};

TEST_F(B2Family, ServerChecksTheSha1OfEveryUpload)
{
    auto b2 = connect();
    const QByteArray data = NorvikTest::randomBytes(70000, 3);
    // The server stores the checksum that it verified: ours.
    EXPECT_EQ(ListingObject(b2->upload(container, QStringLiteral("/sha/good.bin"), {}, data, QUuid())).eTag(),
              sha1(data));

    auto changing = QSharedPointer<ChangingBuffer>::create();
    changing->setData(data);
    changing->open(QIODevice::ReadOnly);
    EXPECT_THROW(
        b2->upload(container, QStringLiteral("/sha/changed.bin"), {}, changing, data.size(), QUuid()),
        Exception::BadRequest);
}

// --- Names and capabilities -------------------------------------------------------------------

TEST_F(B2Family, NamesTheServiceRefusesCarryTheirErrorRecord)
{
    auto b2 = connect();
    for (const QString& name : {QStringLiteral("/bad/a\x01z"), QStringLiteral("/bad/del\x7f")}) {
        for (const bool large : {false, true}) {
            try {
                if (large)
                    b2->beginMultipartUpload(container, name, {});
                else
                    b2->upload(container, name, {}, QByteArray("x"), QUuid());
                ADD_FAILURE() << "accepted " << name.toStdString();
            } catch (const Exception::BackBlaze::PathContainsIllegalSymbols& e) {
                ASSERT_TRUE(e.cloudError());
                EXPECT_EQ(e.cloudError()->type(),
                          Norvik::Cloud::Error::PathContainsIllegalSymbols::TypeNumber);
            }
        }
    }
}

struct CapabilityCase
{
    const char* missing;
    Exception::PermissionError::Type type;
    std::function<void(CloudBackBlaze&, const QString&)> call;
};

TEST_F(B2Family, KeyWithoutACapabilityIsRefusedBeforeTheCall)
{
    const QStringList all{"listBuckets", "writeBuckets", "listFiles",  "readFiles",
                          "shareFiles",  "writeFiles",   "deleteFiles"};
    const std::vector<CapabilityCase> cases{
        {"writeFiles", Exception::PermissionError::Write,
         [](CloudBackBlaze& b2, const QString& c) { b2.upload(c, "/p/x", {}, QByteArray("x"), QUuid()); }},
        {"listFiles", Exception::PermissionError::ListFiles,
         [](CloudBackBlaze& b2, const QString& c) {
             QString marker;
             b2.listing(c, QString(), marker, QString(), 10);
         }},
        {"readFiles", Exception::PermissionError::ReadAndList,
         [](CloudBackBlaze& b2, const QString& c) {
             b2.signUrl(c, "/p/x", false, QDateTime::currentDateTimeUtc().addSecs(60));
         }},
    };
    for (const CapabilityCase& c : cases) {
        QStringList allowed = all;
        allowed.removeAll(c.missing);
        const QString keyId = QStringLiteral("key-without-%1").arg(c.missing);
        control(QStringLiteral("key"),
                {{"keyId", keyId}, {"key", "secret"}, {"capabilities", QJsonArray::fromStringList(allowed)}});
        auto b2 = connect(keyId, QStringLiteral("secret"));
        control(QStringLiteral("calls"));
        try {
            c.call(*b2, container);
            ADD_FAILURE() << "allowed without " << c.missing;
        } catch (const Exception::PermissionError& e) {
            EXPECT_EQ(e.type(), c.type) << c.missing;
        }
        // Only the authorisation reached the server.
        const QJsonObject seen = calls();
        EXPECT_EQ(seen.keys(), QStringList{"b2_authorize_account"}) << c.missing;
    }
}

TEST_F(B2Family, SnapshotBucketsAreNotListed)
{
    auto b2 = connect();
    const QString name = QStringLiteral("snap-%1").arg(QUuid::createUuid().toString(QUuid::Id128).left(12));
    ASSERT_TRUE(b2->createContainers({{"Name", name}, {"AccessType", "allPrivate"}}));
    control(QStringLiteral("snapshot"), {{"bucketName", name}});
    const QString listed = QString::fromUtf8(b2->containers().toJson());
    EXPECT_TRUE(listed.contains(container.section('|', 0, 0)));
    EXPECT_FALSE(listed.contains(name));
}

} // namespace
