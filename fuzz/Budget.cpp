#include "fuzz/Budget.h"

#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>

#include <atomic>
#include <new>

namespace {

std::atomic<bool> armed{false};
std::atomic<size_t> failingAllocation{0};
std::atomic<size_t> allocations{0};
std::atomic<size_t> limit{0};
std::atomic<size_t> largestAllowed{0};
std::atomic<ptrdiff_t> inUse{0};
thread_local bool exempt = false;

bool isWatched()
{
    return armed && !exempt;
}

void* allocate(size_t size)
{
    if (isWatched() && (++allocations == failingAllocation || size > largestAllowed)) {
        throw std::bad_alloc();
    }
    void* const block = malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    if (isWatched() &&
        (inUse += static_cast<ptrdiff_t>(malloc_usable_size(block))) > static_cast<ptrdiff_t>(limit.load())) {
        armed = false; // what writes the input down allocates, too
        fprintf(stderr, "more memory in use than the input justifies: %zd bytes\n", inUse.load());
        abort();
    }
    return block;
}

void release(void* block)
{
    if (isWatched()) {
        inUse -= static_cast<ptrdiff_t>(malloc_usable_size(block));
    }
    free(block);
}

} // namespace

Budget::Budget(size_t failing, size_t bytes, size_t largest)
{
    failingAllocation = failing;
    allocations = 0;
    limit = bytes;
    largestAllowed = largest;
    inUse = 0;
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

void* operator new(size_t size)
{
    return allocate(size);
}

void* operator new[](size_t size)
{
    return allocate(size);
}

void* operator new(size_t size, std::nothrow_t const&) noexcept
{
    return malloc(size);
}

void operator delete(void* block) noexcept
{
    release(block);
}

void operator delete[](void* block) noexcept
{
    release(block);
}

void operator delete(void* block, size_t) noexcept
{
    release(block);
}

void operator delete[](void* block, size_t) noexcept
{
    release(block);
}
