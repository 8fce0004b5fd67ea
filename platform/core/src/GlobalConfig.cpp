#include "NorvikCore/GlobalConfig.h"

#include <QMutex>
#include <QMutexLocker>

#include <atomic>
#include <memory>
#include <vector>

namespace Norvik::Core {

namespace {

std::atomic<GlobalConfig*> g_installed{nullptr};

QMutex& retiredMutex()
{
    static QMutex mutex;
    return mutex;
}

// Objects that were replaced stay alive: a reader on another thread may hold a reference.
std::vector<std::unique_ptr<GlobalConfig>>& retired()
{
    static std::vector<std::unique_ptr<GlobalConfig>> list;
    return list;
}

} // namespace

GlobalConfig::~GlobalConfig() = default;

GlobalConfig& GlobalConfig::instance()
{
    if (GlobalConfig* installed = g_installed.load(std::memory_order_acquire))
        return *installed;
    static GlobalConfig defaults;
    return defaults;
}

void GlobalConfig::install(GlobalConfig* config)
{
    GlobalConfig* previous = g_installed.exchange(config, std::memory_order_acq_rel);
    if (previous) {
        QMutexLocker lock(&retiredMutex());
        retired().emplace_back(previous);
    }
}

int GlobalConfig::retryCount() const { return 3; }
int GlobalConfig::retryAttempts() const { return 4; }
int GlobalConfig::retryBaseWaitMs() const { return 1000; }
int GlobalConfig::specialRetryBaseWaitMs() const { return 5000; }
int GlobalConfig::retryMaxWaitMs() const { return 60000; }
double GlobalConfig::retryWaitFactor() const { return 1.0; }

bool GlobalConfig::sslVerifyPeer() const { return true; }
bool GlobalConfig::sslVerifyStrict() const { return false; }
QString GlobalConfig::caCertificatesPath() const { return QString(); }

int GlobalConfig::connectTimeout() const { return 30; }
int GlobalConfig::transferTimeout() const { return 0; }
int GlobalConfig::lowSpeedTime() const { return 60; }
int GlobalConfig::lowSpeedLimit() const { return 1; }

QString GlobalConfig::proxy() const { return QString(); }
QString GlobalConfig::proxyUser() const { return QString(); }
QString GlobalConfig::proxyPassword() const { return QString(); }

QStringList GlobalConfig::connectTo() const { return QStringList(); }

bool GlobalConfig::useCustomCloudPlugin() const { return false; }
QString GlobalConfig::cloudPluginFolder() const { return QString(); }
QString GlobalConfig::cloudPluginBaseName() const { return QString(); }

QUrl GlobalConfig::regionListBaseUrl() const { return QUrl(QStringLiteral("https://update.norvik-backup.com")); }

} // namespace Norvik::Core
