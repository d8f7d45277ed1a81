/// @file
/// What a middleware can do wrong, each under a name: for hosts that must bear it, and to prove what `zelobox check`
/// finds.
#ifndef ZELO_ZELOBOX_MISBEHAVIOUR_H
#define ZELO_ZELOBOX_MISBEHAVIOUR_H

#include <set>
#include <string>
#include <vector>

#include "zelobox/middleware/Server.h"
#include "zelobox/protocol/Peer.h"

namespace zelobox {

enum class Misbehaviour {
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

struct MisbehaviourInfo {
    Misbehaviour what;
    char const* name;
    bool lasts; ///< until None; otherwise it is done once
    char const* help;
};

/// In the order of the enumeration.
std::vector<MisbehaviourInfo> const& misbehaviourTable();
MisbehaviourInfo const& infoOf(Misbehaviour what);
/// @return null for a name that is not in the table
MisbehaviourInfo const* findMisbehaviour(std::string const& name);
/// @return "none, drop, garbage, ..."
std::string misbehaviourNames();

using Misbehaviours = std::set<Misbehaviour>;

/// @return what all of them together make of the server's manners
Server::Manners mannersOf(Misbehaviours const& all);

/// @return what Garbage or one of the lies puts on the wire
std::vector<char> wrongBytesOf(Misbehaviour what);

/// Makes of a configuration message what @p all make of it.
void spoilConfig(Misbehaviours const& all, Frame& message);

} // namespace zelobox

#endif
