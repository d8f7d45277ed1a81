/// @file
/// The subcommands of zelobox, one file each.
#ifndef ZELO_ZELOBOX_COMMANDS_H
#define ZELO_ZELOBOX_COMMANDS_H

namespace CLI {
class App;
}

namespace zelobox {

enum ExitCode : int {
    Succeeded = 0,
    NotAsExpected = 1, ///< something else happened
    CannotRun = 2,     ///< wrong arguments or files, no library, another server
    TimedOut = 3,      ///< what was expected did not come at all
    WasInterrupted = 130,
};

/// Each adds its subcommand to @p app; carried out, it stores into @p exitCode, which must outlive the parsing.
void addCheckCommand(CLI::App& app, int& exitCode);
void addDecodeCommand(CLI::App& app, int& exitCode);
void addDemoCommand(CLI::App& app, int& exitCode);
void addHostCommand(CLI::App& app, int& exitCode);
void addMiddlewareCommand(CLI::App& app, int& exitCode);
void addProxyCommand(CLI::App& app, int& exitCode);
void addRecordCommand(CLI::App& app, int& exitCode);
void addReplayCommand(CLI::App& app, int& exitCode);
void addSendCommand(CLI::App& app, int& exitCode);
void addServeCommand(CLI::App& app, int& exitCode);
void addTestCommand(CLI::App& app, int& exitCode);
void addWatchCommand(CLI::App& app, int& exitCode);

} // namespace zelobox

#endif
