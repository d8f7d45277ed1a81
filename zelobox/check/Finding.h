/// @file
/// A fault of one frame, down to the byte.
#ifndef ZELO_ZELOBOX_FINDING_H
#define ZELO_ZELOBOX_FINDING_H

#include <optional>
#include <string>
#include <vector>

#include "zelobox/check/Rules.h"
#include "zelobox/protocol/Json.h"

namespace zelobox {

struct Finding {
    Rule rule = Rule::WholePayload;
    bool isWarning = false;       ///< legal, but nobody means it
    std::string message;          ///< "IPC_VOLUME"
    std::string field;            ///< empty: the message as a whole
    std::optional<size_t> offset; ///< into the payload
    std::string found;
    std::string expected;
    std::string hint; ///< how it reads otherwise; empty: no idea
};

using Findings = std::vector<Finding>;

/// @return "payload of IPC_BROWSER_CONFIG: apiMode at offset 18: length 2, its last byte is 'v', expected 00; rule 6,
/// protocol.md#counted-texts"
std::string textOf(Finding const& finding);

/// @return one line each
std::string textOf(Findings const& findings);

Json jsonOf(Finding const& finding);

} // namespace zelobox

#endif
