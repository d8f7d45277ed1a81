#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include "src/ipc/IPCBrowserConfig.h"
#include "tests/zelobox/web/WebServer.h"

using program::Ended;
using testing::HasSubstr;
using testing::StartsWith;
using Web = program::WebServer;

namespace {

zelobox::Frame key(uint32_t value)
{
    return zelobox::frameOf(IPCMessageUnsignedInt(IPC_REMOTE_KEY, value));
}

httplib::Headers headers(std::string const& name, std::string const& value)
{
    return {{name, value}};
}

} // namespace

TEST_F(Web, ServesThePageWithAllThatItNeeds)
{
    httplib::Response const page = get("/");
    EXPECT_EQ(200, page.status);
    EXPECT_THAT(page.get_header_value("Content-Type"), StartsWith("text/html"));
    std::regex const reference("(?:href|src)=\"(/[a-z]+\\.[a-z]+)\"");
    int count = 0;
    for (std::sregex_iterator found(page.body.begin(), page.body.end(), reference), end; found != end; ++found) {
        EXPECT_EQ(200, get((*found)[1]).status) << (*found)[1];
        ++count;
    }
    EXPECT_EQ(5, count);
    EXPECT_THAT(page.body, Not(HasSubstr("//cdn")));
    EXPECT_THAT(page.get_header_value("Content-Security-Policy"), StartsWith("default-src 'self'"));
}

TEST_F(Web, PressesAKeyByNameOrByCommand)
{
    zelobox::Connection host = program::subscribe(socket(), {IPC_REMOTE_KEY});
    EXPECT_EQ("{\"receivers\":1,\"waiting\":0,\"sent\":\"IPC_REMOTE_KEY command=44 modifier=0 (Return)\"}\n",
              post("/api/key", R"({"key":"Return"})").body);
    EXPECT_EQ(key(44), host.receive());
    post("/api/key", R"({"command":9029,"modifier":255})");
    EXPECT_EQ(key(255 << 16 | 9029), host.receive());
}

TEST_F(Web, ListsEveryKeyOfTheTable)
{
    zelobox::Json const keys = zelobox::Json::parse(get("/api/keys").body);
    EXPECT_EQ(58U, keys.size());
    EXPECT_EQ(R"({"command":2,"key":36,"name":"Home"})", keys.front().dump());
    EXPECT_EQ(R"({"command":76,"key":170,"name":"Search"})", keys.back().dump());
    for (zelobox::Json const& one : keys) {
        EXPECT_EQ(200, post("/api/key", zelobox::Json{{"key", one["name"]}}.dump()).status) << one;
    }
}

TEST_F(Web, SendsToThoseWhoHaveSubscribedOrToAll)
{
    zelobox::Connection host = program::subscribe(socket(), {IPC_VOLUME});
    EXPECT_THAT(post("/api/send", R"({"frame":"IPC_MUTE","value":1})").body, HasSubstr("\"receivers\":0"));
    EXPECT_THAT(post("/api/send", R"({"frame":"IPC_VOLUME","value":7})").body, HasSubstr("\"receivers\":1"));
    post("/api/send", R"({"frame":"IPC_MUTE","value":0,"unsubscribed":true})");
    EXPECT_EQ(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 7)), host.receive());
    EXPECT_EQ(zelobox::frameOf(IPCMessageUnsignedInt(IPC_MUTE, 0)), host.receive());
    EXPECT_EQ(7, state()["middleware"]["volume"]);
}

TEST_F(Web, SaysWhatIsNotSentYet)
{
    zelobox::Connection host = program::subscribe(socket(), {IPC_VOLUME});
    post("/api/fault", R"({"what":"stall"})");
    EXPECT_THAT(post("/api/send", R"({"frame":"IPC_VOLUME","value":7})").body,
                HasSubstr("\"receivers\":1,\"waiting\":1"));
    post("/api/fault", R"({"what":"none"})");
    EXPECT_EQ(zelobox::frameOf(IPCMessageUnsignedInt(IPC_VOLUME, 7)), host.receive());
    EXPECT_THAT(post("/api/send", R"({"frame":"IPC_VOLUME","value":8})").body,
                HasSubstr("\"receivers\":1,\"waiting\":0"));
}

TEST_F(Web, GivesAWholeRecordAndSendsItAgain)
{
    zelobox::Connection host = program::subscribe(socket(), {IPC_APP_LIFECYCLE});
    std::string const text(10000, 'x');
    post("/api/send", zelobox::Json{{"frame", "IPC_APP_LIFECYCLE"}, {"text", text}}.dump());
    zelobox::Frame const first = host.receive();
    zelobox::Json const record = zelobox::Json::parse(get("/api/record?serial=5").body);
    EXPECT_EQ(text, record["fields"]["text"]);
    EXPECT_EQ(5, record["serial"]);
    EXPECT_THAT(post("/api/resend", R"({"serial":5})").body, HasSubstr("\"receivers\":1"));
    EXPECT_EQ(first, host.receive());
}

TEST_F(Web, SendsAConfigurationAndKeepsIt)
{
    zelobox::Connection host = program::subscribe(socket(), {IPC_BROWSER_CONFIG});
    post("/api/config", R"({"language":"fr"})");
    post("/api/config", R"({"displayWidth":640})");
    IPCBrowserConfig received;
    ASSERT_TRUE(received.read(host.receive().payload));
    EXPECT_EQ("fr", received.language);
    ASSERT_TRUE(received.read(host.receive().payload));
    EXPECT_EQ("fr", received.language);
    EXPECT_EQ(640, received.displayWidth);
    host.send({IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    ASSERT_TRUE(received.read(host.receive().payload));
    EXPECT_EQ(640, received.displayWidth);
}

TEST_F(Web, HasAFaultUntilItIsToldToStop)
{
    zelobox::Connection host = program::subscribe(socket(), {IPC_BROWSER_CONFIG});
    EXPECT_EQ(200, post("/api/fault", R"({"what":"silent"})").status);
    EXPECT_EQ(R"(["silent"])", state()["faults"].dump());
    host.send({IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    EXPECT_TRUE(host.isSilentFor(zelobox::Milliseconds(200)));
    EXPECT_EQ(200, post("/api/fault", R"({"what":"none"})").status);
    EXPECT_EQ("[]", state()["faults"].dump());
    host.send({IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    EXPECT_EQ(IPC_BROWSER_CONFIG, host.receive().type);
}

TEST_F(Web, ShowsClientsWithWhatTheyHaveSubscribedTo)
{
    EXPECT_EQ("[]", state()["clients"].dump());
    zelobox::Connection host = program::subscribe(socket(), {IPC_REMOTE_KEY, IPC_VOLUME});
    zelobox::Json const one = state()["clients"].at(0);
    EXPECT_EQ(1, one["id"]);
    EXPECT_EQ(getpid(), one["process"]["id"]);
    EXPECT_NE("", one["process"]["name"]);
    EXPECT_EQ(R"(["IPC_REMOTE_KEY","IPC_VOLUME"])", one["allowed"].dump());
    EXPECT_EQ(200, post("/api/fault", R"({"what":"drop"})").status);
    EXPECT_TRUE(host.waitForClose());
    EXPECT_EQ("[]", state()["clients"].dump());
}

TEST_F(Web, SavesTheTraceInBothFormats)
{
    zelobox::Connection host = program::subscribe(socket(), {IPC_REMOTE_KEY});
    httplib::Response const lines = get("/api/trace");
    EXPECT_THAT(lines.get_header_value("Content-Disposition"), HasSubstr("zelobox.jsonl"));
    EXPECT_TRUE(
        program::hasInOrder(lines.body, {"\"event\":\"connected\"}\n", "\"name\":\"IPC_ALLOWED_MESSAGE_LIST\"",
                                         "\"name\":\"IPC_CONFIG_REQUEST\"", "\"name\":\"IPC_BROWSER_CONFIG\""}));
    httplib::Response const capture = get("/api/trace?format=pcapng");
    EXPECT_THAT(capture.get_header_value("Content-Disposition"), HasSubstr("zelobox.pcapng"));
    EXPECT_THAT(capture.body, StartsWith("\x0a\x0d\x0d\x0a"));
    EXPECT_GT(capture.body.size(), 200U);
}

TEST_F(Web, SaysWhatIsWrongWithARequest)
{
    struct Wrong {
        char const* method;
        char const* path;
        char const* body;
        int status;
        char const* problem;
    };
    for (Wrong const& wrong : {
             Wrong{"POST", "/api/key", "{", 400, "the body is no JSON"},
             Wrong{"POST", "/api/key", "[]", 400, "/api/key: expected an object"},
             Wrong{"POST", "/api/key", R"({"key":"OK"})", 400, "there is no key \\\"OK\\\""},
             Wrong{"POST", "/api/key", R"({"command":44,"modifer":1})", 400, "known are: command, key, modifier"},
             Wrong{"POST", "/api/key", R"({"command":65536})", 400, "a whole number from 0 to 65535"},
             Wrong{"POST", "/api/send", R"({"frame":"IPC_VOLUM"})", 400, "is no message"},
             Wrong{"POST", "/api/send", R"({"frame":"IPC_VOLUME"})", 400, "\\\"value\\\": is missing"},
             Wrong{"POST", "/api/config", R"({"macAddress":"1"})", 400, "expected a text like"},
             Wrong{"POST", "/api/fault", R"({"what":"sulk"})", 400, "sulk"},
             Wrong{"POST", "/api/fault", R"({"what":"die-on-vanish"})", 400, "die-on-vanish"},
             Wrong{"GET", "/api/trace?format=txt", "", 400, "expected jsonl or pcapng, found txt"},
             Wrong{"POST", "/api/resend", R"({"serial":1})", 400, "record 1 is not kept"},
             Wrong{"GET", "/api/record", "", 400, "serial: expected a whole number"},
             Wrong{"GET", "/api/record?serial=0", "", 400, "record 0 is not kept"},
             Wrong{"GET", "/api/key", "", 405, "/api/key takes POST, not GET"},
             Wrong{"DELETE", "/api/state", "", 405, "/api/state takes GET, not DELETE"},
             Wrong{"GET", "/nowhere", "", 404, "/nowhere is nothing here"},
         }) {
        httplib::Request request;
        request.method = wrong.method;
        request.path = wrong.path;
        request.body = wrong.body;
        httplib::Result const result = client().send(request);
        ASSERT_TRUE(result) << wrong.path;
        EXPECT_EQ(wrong.status, result->status) << wrong.path << " " << wrong.body;
        EXPECT_THAT(result->body, HasSubstr(wrong.problem));
        EXPECT_TRUE(zelobox::Json::parse(result->body).contains("error"));
        EXPECT_EQ(wrong.status == 405, result->has_header("Allow"));
    }
    httplib::Response const longest = post("/api/send", std::string((1 << 20) + 1, ' '));
    EXPECT_EQ(413, longest.status);
    EXPECT_EQ("{\"error\":\"the body is too long\"}\n", longest.body);
}

TEST_F(Web, AnswersOnlyToTheNamesOfThisMachine)
{
    for (std::string const name : {"localhost", "localhost:8420", "127.0.0.1:1", "[::1]:8420"}) {
        EXPECT_EQ(200, post("/api/key", R"({"command":44})", headers("Host", name)).status) << name;
    }
    for (std::string const name :
         {"evil.example", "localhost.evil.example", "127.0.0.1.evil.example", "evil.example:8420", ""}) {
        EXPECT_EQ(403, post("/api/key", R"({"command":44})", headers("Host", name)).status) << name;
        httplib::Result const page = client().Get("/", headers("Host", name));
        ASSERT_TRUE(page);
        EXPECT_EQ(403, page->status) << name;
    }
}

TEST_F(Web, AnswersOnlyToItsOwnPage)
{
    std::string const own = "http://127.0.0.1:" + std::to_string(port);
    EXPECT_EQ(200, post("/api/key", R"({"command":44})", headers("Origin", own)).status);
    for (std::string const origin : {"http://evil.example", "null", "http://localhost:1", "http://127.0.0.1"}) {
        httplib::Response const refused = post("/api/key", R"({"command":44})", headers("Origin", origin));
        EXPECT_EQ(403, refused.status) << origin;
        EXPECT_THAT(refused.body, HasSubstr("{\"error\":\"a page of " + origin + " may not ask\"}"));
    }
}

/// A page of another site can write a whole request into the body of the one that is refused. What is read ahead goes
/// with that one, so the second begins where the server's buffer ends.
TEST_F(Web, DoesNotTakeTheBodyOfARefusedRequestForTheNext)
{
    size_t const readAhead = 4096;
    std::string const body = R"({"frame":"IPC_VOLUME","value":9})";
    std::string const hidden =
        "POST /api/send HTTP/1.1\r\nHost: localhost\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
        body;
    std::string request =
        "POST /api/key HTTP/1.1\r\nHost: localhost\r\nOrigin: http://evil.example\r\nContent-Length: " +
        std::to_string(readAhead) + "\r\n\r\n";
    request.resize(readAhead, ' ');
    std::string const answers = exchange(request + hidden);
    EXPECT_THAT(answers, StartsWith("HTTP/1.1 403 "));
    EXPECT_THAT(answers, Not(HasSubstr("HTTP/1.1 200 ")));
    EXPECT_EQ(0, state()["middleware"]["volume"]);
}

TEST_F(Web, ShowsATraceAsItComes)
{
    stop();
    start({"--follow", "-"});
    running->write(R"({"time":1795219200,"connection":7,"direction":"toHost","hex":"6d010027000000040000001e"})"
                   "\n");
    ASSERT_TRUE(running->waitForText("7 sends IPC_VOLUME value=30\n"));
    EXPECT_THAT(get("/api/trace").body, HasSubstr(R"("connection":7)"));
    EXPECT_EQ(30, state()["middleware"]["volume"]);
    running->write("{\n");
    EXPECT_TRUE(running->waitForText("zelobox serve: the standard input line 2: is no JSON"));
    running->closeInput();
    EXPECT_TRUE(running->waitForText("has shown all of -\n"));
    EXPECT_EQ(30, state()["middleware"]["volume"]) << "the page stays";
}

TEST_F(Web, ListensOnTheLoopbackAddressOnly)
{
    httplib::Client elsewhere("127.0.0.2", port);
    httplib::Result const result = elsewhere.Get("/", headers("Host", "localhost"));
    EXPECT_FALSE(result);
    EXPECT_EQ(httplib::Error::Connection, result.error());
}

TEST_F(Web, SaysThatThePortIsTaken)
{
    Ended const second =
        program::run({"middleware", "--web", std::to_string(port), "--socket", directory.path("second")});
    EXPECT_EQ(2, second.status);
    EXPECT_THAT(second.errors,
                HasSubstr("zelobox middleware: cannot listen on port " + std::to_string(port) + "; another program"));
    EXPECT_FALSE(program::exists(directory.path("second")));
}

TEST_F(Web, EndsOnCtrlC)
{
    EXPECT_EQ(200, get("/").status);
    Ended const ended = stop();
    EXPECT_EQ(0, ended.status);
    EXPECT_EQ("", ended.errors);
    EXPECT_THAT(ended.output, HasSubstr("ends; its state was {"));
    EXPECT_FALSE(program::exists(socket()));
}
