/// @file
/// Recorded traffic made into a scenario that a person goes on with.
#ifndef ZELO_ZELOBOX_RECORDING_H
#define ZELO_ZELOBOX_RECORDING_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "src/ipc/IPCBrowserConfig.h"
#include "zelobox/protocol/Trace.h"

namespace zelobox {

/// Takes the records of one client: the connection that first asks for a configuration, and those that follow when it has
/// ended. What a host or other clients have caused is noise: it is ignored, or stands in a comment.
class Recording {
public:
    void take(TraceRecord const& record);

    /// @return how many records were of that client
    size_t count() const { return taken; }

    /// @return the scenario
    std::string text(std::string const& name, std::string const& source) const;

private:
    void takeDecided(TraceRecord const& record);
    void connected(TraceRecord const& record);
    void disconnected(TraceRecord const& record);
    void fromLibrary(TraceRecord const& record);
    void toLibrary(TraceRecord const& record);
    void configured(Frame const& frame);
    void expectEffect(Frame const& frame);
    void step(Json const& body);
    void comment(std::string const& text);
    void awaited(Json const& sight);

    std::vector<TraceRecord> undecided; // of connections of which none has asked for a configuration yet
    std::optional<unsigned> own;
    std::set<unsigned> others;
    std::string steps;
    std::optional<IPCBrowserConfig> config; // the first one
    IPCBrowserConfig current;
    std::set<uint32_t> subscribed;
    int64_t last = 0;    // the time of the last record
    int64_t gapMs = 0;   // before the current one
    int64_t limitMs = 0; // for all
    bool isStarted = false;
    size_t taken = 0;
};

} // namespace zelobox

#endif
