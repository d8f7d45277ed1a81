/// @file
/// Back-off between connection attempts.
#ifndef ZELO_COMMON_AUTORETRIER_H
#define ZELO_COMMON_AUTORETRIER_H

#include <NSTime.h>
#include <stdint.h>

#include <string>

/// Says when the next attempt is due, from the number of failures since the last success.
///
/// After the first failure the shortest wait, then a half-sine ramp to the longest one. Not synchronised: it belongs to
/// the thread that makes the attempts.
class AutoRetrier {
public:
    /// @param subject  what is tried; printed in the log lines
    explicit AutoRetrier(std::string const& subject);

    /// @return true when the wait since the last attempt is over; true before the first attempt
    bool isDue() const;

    /// Counts a failed attempt and logs how long the next wait is.
    void failed();

    /// Forgets the failures and logs the success.
    void succeeded();

    /// @return true when the last success is so long ago
    bool hasLasted(unsigned ms) const;

    /// @return milliseconds from the last attempt to the next one
    uint32_t waitMs() const;

private:
    std::string const name;
    uint32_t failures = 0;
    uint32_t const minWaitMs = 1000;
    uint32_t const maxWaitMs = 100000;
    uint32_t const steps = 50; ///< failures over which the wait climbs from the shortest to the longest
    NSTime lastAttempt;
    NSTime lastSuccess;
};

#endif
