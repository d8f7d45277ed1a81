/// @file
/// The stack of a process that is about to die.
#ifndef ZELO_COMMON_STBBACKTRACE_H
#define ZELO_COMMON_STBBACKTRACE_H

#include <unwind.h>

class STBBackTrace {
public:
    /// Prints one stack frame as a line: address, symbol as it is in the object, offset, object file, load base.
    ///
    /// Made for _Unwind_Backtrace(). Allocates nothing.
    ///
    /// @param context  the frame
    /// @param stream   a FILE*, flushed after the line
    /// @return _URC_NO_REASON, so that the walk goes on
    static _Unwind_Reason_Code backtrace_helper(_Unwind_Context* context, void* stream);
};

#endif
