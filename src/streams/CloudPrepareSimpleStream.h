#pragma once

#include "streams/ICloudPrepareStream.h"

#include <QSharedPointer>

class QTemporaryFile;

namespace Norvik::Cloud {

class IOperation;

namespace Stream {

// A prepare stream that downloads the object as one piece into one temporary file, which is
// preallocated so that a full disk fails at open(). After a failed download the stream is
// closed and never becomes ready.
class CloudPrepareSimpleStream : public ICloudPrepareStream
{
    Q_OBJECT

public:
    CloudPrepareSimpleStream(const QMap<QString, QVariant>& config, const QString& path,
                             unsigned long long size, const QString& temporaryTemplate,
                             QObject* parent = nullptr);
    ~CloudPrepareSimpleStream() override;

    // Opens once: a second call returns false.
    bool open(OpenMode mode) override;
    // Closes the temporary file; the stream itself stays open.
    void close() override;
    bool atEnd() const override;
    qint64 pos() const override;
    bool reset() override;
    bool seek(qint64 pos) override;
    qint64 size() const override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;

private slots:
    void onOperationFinished();

private:
    bool hasData() const;

    QSharedPointer<IOperation> m_operation;
    QTemporaryFile* m_file = nullptr;
};

} // namespace Stream
} // namespace Norvik::Cloud
