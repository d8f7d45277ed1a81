#include "testkit/Allocations.h"

#include <gtest/gtest.h>
#include <malloc.h>
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

bool take(size_t size)
{
    bool const refused =
        account.limited && (account.callsLeft == 0 || static_cast<long long>(size) > account.bytesLeft);
    account.exceeded = account.exceeded || refused;
    account.callsLeft -= refused ? 0 : 1;
    size_t expected = size;
    return !refused && !sizeToFail.compare_exchange_strong(expected, SIZE_MAX);
}

void release(void* memory) noexcept
{
    account.bytesLeft += static_cast<long long>(malloc_usable_size(memory));
    free(memory);
}

} // namespace

void* operator new(size_t size)
{
    void* const memory = take(size) ? malloc(size != 0 ? size : 1) : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    account.bytesLeft -= static_cast<long long>(malloc_usable_size(memory));
    return memory;
}

void operator delete(void* memory) noexcept
{
    release(memory);
}

void operator delete(void* memory, size_t) noexcept
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
    EXPECT_EQ(SIZE_MAX, sizeToFail.exchange(SIZE_MAX)) << "the allocation that was to fail never came";
}

} // namespace allocations
