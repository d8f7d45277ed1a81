/// @file
/// The interface of the middleware for the page and for scripts: requests and events.
#ifndef ZELO_ZELOBOX_PAGEAPI_H
#define ZELO_ZELOBOX_PAGEAPI_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "zelobox/middleware/Middleware.h"
#include "zelobox/web/CallbackCauses.h"
#include "zelobox/web/History.h"
#include "zelobox/web/LoopExecutor.h"
#include "zelobox/web/PageService.h"

namespace zelobox {

/// Lives on the loop's thread, as the middleware does.
class PageApi final : public PageService, public Middleware::Observer {
public:
    static constexpr size_t mostStreams = 16;
    /// How many records a page is told when it opens.
    static constexpr size_t mostTold = 2000;

    /// @param controlledMiddleware  must live longer
    /// @param loopExecutor  must live longer
    PageApi(Middleware& controlledMiddleware, LoopExecutor& loopExecutor, std::string socketPath);
    PageApi(PageApi const&) = delete;
    PageApi& operator=(PageApi const&) = delete;

    PageAnswer answer(PageRequest const& request) override;
    std::shared_ptr<EventStream> openStream(std::string const& lastEventId) override;
    void closeStreams() override;

    void onTraffic(TraceRecord const& record) override;
    /// @param host  the process whose library has called back
    /// @param report  {"callback":"key","key":13,...}
    void onCallback(pid_t host, Json const& report);

private:
    static std::vector<PageRoute<PageApi>> const& routes();
    PageAnswer getState(PageRequest const& request);
    PageAnswer getKeys(PageRequest const& request);
    PageAnswer getMessages(PageRequest const& request);
    PageAnswer getFaults(PageRequest const& request);
    PageAnswer getTrace(PageRequest const& request);
    PageAnswer getRecord(PageRequest const& request);
    PageAnswer postSend(PageRequest const& request);
    PageAnswer postResend(PageRequest const& request);
    PageAnswer postKey(PageRequest const& request);
    PageAnswer postConfig(PageRequest const& request);
    PageAnswer postFault(PageRequest const& request);

    Json state() const;
    PageAnswer sent(Frame const& frame, size_t receivers);
    History::Entry const& entryOf(uint64_t serial) const;
    void noteClient(TraceRecord const& record);
    void tell(std::string const& text);
    void tell(History::Entry const& entry);
    void tellRecords();
    std::string recordsEvent(std::string const& lines, uint64_t lastSerial) const;
    uint64_t knownSerial(std::string const& lastEventId) const;
    void tellSoon();

    struct Client {
        int64_t since = 0;
        Json allowed = Json::array();
        ClientProcess process;
        CallbackCauses causes;
    };

    Middleware& middleware;
    LoopExecutor& calls;
    std::string const socket;
    std::string const instance; // tells this process's records from an earlier one's
    History history;
    std::map<unsigned, Client> clients;
    std::vector<std::shared_ptr<EventStream>> streams;
    std::string untold; // records of this turn, one line each
    bool willTell = false;
};

} // namespace zelobox

#endif
