#pragma once

#include <QString>

namespace Norvik::Network::Utility {

// A bounded retry loop with exponential back-off and jitter:
//
//     Retry retry("CloudHttpPrivate", 0, 0);
//     while (retry) {
//         try { return attempt(); }
//         catch (const Transient&) { retry.retry(); }
//     }
//     throw Failed(retry.message());
//
// specialWaitMs is the first wait of specialRetry() in milliseconds, used for transient
// trouble on the service's side (busy, throttling); 0 takes the global default. attempts is
// the number of attempts allowed; 0 takes the global default. The n-th wait is the base wait
// times 2^(n-1), capped by the global maximum, then drawn at random between half and all of
// that (jitter, so that parallel clients do not retry in step), then multiplied by the global
// wait factor. A retry that leaves no attempt does not wait.
class Retry
{
public:
    Retry(const QString& name, unsigned specialWaitMs, unsigned attempts);

    explicit operator bool() const { return m_failures < m_attempts; }
    // Accounts for one failed attempt and waits by the normal policy.
    void retry();
    // Accounts for one failed attempt and waits by the policy for transient service trouble.
    void specialRetry();
    // True once at least one failed attempt has been accounted for.
    bool hasRetry() const { return m_failures > 0; }
    QString message() const;

    unsigned attempts() const { return m_attempts; }
    unsigned failures() const { return m_failures; }
    // The wait chosen by the last retry() or specialRetry(), in milliseconds (0 if none).
    long long lastWaitMs() const { return m_lastWaitMs; }

private:
    void fail(long long baseWaitMs);

    QString m_name;
    unsigned m_attempts;
    unsigned m_failures = 0;
    long long m_specialWaitMs;
    long long m_lastWaitMs = 0;
    // The global policy, read once at construction.
    long long m_baseWaitMs;
    long long m_maxWaitMs;
    double m_waitFactor;
};

} // namespace Norvik::Network::Utility
