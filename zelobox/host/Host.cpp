#include "zelobox/host/Host.h"

#include <algorithm>
#include <sstream>

#include "zelobox/host/HostHelp.h"
#include "zelobox/protocol/KeyNames.h"

namespace zelobox {

namespace {

HostLibrary* theLibrary = nullptr;
HostOutput* theOutput = nullptr;

Json volumeOf(HostLibrary const& library)
{
    unsigned volume = 0;
    bool muted = false;
    library.getVolume(volume, muted);
    return {{"volume", volume}, {"muted", muted}};
}

void onKey(SbKey key, uint8_t modifier)
{
    theOutput->callback("key", {{"key", uint32_t{key}}, {"name", keyName(key)}, {"modifier", modifier}});
}

void onPause()
{
    theOutput->callback("pause", Json::object());
}

void onResume()
{
    theOutput->callback("resume", Json::object());
}

/// Reads the values back from inside the callback, as a host does.
void onVolumeChanged()
{
    theOutput->callback("volumeChanged", volumeOf(*theLibrary));
}

Words const envNames = {"storage", "firmware", "device", "reserved", "language"};

/// @throw InputError unless the whole word is a number: decimal, or hexadecimal after 0x
long long numberOf(std::string const& word)
{
    size_t used = 0;
    long long number = 0;
    try {
        number = std::stoll(word, &used, 0);
    } catch (std::exception const&) {
        used = 0;
    }
    if (used != word.size()) {
        throw InputError("\"" + word + "\" is not a number; expected one like 44 or 0x2C");
    }
    return number;
}

int intOf(std::string const& word)
{
    long long const number = numberOf(word);
    if (number < INT32_MIN || number > INT32_MAX) {
        throw InputError("\"" + word + "\" does not fit into 32 bits");
    }
    return static_cast<int>(number);
}

} // namespace

Host::Host(HostLibrary& loadedLibrary, HostOutput& hostOutput) : library(loadedLibrary), output(hostOutput)
{
    theLibrary = &library;
    theOutput = &output;
}

Host::~Host()
{
    stop({});
}

std::vector<Host::Command> const& Host::commands()
{
    static std::vector<Command> const table = {
        {"start", "", 0, "ZeloStartApp: returns when the configuration has come", "start", &Host::start},
        {"stop", "", 0, "ZeloStopApp", "stop", &Host::stop},
        {"video", "X Y WIDTH HEIGHT", 4, "ZeloSetVideoWindow; 0 0 0 0 is the whole screen", "video 0 0 640 360",
         &Host::video},
        {"previous", "", 0, "ZeloRequestPreviousController", "previous", &Host::previous},
        {"volume", "", 0, "ZeloGetVolume", "volume", &Host::volume},
        {"env", "KEY", 1, "ZeloGetEnv: " + envNames[0] + " to " + envNames.back() + ", or a number", "env language",
         &Host::env, envNames},
        {"display", "", 0, "ZeloGetDisplaySize", "display", &Host::display},
        {"ui", "", 0, "ZeloGetUISize", "ui", &Host::ui},
        {"capabilities", "", 0, "ZeloGetCapabilities", "capabilities", &Host::capabilities},
        {"key", "COMMAND", 1, "KeyCodeToSbKey: 44 is Return", "key 44", &Host::key},
        {"cdm", "CONTEXT", 1, "ZeloCdm", "cdm 0x1000", &Host::cdm},
        {"l1", "", 0, "ZeloCdmIsL1", "l1", &Host::level},
        {"drm", "", 0, "what the stand-in's DRM object was asked to do", "drm", &Host::drm},
        {"log", "LEVEL TEXT", 2, "ZeloLog: levels 1 to 4", "log 3 something went wrong", &Host::log, {}, true},
        {"help", "[COMMAND]", 1, "this list, or more about one command", "help video", &Host::help, {}, false, true},
        {"quit", "", 0, "stops and ends; the end of the input does the same", "quit", &Host::quit},
    };
    return table;
}

bool Host::carryOut(std::string const& line)
{
    std::istringstream words(line);
    std::string name;
    words >> name;
    try {
        if (!name.empty()) {
            Command const& command = findCommand(name);
            Json const answer = (this->*command.carryOut)(argumentsOf(command, words));
            if (!answer.is_null()) {
                output.result(name, answer);
            }
        }
    } catch (std::exception const& error) {
        output.error(line, error.what());
    }
    return !hasQuit;
}

Json Host::start(Words const&)
{
    if (isStarting(std::chrono::milliseconds(0))) {
        throw InputError("a start is still waiting for the configuration");
    }
    starting = std::async(std::launch::async, [this] {
        library.startApp({onKey, onPause, onResume, onVolumeChanged});
        output.result("start", Json::object());
    });
    return Json();
}

Json Host::stop(Words const&)
{
    auto const begin = std::chrono::steady_clock::now();
    library.stopApp();
    auto const duration = std::chrono::steady_clock::now() - begin;
    // A stop that was quicker than the start has stopped nothing.
    while (isStarting(std::chrono::milliseconds(20))) {
        library.stopApp();
    }
    return {{"ms", std::chrono::duration_cast<std::chrono::milliseconds>(duration).count()}};
}

bool Host::isStarting(std::chrono::milliseconds patience) const
{
    return starting.valid() && starting.wait_for(patience) != std::future_status::ready;
}

Json Host::video(Words const& arguments)
{
    return {{"ok", library.setVideoWindow(intOf(arguments[0]), intOf(arguments[1]), intOf(arguments[2]),
                                          intOf(arguments[3]))}};
}

Json Host::previous(Words const&)
{
    return {{"ok", library.requestPreviousController()}};
}

Json Host::volume(Words const&)
{
    return volumeOf(library);
}

Json Host::env(Words const& arguments)
{
    auto const named = std::find(envNames.begin(), envNames.end(), arguments[0]);
    auto const key = static_cast<uint32_t>(named != envNames.end() ? named - envNames.begin() : intOf(arguments[0]));
    std::string value;
    bool const known = library.getEnv(static_cast<ZeloEnv>(key), value);
    return {{"key", key}, {"known", known}, {"value", value}};
}

Json Host::display(Words const&)
{
    unsigned width = 0;
    unsigned height = 0;
    library.getDisplaySize(width, height);
    return {{"width", width}, {"height", height}};
}

Json Host::ui(Words const&)
{
    unsigned width = 1280; // the host's own size, which stays without the variables
    unsigned height = 720;
    library.getUISize(width, height);
    return {{"width", width}, {"height", height}};
}

Json Host::capabilities(Words const&)
{
    Capabilities record = {};
    library.getCapabilities(record);
    return {{"value1", record.value1}, {"flag1", record.flag1}, {"flag2", record.flag2},
            {"flag3", record.flag3},   {"flag4", record.flag4}, {"memoryClass", record.memoryClass},
            {"flag5", record.flag5},   {"flag6", record.flag6}, {"value2", record.value2}};
}

Json Host::key(Words const& arguments)
{
    SbKey const key = library.keyCodeToSbKey(static_cast<STBCommand>(intOf(arguments[0])));
    return {{"key", uint32_t{key}}, {"name", keyName(key)}};
}

Json Host::cdm(Words const& arguments)
{
    requireDrm();
    auto const context = static_cast<uintptr_t>(numberOf(arguments[0]));
    return {{"object", library.cdm(reinterpret_cast<void*>(context)) != nullptr}};
}

Json Host::level(Words const&)
{
    requireDrm();
    return {{"l1", library.cdmIsL1()}};
}

Json Host::drm(Words const&)
{
    return {{"calls", library.drmCalls()}};
}

Json Host::log(Words const& arguments)
{
    library.log(intOf(arguments[0]), arguments[1].c_str());
    return Json::object();
}

Json Host::help(Words const& arguments)
{
    Json list;
    std::string text = commandTable() + "\"help COMMAND\" shows an example.\n";
    if (!arguments.empty()) {
        text = helpOf(findCommand(arguments[0]));
    }
    for (Command const& command : commands()) {
        if (arguments.empty() || arguments[0] == command.name) {
            list[std::string(command.name) + " " + command.arguments] = command.help;
        }
    }
    output.result("help", list, text);
    return Json();
}

Json Host::quit(Words const&)
{
    hasQuit = true;
    return Json();
}

void Host::requireDrm() const
{
    if (!library.canCallDrm()) {
        throw InputError("the library and libzelostb.so were built with different string ABIs; build both alike");
    }
}

} // namespace zelobox
