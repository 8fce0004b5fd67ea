// A process of its own for the tests of what the temporary-file store leaves behind at exit:
// it parks one part in the folder named by argv[1], names its file on stdout and exits without
// removing the part.
#include "streams/TemporaryFile.h"
#include "streams/TemporaryFileManager.h"

#include "engine/OperationManager.h"

#include <QBuffer>
#include <QFile>

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    Norvik::Cloud::OperationManager::setTemporaryFileFolderPath(QString::fromLocal8Bit(argv[1]));

    QBuffer source;
    source.setData(QByteArray(1000, 'h'));
    source.open(QIODevice::ReadOnly);
    auto& files = Norvik::Cloud::TemporaryFileManager::instance();
    const auto added = files.tryAdd(1000, source);
    auto* file = added.first.isNull() ? nullptr : qobject_cast<QFile*>(files.get(added.first)->file().data());
    if (!file)
        return 3;
    // Asking for the name gives the otherwise unnamed file a place in the folder.
    std::printf("%s\n", file->fileName().toLocal8Bit().constData());
    return 0;
}
