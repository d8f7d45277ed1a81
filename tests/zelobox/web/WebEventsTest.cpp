#include <gmock/gmock.h>
#include <signal.h>

#include <thread>

#include "tests/zelobox/web/WebServer.h"

using program::Ended;
using testing::HasSubstr;
using testing::Not;

namespace {

class WebEvents : public program::WebServer {
protected:
    static bool has(std::string const& text, std::string const& part) { return text.find(part) != std::string::npos; }

    /// @return all until @p part has come
    std::string eventsUntil(std::string const& part, httplib::Headers const& headers = {}) const
    {
        return events(headers, [&part](std::string const& text) { return !has(text, part); });
    }
};

/// @return the last "id: ..." in @p text
std::string lastId(std::string const& text)
{
    size_t const start = text.rfind("id: ") + 4;
    return text.substr(start, text.find('\n', start) - start);
}

} // namespace

TEST_F(WebEvents, TellWhatHappensAsItHappens)
{
    std::unique_ptr<zelobox::Connection> host;
    std::string const text = events({}, [&](std::string const& sofar) {
        if (!host && has(sofar, "event: state\n")) {
            host = std::make_unique<zelobox::Connection>(program::subscribe(socket(), {IPC_VOLUME}));
        }
        return !has(sofar, "\"allowed\":[\"IPC_VOLUME\"]") || !has(sofar, "IPC_BROWSER_CONFIG");
    });
    EXPECT_TRUE(
        program::hasInOrder(text, {"retry: 500\n", "event: hello\ndata: {\"instance\":", "event: state\n",
                                   "event: records\ndata: {\"serial\":1,", "\"event\":\"connected\"",
                                   "\"name\":\"IPC_ALLOWED_MESSAGE_LIST\"", "\"name\":\"IPC_BROWSER_CONFIG\""}));
}

TEST_F(WebEvents, NameTheKey)
{
    zelobox::Connection host = program::subscribe(socket(), {IPC_REMOTE_KEY});
    post("/api/key", R"({"command":44})");
    EXPECT_THAT(eventsUntil("IPC_REMOTE_KEY\",\"kind\""), HasSubstr("\"key\":\"Return\"}"));
}

TEST_F(WebEvents, GoOnWhereAPageHasStopped)
{
    zelobox::Connection host = program::subscribe(socket(), {IPC_VOLUME});
    std::string const known = lastId(eventsUntil("IPC_BROWSER_CONFIG"));
    post("/api/send", R"({"frame":"IPC_VOLUME","value":11})");
    std::string const rest = eventsUntil("\"value\":11", {{"Last-Event-ID", known}});
    EXPECT_THAT(rest, HasSubstr("event: state\n"));
    EXPECT_THAT(rest, Not(HasSubstr("IPC_BROWSER_CONFIG\",\"kind\"")));
}

/// As a page does that opens its stream anew: it can set no header.
TEST_F(WebEvents, GoOnBehindTheRecordInTheAddress)
{
    zelobox::Connection host = program::subscribe(socket(), {IPC_VOLUME});
    std::string const known = lastId(eventsUntil("IPC_BROWSER_CONFIG"));
    post("/api/send", R"({"frame":"IPC_VOLUME","value":11})");
    std::string rest;
    client().Get("/api/events?after=" + known, [&rest](char const* data, size_t size) {
        rest.append(data, size);
        return !has(rest, "\"value\":11");
    });
    EXPECT_THAT(rest, HasSubstr("event: records\n"));
    EXPECT_THAT(rest, Not(HasSubstr("IPC_BROWSER_CONFIG\",\"kind\"")));
}

/// The id is that of the last.
TEST_F(WebEvents, TellSeveralRecordsAtOnce)
{
    zelobox::Connection host = program::subscribe(socket(), {IPC_VOLUME});
    std::string const text = eventsUntil("IPC_BROWSER_CONFIG");
    std::string const instance = state()["instance"];
    EXPECT_THAT(text, HasSubstr("id: " + instance + "-4\nevent: records\ndata: {\"serial\":1,"));
    EXPECT_THAT(text, HasSubstr("}\ndata: {\"serial\":2,"));
}

TEST_F(WebEvents, CutALongTextOfTheState)
{
    zelobox::Connection host = program::connectTo(socket());
    host.send(zelobox::frameOf(IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE, std::string(1 << 20, 'w'))));
    ASSERT_TRUE(running->waitForText("w\"\n")); // nobody else reads its timeline
    std::string const text = eventsUntil("\"windowMode\":\"w");
    EXPECT_THAT(text, HasSubstr("\"windowMode\":\"w"));
    EXPECT_LT(text.size(), 40000U);
}

TEST_F(WebEvents, BeginAnewForAPageOfAnEarlierProcess)
{
    zelobox::Connection host = program::subscribe(socket(), {IPC_VOLUME});
    std::string const instance = state()["instance"];
    for (std::string const& id : {std::string("1-999"), std::string("nonsense"), instance + "-x", instance}) {
        EXPECT_THAT(eventsUntil("IPC_BROWSER_CONFIG", {{"Last-Event-ID", id}}), HasSubstr("\"serial\":1,")) << id;
    }
}

TEST_F(WebEvents, ShowTheBeginningOfAFrameThatIsVeryLong)
{
    zelobox::Connection host = program::connectTo(socket());
    host.send({IPC_PAYLOAD_RAW, 99, std::vector<char>(10000)});
    std::string const text = eventsUntil("\"cut\":true");
    EXPECT_THAT(text, HasSubstr("\"name\":\"type 99\",\"fields\":{\"length\":10000},\"cut\":true,\"size\":10000}"));
    EXPECT_LT(text.size(), 12000U);
    EXPECT_GT(get("/api/trace").body.size(), 20000U);
}

TEST_F(WebEvents, EndOnCtrlC)
{
    bool stopped = false;
    auto const begin = std::chrono::steady_clock::now();
    events({}, [&](std::string const& text) {
        if (!stopped && has(text, "event: state\n")) {
            stopped = true;
            running->signal(SIGINT);
        }
        return true; // the other side ends it
    });
    EXPECT_TRUE(stopped);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10)); // not at the next heartbeat
    Ended const ended = running->wait();
    EXPECT_EQ(0, ended.status);
    EXPECT_EQ("", ended.errors);
    EXPECT_FALSE(program::exists(socket()));
}

/// Sixteen pages stay open, one inside of the other's callback.
TEST_F(WebEvents, AreForSixteenPagesAtATime)
{
    int open = 0;
    httplib::Response refused;
    std::function<bool(std::string const&)> const openNext = [&](std::string const&) {
        if (++open < 16) {
            events({}, openNext);
        } else {
            refused = get("/api/events");
        }
        return false;
    };
    events({}, openNext);
    EXPECT_EQ(16, open);
    EXPECT_EQ(503, refused.status);
    EXPECT_EQ("{\"error\":\"too many pages are open; close one\"}\n", refused.body);
    EXPECT_EQ(200, get("/api/state").status);
}
