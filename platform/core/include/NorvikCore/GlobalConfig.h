#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

namespace Norvik::Core {

// Process-wide switches that are not part of a cloud configuration. The application (or a test)
// installs a subclass that overrides the getters it wants to change; everything else keeps the
// defaults documented here. Install before the first transfer: getters are read at each use.
class GlobalConfig
{
public:
    GlobalConfig() = default;
    virtual ~GlobalConfig();
    GlobalConfig(const GlobalConfig&) = delete;
    GlobalConfig& operator=(const GlobalConfig&) = delete;

    static GlobalConfig& instance();
    // Takes ownership. nullptr restores the defaults. The previous object is kept alive until
    // process exit, because another thread may still be reading from it.
    static void install(GlobalConfig* config);

    // --- Retries --------------------------------------------------------------------------
    // Attempts of operations that retry whole downloads (the automatic download). Default 3.
    virtual int retryCount() const;
    // Attempts a Network::Utility::Retry allows when its caller gives 0. Default 4.
    virtual int retryAttempts() const;
    // First wait of Retry::retry() in milliseconds; doubled per failure. Default 1000.
    virtual int retryBaseWaitMs() const;
    // First wait of Retry::specialRetry() when its caller gives 0. Default 5000.
    virtual int specialRetryBaseWaitMs() const;
    // No single wait exceeds this. Default 60000.
    virtual int retryMaxWaitMs() const;
    // Multiplies every wait; test suites set a small factor so that they never sleep long. Default 1.0.
    virtual double retryWaitFactor() const;

    // --- TLS ------------------------------------------------------------------------------
    // Whether the peer's certificate is verified at all. Default true.
    virtual bool sslVerifyPeer() const;
    // The stricter state: host name always checked and TLS 1.2 as the minimum. Default false.
    virtual bool sslVerifyStrict() const;
    // A PEM bundle used instead of the system's CA store. Default empty.
    virtual QString caCertificatesPath() const;

    // --- Time-outs (seconds) ----------------------------------------------------------------
    virtual int connectTimeout() const;  // default 30
    virtual int transferTimeout() const; // whole transfer; 0 means none; default 0
    virtual int lowSpeedTime() const;    // a transfer slower than lowSpeedLimit for this long fails; default 60
    virtual int lowSpeedLimit() const;   // bytes per second; default 1

    // --- Proxy ------------------------------------------------------------------------------
    // A libcurl proxy address such as "http://host:3128". Empty means a direct connection:
    // no proxy is taken from the environment.
    virtual QString proxy() const;
    virtual QString proxyUser() const;
    virtual QString proxyPassword() const;

    // --- Address overrides --------------------------------------------------------------------
    // libcurl "connect to" entries, "HOST:PORT:CONNECT-HOST:CONNECT-PORT" (an empty HOST or PORT
    // matches any): requests keep their host name, for TLS and signatures, but are sent to
    // another address. For test setups that serve a service's real names locally. Default empty.
    virtual QStringList connectTo() const;

    // --- Cloud plug-in ------------------------------------------------------------------------
    virtual bool useCustomCloudPlugin() const; // default false
    virtual QString cloudPluginFolder() const; // default empty
    virtual QString cloudPluginBaseName() const; // file name without "lib" handling or suffix

    // --- Region lists -------------------------------------------------------------------------
    // Base address that region lists are downloaded from. Default "https://update.norvik-backup.com".
    virtual QUrl regionListBaseUrl() const;
};

} // namespace Norvik::Core
