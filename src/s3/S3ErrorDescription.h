#pragma once

#include <QHash>
#include <QString>

// Default texts for the error codes of the S3 protocol, for answers that carry a code but no
// message of their own.
namespace Norvik::Cloud::Info::ErrorDescription {

// S3 error code to its default text (untranslated; checkErrorMessage translates).
const QHash<QString, QString>& AmazonS3Like();

// message when it is not empty, else the translated text of code in table, else the translated
// "Cloud operation error".
QString checkErrorMessage(const QHash<QString, QString>& table, const QString& code, const QString& message);

} // namespace Norvik::Cloud::Info::ErrorDescription
