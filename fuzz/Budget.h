/// @file
/// The memory that the library may have while a fuzzer watches it.
#ifndef ZELO_FUZZ_BUDGET_H
#define ZELO_FUZZ_BUDGET_H

#include <cstddef>

/// Lets allocations fail, and ends the process when more memory is in use than an input can justify. One at a time.
class Budget {
public:
    /// @param failing  the how-manieth allocation throws std::bad_alloc; 0 for none
    /// @param bytes    more in use at once is a finding
    /// @param largest  a single allocation above it throws std::bad_alloc
    Budget(size_t failing, size_t bytes, size_t largest);
    Budget(size_t failing, size_t bytes) : Budget(failing, bytes, bytes) {}
    ~Budget();
    Budget(Budget const&) = delete;
    Budget& operator=(Budget const&) = delete;

    /// What the fuzzer itself allocates does not count.
    static void exemptThisThread();
};

#endif
