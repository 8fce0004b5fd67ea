#pragma once

#include <NorvikCore/GlobalConfig.h>

#include <QIODevice>
#include <QString>

#include <curlpp/Easy.hpp>
#include <curlpp/Exception.hpp>
#include <curlpp/Infos.hpp>

#include <functional>
#include <string>

namespace NorvikTest {

// Global switches that a test sets field by field. Retry waits are short by default, like
// those of the suite's own configuration.
class NetworkTestConfig : public Norvik::Core::GlobalConfig
{
public:
    int attempts = 4;
    int baseWaitMs = 1000;
    int specialWaitMs = 5000;
    int maxWaitMs = 60000;
    double waitFactor = 0.001;
    bool verifyPeer = true;
    bool verifyStrict = false;
    QString caPath;
    int connect = 30;
    int transfer = 0;
    int lowTime = 60;
    int lowLimit = 1;
    QString proxyAddress;
    QString user;
    QString password;

    int retryAttempts() const override { return attempts; }
    int retryBaseWaitMs() const override { return baseWaitMs; }
    int specialRetryBaseWaitMs() const override { return specialWaitMs; }
    int retryMaxWaitMs() const override { return maxWaitMs; }
    double retryWaitFactor() const override { return waitFactor; }
    bool sslVerifyPeer() const override { return verifyPeer; }
    bool sslVerifyStrict() const override { return verifyStrict; }
    QString caCertificatesPath() const override { return caPath; }
    int connectTimeout() const override { return connect; }
    int transferTimeout() const override { return transfer; }
    int lowSpeedTime() const override { return lowTime; }
    int lowSpeedLimit() const override { return lowLimit; }
    QString proxy() const override { return proxyAddress; }
    QString proxyUser() const override { return user; }
    QString proxyPassword() const override { return password; }
};

// Installs a fresh configuration (owned by GlobalConfig) and returns it for editing.
inline NetworkTestConfig& installNetworkTestConfig()
{
    auto* config = new NetworkTestConfig;
    Norvik::Core::GlobalConfig::install(config);
    return *config;
}

// What perform() came to: libcurl's code (0 on success), its text and the HTTP status.
struct Outcome
{
    int code = 0;
    std::string message;
    long status = 0;
};

inline Outcome performRequest(curlpp::Easy& request)
{
    Outcome outcome;
    try {
        request.perform();
        outcome.status = curlpp::infos::ResponseCode::get(request);
    } catch (const curlpp::LibcurlRuntimeError& error) {
        outcome.code = static_cast<int>(error.whatCode());
        outcome.message = error.what();
    }
    return outcome;
}

} // namespace NorvikTest
