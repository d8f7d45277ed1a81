/// @file
/// Scenarios: the steps of both sides and their expected effects, one JSON object on each line.
///
/// The first line describes the scenario:
///
///     {"scenario":"demo","about":"...","answering":false,"limit":14000,"config":{...}}
///
/// Every other line is one step:
///
///     {"say":"a heading"}
///     {"call":"video 0 0 640 360"}                       a command of the sample host
///     {"send":{"frame":"IPC_VOLUME","value":30}}         the middleware sends; "unsubscribed":true sends to everyone
///     {"expect":{"frame":"IPC_CONFIG_STATE","value":2}}  the next frame from the library has these fields
///     {"expect":{"connection":"connected"}}              or the next thing on the socket is this
///     {"expect":{"callback":"key","key":13}}             the next callback
///     {"expect":{"result":"volume","volume":30}}         the next answer to a call; "within" milliseconds for each
///     {"until":{"frame":"IPC_CLIENT_STATE"}}             passes over what comes before it; "within" as above
///     {"ignore":{"frame":"IPC_VIDEO_WINDOW"}}            what has these fields is not compared from here on
///     {"quiet":200}                                      nothing happens for so many milliseconds
///     {"wait":100}
///     {"fault":"drop"}                               one of faultModeTable(); "none" ends those that last
///
/// Blank lines and lines that begin with # are passed over.
#ifndef ZELO_ZELOBOX_SCENARIO_H
#define ZELO_ZELOBOX_SCENARIO_H

#include <istream>
#include <string>
#include <vector>

#include "src/ipc/IPCBrowserConfig.h"
#include "zelobox/protocol/Json.h"

namespace zelobox {

struct Step {
    enum class Kind { Say, Call, Send, Expect, Until, Ignore, Quiet, Wait, Fault };

    Kind kind;
    unsigned line;
    std::string text;      ///< of Say, Call and Fault
    Json body;             ///< of Send, Expect, Until and Ignore
    unsigned ms = 0;       ///< of Expect, Until, Quiet and Wait
    bool everyone = false; ///< of Send
};

struct Scenario {
    std::string source; ///< for messages
    std::string name;
    std::string about;
    bool answering = true; ///< whether the middleware answers configuration requests by itself
    unsigned limitMs = 0;  ///< for the whole scenario
    IPCBrowserConfig config;
    std::vector<Step> steps;
};

/// @param source  names the text in messages
/// @throw InputError naming line and field
Scenario readScenario(std::istream& text, std::string const& source);

/// Reads one step.
///
/// @param where  names the line in messages
/// @throw InputError naming the field
Step readStep(std::string const& text, std::string const& where, unsigned line);

/// Finds a scenario that comes along with the program, or reads the file of that name.
///
/// @throw InputError
Scenario loadScenario(std::string const& nameOrPath);

/// @return the names of the scenarios that come along
std::vector<std::string> scenarioNames();

} // namespace zelobox

#endif
