// A local folder: no server, no containers, no credentials; the only metadata kept is the
// file's permission bits.

#include "Conformance.h"

#include "connection/CloudFileMetaData.h"
#include "info/CloudType.h"
#include "info/Config.h"

#include <QTemporaryDir>
#include <QUuid>

namespace {

namespace Config = Norvik::Cloud::Config;

[[maybe_unused]] const bool added = Conformance::addRow({
    QStringLiteral("fs"),
    [] {
        // Of this run alone, removed at its end.
        static const QTemporaryDir root;
        return Conformance::ConfigMap{
            {Config::Type, Norvik::Cloud::Name::FileSystem},
            {Config::Id, QUuid::createUuid()},
            {Config::FileSystem::Path, root.path()},
        };
    },
    nullptr,
    nullptr,
    0,
    {Norvik::Cloud::Api::CloudFileMetaData::FilePermissions},
    {},
});

} // namespace
