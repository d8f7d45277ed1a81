/// @file
/// A middleware that does what the library expects of one: it listens, takes the hand-shake and sends a configuration.
#ifndef ZELO_TESTKIT_MIDDLEWARE_H
#define ZELO_TESTKIT_MIDDLEWARE_H

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "cobalt/ZeloCobalt.h"
#include "testkit/ConfigPayload.h"
#include "zelobox/protocol/Peer.h"

/// Too long to be kept inside a text object, so that a text that is gone is seen.
extern char const middlewareLanguage[];

/// 1920 by 1080.
ConfigPayload configWith(std::string const& language);

class Middleware {
public:
    explicit Middleware(int backlog = 16);

    /// Accepts the next client, which becomes link(), and takes the first three messages from it.
    void acceptClient();
    /// Likewise for a client that had a connection before: it sends its allowed list twice.
    void acceptClientAgain();
    /// Sends the configuration and takes the acknowledgement, the video window and its mode.
    void configure(ConfigPayload config = configWith(middlewareLanguage));
    /// Does the middleware's part of a start. @p start runs on a thread of its own meanwhile.
    template <typename Start> void serveStart(Start&& start)
    {
        std::thread host(std::forward<Start>(start));
        try {
            acceptClient();
            configure();
        } catch (...) {
            host.detach(); // a failed step is to be reported, and a start without a configuration never returns
            throw;
        }
        host.join();
    }

    void sendKey(uint32_t value);
    void sendVolume(uint32_t value);
    void sendMute(uint32_t value);
    void sendLifecycle(std::string const& command);

    /// @return the types of the next @p count messages
    std::vector<int> receiveTypes(size_t count);

    zelobox::Connection& link() { return *connection; }
    zelobox::Listener& door() { return listener; }

private:
    zelobox::Listener listener;
    std::optional<zelobox::Connection> connection;
};

#endif
