#include "zelobox/middleware/MiddlewareState.h"

#include "zelobox/protocol/BrowserConfigJson.h"

namespace zelobox {

namespace {

Json jsonOf(VideoWindow const& window)
{
    return {{"x", window.x}, {"y", window.y}, {"width", window.width}, {"height", window.height}};
}

} // namespace

Json jsonOf(MiddlewareState const& state)
{
    return {{"config", jsonOf(state.config)},
            {"volume", state.volume},
            {"muted", state.muted},
            {"paused", state.paused},
            {"videoWindow", jsonOf(state.videoWindow)},
            {"windowMode", state.windowMode},
            {"applicationHasControl", state.applicationHasControl}};
}

void MiddlewareState::takeOver(Frame const& frame)
{
    switch (frame.type) {
    case IPC_BROWSER_CONFIG:
        if (IPCBrowserConfig received; received.read(frame.payload)) {
            config = received;
        }
        break;
    case IPC_VOLUME:
        volume = numberIn(frame);
        break;
    case IPC_MUTE:
        muted = numberIn(frame) != 0;
        break;
    case IPC_APP_LIFECYCLE:
        paused = textIn(frame) == "onpause";
        break;
    case IPC_VIDEO_WINDOW:
        videoWindow = videoWindowIn(frame);
        break;
    case IPC_VIDEO_WINDOW_MODE:
        windowMode = textIn(frame);
        break;
    case IPC_PREVIOUS_CONTROLLER:
        applicationHasControl = false;
        break;
    case IPC_CLIENT_STATE:
        applicationHasControl = true;
        break;
    default:
        break;
    }
}

} // namespace zelobox
