// libFuzzer entry for the object metadata readers: the text form of the encryption record and
// the metadata map. Whatever parses must write back to a form that parses to the same record.
#include "connection/CloudFileMetaData.h"

#include <climits>
#include <cstdlib>

namespace {

using Norvik::Cloud::Api::CloudFileMetaData;
using Encryption = CloudFileMetaData::Encryption;

void check(bool condition)
{
    if (!condition)
        std::abort();
}

void fuzzEncryptionText(const QString& text)
{
    const Encryption parsed = Encryption::fromString(text);
    if (!parsed.isInit()) {
        check(parsed.toString().isEmpty() && parsed == Encryption());
        return;
    }
    const Encryption again = Encryption::fromString(parsed.toString());
    check(!parsed.toString().isEmpty() && again.isInit() && again == parsed);
    check(again.toString() == parsed.toString());
}

// The input is read as up to five lines, one value for each key of the map in turn; an empty
// line leaves its key out, so that absent keys are fuzzed too.
void fuzzMetaDataMap(const QByteArray& bytes)
{
    const QString keys[] = {CloudFileMetaData::ContentEncoding, CloudFileMetaData::RealSize,
                            CloudFileMetaData::FilePermissions, CloudFileMetaData::EncryptionHeader,
                            CloudFileMetaData::ContentType};
    const QList<QByteArray> lines = bytes.split('\n');
    QMap<QString, QVariant> given;
    for (int i = 0; i < lines.size() && i < 5; ++i) {
        if (!lines.at(i).isEmpty())
            given.insert(keys[i], QString::fromUtf8(lines.at(i)));
    }
    const CloudFileMetaData record(given);
    const QMap<QString, QVariant> written = record.metaData(false);
    const CloudFileMetaData back(written);
    check(back.metaData(false) == written && back.realSize() == record.realSize());
    check(back.permission() == record.permission() && back.encryption() == record.encryption());
    check(back.useCompression() == record.useCompression() && back.contentType() == record.contentType());
    // The brief form leaves out size and permissions and agrees with the full one on the rest.
    const QMap<QString, QVariant> brief = record.metaData(true);
    check(!brief.contains(CloudFileMetaData::RealSize) &&
          !brief.contains(CloudFileMetaData::FilePermissions));
    for (auto it = brief.cbegin(); it != brief.cend(); ++it)
        check(written.value(it.key()) == it.value());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > INT_MAX / 2)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<int>(size));
    fuzzEncryptionText(QString::fromUtf8(bytes));
    fuzzMetaDataMap(bytes);
    return 0;
}
