#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryFile>

namespace Norvik::Cloud::Api {

// A private key in a file of its own, for tools that take keys only by path (libcurl's SFTP
// transfers). The file lives in the system's temporary folder for as long as this object does,
// and is removed with it.
class KeyHelper : public QTemporaryFile
{
public:
    KeyHelper();
    explicit KeyHelper(const QByteArray& key);

    // Writes the key once. While the file exists a further key is ignored, so a connection
    // may hand over its key on every request without rewriting the file.
    void setPrivateKey(const QByteArray& key);
    // Empty until a key has been written.
    QString pathToPrivateKey() const;

private:
    void init();
};

} // namespace Norvik::Cloud::Api
