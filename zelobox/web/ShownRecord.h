/// @file
/// Records as a page is told them.
#ifndef ZELO_ZELOBOX_SHOWNRECORD_H
#define ZELO_ZELOBOX_SHOWNRECORD_H

#include "zelobox/middleware/MiddlewareState.h"
#include "zelobox/protocol/Trace.h"

namespace zelobox {

/// @return @p record with its key's name; of one that is long, its beginning
Json shownOf(TraceRecord const& record);

/// @return with texts that are cut
Json shownState(MiddlewareState state);

/// @return the names of the types in an IPC_ALLOWED_MESSAGE_LIST, of a long one the first
Json allowedOf(Frame const& list);

} // namespace zelobox

#endif
