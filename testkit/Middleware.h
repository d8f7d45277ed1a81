/// @file
/// A middleware that does what the library expects of one: it listens, takes the hand-shake and sends a configuration.
#ifndef ZELO_TESTKIT_MIDDLEWARE_H
#define ZELO_TESTKIT_MIDDLEWARE_H

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "testkit/ConfigPayload.h"
#include "zelobox/protocol/Peer.h"

/// Too long to be kept inside a text object, so that a text that is gone is seen.
extern char const middlewareLanguage[];

/// 1920 by 1080.
ConfigPayload configWith(std::string const& language);

/// What the library says on every connection.
extern zelobox::Frame const allowedList;
extern zelobox::Frame const configRequest;
extern zelobox::Frame const clientState;
/// What it answers to every configuration.
extern zelobox::Frame const configState;
extern zelobox::Frame const fullScreen;
extern zelobox::Frame const boxMode;

class Middleware {
public:
    using Milliseconds = zelobox::Milliseconds;

    explicit Middleware(int backlog = 16);

    /// Accepts the next client, which becomes link().
    void accept(Milliseconds deadline = Milliseconds(10000));
    /// Likewise, and takes the first three messages from it.
    void acceptClient(Milliseconds deadline = Milliseconds(10000));
    /// Likewise for a client that had a connection before: it sends its allowed list twice.
    void acceptClientAgain();
    /// Sends the configuration and takes the acknowledgement, the video window and its mode.
    void configure(ConfigPayload const& config = configWith(middlewareLanguage));
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
    void send(zelobox::Frame const& frame) { link().send(frame); }
    void sendBytes(std::vector<char> const& bytes) { link().sendBytes(bytes); }

    zelobox::Frame receive() { return link().receive(); }
    std::vector<char> receiveBytes(size_t count) { return link().receiveBytes(count); }
    /// @return the types of the next @p count messages
    std::vector<int> receiveTypes(size_t count);

    bool isSilentFor(Milliseconds duration) { return link().isSilentFor(duration); }
    bool waitForClose() { return link().waitForClose(); }
    void close() { link().close(); }

    zelobox::Connection& link() { return *connection; }
    zelobox::Listener& door() { return listener; }

private:
    void expectTypes(std::vector<int> const& expected);

    zelobox::Listener listener;
    std::optional<zelobox::Connection> connection;
};

#endif
