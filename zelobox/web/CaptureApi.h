/// @file
/// The interface of a capture file for the page: its records, and the state at each of them.
#ifndef ZELO_ZELOBOX_CAPTUREAPI_H
#define ZELO_ZELOBOX_CAPTUREAPI_H

#include <map>
#include <string>
#include <vector>

#include "zelobox/middleware/MiddlewareState.h"
#include "zelobox/protocol/Trace.h"
#include "zelobox/web/PageService.h"

namespace zelobox {

/// Read only. A record's serial is its place in the file, from 1.
class CaptureApi final : public PageService {
public:
    static constexpr uint64_t mostAtOnce = 5000;

    /// @param traffic  in any order; shown in that of their times
    /// @param fileName  for people
    CaptureApi(std::vector<TraceRecord> traffic, std::string fileName);

    PageAnswer answer(PageRequest const& request) override;
    /// Nothing ever happens in a file.
    std::shared_ptr<EventStream> openStream(std::string const&) override { return nullptr; }
    void closeStreams() override {}

private:
    /// What the records up to one of them say.
    struct Moment {
        struct Client {
            int64_t since = 0;
            Json allowed = Json::array();
        };

        MiddlewareState state;
        std::map<unsigned, Client> clients;

        void take(TraceRecord const& record);
    };

    static std::vector<PageRoute<CaptureApi>> const& routes();
    PageAnswer getState(PageRequest const& request);
    PageAnswer getRecords(PageRequest const& request);
    PageAnswer getRecord(PageRequest const& request);

    uint64_t serialAt(PageRequest const& request) const;
    Moment momentAt(uint64_t serial) const;
    Json shown(uint64_t serial) const;

    std::vector<TraceRecord> const records;
    std::string const name;
    std::vector<Moment> checkpoints; // after each `distance` records, so that any state is found quickly
};

} // namespace zelobox

#endif
