/// @file
/// A page for the browser that shows the middleware and drives it, or shows a capture file.
///
///     thread    started by    owns                                              may block in
///     loop      the program   Middleware, PageApi with its history and streams  poll
///     web       WebPage       the listening socket                              accept
///     worker    httplib       one connection each, of at most 24                a turn of the loop, an EventStream,
///                                                                               the socket
///
/// A worker never touches the middleware: it hands a request over by LoopExecutor and waits for the answer. An open
/// page keeps one worker, which writes out what the loop pushes into its EventStream. LoopExecutor and EventStream have
/// a lock each; neither is held while anything else happens.
#ifndef ZELO_ZELOBOX_WEBPAGE_H
#define ZELO_ZELOBOX_WEBPAGE_H

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "zelobox/middleware/Middleware.h"

namespace zelobox {

/// Serves on the loopback address as long as it lives. Used on the loop's thread.
class WebPage {
public:
    static constexpr uint16_t defaultPort = 8420;

    /// @param loop  must live longer
    /// @param middleware  must live longer, and take no more turns once the page has gone
    /// @param port  0 for one that is free
    /// @param socketPath  where the middleware listens, for people
    /// @throw InputError when the port cannot be had, or this program was built without the page
    WebPage(EventLoop& loop, Middleware& middleware, uint16_t port, std::string const& socketPath);
    /// A capture file's page.
    ///
    /// @param records  what is in the file
    /// @param fileName  for people
    WebPage(EventLoop& loop, std::vector<TraceRecord> records, uint16_t port, std::string const& fileName);
    ~WebPage();
    WebPage(WebPage const&) = delete;
    WebPage& operator=(WebPage const&) = delete;

    /// Shows that the library of @p host has called back; see PageApi.
    void onCallback(pid_t host, Json const& report);

    /// @return "http://127.0.0.1:8420/"
    std::string address() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace zelobox

#endif
