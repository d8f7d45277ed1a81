#include "tests/zelobox/web/WebServer.h"

#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>

namespace program {

namespace {

std::string const begin = "its page at http://127.0.0.1:";

} // namespace

void WebServer::start(Words const& more)
{
    Words words = {"serve", "--port", "0", "--socket", socket()};
    words.insert(words.end(), more.begin(), more.end());
    running = std::make_unique<Program>(command(words));
    ASSERT_TRUE(running->waitForText("/\n"));
    std::string const& text = running->printed();
    ASSERT_NE(std::string::npos, text.find(begin)) << text;
    port = std::stoi(text.substr(text.find(begin) + begin.size()));
}

Ended WebServer::stop()
{
    running->signal(SIGINT);
    return running->wait();
}

httplib::Client WebServer::client() const
{
    httplib::Client made("127.0.0.1", port);
    made.set_read_timeout(60);
    return made;
}

httplib::Response WebServer::get(std::string const& path) const
{
    httplib::Result const result = client().Get(path);
    EXPECT_TRUE(result) << path << ": " << to_string(result.error());
    return result ? *result : httplib::Response();
}

httplib::Response WebServer::post(std::string const& path, std::string const& body,
                                  httplib::Headers const& headers) const
{
    httplib::Result const result = client().Post(path, headers, body, "application/json");
    EXPECT_TRUE(result) << path << ": " << to_string(result.error());
    return result ? *result : httplib::Response();
}

zelobox::Json WebServer::state() const
{
    return zelobox::Json::parse(get("/api/state").body);
}

std::string WebServer::exchange(std::string const& bytes) const
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    zelobox::Connection connection(zelobox::Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)));
    EXPECT_EQ(0, connect(connection.descriptor(), reinterpret_cast<sockaddr const*>(&address), sizeof address));
    connection.sendBytes({bytes.begin(), bytes.end()});
    std::string answers;
    try {
        for (;;) {
            answers += connection.receiveBytes(1, zelobox::Milliseconds(30000)).front();
        }
    } catch (zelobox::PeerClosed const&) {
        return answers;
    }
}

std::string WebServer::events(httplib::Headers const& headers,
                              std::function<bool(std::string const& text)> const& onText) const
{
    std::string text;
    client().Get("/api/events", headers, [&](char const* data, size_t size) {
        text.append(data, size);
        return onText(text);
    });
    return text;
}

} // namespace program
