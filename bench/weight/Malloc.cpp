#include "bench/weight/Malloc.h"

#include <atomic>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZELO_OWN_MALLOC 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZELO_OWN_MALLOC 0
#endif
#endif
#ifndef ZELO_OWN_MALLOC
#define ZELO_OWN_MALLOC 1
#endif

namespace {

mallocs::Observer const nobody = {nullptr, nullptr};
std::atomic<mallocs::Observer const*> observer{&nobody};

} // namespace

void mallocs::observe(Observer const* newObserver)
{
    observer = newObserver != nullptr ? newObserver : &nobody;
}

#if ZELO_OWN_MALLOC

namespace {

void* seen(void* block)
{
    auto* const allocated = observer.load()->allocated;
    if (allocated != nullptr && block != nullptr) {
        allocated(block);
    }
    return block;
}

void forget(void* block)
{
    auto* const released = observer.load()->released;
    if (released != nullptr && block != nullptr) {
        released(block);
    }
}

} // namespace

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t number, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);

void* malloc(size_t size) noexcept
{
    return seen(__libc_malloc(size));
}

void* calloc(size_t number, size_t size) noexcept
{
    return seen(__libc_calloc(number, size));
}

void* realloc(void* block, size_t size) noexcept
{
    forget(block);
    return seen(__libc_realloc(block, size));
}

void free(void* block) noexcept
{
    forget(block);
    __libc_free(block);
}
}

#endif
