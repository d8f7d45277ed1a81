/// @file
/// The narration of what the middleware says during a check.
#ifndef ZELO_ZELOBOX_NARRATOR_H
#define ZELO_ZELOBOX_NARRATOR_H

#include <map>
#include <ostream>
#include <string>

#include "zelobox/protocol/Trace.h"

namespace zelobox {

/// Tells each configuration that differs from the one before, and every event; one that comes again within a case is
/// counted, and the count told at the end of the case.
class Narrator {
public:
    Narrator(std::ostream& target, bool asJson) : stream(target), json(asJson) {}

    void take(TraceRecord const& record);
    void endCase();

private:
    void tell(char const* what, TraceRecord const& record);

    std::ostream& stream;
    bool const json;
    std::vector<char> lastConfiguration;
    std::map<std::string, size_t> repeated; ///< events of this case
};

} // namespace zelobox

#endif
