#pragma once

#include "info/InfoBase.h"

namespace Norvik::Cloud::Info {

// A local or mounted folder. Parts are assembled on disk, one at a time.
class FileSystem : public Base
{
public:
    FileSystem();
    ~FileSystem() override;
};

// An SFTP server: no multipart upload, and the defaults of a network connection.
class Sftp : public Base
{
public:
    explicit Sftp(Type type = Type::Sftp);
    ~Sftp() override;

    quint16 defaultPort() const { return 22; }
    bool defaultKeepAlive() const { return true; }
    bool defaultUseProxy() const { return true; }
};

} // namespace Norvik::Cloud::Info
