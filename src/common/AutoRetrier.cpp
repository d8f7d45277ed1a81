#include "src/common/AutoRetrier.h"

#include <math.h>

#include "src/common/Log.h"

namespace {

char const* const sourceFile = "src/common/AutoRetrier";

enum Line : int {
    LineFailed = 24,
    LineOk = 33,
};

/// @return true when it is at least so long since @p start
bool hasPassed(NSTime const& start, uint32_t ms)
{
    return NSTime::nowRelative() - start >= NSTime(static_cast<long long>(ms) * 1000);
}

} // namespace

AutoRetrier::AutoRetrier(std::string const& subject) : name(subject) {}

bool AutoRetrier::isDue() const
{
    return hasPassed(lastAttempt, waitMs());
}

void AutoRetrier::failed()
{
    ++failures;
    lastAttempt = NSTime::nowRelative();
    ZELO_LOG(LogBadData, LineFailed, sourceFile, "%s - failed (total %d times), wait %0.2f sec before next retry",
             name.c_str(), static_cast<int>(failures), static_cast<double>(static_cast<float>(waitMs()) / 1000.0F));
}

void AutoRetrier::succeeded()
{
    failures = 0;
    lastSuccess = NSTime::nowRelative();
    lastAttempt = lastSuccess;
    ZELO_LOG(LogConnection, LineOk, sourceFile, "%s - ok", name.c_str());
}

bool AutoRetrier::hasLasted(unsigned ms) const
{
    return hasPassed(lastSuccess, ms);
}

uint32_t AutoRetrier::waitMs() const
{
    if (failures == 1) {
        return minWaitMs;
    }
    if (failures == 0) {
        return steps != 0 ? 0 : maxWaitMs;
    }
    if (failures >= steps) {
        return maxWaitMs;
    }
    // A half sine wave from its trough (no failure but the first) to its crest; pi to the digits that peers know.
    double const x = (failures - 1) * 3.1415926 / (steps - 1) - 1.570796;
    return static_cast<uint32_t>(minWaitMs + (maxWaitMs - minWaitMs) * (sin(x) + 1) * 0.5);
}
