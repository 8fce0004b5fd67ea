// A local folder: no server, no containers, no credentials; the only metadata kept is the
// file's permission bits.

#include "Conformance.h"

#include "connection/CloudFileMetaData.h"
#include "info/CloudType.h"
#include "info/Config.h"

#include "TestSupport.h"

#include <QUuid>

namespace {

namespace Config = Norvik::Cloud::Config;

[[maybe_unused]] const bool added = Conformance::addRow({
    QStringLiteral("fs"),
    [] {
        return Conformance::ConfigMap{
            {Config::Type, Norvik::Cloud::Name::FileSystem},
            {Config::Id, QUuid::createUuid()},
            {Config::FileSystem::Path, NorvikTest::scratchDir(QStringLiteral("fs-root"))},
        };
    },
    nullptr,
    nullptr,
    0,
    {Norvik::Cloud::Api::CloudFileMetaData::FilePermissions},
    {},
});

} // namespace
