/// @file
/// Which frame a host's callback came of.
#ifndef ZELO_ZELOBOX_CALLBACKCAUSES_H
#define ZELO_ZELOBOX_CALLBACKCAUSES_H

#include <deque>
#include <optional>
#include <string>

#include "zelobox/protocol/Trace.h"

namespace zelobox {

/// The frames to one host that make its library call back, until it has.
class CallbackCauses {
public:
    /// A host that reports nothing must not make this grow.
    static constexpr size_t most = 1000;

    struct Cause {
        uint64_t serial = 0; ///< of the record
        int64_t time = 0;
        Frame frame;
        std::string callback; ///< that it makes
    };

    /// @param record  any; what makes no callback is not kept
    void note(uint64_t serial, TraceRecord const& record);

    /// The library calls back in the order of the frames, so that an older one with another callback has made none.
    ///
    /// @return the oldest frame that makes @p callback, which is forgotten with those before it
    std::optional<Cause> take(std::string const& callback);

private:
    std::deque<Cause> waiting;
};

} // namespace zelobox

#endif
