#include "zelobox/check/Report.h"

#include <algorithm>
#include <iomanip>

namespace zelobox {

namespace {

using Kind = Verdict::Kind;
using Clock = std::chrono::steady_clock;

char const* nameOf(Kind kind)
{
    switch (kind) {
    case Kind::Passed:
        return "passed";
    case Kind::Failed:
        return "FAILED";
    case Kind::Warned:
        return "warned";
    case Kind::Skipped:
        break;
    }
    return "skipped";
}

/// @return a case that @p what needs and that was not passed; null if there is none
CheckCase const* lackOf(CheckCase const& what, Verdicts const& before)
{
    auto const isLacking = [&](Verdict const& verdict) {
        bool const isNeeded = std::find(what.needs.begin(), what.needs.end(), verdict.judged->id) != what.needs.end();
        return isNeeded && (verdict.kind == Kind::Failed || verdict.kind == Kind::Skipped);
    };
    auto const found = std::find_if(before.begin(), before.end(), isLacking);
    return found != before.end() ? found->judged : nullptr;
}

/// A middleware that serves nobody any more may have stopped in an earlier case, which has then said so.
void requireService(CheckSetting const& setting, Verdicts const& before)
{
    if (before.empty()) {
        return;
    }
    try {
        setting.meet({IPC_BROWSER_CONFIG});
    } catch (PeerError const& error) {
        std::string const text = std::string("the middleware serves nobody any more: ") + error.what();
        if (countOf(before, Kind::Failed) == 0) {
            throw Unexpected(text);
        }
        throw NotJudged(text);
    }
}

void judgeInto(Verdict& verdict, CheckSetting const& setting, Verdicts const& before)
{
    try {
        if (CheckCase const* const lack = lackOf(*verdict.judged, before)) {
            throw NotJudged(std::string("needs ") + lack->id);
        }
        if (!isAboutTheRun(*verdict.judged)) {
            requireService(setting, before);
        }
        verdict.judged->judge(setting);
    } catch (NotJudged const& reason) {
        verdict.kind = Kind::Skipped;
        verdict.text = reason.what();
    } catch (WrongFrames const& wrong) {
        bool const isLegal = verdict.judged->id == std::string(plausibleCase);
        verdict.kind = isLegal && !setting.strict ? Kind::Warned : Kind::Failed;
        verdict.text = wrong.what();
        verdict.findings = wrong.findings;
    } catch (std::exception const& error) {
        verdict.kind = Kind::Failed;
        verdict.text = error.what();
        verdict.timedOut = dynamic_cast<PeerTimeout const*>(&error) != nullptr;
    }
}

std::string indented(std::string const& text, size_t columns)
{
    std::string result;
    for (char const character : text) {
        result += character;
        result += character == '\n' ? std::string(columns, ' ') : "";
    }
    return result;
}

std::string rulesOf(Verdict const& verdict)
{
    std::string text;
    for (Rule const rule : verdict.judged->rules) {
        text += (text.empty() ? "" : "; ") + citationOf(rule);
    }
    return text;
}

size_t warningsIn(Verdicts const& verdicts)
{
    size_t count = 0;
    for (Verdict const& verdict : verdicts) {
        count += verdict.kind == Kind::Warned ? verdict.findings.size() : 0;
    }
    return count;
}

JunitCase junitCaseOf(Verdict const& verdict)
{
    JunitCase one;
    one.className = "zelobox.check";
    one.name = verdict.judged->id;
    one.seconds = verdict.seconds;
    if (verdict.kind == Kind::Failed) {
        one.outcome = JunitCase::Outcome::Failed;
        one.message = verdict.text;
        one.details = std::string("expected: ") + verdict.judged->expected + "\nactual:   " + verdict.text +
                      "\nsee:      " + rulesOf(verdict);
    } else if (verdict.kind == Kind::Skipped) {
        one.outcome = JunitCase::Outcome::Skipped;
        one.message = verdict.text;
    } else {
        one.output = verdict.text;
    }
    return one;
}

} // namespace

Verdict judge(CheckCase const& what, CheckSetting const& setting, Verdicts const& before)
{
    Verdict verdict;
    verdict.judged = &what;
    auto const begin = Clock::now();
    judgeInto(verdict, setting, before);
    verdict.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    return verdict;
}

size_t countOf(Verdicts const& verdicts, Kind kind)
{
    return static_cast<size_t>(std::count_if(verdicts.begin(), verdicts.end(), [kind](Verdict const& verdict) {
        return verdict.kind == kind || (kind == Kind::Passed && verdict.kind == Kind::Warned);
    }));
}

void print(std::ostream& stream, Verdict const& verdict)
{
    stream << std::left << std::setw(9) << nameOf(verdict.kind) << std::setw(18) << verdict.judged->id
           << verdict.judged->expected;
    if (verdict.kind == Kind::Skipped) {
        stream << ": " << verdict.text;
    } else if (!verdict.findings.empty()) {
        stream << "\n  " << indented(verdict.text, 2);
    } else if (verdict.kind != Kind::Passed) {
        stream << "\n  expected: " << verdict.judged->expected << "\n  actual:   " << indented(verdict.text, 12)
               << "\n  see:      " << rulesOf(verdict);
    }
    stream << std::endl;
}

std::string summaryOf(Verdicts const& verdicts)
{
    size_t const warnings = warningsIn(verdicts);
    return std::to_string(countOf(verdicts, Kind::Passed)) + " passed, " +
           std::to_string(countOf(verdicts, Kind::Failed)) + " failed, " +
           std::to_string(countOf(verdicts, Kind::Skipped)) + " skipped" +
           (warnings == 0 ? "" : ", " + std::to_string(warnings) + (warnings == 1 ? " warning" : " warnings"));
}

Json jsonOf(Verdict const& verdict)
{
    Json json = {{"case", verdict.judged->id},
                 {"verdict", verdict.kind == Kind::Failed ? "failed" : nameOf(verdict.kind)},
                 {"expected", verdict.judged->expected},
                 {"actual", verdict.text},
                 {"rules", Json::array()},
                 {"findings", Json::array()},
                 {"timedOut", verdict.timedOut},
                 {"seconds", verdict.seconds}};
    for (Rule const rule : verdict.judged->rules) {
        json["rules"].push_back(static_cast<unsigned>(rule));
    }
    for (Finding const& finding : verdict.findings) {
        json["findings"].push_back(jsonOf(finding));
    }
    return json;
}

Json jsonOf(Verdicts const& verdicts)
{
    return {{"summary",
             {{"passed", countOf(verdicts, Kind::Passed)},
              {"failed", countOf(verdicts, Kind::Failed)},
              {"skipped", countOf(verdicts, Kind::Skipped)},
              {"warnings", warningsIn(verdicts)}}}};
}

std::vector<JunitCase> junitCasesOf(Verdicts const& verdicts)
{
    std::vector<JunitCase> cases;
    std::transform(verdicts.begin(), verdicts.end(), std::back_inserter(cases), junitCaseOf);
    return cases;
}

} // namespace zelobox
