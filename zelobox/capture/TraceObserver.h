/// @file
/// An observer that writes the traffic of a middleware into a file.
#ifndef ZELO_ZELOBOX_TRACEOBSERVER_H
#define ZELO_ZELOBOX_TRACEOBSERVER_H

#include <memory>

#include "zelobox/capture/TraceRing.h"
#include "zelobox/middleware/Middleware.h"

namespace zelobox {

class TraceObserver final : public Middleware::Observer {
public:
    explicit TraceObserver(std::unique_ptr<TraceRing> file) : ring(std::move(file)) {}

    void onTraffic(TraceRecord const& record) override { ring->write(record); }

private:
    std::unique_ptr<TraceRing> const ring;
};

} // namespace zelobox

#endif
