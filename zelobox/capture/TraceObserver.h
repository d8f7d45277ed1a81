/// @file
/// An observer that writes the traffic of a middleware into a file.
#ifndef ZELO_ZELOBOX_TRACEOBSERVER_H
#define ZELO_ZELOBOX_TRACEOBSERVER_H

#include <string>

#include "zelobox/middleware/Middleware.h"
#include "zelobox/protocol/TraceFile.h"

namespace zelobox {

class TraceObserver final : public Middleware::Observer {
public:
    /// @throw InputError
    explicit TraceObserver(std::string const& path) : writer(path) {}

    void onTraffic(TraceRecord const& record) override { writer.write(record); }

private:
    TraceWriter writer;
};

} // namespace zelobox

#endif
