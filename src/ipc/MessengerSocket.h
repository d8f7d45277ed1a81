/// @file
/// System calls on the socket of the link.
#ifndef ZELO_IPC_MESSENGERSOCKET_H
#define ZELO_IPC_MESSENGERSOCKET_H

#include <errno.h>

/// @return true after a time-out or a signal: look whether to go on, then try again
inline bool isInterruption(int error)
{
    return error == EAGAIN || error == EINTR;
}

/// Makes a socket that is closed on exec and is no standard stream, whichever of those the host has closed: what it
/// prints must not go to the middleware.
///
/// @return never 0, which means "none" to the client; -1 if there is none
int openMessengerSocket();

/// Bounds every call on the socket that blocks. A stop does not wait for these time-outs; they are the net below it.
///
/// @return false if a call could block for ever
bool setMessengerTimeouts(int fd);

/// Tries once to connect to the middleware.
///
/// @return 0, or the error; after an interruption the same attempt can go on. EACCES also when the library was built
///         for the middleware of another user than the one who listens
int connectMessengerSocket(int fd);

/// Wakes whoever blocks on the socket, and tells the peer. The descriptor stays open.
void shutDownMessengerSocket(int fd);

/// Ends the connection also where a forked child holds a copy of the descriptor.
void closeMessengerSocket(int fd);

#endif
