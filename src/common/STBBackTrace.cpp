#include "src/common/STBBackTrace.h"

#include <dlfcn.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <unistd.h>

#include "inc/private/pthread_helper.h"

namespace {

void printRule()
{
    static char const rule[] = "========================================"
                               "================================================";
    static_assert(sizeof rule == 88 + 1, "the width of the report");
    puts(rule);
    // Standard error comes in between, and nothing is flushed by a SIGKILL.
    fflush(stdout);
}

} // namespace

_Unwind_Reason_Code STBBackTrace::backtrace_helper(_Unwind_Context* context, void* stream)
{
    FILE* const out = static_cast<FILE*>(stream);
    uintptr_t const thumbBit = 1;
    uintptr_t const address = static_cast<uintptr_t>(_Unwind_GetIP(context)) & ~thumbBit;
    Dl_info info;
    if (address == 0) {
        fputs("Unknown address", out);
    } else {
        void* const location = reinterpret_cast<void*>(address);
        fprintf(out, "%p", location);
        if (dladdr(location, &info) == 0) {
            fputs(" - error resolving address", out);
        } else if (info.dli_saddr == nullptr) {
            fputs(" - no matching symbol", out);
        } else {
            uintptr_t const offset = address - reinterpret_cast<uintptr_t>(info.dli_saddr);
            fprintf(out, " %s (+0x%x) (%s at %p) ", info.dli_sname, static_cast<unsigned>(offset), info.dli_fname,
                    info.dli_fbase);
        }
    }
    fputc('\n', out);
    fflush(out);
    return _URC_NO_REASON;
}

void pthread_helper::assertionFailed(char const* condition, int result, int line, void const* object) noexcept
{
    printRule();
    printf(" ASSERT (%s) ret=%d on %s:%d, this:%p\n", condition, result, "inc/private/pthread_helper", line, object);
    printRule();
    _Unwind_Backtrace(&STBBackTrace::backtrace_helper, stderr);
    printRule();
    kill(getpid(), SIGKILL);
    printRule();
}
