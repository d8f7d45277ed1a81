/// @file
/// A running `zelobox serve` and a client of its HTTP interface.
#ifndef ZELO_TESTS_WEBSERVER_H
#define ZELO_TESTS_WEBSERVER_H

#include <gtest/gtest.h>
#include <httplib.h>

#include <functional>
#include <memory>
#include <string>

#include "tests/zelobox/Client.h"
#include "tests/zelobox/Program.h"
#include "zelobox/protocol/Json.h"

namespace program {

class WebServer : public testing::Test {
protected:
    void SetUp() override { start({}); }
    /// @param more  arguments
    void start(Words const& more);

    /// As Ctrl-C does.
    Ended stop();

    std::string socket() const { return directory.path("messenger"); }

    httplib::Client client() const;
    /// Fails the test if there is no answer.
    httplib::Response get(std::string const& path) const;
    httplib::Response post(std::string const& path, std::string const& body,
                           httplib::Headers const& headers = {}) const;
    zelobox::Json state() const;
    /// @return all that is answered to these bytes until the other side closes
    std::string exchange(std::string const& bytes) const;

    /// Reads the event stream.
    ///
    /// @param onText  is given all that has come so far, each time something has; false ends the reading
    /// @return all that came
    std::string events(httplib::Headers const& headers,
                       std::function<bool(std::string const& text)> const& onText) const;

    Directory directory;
    std::unique_ptr<Program> running;
    int port = 0;
};

} // namespace program

#endif
