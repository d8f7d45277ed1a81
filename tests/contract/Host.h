/// @file
/// What the box's own support library would have seen.
#ifndef ZELO_TESTS_CONTRACT_HOST_H
#define ZELO_TESTS_CONTRACT_HOST_H

#include <string>
#include <vector>

namespace host {

/// Text pointers of a log context, then the bytes behind them up to the size that the box's record has.
struct LogRecord {
    std::string indent;
    std::string tag;
    std::string category;
    std::vector<int> rest;
};

/// The context of the last log call of the calling thread.
LogRecord lastLog();

/// What was called on the DRM object and on its bridge, in order: "object slot 0 cel=1 null null".
std::vector<std::string> drmCalls();

/// What the bridge's slot @p number returns.
void* bridgeAnswer(unsigned number);

} // namespace host

#endif
