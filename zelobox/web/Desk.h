/// @file
/// What the page and its scripts see of the middleware, and what they can have it do.
#ifndef ZELO_ZELOBOX_DESK_H
#define ZELO_ZELOBOX_DESK_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "zelobox/middleware/Box.h"
#include "zelobox/web/EventStream.h"
#include "zelobox/web/History.h"
#include "zelobox/web/LoopCalls.h"

namespace zelobox {

struct DeskRequest {
    std::string method;
    std::string path;
    std::map<std::string, std::string> query;
    std::string body;
};

struct DeskAnswer {
    int status = 200;
    std::string type = "application/json";
    std::string body;
    std::string fileName; ///< to save it under; empty for what is shown
    std::string allowed;  ///< the method that would have been right
};

/// @return {"error":"..."}
DeskAnswer errorAnswer(int status, std::string const& problem);

/// Lives on the loop's thread, as the box does. docs/desk-box.md lists the requests and the events.
class Desk final : public Box::Observer {
public:
    static constexpr size_t mostStreams = 16;
    /// How many records a page is told when it opens.
    static constexpr size_t mostTold = 2000;

    /// @param controlledBox  must live longer
    /// @param loopCalls  must live longer
    Desk(Box& controlledBox, LoopCalls& loopCalls, std::string socketPath);
    Desk(Desk const&) = delete;
    Desk& operator=(Desk const&) = delete;

    /// Does not throw for anything that a request can get wrong.
    DeskAnswer answer(DeskRequest const& request);

    /// @param lastEventId  of the last record that the page knows; empty for none
    /// @return a stream that begins with all that the page does not know yet; null when too many are open
    std::shared_ptr<EventStream> openStream(std::string const& lastEventId);
    void closeStreams();

    void onTraffic(TraceRecord const& record) override;

private:
    struct Route {
        char const* method;
        char const* path;
        DeskAnswer (Desk::*carryOut)(DeskRequest const& request);
    };

    static std::vector<Route> const& routes();
    DeskAnswer getState(DeskRequest const& request);
    DeskAnswer getKeys(DeskRequest const& request);
    DeskAnswer getMessages(DeskRequest const& request);
    DeskAnswer getMisbehaviours(DeskRequest const& request);
    DeskAnswer getTrace(DeskRequest const& request);
    DeskAnswer postSend(DeskRequest const& request);
    DeskAnswer postKey(DeskRequest const& request);
    DeskAnswer postConfig(DeskRequest const& request);
    DeskAnswer postMisbehave(DeskRequest const& request);

    Json state() const;
    void noteClient(TraceRecord const& record);
    void tell(std::string const& text);
    std::string recordEvent(History::Entry const& entry) const;
    uint64_t knownSerial(std::string const& lastEventId) const;
    void tellStateSoon();

    struct Client {
        int64_t since = 0;
        Json allowed = Json::array();
    };

    Box& box;
    LoopCalls& calls;
    std::string const socket;
    std::string const instance; // tells this process's records from an earlier one's
    History history;
    std::map<unsigned, Client> clients;
    std::vector<std::shared_ptr<EventStream>> streams;
    bool willTellState = false;
};

} // namespace zelobox

#endif
