#include "zelobox/check/Finding.h"

namespace zelobox {

std::string textOf(Finding const& finding)
{
    std::string text = (finding.field.empty() ? "" : "payload of ") + finding.message + ": ";
    if (!finding.field.empty()) {
        text += finding.field;
        text += (finding.offset ? " at offset " + std::to_string(*finding.offset) : "") + ": ";
    }
    text += finding.found + ", expected " + finding.expected;
    text += finding.hint.empty() ? "" : "; " + finding.hint;
    return text + "; " + citationOf(finding.rule);
}

std::string textOf(Findings const& findings)
{
    std::string text;
    for (Finding const& finding : findings) {
        text += (text.empty() ? "" : "\n") + textOf(finding);
    }
    return text;
}

Json jsonOf(Finding const& finding)
{
    Json json = {{"severity", finding.isWarning ? "warning" : "error"},
                 {"message", finding.message},
                 {"field", finding.field},
                 {"offset", nullptr},
                 {"found", finding.found},
                 {"expected", finding.expected},
                 {"hint", finding.hint},
                 {"rule", static_cast<unsigned>(finding.rule)},
                 {"anchor", "protocol.md#" + std::string(ruleTable()[static_cast<unsigned>(finding.rule) - 1].anchor)},
                 {"text", textOf(finding)}};
    if (finding.offset) {
        json["offset"] = *finding.offset;
    }
    return json;
}

} // namespace zelobox
