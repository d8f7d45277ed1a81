// The lines of a backtrace in both instruction sets of the box; elsewhere both functions are of the one that there is.
#include <dlfcn.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <link.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include <regex>

#include "inc/private/pthread_helper.h"
#include "src/common/STBBackTrace.h"
#include "src/ipc/IPCMessengerClient.h"
#include "testkit/Interpose.h"

#include "Frame.h"

namespace {

typedef void (*Frame)(Work, void*);

struct TestCase {
    char const* name;
    Frame frame;
    uintptr_t thumbBit;

    friend std::ostream& operator<<(std::ostream& out, TestCase const& test) { return out << test.name; }
};

#ifdef __arm__
uintptr_t const thumb = 1;
#else
uintptr_t const thumb = 0;
#endif

TestCase const frames[] = {{"contractThumbFrame", &contractThumbFrame, thumb},
                           {"contractArmFrame", &contractArmFrame, 0}};

std::string backTraceThrough(Frame frame)
{
    char* text = nullptr;
    size_t size = 0;
    FILE* const stream = open_memstream(&text, &size);
    frame([](void* out) { _Unwind_Backtrace(&STBBackTrace::backtrace_helper, out); }, stream);
    fclose(stream);
    std::string const lines(text, size);
    free(text);
    return lines;
}

void lockTwice(void*) NO_THREAD_SAFETY_ANALYSIS
{
    pthread_helper::mutex mutex;
    mutex.lock();
    mutex.lock();
}

uintptr_t number(std::string const& hexadecimal)
{
    return static_cast<uintptr_t>(std::stoull(hexadecimal, nullptr, 16));
}

/// Fails in a function of the library that throws nothing and calls nothing that throws.
void removeInVain(void*)
{
    IPCMessengerClient client;
    interpose::pthread_mutex_lock.answerNext(EINVAL);
    client.removeHandler(nullptr);
}

class BackTraceContract : public testing::TestWithParam<TestCase> {
protected:
    /// Before ARMv6 the linker exports a stub in ARM code, so no symbol covers a Thumb function.
    static bool hasSymbol()
    {
#if defined(__ARM_ARCH) && __ARM_ARCH < 6
        return GetParam().thumbBit == 0;
#else
        return true;
#endif
    }
};

} // namespace

TEST_P(BackTraceContract, NamesFunctionOffsetFileAndBase)
{
    if (!hasSymbol()) {
        GTEST_SKIP() << "no symbol covers a Thumb function here";
    }
    std::string const lines = backTraceThrough(GetParam().frame);
    std::regex const form("(0x[0-9a-f]+) " + std::string(GetParam().name) +
                          " \\(\\+(0x[0-9a-f]+)\\) \\((.+) at (0x[0-9a-f]+)\\) \\n");
    std::smatch found;
    ASSERT_TRUE(std::regex_search(lines, found, form)) << lines;
    uintptr_t const address = number(found[1]);
    uintptr_t const function = reinterpret_cast<uintptr_t>(GetParam().frame);
    EXPECT_EQ(GetParam().thumbBit, function & 1) << "the function is not in the instruction set of its name";
    EXPECT_EQ(address, function + number(found[2]));
    Dl_info info;
    void* symbol = nullptr;
    ASSERT_NE(0, dladdr1(reinterpret_cast<void*>(address), &info, &symbol, RTLD_DL_SYMENT));
    EXPECT_LT(0U, number(found[2]));
    EXPECT_LT(number(found[2]), static_cast<ElfW(Sym)*>(symbol)->st_size);
    EXPECT_EQ(info.dli_fname, found[3]);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(info.dli_fbase), number(found[4]));
}

#ifdef __arm__
TEST_P(BackTraceContract, PrintsInstructionAddressesWithoutTheThumbBit)
{
    std::string const lines = backTraceThrough(GetParam().frame);
    std::regex const line("(^|\\n)(0x[0-9a-f]+)");
    int count = 0;
    for (std::sregex_iterator entry(lines.begin(), lines.end(), line), end; entry != end; ++entry, ++count) {
        EXPECT_EQ(0U, number((*entry)[2]) & 1) << (*entry)[2];
    }
    EXPECT_GT(count, 3) << lines;
}
#endif

TEST_P(BackTraceContract, IsInTheReportOfAFailedCheck)
{
    if (!hasSymbol()) {
        GTEST_SKIP() << "no symbol covers a Thumb function here";
    }
    std::string const line = std::string("0x[0-9a-f]+ ") + GetParam().name + " \\(\\+0x[0-9a-f]+\\) \\(.* at 0x";
    EXPECT_EXIT(GetParam().frame(&lockTwice, nullptr), testing::KilledBySignal(SIGKILL), line);
}

TEST_P(BackTraceContract, GoesOnThroughFunctionsThatCannotThrow)
{
    if (!hasSymbol()) {
        GTEST_SKIP() << "no symbol covers a Thumb function here";
    }
    std::string const line = std::string("0x[0-9a-f]+ ") + GetParam().name + " \\(\\+0x[0-9a-f]+\\) ";
    EXPECT_EXIT(GetParam().frame(&removeInVain, nullptr), testing::KilledBySignal(SIGKILL), line);
}

INSTANTIATE_TEST_SUITE_P(In, BackTraceContract, testing::ValuesIn(frames), testing::PrintToStringParamName());
