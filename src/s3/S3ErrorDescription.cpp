#include "s3/S3ErrorDescription.h"

#include <QCoreApplication>
#include <QPair>

#include <initializer_list>

namespace Norvik::Cloud::Info::ErrorDescription {

namespace {

constexpr char Context[] = "Norvik::Cloud::Info::ErrorDescription";

} // namespace

const QHash<QString, QString>& AmazonS3Like()
{
    // Built pair by pair: a code that stands twice keeps its later text.
    static const QHash<QString, QString> table = [] {
        const std::initializer_list<QPair<const char*, const char*>> pairs = {
            {"InvalidArgument",
             QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription", "Invalid Argument")},
            {"InvalidBucketName", QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                                                    "The specified bucket is not valid.")},
            {"RequestTimeout",
             QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                               "Your socket connection to the server was not read from or written to "
                               "within the timeout period.")},
            {"AccessDenied", QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription", "Access Denied")},
            {"SignatureDoesNotMatch",
             QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                               "The request signature we calculated does not match the signature you "
                               "provided. Check your AWS secret access key and signing method. For more "
                               "information, see REST Authentication and SOAP Authentication for details.")},
            {"InvalidAccessKeyId", QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                                                     "The AWS access key Id you provided does not exist in "
                                                     "our records.")},
            {"InvalidObjectState", QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                                                     "The operation is not valid for the current state of "
                                                     "the object.")},
            {"NoSuchBucket", QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                                               "The specified bucket does not exist.")},
            {"NoSuchKey",
             QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription", "The specified key does not exist.")},
            {"TemporaryRedirect", QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                                                    "You are being redirected to the bucket while DNS "
                                                    "updates.")},
            {"RestoreAlreadyInProgress", QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                                                           "Object restore is already in progress.")},
            {"NoSuchLifecycleConfiguration", QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                                                               "The lifecycle configuration does not exist")},
            {"EntityTooSmall",
             QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                               "Your proposed upload is smaller than the minimum allowed object size. Each "
                               "part must be at least 5 MB in size, except the last part.")},
            {"InvalidPart",
             QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                               "One or more of the specified parts could not be found. The part might not "
                               "have been uploaded, or the specified entity tag might not have matched the "
                               "part's entity tag.")},
            {"InvalidPartOrder",
             QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                               "The list of parts was not in ascending order. The parts list must be "
                               "specified in order by part number.")},
            {"NoSuchUpload",
             QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                               "The specified multipart upload does not exist. The upload ID might be "
                               "invalid, or the multipart upload might have been aborted or completed.")},
            {"RequestTimeTooSkewed",
             QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                               "Your computer clock is not synchronized. For security reasons, Amazon "
                               "generates errors when your clock is not synchronized. Check out "
                               "https://time.is to synchronize your clock.")},
            {"TemporarilyUnavailable",
             QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                               "Resources for this operation are temporarily unavailable. Please try again "
                               "later.")},
            {"AuthMethodNotRecognized", QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                                                          "Cloud storage unsupported this auth method")},
            {"KtrInternalError", QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                                                   "We encountered an internal error. Please try again.")},
            {"EntityTooSmall", QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                                                 "Your proposed upload is smaller than the minimum allowed "
                                                 "object size.")},
            {"ServiceUnavailable",
             QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription", "Reduce your request rate.")},
            {"SlowDown",
             QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription", "Please reduce your request rate.")},
            {"InvalidTier", QT_TRANSLATE_NOOP("Norvik::Cloud::Info::ErrorDescription",
                                              "Retrieval option is not supported by this storage class.")},
        };
        QHash<QString, QString> built;
        for (const auto& pair : pairs)
            built.insert(QString::fromLatin1(pair.first), QString::fromLatin1(pair.second));
        return built;
    }();
    return table;
}

QString checkErrorMessage(const QHash<QString, QString>& table, const QString& code, const QString& message)
{
    if (!message.isEmpty())
        return message;
    const auto found = table.constFind(code);
    if (found != table.cend())
        return QCoreApplication::translate(Context, found.value().toUtf8().constData());
    return QCoreApplication::translate(Context, "Cloud operation error");
}

} // namespace Norvik::Cloud::Info::ErrorDescription
