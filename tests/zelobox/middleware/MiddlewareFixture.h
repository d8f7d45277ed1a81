/// @file
/// A middleware in the process of the test.
#ifndef ZELO_TESTS_MIDDLEWAREFIXTURE_H
#define ZELO_TESTS_MIDDLEWAREFIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/zelobox/Client.h"
#include "tests/zelobox/Program.h"
#include "zelobox/middleware/Middleware.h"
#include "zelobox/protocol/BrowserConfigJson.h"

namespace program {

/// A middleware in this process, which has its turns only when the test lets it.
class MiddlewareFixture : public testing::Test, private zelobox::Middleware::Observer {
protected:
    MiddlewareFixture() : middleware(loop, directory.path("messenger"), zelobox::defaultConfig())
    {
        middleware.addObserver(*this);
    }

    zelobox::Connection connect() { return connectTo(directory.path("messenger")); }

    template <typename Predicate> void runUntil(Predicate done)
    {
        ASSERT_TRUE(loop.run(zelobox::EventLoop::Clock::now() + std::chrono::seconds(30), done));
    }

    /// Lets the middleware see as many events as the list has.
    std::vector<std::string> seen(size_t count)
    {
        runUntil([&] { return traffic.size() >= count; });
        return traffic;
    }

    Directory directory;
    zelobox::EventLoop loop;
    zelobox::Middleware middleware;

private:
    void onTraffic(zelobox::TraceRecord const& record) override
    {
        traffic.push_back(std::to_string(record.connection) + " " + textOf(record));
    }

    std::vector<std::string> traffic;
};

} // namespace program

#endif
