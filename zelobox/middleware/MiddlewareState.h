/// @file
/// What a middleware knows of the box, as the frames say it.
#ifndef ZELO_ZELOBOX_MIDDLEWARESTATE_H
#define ZELO_ZELOBOX_MIDDLEWARESTATE_H

#include <string>

#include "src/ipc/IPCBrowserConfig.h"
#include "zelobox/protocol/Frame.h"
#include "zelobox/protocol/Json.h"
#include "zelobox/protocol/PayloadValues.h"

namespace zelobox {

/// The state of the box, as far as the middleware knows it.
struct MiddlewareState {
    IPCBrowserConfig config;
    uint32_t volume = 0;
    bool muted = false;
    bool paused = false;
    VideoWindow videoWindow;
    std::string windowMode;
    bool applicationHasControl = true; ///< until it asks for the previous controller

    /// Changes what @p frame, of either direction, says.
    void takeOver(Frame const& frame);
};

Json jsonOf(MiddlewareState const& state);

} // namespace zelobox

#endif
