/// @file
/// The messages that this protocol knows, by number and by name.
#ifndef ZELO_ZELOBOX_MESSAGETABLE_H
#define ZELO_ZELOBOX_MESSAGETABLE_H

#include <cstdint>
#include <string>
#include <vector>

#include "src/ipc/IPCMessage.h"

namespace zelobox {

struct MessageInfo {
    IPCMessageType type;
    char const* name;
    IPCPayloadKind kind; ///< what this program sends it with
    bool toHost;         ///< sent by the middleware
};

/// In ascending order of the types.
std::vector<MessageInfo> const& messageTable();

/// @return null for a type that is not in the table
MessageInfo const* findMessage(uint16_t type);
/// @return null for a name that is not in the table
MessageInfo const* findMessage(std::string const& name);

/// @return "IPC_VOLUME", or "type 99" for one that is not in the table
std::string messageName(uint16_t type);

} // namespace zelobox

#endif
