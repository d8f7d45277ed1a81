/// @file
/// The results of the cases: for people, and as JSON and JUnit for machines.
#ifndef ZELO_ZELOBOX_REPORT_H
#define ZELO_ZELOBOX_REPORT_H

#include <ostream>
#include <string>
#include <vector>

#include "zelobox/base/Junit.h"
#include "zelobox/check/Case.h"

namespace zelobox {

struct Verdict {
    enum class Kind {
        Passed,
        Warned, ///< all is legal, but not all of it is meant
        Failed,
        Skipped,
    };

    CheckCase const* judged;
    Kind kind = Kind::Passed;
    std::string text;      ///< what came, or why it was skipped
    Findings findings;     ///< that the text is made of; empty: of none
    bool timedOut = false; ///< nothing came at all
    double seconds = 0;
};

using Verdicts = std::vector<Verdict>;

/// @return the verdict on @p what, given those on the cases before
Verdict judge(CheckCase const& what, CheckSetting const& setting, Verdicts const& before);

/// A case that was passed with warnings was passed.
size_t countOf(Verdicts const& verdicts, Verdict::Kind kind);

/// One line, and for a failure or a warning more.
void print(std::ostream& stream, Verdict const& verdict);
/// @return "17 passed, 1 failed, 1 skipped", ", 2 warnings" if there are any
std::string summaryOf(Verdicts const& verdicts);

Json jsonOf(Verdict const& verdict);
Json jsonOf(Verdicts const& verdicts);

std::vector<JunitCase> junitCasesOf(Verdicts const& verdicts);

} // namespace zelobox

#endif
