/// @file
/// What the library may allocate while a fuzzer watches it.
#ifndef ZELO_FUZZ_BUDGET_H
#define ZELO_FUZZ_BUDGET_H

#include <cstddef>

/// Lets allocations fail, and ends the process when more memory is in use than an input can justify. One at a time.
class Budget {
public:
    /// @param failing  the how-manieth allocation throws std::bad_alloc; 0 for none
    /// @param bytes    a single allocation above it throws std::bad_alloc, a sum above it is a finding
    Budget(size_t failing, size_t bytes);
    ~Budget();
    Budget(Budget const&) = delete;
    Budget& operator=(Budget const&) = delete;

    /// What the fuzzer itself allocates does not count.
    static void exemptThisThread();
};

#endif
