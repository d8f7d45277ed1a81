#include "fuzz/Budget.h"

#include <stdio.h>
#include <stdlib.h>

#include <atomic>

#include "testkit/Allocations.h"
#include "testkit/HostStandIn.h"

namespace {

std::atomic<bool> armed{false};
std::atomic<size_t> failingAllocation{0};
std::atomic<size_t> made{0};
std::atomic<size_t> limit{0};
std::atomic<size_t> largestAllowed{0};
std::atomic<ptrdiff_t> inUse{0};
thread_local bool exempt = false;

bool isWatched()
{
    return armed && !exempt;
}

bool refuses(size_t size)
{
    return isWatched() && (++made == failingAllocation || size > largestAllowed);
}

void count(size_t usable)
{
    if (isWatched() && (inUse += static_cast<ptrdiff_t>(usable)) > static_cast<ptrdiff_t>(limit.load())) {
        armed = false; // what writes the input down allocates, too
        fprintf(stderr, "more memory in use than the input justifies: %zd bytes\n", inUse.load());
        abort();
    }
}

void discount(size_t usable)
{
    if (isWatched()) {
        inUse -= static_cast<ptrdiff_t>(usable);
    }
}

allocations::Observer const observer = {&refuses, &count, &discount};

} // namespace

Budget::Budget(size_t failing, size_t bytes, size_t largest)
{
    failingAllocation = failing;
    made = 0;
    limit = bytes;
    largestAllowed = largest;
    inUse = 0;
    standin::setLogging(standin::Logging::Formatted); // a record would be memory of the library's
    allocations::observe(&observer);
    armed = true;
}

Budget::~Budget()
{
    armed = false;
}

void Budget::exemptThisThread()
{
    exempt = true;
}
