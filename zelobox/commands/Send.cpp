#include <CLI/CLI.hpp>

#include "zelobox/base/StopSignals.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/commands/FrameWords.h"
#include "zelobox/commands/RunCommands.h"
#include "zelobox/middleware/Middleware.h"
#include "zelobox/protocol/BrowserConfigJson.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

struct Options {
    std::vector<std::string> words;
    std::string to; // "host", "middleware", or empty
    std::string socket = defaultSocketPath;
    double timeout = 5;
    bool unsubscribed = false;
};

class Interrupted {};

bool isForMiddleware(Options const& options, Frame const& frame)
{
    MessageInfo const* const info = findMessage(frame.type);
    return options.to.empty() ? info != nullptr && !info->toHost : options.to == "middleware";
}

int sendAsClient(Options const& options, Frame const& frame)
{
    Descriptor socket = connectTo(options.socket);
    if (!socket) {
        throw PeerError("nobody listens on " + options.socket +
                        "; start the middleware first, or say where with --socket");
    }
    Connection(std::move(socket)).send(frame, Milliseconds(static_cast<int64_t>(options.timeout * 1000)));
    return Succeeded;
}

/// Is the middleware until a client that wants the message has it.
int sendAsMiddleware(Options const& options, Frame const& frame)
{
    EventLoop loop;
    StopSignals const signals(loop, [] { throw Interrupted(); });
    Middleware middleware(loop, options.socket, defaultConfig());
    auto const deadline = EventLoop::Clock::now() + Milliseconds(static_cast<int64_t>(options.timeout * 1000));
    printProblem("zelobox send", "waits on " + options.socket);
    bool isSent = false;
    loop.run(deadline, [&] {
        isSent = isSent || (options.unsubscribed ? middleware.sendToAll(frame) : middleware.send(frame)) > 0;
        return isSent && middleware.waitingClients() == 0;
    });
    if (!isSent) {
        std::string const who =
            options.unsubscribed ? "client" : "client that has subscribed to " + messageName(frame.type);
        throw PeerTimeout("no " + who + " came to " + options.socket + " within " +
                          std::to_string(options.timeout).substr(0, 5) + " s");
    }
    return Succeeded;
}

int run(Options const& options)
{
    Json const words = frameOfWords(options.words);
    JsonFields fields(words, "the message");
    Frame const frame = frameFrom(fields, defaultConfig());
    fields.end();
    try {
        return isForMiddleware(options, frame) ? sendAsClient(options, frame) : sendAsMiddleware(options, frame);
    } catch (PeerTimeout const& timeout) {
        printProblem("zelobox send", timeout.what());
        return TimedOut;
    } catch (Interrupted const&) {
        return WasInterrupted;
    }
}

} // namespace

void addSendCommand(CLI::App& app, int& exitCode)
{
    CLI::App* const command = app.add_subcommand("send", "sends one message");
    auto const options = std::make_shared<Options>();
    command->add_option("message", options->words, "its name or number, and its fields; or one JSON object")
        ->type_name("NAME [FIELD=VALUE...]")
        ->required();
    command->add_option("--to", options->to, "whom it is for, otherwise as usual for the message")
        ->check(CLI::IsMember({"host", "middleware"}));
    command->add_option("--socket", options->socket, "where the middleware listens, or would")
        ->type_name("PATH")
        ->capture_default_str();
    command->add_option("--timeout", options->timeout, "how long a client may take to come, or the middleware to read")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 86400.0))
        ->capture_default_str();
    command->add_flag("--unsubscribed", options->unsubscribed, "send also what a client has not subscribed to");
    command->footer(
        "A message for hosts goes to the clients that are connected: until there is one that has subscribed,\n"
        "the program is the middleware on the socket. One for a middleware is sent as a client.\n"
        "Ends with 3 when nobody came or read in time.\n"
        "Examples:\n"
        "  zelobox send IPC_VOLUME value=30\n"
        "  zelobox send IPC_APP_LIFECYCLE text=onpause\n"
        "  zelobox send IPC_CLIENT_STATE value=2 --socket /tmp/my_middleware\n"
        "  zelobox send '{\"frame\":99,\"bytes\":\"00ff\"}' --to middleware");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

} // namespace zelobox
