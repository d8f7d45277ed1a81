#include "testkit/Allocations.h"

#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>

#include <atomic>
#include <new>

namespace {

struct Account {
    bool limited;
    bool exceeded;
    long long bytesLeft;
    size_t callsLeft;
};

thread_local Account account;

std::atomic<size_t> sizeToFail{SIZE_MAX};
allocations::Observer const nobody = {nullptr, nullptr, nullptr};
std::atomic<allocations::Observer const*> observer{&nobody};

bool take(size_t size)
{
    bool const refused =
        account.limited && (account.callsLeft == 0 || static_cast<long long>(size) > account.bytesLeft);
    account.exceeded = account.exceeded || refused;
    account.callsLeft -= refused ? 0 : 1;
    size_t expected = size;
    auto* const refuses = observer.load()->refuses;
    return !refused && !sizeToFail.compare_exchange_strong(expected, SIZE_MAX) &&
           !(refuses != nullptr && refuses(size));
}

void* allocate(size_t size)
{
    void* const memory = take(size) ? malloc(size != 0 ? size : 1) : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    size_t const usable = malloc_usable_size(memory);
    account.bytesLeft -= static_cast<long long>(usable);
    if (auto* const allocated = observer.load()->allocated) {
        allocated(usable);
    }
    return memory;
}

void release(void* memory) noexcept
{
    size_t const usable = malloc_usable_size(memory);
    account.bytesLeft += static_cast<long long>(usable);
    auto* const released = observer.load()->released;
    if (released != nullptr && memory != nullptr) {
        released(usable);
    }
    free(memory);
}

} // namespace

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

void operator delete(void* memory) noexcept
{
    release(memory);
}

void operator delete[](void* memory) noexcept
{
    release(memory);
}

void operator delete(void* memory, size_t) noexcept
{
    release(memory);
}

void operator delete[](void* memory, size_t) noexcept
{
    release(memory);
}

namespace allocations {

Budget::Budget(size_t bytes, size_t calls)
{
    account = {true, false, static_cast<long long>(bytes), calls};
}

Budget::~Budget()
{
    account.limited = false;
}

bool Budget::exceeded() const
{
    return account.exceeded;
}

FailingSize::FailingSize(size_t bytes)
{
    sizeToFail = bytes;
}

FailingSize::~FailingSize()
{
    if (sizeToFail.exchange(SIZE_MAX) != SIZE_MAX) {
        fputs("the allocation that was to fail never came\n", stderr);
        abort();
    }
}

void observe(Observer const* newObserver)
{
    observer = newObserver != nullptr ? newObserver : &nobody;
}

} // namespace allocations
