#include "zelobox/check/Rules.h"

namespace zelobox {

std::vector<RuleInfo> const& ruleTable()
{
    static char const rules[] = "what-a-middleware-must-do";
    static char const types[] = "messages-from-the-middleware";
    static char const kinds[] = "kinds-of-payload";
    static char const values[] = "values";
    static std::vector<RuleInfo> const table = {
        {Rule::Listens, rules},
        {Rule::AnswersEveryRequest, rules},
        {Rule::WholeFrames, "frames"},
        {Rule::KindOfTheType, types},
        {Rule::WholePayload, kinds},
        {Rule::CountedTexts, "counted-texts"},
        {Rule::Texts, kinds},
        {Rule::KeepsToTheList, types},
        {Rule::TakesAList, rules},
        {Rule::ManyClients, rules},
        {Rule::PassesOverTypes, rules},
        {Rule::TakesSplitFrames, rules},
        {Rule::OutlivesClients, rules},
        {Rule::BearsGarbage, rules},
        {Rule::BearsLyingLengths, rules},
        {Rule::BearsSlowReaders, rules},
        {Rule::TakesReconnects, rules},
        {Rule::LetsTheLibraryStart, "the-hand-shake"},
        {Rule::PlausibleSizes, values},
        {Rule::PlausibleVolume, values},
        {Rule::LifeCycleTexts, values},
        {Rule::CommandsWithKeys, "key-commands"},
        {Rule::Utf8, kinds},
        {Rule::LanguageTag, values},
        {Rule::NothingUnread, kinds},
    };
    return table;
}

std::string citationOf(Rule rule)
{
    auto const number = static_cast<unsigned>(rule);
    return "rule " + std::to_string(number) + ", protocol.md#" + ruleTable()[number - 1].anchor;
}

} // namespace zelobox
