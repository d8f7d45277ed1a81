/// @file
/// The program's own operator new, whose memory a test can limit.
#ifndef ZELO_TESTS_ALLOCATIONS_H
#define ZELO_TESTS_ALLOCATIONS_H

#include <stddef.h>
#include <stdint.h>

namespace allocations {

/// While it lives, the calling thread's memory is limited; what goes beyond fails with std::bad_alloc. One at a time.
class Budget {
public:
    /// @param bytes  that may be held at once, on top of what is held now
    /// @param calls  of operator new that may succeed
    explicit Budget(size_t bytes, size_t calls = SIZE_MAX);
    ~Budget();
    Budget(Budget const&) = delete;
    Budget& operator=(Budget const&) = delete;

    /// @return true once an allocation was refused
    bool exceeded() const;
};

} // namespace allocations

#endif
