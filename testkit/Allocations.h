/// @file
/// The program's own operator new, whose memory can be limited and watched.
#ifndef ZELO_TESTKIT_ALLOCATIONS_H
#define ZELO_TESTKIT_ALLOCATIONS_H

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

/// Makes the next allocation of exactly this size fail with std::bad_alloc, on whichever thread it is made. One at a
/// time.
class FailingSize {
public:
    explicit FailingSize(size_t bytes);
    /// Ends the program if there was no such allocation.
    ~FailingSize();
    FailingSize(FailingSize const&) = delete;
    FailingSize& operator=(FailingSize const&) = delete;
};

/// What sees every allocation of the process, on its thread; each may be null. Must not allocate.
struct Observer {
    bool (*refuses)(size_t size); ///< @return true to let it fail with std::bad_alloc
    void (*allocated)(size_t usable);
    void (*released)(size_t usable);
};
/// @param observer  null to remove
void observe(Observer const* observer);

} // namespace allocations

#endif
