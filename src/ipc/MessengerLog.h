/// @file
/// Source path and line numbers of the link's log lines.
#ifndef ZELO_IPC_MESSENGERLOG_H
#define ZELO_IPC_MESSENGERLOG_H

#include "src/common/Log.h"

/// The sender and the frame receiver are the client's classes, so their lines carry its path too.
char const* const messengerSource = "src/ipc/IPCMessengerClient";

/// Part of what integrators search for: a line keeps its number wherever its call moves.
enum MessengerLine : int {
    LineNoCloseOnExec = 120,
    LineCannotConnect = 134,
    LineConnected = 145,
    LinePeerClosed = 201,
    LineReadError = 206,
    LineOutOfSync = 215,
    LineReceived = 222,
    LineDropped = 240,
    LineQueueFull = 310,
    LineWriteError = 325,
    LineClosing = 410,
};

#endif
