/// @file
/// A host that only a person can reach.
#ifndef ZELO_ZELOBOX_REMOTEHOST_H
#define ZELO_ZELOBOX_REMOTEHOST_H

#include "zelobox/middleware/Timeline.h"
#include "zelobox/scenario/ScenarioHost.h"

namespace zelobox {

/// Prints what is to be done at the host, and what is to be seen there.
class RemoteHost final : public ScenarioHost {
public:
    explicit RemoteHost(Timeline& timeline) : shown(timeline) {}

    void call(std::string const& command) override { shown.line("host", "please call " + command); }
    bool expects(Json const& report) override
    {
        shown.line("host", "should report " + fieldsText(report));
        return false;
    }
    bool finish() override { return false; }
    bool hasEnded() const override { return false; }
    std::string ending() const override { return "not known"; }
    int exitStatus() const override { return 0; }

private:
    Timeline& shown;
};

} // namespace zelobox

#endif
