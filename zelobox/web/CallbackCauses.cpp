#include "zelobox/web/CallbackCauses.h"

#include <algorithm>

#include "zelobox/protocol/FrameJson.h"

namespace zelobox {

namespace {

/// @return the name in the host's reports; empty for a frame that makes none
std::string callbackOf(Frame const& frame)
{
    switch (frame.type) {
    case IPC_REMOTE_KEY:
        return "key";
    case IPC_VOLUME:
    case IPC_MUTE:
        return "volumeChanged";
    case IPC_APP_LIFECYCLE: {
        std::string const text = fieldsOf(frame).value("text", "");
        bool const isKnown = text == "onpause" || text == "onresume";
        return isKnown ? text.substr(2) : "";
    }
    default:
        return "";
    }
}

} // namespace

void CallbackCauses::note(uint64_t serial, TraceRecord const& record)
{
    if (record.event != TraceRecord::Event::Frame || record.direction != Direction::ToHost) {
        return;
    }
    std::string const callback = callbackOf(record.frame);
    if (!callback.empty()) {
        waiting.push_back({serial, record.time, record.frame, callback});
    }
    if (waiting.size() > most) {
        waiting.pop_front();
    }
}

std::optional<CallbackCauses::Cause> CallbackCauses::take(std::string const& callback)
{
    auto const found =
        std::find_if(waiting.begin(), waiting.end(), [&](Cause const& cause) { return cause.callback == callback; });
    if (found == waiting.end()) {
        return std::nullopt;
    }
    Cause const cause = *found;
    waiting.erase(waiting.begin(), found + 1);
    return cause;
}

} // namespace zelobox
