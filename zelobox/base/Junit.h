/// @file
/// Test results as JUnit XML, which CI systems read.
#ifndef ZELO_ZELOBOX_JUNIT_H
#define ZELO_ZELOBOX_JUNIT_H

#include <string>
#include <vector>

namespace zelobox {

struct JunitCase {
    enum class Outcome { Passed, Failed, Skipped };

    std::string className;
    std::string name;
    double seconds = 0;
    Outcome outcome = Outcome::Passed;
    std::string message; ///< of a failure or a skip
    std::string details; ///< of a failure
    std::string output;  ///< whatever else there is to say; empty: nothing
};

/// @return a document with one suite
std::string junitOf(std::string const& suite, std::vector<JunitCase> const& cases);

/// @throw std::runtime_error when the file cannot be written
void writeJunit(std::string const& path, std::string const& suite, std::vector<JunitCase> const& cases);

} // namespace zelobox

#endif
