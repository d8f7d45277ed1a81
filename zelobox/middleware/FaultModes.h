/// @file
/// Faults that the middleware can be told to have, each under a name: for hosts that must bear them, and to prove what
/// `zelobox check` finds.
#ifndef ZELO_ZELOBOX_FAULTMODES_H
#define ZELO_ZELOBOX_FAULTMODES_H

#include <set>
#include <string>
#include <vector>

#include "zelobox/middleware/Server.h"
#include "zelobox/protocol/Frame.h"

namespace zelobox {

enum class FaultMode {
    None, ///< ends all that last
    // Done once.
    Drop,
    Garbage,
    Lie,
    LieHugely,
    LieInside,
    // Last until None.
    Stall,
    Slow,
    Split,
    Silent,
    AnswerOnce,
    CutConfig,
    WrongKind,
    NoDisplay,
    CutSecondConfig,
    SwapSizes,
    IgnoreAllowedList,
    RefuseRepeatedList,
    RefuseUnknown,
    RefuseSplit,
    SingleClient,
    BlockOnWrite,
    Tire,
    DieOnVanish,
    DieOnGarbage,
    DieOnLie,
};

struct FaultModeInfo {
    FaultMode what;
    char const* name;
    bool lasts; ///< until None; otherwise it is done once
    char const* help;
};

/// In the order of the enumeration.
std::vector<FaultModeInfo> const& faultModeTable();
FaultModeInfo const& infoOf(FaultMode what);
/// @return null for a name that is not in the table
FaultModeInfo const* findFaultMode(std::string const& name);
/// @return "none, drop, garbage, ..."
std::string faultModeNames();

using FaultModes = std::set<FaultMode>;

/// @return what all of them together make of the server's faults
Server::Faults serverFaultsOf(FaultModes const& all);

/// @return what Garbage or one of the lies puts on the wire
std::vector<char> wrongBytesOf(FaultMode what);

/// Makes of a configuration message what @p all make of it.
///
/// @param isFirst  on its connection
void spoilConfig(FaultModes const& all, bool isFirst, Frame& message);

} // namespace zelobox

#endif
