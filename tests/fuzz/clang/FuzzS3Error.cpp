// Error answers of S3 services reach the exception mapping as they come, from the service or
// from a proxy in front of it. Reading them must never crash, and what is read must be what the
// document says: the children of "Error" by name, the four named ones only when they carry text.
// (The document reader underneath, AmazonErrorResponseParser, is also run by fuzz_cloud_error.)
#include "FuzzSupport.h"
#include "s3/CloudAmazonS3LikePrivate.h"
#include "s3/S3ErrorDescription.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDomDocument>
#include <QDomElement>

#include <cstdio>
#include <cstdlib>

using Norvik::Cloud::Api::CloudAmazonS3LikePrivate;
namespace Description = Norvik::Cloud::Info::ErrorDescription;

namespace {

bool isNamed(const QString& name)
{
    return name == QLatin1String("Code") || name == QLatin1String("Message") ||
           name == QLatin1String("Resource") || name == QLatin1String("RequestId");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray body(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const QMap<QString, QString> elements = CloudAmazonS3LikePrivate::errorElements(body);

    // Read apart from the parser: only an "Error" document gives elements.
    QDomDocument document;
    const bool isXml = !body.isEmpty() && document.setContent(body);
    const bool isError = isXml && document.documentElement().tagName() == QLatin1String("Error");
    if (!isError) {
        check(elements.isEmpty());
        return 0;
    }

    // Every element name that was read is a child of the root, and every child of the root
    // was read unless it is one of the four named ones without text.
    const QDomElement root = document.documentElement();
    int children = 0;
    for (QDomElement child = root.firstChildElement(); !child.isNull(); child = child.nextSiblingElement()) {
        ++children;
        const QString name = child.tagName();
        check(!name.isEmpty());
        // A later element of the same name wins.
        if (child.nextSiblingElement(name).isNull()) {
            if (isNamed(name) && child.text().isEmpty())
                check(!elements.contains(name));
            else
                check(elements.value(name) == child.text() && elements.contains(name));
        }
    }
    check(elements.size() <= children);

    // The text that a user is shown is never empty, whatever the service sent.
    check(!Description::checkErrorMessage(Description::AmazonS3Like(), elements.value(QStringLiteral("Code")),
                                          elements.value(QStringLiteral("Message")))
               .isEmpty());

    return 0;
}
