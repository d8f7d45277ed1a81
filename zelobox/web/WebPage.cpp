#include "zelobox/web/WebPage.h"

#include <httplib.h>
#include <sys/socket.h>

#include <atomic>
#include <thread>
#include <utility>

#include "zelobox/web/CaptureApi.h"
#include "zelobox/web/PageApi.h"
#include "zelobox/web/PageFiles.h"

namespace zelobox {

namespace {

char const loopback[] = "127.0.0.1";
size_t const workers = PageApi::mostStreams + 8;
size_t const longestBody = 1 << 20;
Milliseconds const heartbeat(15000); // a page that has gone is noticed by writing to it

/// A name of the loopback address, with or without a port.
bool isLocal(std::string const& host)
{
    auto const isName = [&host](std::string const& name) {
        bool const begins = host.compare(0, name.size(), name) == 0;
        return begins && (host.size() == name.size() || host[name.size()] == ':');
    };
    return isName("localhost") || isName(loopback) || isName("[::1]");
}

/// @return what is wrong with where a request comes from; empty if nothing is
std::string foreignness(httplib::Request const& request)
{
    std::string const host = request.get_header_value("Host");
    if (!isLocal(host)) {
        return "the Host header names \"" + host + "\"; only this machine may ask: use http://localhost";
    }
    if (request.has_header("Origin") && request.get_header_value("Origin") != "http://" + host) {
        return "a page of " + request.get_header_value("Origin") + " may not ask";
    }
    return "";
}

void give(PageAnswer const& answer, httplib::Response& response)
{
    response.status = answer.status;
    response.set_content(answer.body, answer.type);
    if (!answer.fileName.empty()) {
        response.set_header("Content-Disposition", "attachment; filename=\"" + answer.fileName + "\"");
    }
    if (!answer.allowed.empty()) {
        response.set_header("Allow", answer.allowed);
    }
}

PageRequest pageRequest(httplib::Request const& request)
{
    PageRequest made;
    made.method = request.method == "HEAD" ? "GET" : request.method;
    made.path = request.path;
    made.query = {request.params.begin(), request.params.end()};
    made.body = request.body;
    return made;
}

/// Not SO_REUSEPORT, by which two programs would share the port.
void setSocketOptions(int socket)
{
    int const on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

} // namespace

class WebPage::Impl {
public:
    Impl(EventLoop& loop, Middleware& middleware, uint16_t wantedPort, std::string const& socketPath) : calls(loop)
    {
        auto api = std::make_unique<PageApi>(middleware, calls, socketPath);
        live = api.get();
        service = std::move(api);
        start(wantedPort);
    }

    Impl(EventLoop& loop, std::vector<TraceRecord> records, uint16_t wantedPort, std::string const& fileName)
        : calls(loop), service(std::make_unique<CaptureApi>(std::move(records), fileName))
    {
        start(wantedPort);
    }

    ~Impl()
    {
        service->closeStreams();
        calls.close();
        // A server that is stopped before it listens would listen all the same.
        while (!server.is_running() && !hasEnded) {
            std::this_thread::yield();
        }
        server.stop();
        thread.join();
    }

    Impl(Impl const&) = delete;
    Impl& operator=(Impl const&) = delete;

    void onCallback(pid_t host, Json const& report) { live->onCallback(host, report); }
    std::string address() const { return std::string("http://") + loopback + ":" + std::to_string(port) + "/"; }

private:
    using Request = httplib::Request;
    using Response = httplib::Response;

    void start(uint16_t wantedPort)
    {
        configure();
        route();
        bool const isFree = wantedPort != 0 && server.bind_to_port(loopback, wantedPort);
        port = wantedPort == 0 ? server.bind_to_any_port(loopback) : wantedPort;
        if (port <= 0 || (wantedPort != 0 && !isFree)) {
            throw InputError("cannot listen on port " + std::to_string(wantedPort) +
                             "; another program has it, or it needs more rights: take another one, or 0");
        }
        thread = std::thread([this] {
            server.listen_after_bind();
            hasEnded = true;
        });
    }

    void configure()
    {
        server.new_task_queue = [] { return new httplib::ThreadPool(workers); };
        server.set_socket_options(setSocketOptions);
        server.set_tcp_nodelay(true);
        server.set_payload_max_length(longestBody);
        // One request for a connection: what a refused one leaves unread must not be taken for the next.
        server.set_keep_alive_max_count(1);
        // A stop waits for connections on which nothing happens.
        server.set_keep_alive_timeout(1);
        server.set_read_timeout(2);
        server.set_write_timeout(2);
        server.set_default_headers({{"Cache-Control", "no-store"},
                                    {"X-Content-Type-Options", "nosniff"},
                                    {"X-Frame-Options", "DENY"},
                                    {"Content-Security-Policy", "default-src 'self'; img-src 'self' data:"}});
    }

    void route()
    {
        server.set_pre_routing_handler([](Request const& request, Response& response) {
            std::string const problem = foreignness(request);
            if (problem.empty()) {
                return httplib::Server::HandlerResponse::Unhandled;
            }
            give(errorAnswer(403, problem), response);
            return httplib::Server::HandlerResponse::Handled;
        });
        server.set_error_handler([](Request const&, Response& response) {
            if (response.body.empty()) {
                bool const isLong = response.status == 413;
                give(errorAnswer(response.status, isLong ? "the body is too long" : "the request is not understood"),
                     response);
            }
        });
        auto const handOver = [this](Request const& request, Response& response) { answer(request, response); };
        for (PageFile const& file : pageFiles()) {
            server.Get(file.path,
                       [file](Request const&, Response& response) { response.set_content(file.text, file.type); });
        }
        server.Get("/api/events", [this](Request const& request, Response& response) { stream(request, response); });
        server.Get(".*", handOver)
            .Post(".*", handOver)
            .Put(".*", handOver)
            .Patch(".*", handOver)
            .Delete(".*", handOver);
    }

    /// On a worker.
    void answer(Request const& request, Response& response)
    {
        try {
            give(calls.call([this, made = pageRequest(request)] { return service->answer(made); }), response);
        } catch (LoopExecutor::Closed const& closed) {
            give(errorAnswer(503, closed.what()), response);
        }
    }

    /// On a worker, which stays with the page.
    void stream(Request const& request, Response& response)
    {
        std::shared_ptr<EventStream> events;
        try {
            // A browser that comes back by itself has the header, and the address of its first request.
            bool const isBack = request.has_header("Last-Event-ID");
            std::string const known =
                isBack ? request.get_header_value("Last-Event-ID") : request.get_param_value("after");
            events = calls.call([this, known] { return service->openStream(known); });
        } catch (LoopExecutor::Closed const& closed) {
            return give(errorAnswer(503, closed.what()), response);
        }
        if (!events) {
            return give(errorAnswer(503, "too many pages are open; close one"), response);
        }
        response.set_chunked_content_provider(
            "text/event-stream",
            [events](size_t, httplib::DataSink& sink) {
                std::optional<std::string> text = events->take(heartbeat);
                if (!text) {
                    sink.done();
                    return true;
                }
                text = text->empty() ? ": still here\n\n" : *text;
                return sink.write(text->data(), text->size());
            },
            [events](bool) { events->close(); });
    }

    LoopExecutor calls;
    std::unique_ptr<PageService> service; // used on the loop's thread
    PageApi* live = nullptr;              // the service, unless it is a file's
    httplib::Server server;
    int port = 0; // constant after construction
    std::atomic<bool> hasEnded{false};
    std::thread thread;
};

WebPage::WebPage(EventLoop& loop, Middleware& middleware, uint16_t port, std::string const& socketPath)
    : impl(std::make_unique<Impl>(loop, middleware, port, socketPath))
{
}

WebPage::WebPage(EventLoop& loop, std::vector<TraceRecord> records, uint16_t port, std::string const& fileName)
    : impl(std::make_unique<Impl>(loop, std::move(records), port, fileName))
{
}

WebPage::~WebPage() = default;

void WebPage::onCallback(pid_t host, Json const& report)
{
    impl->onCallback(host, report);
}

std::string WebPage::address() const
{
    return impl->address();
}

} // namespace zelobox
