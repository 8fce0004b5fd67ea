#include "operations/StreamTransformation.h"

#include "engine/JobFormat.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikNetwork/ProgressReporter.h>

#include <QIODevice>
#include <QMutexLocker>

namespace Norvik::Cloud::Operation {

namespace {
constexpr int TransformationFailedCode = 15;
}

StreamTransformation::StreamTransformation(QIODevice* in, QIODevice* out, unsigned long long chunkSize,
                                           QObject* parent)
    : IOperation(OperationType::StreamTransformation, QMap<QString, QVariant>(), parent)
    , m_in(in)
    , m_out(out)
    , m_chunkSize(chunkSize)
{
}

StreamTransformation::~StreamTransformation() = default;

QJsonDocument StreamTransformation::makeJob()
{
    QMutexLocker lock(&m_mutex);
    if (m_stage == 0)
        return execJob();
    return QJsonDocument();
}

void StreamTransformation::resultJob(const QJsonDocument&)
{
    // No job ever goes out, so no result ever comes back.
}

QJsonDocument StreamTransformation::execJob()
{
    m_stage = 1;
    bool failed = true;
    QString failure;
    if (!m_in || !m_out || !m_in->isOpen() || !m_out->isOpen() || !m_in->isReadable() ||
        !m_out->isWritable()) {
        failure = tr("Invalid data stream");
    } else {
        try {
            failed = false;
            QByteArray piece;
            while (!m_in->atEnd()) {
                if (!m_in->isOpen()) {
                    failed = true;
                    failure = m_in->errorString();
                    break;
                }
                piece = m_in->read(static_cast<qint64>(m_chunkSize));
                Network::Utility::ProgressReporter::update(id(), piece.size(), 0);
                if (m_out->write(piece) != piece.size()) {
                    NorvikDebug("NKC").error()
                        << "Error on wrtite to out stream, message:" << m_out->errorString();
                    failed = true;
                    failure = m_out->errorString();
                    break;
                }
            }
        } catch (...) {
            failed = true;
            failure = m_in->errorString();
        }
    }
    if (!failed) {
        changeState(StateComplete, QString());
    } else {
        m_stage = 2;
        setErrorCode(TransformationFailedCode);
        changeState(StateError, failure);
    }
    return QJsonDocument();
}

} // namespace Norvik::Cloud::Operation
