// What is particular to the B2 connection, against our B2 server with its fault hooks: which
// failure repeats a request and which first throws away the upload URL, a part URL or the token;
// the server's SHA-1 check of what we send; names the service refuses; capabilities of
// restricted keys; snapshot buckets.

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
#include <QUuid>

#include <curlpp/Easy.hpp>
#include <curlpp/Options.hpp>

#include <gtest/gtest.h>

#include <sstream>

namespace {

using Norvik::Cloud::Api::CloudBackBlaze;
namespace Exception = Norvik::Cloud::Api::Exception;

QString endpoint()
{
    QFile file(qEnvironmentVariable("NORVIK_B2_ENDPOINT_FILE"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll().trimmed()) : QString();
}

// A call of the server's test hooks; GET without a body. A GET of "calls" answers the server's
// calls since the last reset (a POST of "calls"), by operation.
QJsonObject control(const QString& what, const QJsonObject& body = {}, bool get = false)
{
    curlpp::Easy request;
    request.setOpt(curlpp::options::Url(QString(endpoint() + "/_test/" + what).toStdString()));
    if (!get)
        request.setOpt(curlpp::options::PostFields(QJsonDocument(body).toJson().toStdString()));
    std::ostringstream out;
    request.setOpt(curlpp::options::WriteStream(&out));
    request.perform();
    return QJsonDocument::fromJson(QByteArray::fromStdString(out.str())).object();
}

QString uniqueName(const QString& prefix)
{
    return prefix + QUuid::createUuid().toString(QUuid::Id128).left(12);
}

std::unique_ptr<CloudBackBlaze> connect(const QString& keyId = "000a1b2c3d4e5f60000000001",
                                        const QString& key = "K000xxxxxxxxxxxxxxxxxxxxxxxxxxx")
{
    namespace Keys = Norvik::Cloud::Config;
    namespace HttpKeys = Norvik::Cloud::Api::Config::Http;
    auto b2 = std::make_unique<CloudBackBlaze>();
    EXPECT_TRUE(b2->setConfig({{Keys::Type, "BackBlaze"},
                               {Keys::Id, QUuid::createUuid()},
                               {HttpKeys::Endpoint, endpoint()},
                               {HttpKeys::UseSsl, false},
                               {Keys::BackBlaze::AccountId, keyId},
                               {Keys::BackBlaze::ApplicationKey, key}}));
    return b2;
}

// The name of the exception that a call ends with, "ok" when it returns.
QString outcome(const std::function<void()>& call)
{
    try {
        call();
        return "ok";
    } catch (const Exception::BackBlaze::ServiceUnavailable&) {
        return "ServiceUnavailable";
    } catch (const Exception::BackBlaze::InternalError&) {
        return "InternalError";
    } catch (const Exception::Base& e) {
        return "Base: " + e.message();
    }
}

class B2Family : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        NorvikTest::installFastRetries();
        ASSERT_FALSE(endpoint().isEmpty()) << "the b2 test server did not start";
        const QString name = uniqueName("family-");
        ASSERT_TRUE(connect()->createContainers({{"Name", name}, {"AccessType", "allPrivate"}}));
        for (const QJsonValue& entry : connect()->containers().array()) {
            if (entry["Name"].toString().startsWith(name + '|'))
                container = entry["Name"].toString();
        }
        ASSERT_FALSE(container.isEmpty());
    }

    static QString container;
};

QString B2Family::container;

// --- Retry rules ------------------------------------------------------------------------------

enum Action
{
    Upload,
    Part,
    Listing,
    StartLarge,
    CreateBucket
};

// Further calls beyond those of a clean run: authorize, get_upload_url, get_upload_part_url.
struct RetryCase
{
    const char* name;
    Action action;
    int status; // 0 drops the connection; 400 is the upload token limit
    int times;  // -1: as many times as the transport tries one request
    QString expected;
    int authorize, uploadUrl, partUrl;
};

class B2RetryRules : public B2Family, public ::testing::WithParamInterface<RetryCase>
{
};

TEST_P(B2RetryRules, RepeatsAndThrowsAwayWhatTheRuleSays)
{
    const RetryCase& c = GetParam();
    auto b2 = connect();
    QByteArray fileId;
    if (c.action == Part)
        fileId = b2->beginMultipartUpload(container, "/retry/part.bin", {});
    control("calls"); // a reset
    static const char* const ops[] = {"b2_upload_file", "b2_upload_part", "b2_list_file_names",
                                      "b2_start_large_file", "b2_create_bucket"};
    static const QMap<int, QString> codes{{400, "bad_request"},
                                          {401, "expired_auth_token"},
                                          {429, "too_many_requests"},
                                          {500, "internal_error"},
                                          {503, "service_unavailable"}};
    // Status 0 drops the connection instead of answering.
    control("fail",
            {{"op", ops[c.action]},
             {"status", c.status},
             {"code", codes.value(c.status)},
             {"message", "more than one upload using auth token 4_xoZEM-n3QBeMbtUcZjrd2wCScHF3xlYx"},
             {"times", c.times < 0 ? Norvik::Core::GlobalConfig::instance().retryAttempts() : c.times}});
    QString marker;
    const QString result = outcome([&]() {
        switch (c.action) {
        case Upload:
            b2->upload(container, QString("/retry/") + c.name, {}, QByteArray("data"), QUuid());
            break;
        case Part:
            b2->uploadMultipart(container, QString(), fileId, 1, QByteArray(1000, 'p'), QUuid());
            break;
        case Listing:
            b2->listing(container, QString(), marker, QString(), 10);
            break;
        case StartLarge:
            fileId = b2->beginMultipartUpload(container, "/retry/large.bin", {});
            break;
        case CreateBucket:
            if (!b2->createContainers({{"Name", uniqueName("bucket-")}, {"AccessType", "allPrivate"}}))
                throw Exception::Base("refused", false);
            break;
        }
    });
    EXPECT_EQ(result, c.expected);

    // A fresh connection authorises once and a single upload asks for its URL once; a part
    // reuses the URL that the start of the file fetched.
    const QJsonObject seen = control("calls", {}, true);
    EXPECT_EQ(seen["b2_authorize_account"].toInt(), (c.action == Part ? 0 : 1) + c.authorize);
    EXPECT_EQ(seen["b2_get_upload_url"].toInt(), (c.action == Upload ? 1 : 0) + c.uploadUrl);
    EXPECT_EQ(seen["b2_get_upload_part_url"].toInt(), (c.action == StartLarge && result == "ok") + c.partUrl);
    control("calls"); // faults that were not spent stay out of the next case
    if (!fileId.isEmpty())
        b2->abortMultipartUpload(container, QString(), fileId);
}

const QString Ok = "ok";

INSTANTIATE_TEST_SUITE_P(
    Table, B2RetryRules,
    ::testing::Values(
        // A single upload gets a new URL after trouble of the service, not after throttling
        // or a network failure.
        RetryCase{"upload503", Upload, 503, 1, Ok, 0, 1, 0},
        RetryCase{"upload500", Upload, 500, 1, Ok, 0, 1, 0},
        RetryCase{"upload429", Upload, 429, 1, Ok, 0, 0, 0},
        RetryCase{"uploadLimit", Upload, 400, 1, Ok, 0, 1, 0},
        RetryCase{"upload401", Upload, 401, 1, Ok, 1, 1, 0},
        RetryCase{"uploadDrop", Upload, 0, -1, Ok, 0, 0, 0},
        RetryCase{"uploadSpent", Upload, 503, 50, "ServiceUnavailable", 0, 3, 0},
        // A part gets a new part URL after any trouble but throttling.
        RetryCase{"part503", Part, 503, 1, Ok, 0, 0, 1}, RetryCase{"part429", Part, 429, 1, Ok, 0, 0, 0},
        RetryCase{"part401", Part, 401, 1, Ok, 1, 0, 1}, RetryCase{"partLimit", Part, 400, 1, Ok, 0, 0, 1},
        RetryCase{"partDrop", Part, 0, -1, Ok, 0, 0, 1},
        // Reading calls repeat a busy service and an expired token, not an internal error.
        RetryCase{"list503", Listing, 503, 1, Ok, 0, 0, 0},
        RetryCase{"list401", Listing, 401, 1, Ok, 1, 0, 0},
        RetryCase{"list500", Listing, 500, 1, "InternalError", 0, 0, 0},
        // Large-file calls repeat internal errors too.
        RetryCase{"start500", StartLarge, 500, 1, Ok, 0, 0, 0},
        // Bucket creation repeats a busy service and answers false once the attempts are spent.
        RetryCase{"create503", CreateBucket, 503, 1, Ok, 0, 0, 0},
        RetryCase{"createSpent", CreateBucket, 503, 50, "Base: refused", 0, 0, 0}),
    [](const ::testing::TestParamInfo<RetryCase>& param) { return std::string(param.param.name); });

// --- What the service checks ------------------------------------------------------------------

// Content that changes after it was hashed: one byte differs from the second pass on.
class ChangingBuffer : public QBuffer
{
public:
    bool seek(qint64 position) override
    {
        if (position == 0 && pos() > 0)
            buffer()[0] = char(buffer()[0] ^ 0x5a);
        return QBuffer::seek(position);
    }
};

TEST_F(B2Family, ServerChecksTheSha1OfEveryUpload)
{
    const QByteArray data = NorvikTest::randomBytes(70000, 3);
    // The server stores the checksum that it verified: ours.
    EXPECT_EQ(
        Norvik::Cloud::Api::ListingObject(connect()->upload(container, "/sha/good.bin", {}, data, QUuid()))
            .eTag(),
        Norvik::Core::Hash::Digest::hash(data, Norvik::Core::Hash::Algorithm::Sha1).toHex());
    auto changing = QSharedPointer<ChangingBuffer>::create();
    changing->setData(data);
    changing->open(QIODevice::ReadOnly);
    EXPECT_THROW(connect()->upload(container, "/sha/changed.bin", {}, changing, data.size(), QUuid()),
                 Exception::BadRequest);
}

TEST_F(B2Family, NamesTheServiceRefusesCarryTheirErrorRecord)
{
    auto b2 = connect();
    for (const bool large : {false, true}) {
        try {
            if (large)
                b2->beginMultipartUpload(container, "/bad/a\x01z", {});
            else
                b2->upload(container, "/bad/del\x7f", {}, QByteArray("x"), QUuid());
            ADD_FAILURE() << "accepted, large: " << large;
        } catch (const Exception::BackBlaze::PathContainsIllegalSymbols& e) {
            ASSERT_TRUE(e.cloudError());
            EXPECT_EQ(e.cloudError()->type(), Norvik::Cloud::Error::PathContainsIllegalSymbols::TypeNumber);
        }
    }
}

TEST_F(B2Family, KeyWithoutACapabilityIsRefusedBeforeTheCall)
{
    using Type = Exception::PermissionError::Type;
    const std::vector<std::tuple<QString, Type, std::function<void(CloudBackBlaze&)>>> cases{
        {"writeFiles", Type::Write,
         [](CloudBackBlaze& b2) { b2.upload(container, "/p/x", {}, QByteArray("x"), QUuid()); }},
        {"listFiles", Type::ListFiles,
         [](CloudBackBlaze& b2) {
             QString marker;
             b2.listing(container, QString(), marker, QString(), 10);
         }},
        {"readFiles", Type::ReadAndList,
         [](CloudBackBlaze& b2) {
             b2.signUrl(container, "/p/x", false, QDateTime::currentDateTimeUtc().addSecs(60));
         }},
    };
    for (const auto& [missing, type, call] : cases) {
        QStringList allowed{"listBuckets", "writeBuckets", "listFiles",  "readFiles",
                            "shareFiles",  "writeFiles",   "deleteFiles"};
        allowed.removeAll(missing);
        const QString keyId = "without-" + missing;
        control("key",
                {{"keyId", keyId}, {"key", "secret"}, {"capabilities", QJsonArray::fromStringList(allowed)}});
        auto b2 = connect(keyId, "secret");
        control("calls");
        try {
            call(*b2);
            ADD_FAILURE() << "allowed without " << missing.toStdString();
        } catch (const Exception::PermissionError& e) {
            EXPECT_EQ(e.type(), type) << missing.toStdString();
        }
        // Only the authorisation reached the server.
        EXPECT_EQ(control("calls", {}, true).keys(), QStringList{"b2_authorize_account"})
            << missing.toStdString();
    }
}

TEST_F(B2Family, SnapshotBucketsAreNotListed)
{
    auto b2 = connect();
    const QString name = uniqueName("snap-");
    ASSERT_TRUE(b2->createContainers({{"Name", name}, {"AccessType", "allPrivate"}}));
    control("snapshot", QJsonObject{{"bucketName", name}});
    const QString listed = QString::fromUtf8(b2->containers().toJson());
    EXPECT_TRUE(listed.contains(container.section('|', 0, 0)));
    EXPECT_FALSE(listed.contains(name));
}

} // namespace
