#include "zelobox/check/Report.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

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
        return isNeeded && verdict.kind != Kind::Passed;
    };
    auto const found = std::find_if(before.begin(), before.end(), isLacking);
    return found != before.end() ? found->judged : nullptr;
}

/// A middleware that serves nobody any more stopped in an earlier case, which has said so.
void requireService(CheckSetting const& setting, Verdicts const& before)
{
    if (before.empty()) {
        return;
    }
    try {
        setting.meet({IPC_BROWSER_CONFIG});
    } catch (PeerError const& error) {
        throw NotJudged(std::string("the middleware serves nobody any more: ") + error.what());
    }
}

void judgeInto(Verdict& verdict, CheckSetting const& setting, Verdicts const& before)
{
    try {
        if (CheckCase const* const lack = lackOf(*verdict.judged, before)) {
            throw NotJudged(std::string("needs ") + lack->id);
        }
        requireService(setting, before);
        verdict.judged->judge(setting);
    } catch (NotJudged const& reason) {
        verdict.kind = Kind::Skipped;
        verdict.text = reason.what();
    } catch (std::exception const& error) {
        verdict.kind = Kind::Failed;
        verdict.text = error.what();
        verdict.timedOut = dynamic_cast<PeerTimeout const*>(&error) != nullptr;
    }
}

std::string escaped(std::string const& text)
{
    std::string result;
    for (char const character : text) {
        switch (character) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            // XML has no way to say a control character; other bytes may be no UTF-8.
            result += (character >= ' ' && character <= '~') || character == '\n' ? character : '?';
        }
    }
    return result;
}

void writeCase(std::ostream& stream, Verdict const& verdict)
{
    stream << "  <testcase classname=\"zelobox.check\" name=\"" << verdict.judged->id << "\" time=\"" << verdict.seconds
           << "\">\n";
    if (verdict.kind == Kind::Failed) {
        stream << "    <failure message=\"" << escaped(verdict.text)
               << "\">expected: " << escaped(verdict.judged->expected) << "\nactual:   " << escaped(verdict.text)
               << "</failure>\n";
    } else if (verdict.kind == Kind::Skipped) {
        stream << "    <skipped message=\"" << escaped(verdict.text) << "\"/>\n";
    }
    stream << "  </testcase>\n";
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
    return static_cast<size_t>(std::count_if(verdicts.begin(), verdicts.end(),
                                             [kind](Verdict const& verdict) { return verdict.kind == kind; }));
}

void print(std::ostream& stream, Verdict const& verdict)
{
    stream << std::left << std::setw(9) << nameOf(verdict.kind) << std::setw(18) << verdict.judged->id
           << verdict.judged->expected;
    if (verdict.kind == Kind::Failed) {
        stream << "\n  expected: " << verdict.judged->expected << "\n  actual:   " << verdict.text;
    } else if (verdict.kind == Kind::Skipped) {
        stream << ": " << verdict.text;
    }
    stream << std::endl;
}

std::string junitOf(Verdicts const& verdicts)
{
    double seconds = 0;
    for (Verdict const& verdict : verdicts) {
        seconds += verdict.seconds;
    }
    std::ostringstream stream;
    stream << std::fixed << std::setprecision(3);
    stream << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"zelobox check\" tests=\""
           << verdicts.size() << "\" failures=\"" << countOf(verdicts, Kind::Failed) << "\" errors=\"0\" skipped=\""
           << countOf(verdicts, Kind::Skipped) << "\" time=\"" << seconds << "\">\n";
    for (Verdict const& verdict : verdicts) {
        writeCase(stream, verdict);
    }
    stream << "</testsuite>\n";
    return stream.str();
}

} // namespace zelobox
