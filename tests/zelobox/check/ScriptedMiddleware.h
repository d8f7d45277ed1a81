/// @file
/// A middleware that says what a test wants, right or wrong.
#ifndef ZELO_TESTS_SCRIPTEDMIDDLEWARE_H
#define ZELO_TESTS_SCRIPTEDMIDDLEWARE_H

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "zelobox/middleware/Server.h"

namespace program {

/// Answers each configuration request with the same bytes, and then sends others to who has subscribed to the volume.
/// It runs on a thread of its own.
class ScriptedMiddleware : private zelobox::Server::Handler {
public:
    using Bytes = std::vector<char>;

    ScriptedMiddleware(std::string const& path, Bytes configuration, Bytes events);
    ~ScriptedMiddleware();
    ScriptedMiddleware(ScriptedMiddleware const&) = delete;
    ScriptedMiddleware& operator=(ScriptedMiddleware const&) = delete;

private:
    void onConnected(zelobox::ClientId) override {}
    void onFrame(zelobox::ClientId client, zelobox::Frame const& frame) override;
    void onDisconnected(zelobox::ClientId client, std::string const& reason) override;

    Bytes const answer;
    Bytes const more;
    zelobox::EventLoop loop;
    zelobox::Server server;
    std::set<zelobox::ClientId> subscribers;
    int wake[2] = {-1, -1};
    bool stopped = false; // the thread's
    std::thread thread;
};

} // namespace program

#endif
