/// @file
/// The options of commands that record traffic into a file.
#ifndef ZELO_ZELOBOX_TRACEOPTIONS_H
#define ZELO_ZELOBOX_TRACEOPTIONS_H

#include <cstdint>
#include <memory>
#include <string>

#include "zelobox/capture/TraceRing.h"

namespace CLI {
class App;
}

namespace zelobox {

struct TraceOptions {
    std::string file;   ///< "-" for the standard output
    uint64_t limit = 0; ///< in bytes; 0: none
    bool force = false;

    void addTo(CLI::App& command);

    bool isToOutput() const { return file == "-"; }
    /// @return the standard stream that is left for what people read
    std::ostream& talk() const;
    int talkDescriptor() const;
    /// @return null when none is wanted
    /// @throw InputError when it cannot be written, or is there already
    std::unique_ptr<TraceRing> open() const;
};

} // namespace zelobox

#endif
