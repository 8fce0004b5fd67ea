#include "NorvikNetwork/Retry.h"

#include "NorvikNetwork/ClientCurl.h"

#include <NorvikCore/GlobalConfig.h>
#include <NorvikCore/NorvikDebug.h>

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <random>
#include <thread>

namespace Norvik::Network::Utility {

namespace {

// Waits are slept in slices, so that terminate() ends them early.
constexpr long long SleepSliceMs = 20;

std::mt19937_64& randomEngine()
{
    thread_local std::mt19937_64 engine{std::random_device{}()};
    return engine;
}

void interruptibleSleep(long long ms)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(ms);
    while (!ClientCurl::isTermintated()) {
        const Clock::duration left = end - Clock::now();
        if (left <= Clock::duration::zero())
            return;
        std::this_thread::sleep_for(std::min<Clock::duration>(left, std::chrono::milliseconds(SleepSliceMs)));
    }
}

} // namespace

Retry::Retry(const QString& name, unsigned specialWaitMs, unsigned attempts)
    : m_name(name)
{
    const Core::GlobalConfig& config = Core::GlobalConfig::instance();
    m_attempts = attempts > 0 ? attempts : static_cast<unsigned>(std::max(1, config.retryAttempts()));
    m_specialWaitMs = specialWaitMs > 0 ? specialWaitMs : std::max(0, config.specialRetryBaseWaitMs());
    m_baseWaitMs = std::max(0, config.retryBaseWaitMs());
    m_maxWaitMs = std::max(0, config.retryMaxWaitMs());
    m_waitFactor = std::max(0.0, config.retryWaitFactor());
}

void Retry::retry()
{
    fail(m_baseWaitMs);
}

void Retry::specialRetry()
{
    fail(m_specialWaitMs);
}

void Retry::fail(long long baseWaitMs)
{
    ++m_failures;
    if (m_failures >= m_attempts) {
        m_lastWaitMs = 0;
        NorvikDebug("NKC").debug() << "Retry:" << m_name << "attempts used up:" << m_failures;
        return;
    }

    // base * 2^(failures - 1), capped; the doubling stops as soon as the cap is reached, so
    // that it cannot overflow.
    long long wait = std::min(baseWaitMs, m_maxWaitMs);
    for (unsigned i = 1; i < m_failures && wait < m_maxWaitMs; ++i)
        wait = std::min(wait * 2, m_maxWaitMs);
    std::uniform_int_distribution<long long> jitter((wait + 1) / 2, wait);
    m_lastWaitMs = std::llround(static_cast<double>(jitter(randomEngine())) * m_waitFactor);

    NorvikDebug("NKC").debug() << "Retry:" << m_name << "failure:" << m_failures << "/" << m_attempts
                               << "wait ms:" << m_lastWaitMs;
    interruptibleSleep(m_lastWaitMs);
}

QString Retry::message() const
{
    if (m_failures == 1)
        return QCoreApplication::translate("Norvik::Network::Utility::Retry",
                                           "%1: the request failed once; giving up")
            .arg(m_name);
    return QCoreApplication::translate("Norvik::Network::Utility::Retry",
                                       "%1: the request failed %2 times; giving up")
        .arg(m_name)
        .arg(m_failures);
}

} // namespace Norvik::Network::Utility
