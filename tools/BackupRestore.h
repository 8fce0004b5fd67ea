#pragma once

#include <QString>

namespace NorvikTool {

class Commands;

// Copies a local folder tree into a storage path and back. Each file travels with the
// object metadata of the library: its real size and its unix permissions. Empty folders are
// kept as folder objects.
class BackupRestore
{
public:
    explicit BackupRestore(Commands& commands);

    int backup(const QString& folder, const QString& cloudPrefix);
    int restore(const QString& cloudPrefix, const QString& folder);

private:
    Commands& m_commands;
};

} // namespace NorvikTool
