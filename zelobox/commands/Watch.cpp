#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <iostream>

#include "zelobox/base/StopSignals.h"
#include "zelobox/base/Terminal.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/commands/FrameWords.h"
#include "zelobox/commands/RunCommands.h"
#include "zelobox/middleware/Middleware.h"
#include "zelobox/middleware/Timeline.h"
#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/FrameReader.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

struct Options {
    std::vector<std::string> names;
    std::vector<std::string> fields;
    std::vector<std::string> ignored;
    std::string from = "middleware";
    std::string socket = defaultSocketPath;
    unsigned count = 0;
    double timeout = 0;
    bool json = false;
};

class Interrupted {};

/// Prints the frames that are wanted, and counts them.
class Printer final : public Middleware::Observer {
public:
    explicit Printer(Options const& commandLine)
        : options(commandLine), timeline(std::cout, usesColour(STDOUT_FILENO)),
          names(options.names.begin(), options.names.end()), ignored(options.ignored.begin(), options.ignored.end())
    {
        for (std::string const& word : options.fields) {
            fields.update(fieldOfWord(word));
        }
    }

    void onTraffic(TraceRecord const& record) override
    {
        bool const isFromHost = record.direction == Direction::ToMiddleware;
        bool const isWanted = record.event == TraceRecord::Event::Frame && isFromHost == (options.from == "host");
        if (isDone() || !isWanted || !passes(record)) {
            return;
        }
        if (options.json) {
            std::cout << lineOf(jsonOf(record)) << std::endl;
        } else {
            timeline.onTraffic(record);
        }
        ++printed;
    }

    bool isDone() const { return options.count != 0 && printed == options.count; }
    bool isEmpty() const { return printed == 0; }

private:
    bool passes(TraceRecord const& record) const
    {
        std::string const name = messageName(record.frame.type);
        if ((!names.empty() && names.count(name) == 0) || ignored.count(name) != 0) {
            return false;
        }
        Json const& actual = record.fields();
        return std::all_of(fields.items().begin(), fields.items().end(), [&actual](auto const& field) {
            return actual.contains(field.key()) && actual[field.key()] == field.value();
        });
    }

    Options const& options;
    Timeline timeline;
    std::set<std::string> const names;
    std::set<std::string> const ignored;
    Json fields = Json::object();
    size_t printed = 0;
};

/// A client that has subscribed to everything and has asked for the configuration.
class Subscriber {
public:
    Subscriber(EventLoop& eventLoop, Options const& options, Printer& target)
        : loop(eventLoop), printer(target), connection(connected(options))
    {
        std::set<IPCMessageType> types;
        for (MessageInfo const& info : messageTable()) {
            if (info.toHost) {
                types.insert(info.type);
            }
        }
        connection.send(frameOf(IPCMessageAllowedMessageList(types)));
        connection.send({IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
        loop.watch(connection.descriptor(), [this] { read(); });
    }

    ~Subscriber() { loop.forget(connection.descriptor()); }
    Subscriber(Subscriber const&) = delete;
    Subscriber& operator=(Subscriber const&) = delete;

private:
    static Connection connected(Options const& options)
    {
        Descriptor socket = connectTo(options.socket);
        if (!socket) {
            throw PeerError("nobody listens on " + options.socket +
                            "; start the middleware first, or say where with --socket");
        }
        return Connection(std::move(socket));
    }

    void read()
    {
        char part[65536];
        ssize_t const count = recv(connection.descriptor(), part, sizeof part, MSG_DONTWAIT);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
            return;
        }
        if (count <= 0) {
            throw PeerClosed("closed");
        }
        reader.append(part, static_cast<size_t>(count));
        while (std::optional<Frame> frame = reader.next()) {
            TraceRecord record;
            record.time = traceTime();
            record.connection = 1;
            record.frame = std::move(*frame);
            printer.onTraffic(record);
        }
    }

    EventLoop& loop;
    Printer& printer;
    Connection connection;
    FrameReader reader;
};

int watch(Options const& options)
{
    EventLoop loop;
    StopSignals const signals(loop, [] { throw Interrupted(); });
    Printer printer(options);
    std::optional<Subscriber> subscriber;
    std::optional<Middleware> middleware;
    if (options.from == "host") {
        middleware.emplace(loop, options.socket, defaultConfig());
        middleware->addObserver(printer);
        printProblem("zelobox watch", "waits on " + options.socket);
    } else {
        subscriber.emplace(loop, options, printer);
    }
    auto const duration = Milliseconds(static_cast<int64_t>(options.timeout * 1000));
    auto const end = options.timeout == 0 ? EventLoop::Clock::time_point::max() : EventLoop::Clock::now() + duration;
    bool const isDone = loop.run(end, [&printer] { return printer.isDone(); });
    return isDone || (options.count == 0 && !printer.isEmpty()) ? Succeeded : TimedOut;
}

int run(Options const& options)
{
    try {
        return watch(options);
    } catch (PeerClosed const&) {
        printProblem("zelobox watch", "the middleware has closed the connection");
        return NotAsExpected;
    } catch (Interrupted const&) {
        return options.count == 0 ? Succeeded : WasInterrupted;
    }
}

} // namespace

void addWatchCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("watch", "prints the messages that come");
    auto const options = std::make_shared<Options>();
    CLI::Validator const isMessage(checkMessageName, "");
    command->add_option("messages", options->names, "only these")->type_name("NAME")->check(isMessage);
    command->add_option("--field", options->fields, "only those with this field; may be given again")
        ->type_name("FIELD=VALUE")
        ->allow_extra_args(false);
    command->add_option("--ignore", options->ignored, "not this message; may be given again")
        ->type_name("NAME")
        ->allow_extra_args(false)
        ->check(isMessage);
    command->add_option("--from", options->from, "who sends them")
        ->check(CLI::IsMember({"host", "middleware"}))
        ->capture_default_str();
    command->add_option("--count", options->count, "end after so many")
        ->type_name("NUMBER")
        ->check(CLI::PositiveNumber);
    command->add_option("--timeout", options->timeout, "end after so long")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 86400.0));
    command->add_flag("--json", options->json, "print records of a trace");
    command->add_option("--socket", options->socket, "where the middleware listens, or would")
        ->type_name("PATH")
        ->capture_default_str();
    command->footer(
        "What a middleware sends is watched as a client of its, which subscribes to everything and asks for the\n"
        "configuration; what hosts send, as the middleware on the socket. Until Ctrl-C. Ends with 3 when --timeout\n"
        "passes before --count messages, or any, have come, and with 1 when the middleware closes.\n"
        "Examples:\n"
        "  zelobox watch\n"
        "  zelobox watch IPC_REMOTE_KEY --field command=44 --count 1 --timeout 10\n"
        "  zelobox watch --ignore IPC_BROWSER_CONFIG --json >events.jsonl\n"
        "  zelobox watch --from host IPC_VIDEO_WINDOW");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
