#include "src/common/STBBackTrace.h"

#include <dlfcn.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "inc/private/pthread_helper.h"

namespace {

void printRule()
{
    static char const rule[] = "========================================"
                               "================================================";
    static_assert(sizeof rule == 88 + 1, "the width of the report");
    fprintf(stdout, "%s\n", rule);
    // Standard error comes in between, and nothing is flushed by a SIGKILL.
    fflush(stdout);
}

/// Has the kernel kill this process in a while, whatever this thread waits for by then: nobody may read the standard
/// output, or another thread may hold its lock. A timer needs no thread and no signal that the host could have blocked.
/// The system calls themselves, because older C libraries keep theirs in a library of its own.
void limitLife()
{
    long const limit[] = {0, 0, 1, 500000000}; // the kernel's itimerspec: no interval, 1.5 s
    sigevent event;
    memset(&event, 0, sizeof event);
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGKILL;
    int timer = 0;
    if (syscall(SYS_timer_create, CLOCK_MONOTONIC, &event, &timer) == 0) {
        syscall(SYS_timer_settime, timer, 0, limit, nullptr);
    }
}

} // namespace

_Unwind_Reason_Code STBBackTrace::backtrace_helper(_Unwind_Context* context, void* stream)
{
    FILE* const out = static_cast<FILE*>(stream);
    uintptr_t const thumbBit = 1;
    uintptr_t const address = static_cast<uintptr_t>(_Unwind_GetIP(context)) & ~thumbBit;
    void* const location = reinterpret_cast<void*>(address);
    Dl_info info;
    if (address == 0) {
        fprintf(out, "%s\n", "Unknown address");
    } else if (dladdr(location, &info) == 0) {
        fprintf(out, "%p%s\n", location, " - error resolving address");
    } else if (info.dli_saddr == nullptr) {
        fprintf(out, "%p%s\n", location, " - no matching symbol");
    } else {
        uintptr_t const offset = address - reinterpret_cast<uintptr_t>(info.dli_saddr);
        fprintf(out, "%p %s (+0x%x) (%s at %p) \n", location, info.dli_sname, static_cast<unsigned>(offset),
                info.dli_fname, info.dli_fbase);
    }
    fflush(out);
    return _URC_NO_REASON;
}

void pthread_helper::assertionFailed(char const* condition, int result, int line, void const* object) noexcept
{
    limitLife();
    printRule();
    fprintf(stdout, " ASSERT (%s) ret=%d on %s:%d, this:%p\n", condition, result, "inc/private/pthread_helper", line,
            object);
    printRule();
    _Unwind_Backtrace(&STBBackTrace::backtrace_helper, stderr);
    printRule();
    kill(getpid(), SIGKILL);
    printRule();
}
