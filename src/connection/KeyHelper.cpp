#include "connection/KeyHelper.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDir>

namespace Norvik::Cloud::Api {

KeyHelper::KeyHelper()
{
    init();
}

KeyHelper::KeyHelper(const QByteArray& key)
{
    init();
    setPrivateKey(key);
}

void KeyHelper::init()
{
    setFileTemplate(QDir::tempPath() + QStringLiteral("/app.XXXXXX"));
    setAutoRemove(true);
}

void KeyHelper::setPrivateKey(const QByteArray& key)
{
    if (!fileName().isEmpty()) {
        if (QFile::exists(fileName()))
            return;
        // The file was deleted under us. QTemporaryFile keeps its descriptor across close(), so
        // open() alone would hand back the deleted file; remove() lets it make a new one.
        remove();
    }
    if (!open()) {
        NorvikDebug("NKC").warning() << "KeyHelper: cannot create the key file, message:" << errorString();
        return;
    }
    // QTemporaryFile creates the file for its owner only, which is what a key needs.
    const bool written = write(key) == key.size() && flush();
    close();
    if (!written) {
        // A partial key would be taken as the key; without the file the next call tries again.
        NorvikDebug("NKC").warning() << "KeyHelper: cannot write the key file" << fileName()
                                     << "message:" << errorString();
        remove();
    }
}

QString KeyHelper::pathToPrivateKey() const
{
    return fileName();
}

} // namespace Norvik::Cloud::Api
