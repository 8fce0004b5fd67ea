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

// Retry waits that a test sets field by field.
class NetworkTestConfig : public Norvik::Core::GlobalConfig
{
public:
    int baseWaitMs = 1000;
    double waitFactor = 0.001;

    int retryBaseWaitMs() const override { return baseWaitMs; }
    double retryWaitFactor() const override { return waitFactor; }
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
