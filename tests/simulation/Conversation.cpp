#include "tests/simulation/Conversation.h"

#include <stdexcept>

#include "tests/simulation/Promises.h"
#include "tests/simulation/Trace.h"
#include "tests/simulation/World.h"

namespace simulation {

namespace {

int64_t const promptUs = 60000;
int64_t const perRequestUs = 100;

enum : uint16_t {
    AllowedList = 1,
    ConfigurationRequest = 23,
    VideoWindow = 29,
    PreviousController = 34,
    ClientState = 37,
    ConfigurationState = 38,
    VideoWindowMode = 44,
};

std::string const allowedTypes = [] {
    std::string bytes;
    for (unsigned const type : {8U, 24U, 25U, 26U, 27U, 36U, 39U, 42U, 49U, 58U}) {
        bytes += bigEndian(type, 4);
    }
    return bytes;
}();

} // namespace

void Conversation::require(bool holds, char const* what) const
{
    if (!holds) {
        fail("conversation", std::string(what) + " on connection " + std::to_string(connection));
    }
}

void Conversation::written(char const* bytes, size_t size, std::set<uint32_t>& writtenRequests)
{
    unread.append(bytes, size);
    Frame next;
    try {
        while (takeFrame(unread, next)) {
            ++frames;
            frame(next, writtenRequests);
        }
    } catch (std::runtime_error const& error) {
        fail("conversation", error.what());
    }
}

void Conversation::frame(Frame const& frame, std::set<uint32_t>& writtenRequests)
{
    TRACE("   the middleware gets type %u, %zu bytes, on connection %d", frame.type, frame.payload.size(), connection);
    switch (frame.type) {
    case AllowedList:
        return allowedList(frame);
    case ConfigurationRequest:
        require(frame.kind == 0 && frame.payload.empty(), "a request for the configuration that is none");
        require(lists != 0 && ++configurationRequests == 1, "a request for the configuration out of turn");
        return;
    case ClientState:
        require(frame.kind == 1 && numberOf(frame.payload, 0, 4) == 2, "a client state that is none");
        require(configurationRequests == 1 && ++states == 1, "a client state out of turn");
        return;
    case ConfigurationState:
        require(frame.kind == 1 && numberOf(frame.payload, 0, 4) == 2, "an acknowledgement that is none");
        require(++acknowledgements <= configurations, "an acknowledgement of nothing");
        return;
    case VideoWindow:
        return window(frame, writtenRequests);
    case VideoWindowMode:
        require(frame.kind == 4 && frame.payload == bigEndian(3, 4) + "box" + '\0', "a window mode that is none");
        require(++modes <= windows + strays, "a window mode without its window");
        return;
    case PreviousController:
        require(frame.kind == 1 && numberOf(frame.payload, 0, 4) == 4, "a controller request that is none");
        return;
    default:
        require(false, "a frame of unknown type");
    }
}

void Conversation::allowedList(Frame const& frame)
{
    require(frame.kind == 0 && frame.payload == allowedTypes, "a list of types that is none");
    require(++lists <= (isFirst ? 1U : 2U) && configurationRequests == 0, "a list of types out of turn");
}

void Conversation::window(Frame const& frame, std::set<uint32_t>& writtenRequests)
{
    require(frame.kind == 0 && frame.payload.size() == 9, "a video window that is none");
    ++windows;
    uint16_t const thread = static_cast<uint16_t>(numberOf(frame.payload, 0, 2));
    uint32_t const request = static_cast<uint32_t>(numberOf(frame.payload, 2, 4));
    if (thread == 0) {
        require(++resets <= acknowledgements, "a reset window before its acknowledgement");
        return;
    }
    require(writtenRequests.insert(request).second, "a request twice");
    uint32_t& last = lastOfThread[thread];
    require(request > last, "a request out of order");
    last = request;
    arrived(request);
}

/// A sender that has missed its signal writes only after its timed wait.
void Conversation::arrived(uint32_t request)
{
    auto const expected = due.find(request);
    if (expected == due.end()) {
        return;
    }
    Scheduler const& scheduler = world().scheduler;
    int64_t const took = scheduler.now() - expected->second.at - (scheduler.stalled() - expected->second.stalled);
    if (promises::requestsAtOnce && isGood &&
        took > promptUs + perRequestUs * static_cast<int64_t>(expected->second.before)) {
        fail("late request",
             "request " + std::to_string(request) + " was written after " + std::to_string(took) + " us");
    }
    due.erase(expected);
}

} // namespace simulation
