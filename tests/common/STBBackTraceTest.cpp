#include "src/common/STBBackTrace.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "testkit/Allocations.h"
#include "testkit/Interpose.h"

namespace {

std::string printed;

using interpose::Takeover;
using interpose::Threads;

// The unwinder's answer when it is asked for the program counter of a frame.
#if defined(__arm__)
_Unwind_VRS_Result answerWith(void* address, _Unwind_Context*, _Unwind_VRS_RegClass, uint32_t,
                              _Unwind_VRS_DataRepresentation, void* value)
{
    *static_cast<uint32_t*>(value) = reinterpret_cast<uint32_t>(address);
    return _UVRSR_OK;
}
#else
_Unwind_Ptr answerWith(void* address, _Unwind_Context*)
{
    return reinterpret_cast<_Unwind_Ptr>(address);
}
#endif

/// Prints one frame, a fully buffered stream behind it, and takes what has left the stream.
_Unwind_Reason_Code printFrame(_Unwind_Context* context, void* address)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return _URC_END_OF_STACK;
    }
    FILE* const stream = fdopen(ends[1], "w");
    char buffer[4096];
    setvbuf(stream, buffer, _IOFBF, sizeof buffer);
    Takeover const answering(
        interpose::unwindGet, [address](auto... arguments) { return answerWith(address, arguments...); }, Threads::All);
    _Unwind_Reason_Code result;
    {
        allocations::Budget const nothing(0);
        result = STBBackTrace::backtrace_helper(context, stream);
    }
    char line[4096];
    ssize_t const count = read(ends[0], line, sizeof line); // no bytes, no end: the test's deadline
    printed.assign(line, count > 0 ? static_cast<size_t>(count) : 0);
    fclose(stream);
    close(ends[0]);
    EXPECT_EQ(_URC_NO_REASON, result);
    return _URC_END_OF_STACK;
}

std::string lineOf(uintptr_t address)
{
    printed.clear();
    _Unwind_Backtrace(printFrame, reinterpret_cast<void*>(address));
    return printed;
}

std::string pointer(uintptr_t address)
{
    char text[40];
    snprintf(text, sizeof text, "%p", reinterpret_cast<void*>(address));
    return text;
}

} // namespace

// Aligned: an odd address would lose its lowest bit.
extern "C" __attribute__((aligned(16))) void functionWithASymbol()
{
    printed = "called";
}

namespace mangled {
__attribute__((aligned(16))) void function(int*)
{
    printed = "called, too";
}
} // namespace mangled

TEST(BackTrace, HasNoAddressForTheThumbBitAlone)
{
    EXPECT_EQ("Unknown address\n", lineOf(1));
}

TEST(BackTrace, ResolvesAFunctionToSymbolOffsetAndObject)
{
    // The symbol of Thumb code has the Thumb bit; the offset counts from there.
    uintptr_t const symbol = reinterpret_cast<uintptr_t>(&functionWithASymbol);
    uintptr_t const address = (symbol & ~uintptr_t{1}) + 2;
    Dl_info info;
    ASSERT_NE(0, dladdr(reinterpret_cast<void*>(address), &info));
    std::string const object =
        std::string(" (") + info.dli_fname + " at " + pointer(reinterpret_cast<uintptr_t>(info.dli_fbase)) + ") \n";
    EXPECT_EQ(pointer(address) + " functionWithASymbol (+" + pointer(address - symbol) + ")" + object, lineOf(address));
}

TEST(BackTrace, ClearsTheThumbBit)
{
    uintptr_t const function = reinterpret_cast<uintptr_t>(&functionWithASymbol) & ~uintptr_t{1};
    EXPECT_EQ(lineOf(function + 2), lineOf(function + 3));
}

TEST(BackTrace, PrintsAnAddressWithoutASymbol)
{
    uintptr_t const programHeader = getauxval(AT_PHDR); // in the object, before everything that has a name
    EXPECT_EQ(pointer(programHeader) + " - no matching symbol\n", lineOf(programHeader));
}

TEST(BackTrace, PrintsAnAddressOutsideOfEveryObject)
{
    std::unique_ptr<int> const heap(new int);
    uintptr_t const address = reinterpret_cast<uintptr_t>(heap.get()) & ~uintptr_t{1};
    EXPECT_EQ(pointer(address) + " - error resolving address\n", lineOf(address));
}

TEST(BackTrace, KeepsNamesAsTheyAreInTheObject)
{
    // Behind the first half-word, which in Thumb code belongs to no symbol.
    std::string const line = lineOf((reinterpret_cast<uintptr_t>(&mangled::function) & ~uintptr_t{1}) + 2);
    EXPECT_NE(std::string::npos, line.find(" _ZN7mangled8functionEPi (+0x")) << line;
}
