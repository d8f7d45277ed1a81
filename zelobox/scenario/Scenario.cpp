#include "zelobox/scenario/Scenario.h"

#include <fstream>
#include <sstream>

#include "zelobox/middleware/FaultModes.h"
#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/MessageTable.h"
#include "zelobox/scenario/Embedded.h"

namespace zelobox {

namespace {

unsigned const hourMs = 3600 * 1000;
unsigned const defaultWithinMs = 5000;
unsigned const defaultLimitMs = 60 * 1000;

unsigned milliseconds(JsonFields& fields, std::string const& name)
{
    return static_cast<unsigned>(fields.number(name, hourMs));
}

unsigned milliseconds(JsonFields& fields, std::string const& name, unsigned fallback)
{
    return static_cast<unsigned>(fields.number(name, hourMs, fallback));
}

void readSend(JsonFields& fields, Step& step)
{
    step.body = fields.value("send");
    step.everyone = fields.flag("unsubscribed", false);
    JsonFields frame(step.body, fields.where() + ": \"send\"");
    static_cast<void>(frameFrom(frame, defaultConfig())); // for its errors
    frame.end();
}

/// Reads what is to be seen into @p step.
void readSight(JsonFields& fields, char const* name, Step& step)
{
    step.body = fields.value(name);
    JsonFields expected(step.body, fields.where() + ": \"" + name + "\"");
    int subjects = 0;
    for (char const* const subject : {"frame", "connection", "callback", "result"}) {
        subjects += expected.has(subject) ? 1 : 0;
    }
    if (subjects != 1) {
        fields.fail(name, "expected exactly one of \"frame\", \"connection\", \"callback\" and \"result\" in it");
    }
    if (expected.has("frame") && findMessage(expected.text("frame")) == nullptr) {
        expected.fail("frame", lineOf(step.body["frame"]) + " is no message");
    }
}

void readExpect(JsonFields& fields, Step& step)
{
    readSight(fields, "expect", step);
    step.ms = milliseconds(fields, "within", defaultWithinMs);
}

void readUntil(JsonFields& fields, Step& step)
{
    readSight(fields, "until", step);
    step.ms = milliseconds(fields, "within", defaultWithinMs);
}

void readIgnore(JsonFields& fields, Step& step)
{
    readSight(fields, "ignore", step);
}

void readFault(JsonFields& fields, Step& step)
{
    step.text = fields.text("fault");
    if (findFaultMode(step.text) == nullptr) {
        fields.fail("fault", "expected one of " + faultModeNames() + "; found \"" + step.text + "\"");
    }
}

/// The steps by the field that tells them apart.
struct StepForm {
    char const* name;
    Step::Kind kind;
    void (*read)(JsonFields& fields, Step& step);
};

StepForm const stepForms[] = {
    {"say", Step::Kind::Say, [](JsonFields& fields, Step& step) { step.text = fields.text("say"); }},
    {"call", Step::Kind::Call, [](JsonFields& fields, Step& step) { step.text = fields.text("call"); }},
    {"send", Step::Kind::Send, readSend},
    {"expect", Step::Kind::Expect, readExpect},
    {"until", Step::Kind::Until, readUntil},
    {"ignore", Step::Kind::Ignore, readIgnore},
    {"quiet", Step::Kind::Quiet, [](JsonFields& fields, Step& step) { step.ms = milliseconds(fields, "quiet"); }},
    {"wait", Step::Kind::Wait, [](JsonFields& fields, Step& step) { step.ms = milliseconds(fields, "wait"); }},
    {"fault", Step::Kind::Fault, readFault},
};

Step stepFrom(JsonFields& fields, unsigned line)
{
    StepForm const* form = nullptr;
    std::string names;
    int count = 0;
    for (StepForm const& candidate : stepForms) {
        names += std::string(names.empty() ? "" : ", ") + candidate.name;
        if (fields.has(candidate.name)) {
            form = &candidate;
            ++count;
        }
    }
    if (count != 1) {
        throw InputError(fields.where() + ": expected exactly one of these fields: " + names);
    }
    Step step = {};
    step.kind = form->kind;
    step.line = line;
    form->read(fields, step);
    return step;
}

void readHead(Json const& json, std::string const& where, Scenario& scenario)
{
    JsonFields fields(json, where);
    scenario.name = fields.text("scenario");
    scenario.about = fields.text("about", "");
    scenario.answering = fields.flag("answering", true);
    scenario.limitMs = milliseconds(fields, "limit", defaultLimitMs);
    scenario.config = defaultConfig();
    if (fields.has("config")) {
        JsonFields config(fields.value("config"), fields.where() + ": \"config\"");
        mergeConfig(config, scenario.config);
        config.end();
    }
    fields.end();
}

Json parseLine(std::string const& text, std::string const& where)
{
    try {
        return Json::parse(text);
    } catch (Json::parse_error const& error) {
        throw InputError(where + ": " + error.what());
    }
}

} // namespace

Step readStep(std::string const& text, std::string const& where, unsigned line)
{
    Json const json = parseLine(text, where);
    JsonFields fields(json, where);
    Step step = stepFrom(fields, line);
    fields.end();
    return step;
}

Scenario readScenario(std::istream& text, std::string const& source)
{
    Scenario scenario;
    scenario.source = source;
    std::string content;
    for (unsigned line = 1; std::getline(text, content); ++line) {
        if (content.empty() || content[0] == '#') {
            continue;
        }
        std::string const where = source + " line " + std::to_string(line);
        if (scenario.name.empty()) {
            readHead(parseLine(content, where), where, scenario);
        } else {
            scenario.steps.push_back(readStep(content, where, line));
        }
    }
    if (scenario.name.empty()) {
        throw InputError(source + ": is empty; expected {\"scenario\":\"NAME\"} on the first line");
    }
    return scenario;
}

Scenario loadScenario(std::string const& nameOrPath)
{
    for (EmbeddedScenario const& embedded : embeddedScenarios()) {
        if (nameOrPath == embedded.name) {
            std::istringstream text(embedded.text);
            return readScenario(text, nameOrPath);
        }
    }
    std::ifstream file(nameOrPath);
    if (!file) {
        std::string names;
        for (std::string const& name : scenarioNames()) {
            names += " " + name;
        }
        throw InputError(nameOrPath + ": cannot be read and is none of the scenarios that come along:" + names);
    }
    return readScenario(file, nameOrPath);
}

std::vector<std::string> scenarioNames()
{
    std::vector<std::string> names;
    for (EmbeddedScenario const& embedded : embeddedScenarios()) {
        names.emplace_back(embedded.name);
    }
    return names;
}

} // namespace zelobox
