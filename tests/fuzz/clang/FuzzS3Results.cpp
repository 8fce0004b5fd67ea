// The part listing of a multipart upload and the result of a multiple delete, read element by
// element as the S3 connection reads them: the document's root, whatever its name, and each
// "Part" or "Error" child of it. Every record carries exactly what its element says, and
// survives the JSON form in which it travels to the caller.
#include "FuzzSupport.h"
#include "s3/AmazonS3LikeRecords.h"

#include "connection/MultipartListPartObject.h"
#include "connection/MultipleDeleteErrorObject.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDomDocument>
#include <QDomElement>

#include <cstdio>
#include <cstdlib>

using namespace Norvik::Cloud::Api;

namespace {

QString childText(const QDomElement& element, const char* name)
{
    return element.firstChildElement(QLatin1String(name)).text();
}

void fuzzParts(const QDomElement& root)
{
    for (QDomElement e = root.firstChildElement(QStringLiteral("Part")); !e.isNull();
         e = e.nextSiblingElement(QStringLiteral("Part"))) {
        const MultipartListPartObjectAmazon part(e);
        const MultipartListPartObject back(part.json());
        check(back.partNumber() == childText(e, "PartNumber").toULongLong());
        check(back.json() == part.json());
    }
}

void fuzzDeleteErrors(const QDomElement& root)
{
    for (QDomElement e = root.firstChildElement(QStringLiteral("Error")); !e.isNull();
         e = e.nextSiblingElement(QStringLiteral("Error"))) {
        const AmazonS3MultipleDeleteErrorObject error(e);
        const MultipleDeleteErrorObject back(error.json());
        check(back.name() == childText(e, "Key"));
        const QString code = childText(e, "Code");
        const MultipleDeleteErrorObject::Code expected =
            code == QLatin1String("AccessDenied")       ? MultipleDeleteErrorObject::AccessDenied
            : code == QLatin1String("KtrInternalError") ? MultipleDeleteErrorObject::InternalError
                                                        : MultipleDeleteErrorObject::Other;
        check(back.code() == expected);
        check(back.json() == error.json());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray body(reinterpret_cast<const char*>(data), static_cast<int>(size));
    QDomDocument document;
    if (!document.setContent(body))
        return 0;
    const QDomElement root = document.documentElement();
    fuzzParts(root);
    fuzzDeleteErrors(root);
    return 0;
}
