#pragma once

#include "streams/ICloudPrepareStream.h"
#include "streams/Range.h"

#include <QMap>
#include <QPair>
#include <QSet>
#include <QSharedPointer>
#include <QVector>

namespace Norvik::Cloud {

class IOperation;

namespace Stream {

// A prepare stream that downloads the object as parallel ranges, each into a temporary file of
// its own (no write position shared between job threads), all started at open(); the engine's
// threads limit how many run at once. Parts are at least 10 MiB. One failed part closes the
// stream; a second open() then fetches only the parts that have not arrived, into the same files.
// A read is served from the part that holds the position; reads are best kept within one part.
class CloudPrepareMultiStream : public ICloudPrepareStream
{
    Q_OBJECT

public:
    static constexpr unsigned long long MinimumPartSize = 0xA00000;
    static constexpr const char* PropertyIdx = "property_idx";

    // partSize 0: the object is cut into at most OperationManager::threadCount() parts.
    CloudPrepareMultiStream(const QMap<QString, QVariant>& config, const QString& path,
                            unsigned long long size, const QString& temporaryTemplate,
                            unsigned long long partSize, QObject* parent = nullptr);
    ~CloudPrepareMultiStream() override;

    bool open(OpenMode mode) override;
    unsigned long long partSize() const { return m_partSize; }
    int partCount() const { return m_parts.size(); }

protected:
    qint64 readData(char* data, qint64 maxSize) override;

private slots:
    void onOperationFinished();

private:
    using Part = QPair<Extensions::Range<unsigned long long>, QIODevice*>;

    bool addOperation(int index);
    bool isComplite() const { return m_running.isEmpty(); }

    QVector<Part> m_parts;
    unsigned long long m_partSize = MinimumPartSize;
    QMap<int, QSharedPointer<IOperation>> m_running;
    QSet<int> m_finished;
};

} // namespace Stream
} // namespace Norvik::Cloud
