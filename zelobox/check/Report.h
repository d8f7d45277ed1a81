/// @file
/// What came of the cases: for people, and as JUnit for machines.
#ifndef ZELO_SIMULATOR_CHECK_REPORT_H
#define ZELO_SIMULATOR_CHECK_REPORT_H

#include <ostream>
#include <string>
#include <vector>

#include "zelobox/check/Case.h"

namespace zelobox {

struct Verdict {
    enum class Kind { Passed, Failed, Skipped };

    CheckCase const* judged;
    Kind kind = Kind::Passed;
    std::string text;      ///< what came, or why it was skipped
    bool timedOut = false; ///< nothing came at all
    double seconds = 0;
};

using Verdicts = std::vector<Verdict>;

/// @return the verdict on @p what, given those on the cases before
Verdict judge(CheckCase const& what, CheckSetting const& setting, Verdicts const& before);

size_t countOf(Verdicts const& verdicts, Verdict::Kind kind);

/// One line, and for a failure two more.
void print(std::ostream& stream, Verdict const& verdict);

std::string junitOf(Verdicts const& verdicts);

} // namespace zelobox

#endif
