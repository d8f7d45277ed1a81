#include "zelobox/base/Junit.h"

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace zelobox {

namespace {

using Outcome = JunitCase::Outcome;

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

void writeCase(std::ostream& stream, JunitCase const& one)
{
    stream << "  <testcase classname=\"" << escaped(one.className) << "\" name=\"" << escaped(one.name) << "\" time=\""
           << one.seconds << "\">\n";
    if (one.outcome == Outcome::Failed) {
        stream << "    <failure message=\"" << escaped(one.message) << "\">" << escaped(one.details) << "</failure>\n";
    } else if (one.outcome == Outcome::Skipped) {
        stream << "    <skipped message=\"" << escaped(one.message) << "\"/>\n";
    }
    if (!one.output.empty()) {
        stream << "    <system-out>" << escaped(one.output) << "</system-out>\n";
    }
    stream << "  </testcase>\n";
}

} // namespace

std::string junitOf(std::string const& suite, std::vector<JunitCase> const& cases)
{
    double seconds = 0;
    for (JunitCase const& one : cases) {
        seconds += one.seconds;
    }
    auto const count = [&cases](Outcome outcome) {
        return std::count_if(cases.begin(), cases.end(),
                             [outcome](JunitCase const& one) { return one.outcome == outcome; });
    };
    std::ostringstream stream;
    stream << std::fixed << std::setprecision(3);
    stream << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"" << escaped(suite) << "\" tests=\""
           << cases.size() << "\" failures=\"" << count(Outcome::Failed) << "\" errors=\"0\" skipped=\""
           << count(Outcome::Skipped) << "\" time=\"" << seconds << "\">\n";
    for (JunitCase const& one : cases) {
        writeCase(stream, one);
    }
    stream << "</testsuite>\n";
    return stream.str();
}

void writeJunit(std::string const& path, std::string const& suite, std::vector<JunitCase> const& cases)
{
    std::ofstream file(path);
    file << junitOf(suite, cases) << std::flush;
    if (!file) {
        throw std::runtime_error(path + ": cannot be written; give the path of a file in a directory that is there");
    }
}

} // namespace zelobox
