/// @file
/// The numbered rules of docs/protocol.md, "What a middleware must do".
#ifndef ZELO_ZELOBOX_RULES_H
#define ZELO_ZELOBOX_RULES_H

#include <string>
#include <vector>

namespace zelobox {

/// The numbers are those of the page.
enum class Rule : unsigned {
    Listens = 1,
    AnswersEveryRequest,
    WholeFrames,
    KindOfTheType,
    WholePayload,
    CountedTexts,
    Texts,
    KeepsToTheList,
    TakesAList,
    ManyClients,
    PassesOverTypes,
    TakesSplitFrames,
    OutlivesClients,
    BearsGarbage,
    BearsLyingLengths,
    BearsSlowReaders,
    TakesReconnects,
    LetsTheLibraryStart,
    PlausibleSizes,
    PlausibleVolume,
    LifeCycleTexts,
    CommandsWithKeys,
    Utf8,
    LanguageTag,
    NothingUnread,
};

struct RuleInfo {
    Rule rule;
    char const* anchor; ///< of the section of the page that explains it
};

/// In the order of the page.
std::vector<RuleInfo> const& ruleTable();

/// @return "rule 6, protocol.md#counted-texts"
std::string citationOf(Rule rule);

} // namespace zelobox

#endif
