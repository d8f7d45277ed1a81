/// @file
/// Writes what a middleware sees into a file.
#ifndef ZELO_SIMULATOR_TRACEOBSERVER_H
#define ZELO_SIMULATOR_TRACEOBSERVER_H

#include <string>

#include "simulator/Box.h"
#include "simulator/capture/TraceFile.h"

namespace zelobox {

class TraceObserver final : public Box::Observer {
public:
    /// @throw InputError
    explicit TraceObserver(std::string const& path) : writer(path) {}

    void onTraffic(TraceRecord const& record) override { writer.write(record); }

private:
    TraceWriter writer;
};

} // namespace zelobox

#endif
