/// @file
/// The judgement of one frame from a middleware by the rules of the protocol.
#ifndef ZELO_ZELOBOX_FRAMEJUDGE_H
#define ZELO_ZELOBOX_FRAMEJUDGE_H

#include "zelobox/check/Finding.h"
#include "zelobox/protocol/Peer.h"

namespace zelobox {

/// @return what is wrong with @p frame, and what is implausible; in the order of its bytes
Findings judgeFrame(Frame const& frame);

} // namespace zelobox

#endif
