#include "zelobox/check/Narrator.h"

#include <iomanip>

#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

void Narrator::take(TraceRecord const& record)
{
    if (record.event != TraceRecord::Event::Frame || record.direction != Direction::ToHost) {
        return;
    }
    if (record.frame.type == IPC_BROWSER_CONFIG) {
        if (record.frame.payload != lastConfiguration) {
            tell("config", record);
        }
        lastConfiguration = record.frame.payload;
        return;
    }
    auto const [known, isNew] = repeated.emplace(textOf(record.frame), 0);
    if (isNew) {
        tell("event", record);
    } else {
        ++known->second;
    }
}

void Narrator::endCase()
{
    for (auto const& [text, times] : repeated) {
        if (times == 0) {
            continue;
        }
        if (json) {
            stream << lineOf({{"repeated", text}, {"times", times}}) << std::endl;
        } else {
            stream << std::left << std::setw(9) << "event" << text << ", " << times << " more"
                   << (times == 1 ? " time" : " times") << std::endl;
        }
    }
    repeated.clear();
}

void Narrator::tell(char const* what, TraceRecord const& record)
{
    if (json) {
        stream << lineOf({{what,
                           {{"connection", record.connection},
                            {"name", messageName(record.frame.type)},
                            {"type", record.frame.type},
                            {"kind", record.frame.kind},
                            {"fields", fieldsOf(record.frame)}}}})
               << std::endl;
    } else {
        stream << std::left << std::setw(9) << what << textOf(record.frame) << std::endl;
    }
}

} // namespace zelobox
