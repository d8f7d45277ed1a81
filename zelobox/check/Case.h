/// @file
/// The cases of `zelobox check`: what a middleware must do.
#ifndef ZELO_ZELOBOX_CASE_H
#define ZELO_ZELOBOX_CASE_H

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "zelobox/check/Client.h"

namespace zelobox {

/// Where the middleware is, and how long to wait for it.
struct CheckSetting {
    std::string socketPath = defaultSocketPath;
    Milliseconds timeout{5000};             ///< for what must come
    Milliseconds patience{5000};            ///< for what a person has to bring about
    std::vector<std::string> hostArguments; ///< start the sample host
    bool strict = false;                    ///< what is implausible is an error
    RunLog* log = nullptr;                  ///< of the run; not owned
    /// Tells a person what to do.
    std::function<void(std::string const& text)> ask;

    CheckClient connect() const { return CheckClient(socketPath, timeout, *log); }
    /// @return a client that has subscribed to @p types and been sent the configuration
    CheckClient meet(std::set<IPCMessageType> const& types) const;
};

/// Thrown by a case: what came was not as expected.
class Unexpected : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
/// Thrown by a case: frames are not as they have to be.
class WrongFrames : public Unexpected {
public:
    explicit WrongFrames(Findings all);

    Findings const findings;
};
/// Thrown by a case that cannot be judged.
class NotJudged : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct CheckCase {
    char const* id;
    char const* expected;
    /// The cases without which this one says nothing.
    std::vector<std::string> needs;
    /// What it judges, see docs/protocol.md.
    std::vector<Rule> rules;
    /// @throw Unexpected, NotJudged, PeerError
    void (*judge)(CheckSetting const& setting);
};

/// The cases about the frames of the whole run, which come last and are always run.
constexpr char framesCase[] = "frames";
constexpr char plausibleCase[] = "plausible"; ///< what it finds are warnings, unless the setting is strict
bool isAboutTheRun(CheckCase const& candidate);

/// In the order in which they are to be run: a case comes after those it needs.
std::vector<CheckCase> const& checkCases();

/// A host's first minutes: the library itself judges.
void judgeLibraryStart(CheckSetting const& setting);

} // namespace zelobox

#endif
