// The Google request layer without a server: the GOOG1 string to sign and the resource that
// enters it, signed URLs, the configuration's checks and the mapping of error documents. The
// known answers were worked out by hand and their HMACs with another implementation.

#include "google/CloudGoogleStoragePrivate.h"

#include "connection/Exception.h"
#include "info/Config.h"

#include <QUrlQuery>

#include <gtest/gtest.h>

#include <typeinfo>

namespace {

using Norvik::Cloud::Api::CloudGoogleStoragePrivate;
using HeaderMap = CloudGoogleStoragePrivate::HeaderMap;
namespace Exception = Norvik::Cloud::Api::Exception;
namespace Keys = Norvik::Cloud::Config::GoogleStorage;

class HmacPrivate : public CloudGoogleStoragePrivate
{
public:
    HmacPrivate()
    {
        setConfig({{Keys::AuthType, Keys::Auth_AccessAndSecretKey::Key},
                   {Keys::Auth_AccessAndSecretKey::AccessKey, QStringLiteral("GOOG1ID")},
                   {Keys::Auth_AccessAndSecretKey::SecretKey, QStringLiteral("test-secret")}});
        setEndpoint(QUrl(QStringLiteral("https://storage.googleapis.com/")));
    }
};

TEST(GoogleSigning, StringToSignKnownAnswer)
{
    // POST\n\napplication/xml\nMon, 23 Nov 2026 10:00:00 GMT\nx-goog-api-version:1\n
    // x-goog-meta-nk-realsize:42\n/bucket/dir/a%20b.bin?uploads
    const HmacPrivate d;
    const HeaderMap headers{{"Content-Type", "application/xml"},
                            {"Date", "ignored: the date argument is signed"},
                            {"x-goog-api-version", "1"},
                            {"x-goog-meta-nk-realsize", "42"}};
    EXPECT_EQ(d.accessAndSecretKeyAutorization(CloudGoogleStoragePrivate::POST, headers,
                                               QStringLiteral("/bucket/dir/a%20b.bin?uploads"), QByteArray(),
                                               QStringLiteral("Mon, 23 Nov 2026 10:00:00 GMT")),
              "mlicCahhUTDMxK8CM5aw/bO8Vwk=");
}

TEST(GoogleSigning, ResourceOfTheSignature)
{
    struct Case
    {
        const char* name;
        QString container, path, query;
        const char* resource;
        const char* url;
    };
    const Case cases[] = {
        {"uploads signs as the bare key", "b", "/dir/a b.bin", "uploads=", "/b/dir/a%20b.bin?uploads",
         "https://storage.googleapis.com/b/dir/a%20b.bin?uploads"},
        {"part and upload id sign nothing", "b", "/o", "partNumber=2&uploadId=X/Y", "/b/o",
         "https://storage.googleapis.com/b/o?partNumber=2&uploadId=X%2FY"},
        {"slash in a value is encoded, earlier empty values keep their =", "b", "/o",
         "uploads=&prefix=p&acl=x/y", "/b/o?uploads=&acl=x%2Fy",
         "https://storage.googleapis.com/b/o?uploads&prefix=p&acl=x%2Fy"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        HmacPrivate d;
        HeaderMap headers{{"Content-Type", "text/plain"}};
        const auto request =
            d.signature(CloudGoogleStoragePrivate::PUT, c.container, c.path, QUrlQuery(c.query), headers);
        const QByteArray expected = "GOOG1 GOOG1ID:" + d.accessAndSecretKeyAutorization(
                                                           CloudGoogleStoragePrivate::PUT, request.second,
                                                           QString::fromUtf8(c.resource), QByteArray(),
                                                           QString::fromUtf8(request.second.value("Date")));
        EXPECT_EQ(request.second.value("Authorization"), expected);
        EXPECT_EQ(request.first.toString(QUrl::FullyEncoded), QString::fromUtf8(c.url));
        EXPECT_EQ(request.second.value("Content-Type"), "text/plain");
    }
}

TEST(GoogleSigning, SignedUrls)
{
    HmacPrivate d;
    const QDateTime expires = QDateTime::fromSecsSinceEpoch(4102444800, Qt::UTC);
    // GET\n\n\n4102444800\n/b/dir/a b.txt
    EXPECT_EQ(d.signUrl(QStringLiteral("b"), QStringLiteral("/dir/a b.txt"), true, expires),
              QStringLiteral("https://storage.googleapis.com/b/dir/a%20b.txt?GoogleAccessId=GOOG1ID&Expires="
                             "4102444800&Signature=zrVpsTftVeKwJKYY5yBJqcFrKUw%3D"));
    EXPECT_TRUE(d.signUrl(QStringLiteral("b"), QStringLiteral("/o"), true, QDateTime::currentDateTimeUtc())
                    .isEmpty());
}

QByteArray errorDocument(const char* code, const char* extra = "")
{
    return QByteArray("<?xml version='1.0' encoding='UTF-8'?><Error><Code>") + code +
           "</Code><Message>the message</Message>" + extra + "</Error>";
}

TEST(GoogleErrors, StatusAndCodeChooseTheException)
{
    struct Case
    {
        int status;
        QByteArray body;
        HeaderMap responseHeaders;
        const std::type_info& type;
        QString message; // of the exception; "*" for any
    };
    const QByteArray skewed =
        errorDocument("RequestTimeTooSkewed", "<RequestTime>Mon, 23 Nov 2026 10:00:00 GMT"
                                              "</RequestTime><ServerTime>2026-11-23T10:15:30Z</ServerTime>");
    // clang-format off
    const Case cases[] = {
        {403, errorDocument("InvalidAccessKeyId"), {}, typeid(Exception::InvalidAutorizationAccount), "the message"},
        {403, skewed, {}, typeid(Exception::ComputerClockIsNotSynchronize), "930"},
        {404, QByteArray(), {}, typeid(Exception::NoContent), "*"},
        {404, errorDocument("NoSuchBucket"), {}, typeid(Exception::ContainerDoesNotExist), "the message"},
        {409, errorDocument("BucketNameUnavailable"), {}, typeid(Exception::InvalidContainerName), "the message"},
        {307, errorDocument("TemporaryRedirect", "<Endpoint>eu.example</Endpoint>"), {}, typeid(Exception::TemporaryRedirect), "the message"},
        {308, QByteArray(), {{"range", "bytes=0-9"}, {"x-range-md5", "h"}}, typeid(Exception::ResumeIncomplete), "*"},
        {403, "<html><body>no</body>", {}, typeid(Exception::Operation), "Unhandled runtime exception, please contact Support"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.body.toStdString());
        HmacPrivate d;
        try {
            d.exceptionFactory({}, c.responseHeaders, c.status, c.body);
            ADD_FAILURE() << "nothing thrown";
        } catch (const Exception::Operation& e) {
            EXPECT_EQ(std::string(typeid(e).name()), c.type.name());
            if (c.message != QLatin1String("*")) {
                EXPECT_EQ(e.message(), c.message);
            }
            if (const auto* redirect = dynamic_cast<const Exception::TemporaryRedirect*>(&e)) {
                EXPECT_EQ(redirect->endpoint().host(), "eu.example");
            }
            if (const auto* resume = dynamic_cast<const Exception::ResumeIncomplete*>(&e)) {
                EXPECT_EQ(resume->range() + resume->hash(), "bytes=0-9h");
            }
        }
    }
}

} // namespace
