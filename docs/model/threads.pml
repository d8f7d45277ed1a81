/*
 * The protocol of the library's threads, for Spin.
 *
 * Who stands for what:
 *   Start      ZeloStartApp() after the manager is made: CobaltManager::waitForConfiguration() under a Hold
 *   Stop       ZeloStopApp(): LifeCycleCall::stop(), ~CobaltManager(), IPCMessengerClient::stop() and its destructor.
 *              changeMutex is left out: only starts and stops take it, and there is one of each
 *   Producer   a host thread in ZeloSetVideoWindow() or ZeloRequestPreviousController()
 *   Client     IPCMessengerClient::run() on ipc_cln
 *   Sender     IPCMessengerClient::OutMessageSender::run() on ipc_snd, one per connection
 * Inline names are the functions' names. Rules that a change of the code must keep, or be changed here too:
 *   - a lock is released exactly where the model says;
 *   - a wait on a condition may sleep through its deadline (a wall clock that was set back), so every wake-up that a stop
 *     depends on is a signal: waits choose in advance whether they will time out;
 *   - recv waits for the peer or for a shutdown, connect and write look at their flags at least every time-out, so each
 *     is one step that waits for the peer or for one of these; connectionMutex is a leaf, so a shutdown is one step too;
 *   - a push may find the queue full at any time, and a sender may find no memory or no more time to finish;
 *   - the peer is free: it may refuse, drop, send, read slowly or never, and what it will do is chosen in advance, so
 *     that nothing that it might still do hides a deadlock.
 *
 * Critical sections of a leaf lock are one step: nothing else can happen to what they guard.
 *
 * Proven for two producers, two connections, one callback that makes a request itself, and a queue of three: no
 * assertion fails, and every path ends with every process at its end. The one loop that can go round without an end in
 * sight is a sender whose waits time out; a stop ends it.
 */

#ifndef CONNECTIONS
#define CONNECTIONS 2
#endif
#define QUEUE       3
#ifndef EACH
#define EACH        1 /* messages of a producer */
#endif
#ifndef OVERFLOWS
#define OVERFLOWS   true /* whether a push may find the queue full */
#endif
#define HANDSHAKES  (2 * EACH) /* numbers of messages: below are the producers' */
#define ANSWER      (HANDSHAKES + CONNECTIONS)
#define MESSAGES    (ANSWER + 1)

/* What has become of a message. */
#define NEW     0
#define LIVE    1
#define SETTLED 2
byte fate[MESSAGES];

/* What the peer does with a write, and how a connection ends. */
#define TAKES   0
#define GONE    1
#define DEAF    2
#define STARVES 3 /* the sender finds no memory for the message */
#define DONE    0
#define FAILED  1
#define STOPPED 2

byte pending; /* messages on the way but handshakes: keeps the queue, far longer in the code, at three */

byte cobaltManagerMutex, handlersMutex, senderMutex;
byte queueMutex[CONNECTIONS];

bool managerThere = true, clientAlive = true; /* the manager of cobaltManager; ~IPCMessengerClient() has not begun */
bool closing, configured, handlerThere = true;
byte holds = 1;
bool clientRunning = true, clientDone;
bool ending;      /* of the client */
byte sender; /* IPCMessengerClient::sender: 0 is none, else the connection + 1 */

bool senderAlive[CONNECTIONS], senderRunning[CONNECTIONS], senderDone[CONNECTIONS];
bool senderConnected[CONNECTIONS], senderEnding[CONNECTIONS], senderFinishing[CONNECTIONS];
bool waiting[CONNECTIONS]; /* the sender waits on its queueCond */
bool socketOpen[CONNECTIONS], isShutDown[CONNECTIONS];
chan queue[CONNECTIONS] = [QUEUE] of { byte };

bool stopReturned;

inline lock(m)
{
    atomic {
        assert(m != _pid + 1); /* EDEADLK */
        m == 0 -> m = _pid + 1
    }
}

inline unlock(m)
{
    atomic { assert(m == _pid + 1); m = 0 }
}

/* A message is written, or deleted unsent. Which one is left out: it would only multiply the states. */
inline settle(m)
{
    atomic {
        assert(fate[m] == LIVE);
        fate[m] = SETTLED;
        if
        :: m < HANDSHAKES || m == ANSWER -> pending--
        :: else
        fi
    }
}

/* OutMessageSender::push() */
inline push(c, m)
{
    assert(senderAlive[c]);
    if
    :: !senderConnected[c] -> settle(m)
    :: senderConnected[c] && OVERFLOWS ->
        atomic {
            lock(queueMutex[c]);
            senderConnected[c] = false;
            senderEnding[c] = true;
            waiting[c] = false;
            unlock(queueMutex[c])
        };
        assert(socketOpen[c]);
        isShutDown[c] = true;
        settle(m)
    :: senderConnected[c] ->
        atomic {
            lock(queueMutex[c]);
            assert(len(queue[c]) < QUEUE);
            queue[c] ! m;
            waiting[c] = false;
            unlock(queueMutex[c])
        }
    fi
}

/* IPCMessengerClient::pushMessage() */
inline pushMessage(m)
{
    assert(clientAlive);
    lock(senderMutex);
    if
    :: sender != 0 -> push(sender - 1, m); unlock(senderMutex)
    :: else -> unlock(senderMutex); settle(m)
    fi
}

/* An entry point that makes a request, also when a callback calls it. */
inline request(m)
{
    lock(cobaltManagerMutex);
    if
    :: managerThere ->
        fate[m] = LIVE;
        pushMessage(m)
    :: else -> atomic { pending-- }
    fi;
    unlock(cobaltManagerMutex)
}

proctype Producer(byte first)
{
    byte m = first;
    do
    :: m < first + EACH ->
        atomic { pending < QUEUE - 1 -> pending++ };
        request(m);
        m++
    :: else -> break
    od
}

/* OutMessageSender::takeNext(): waits at most once; MESSAGES stands for null. */
inline takeNext(c, m)
{
    atomic {
        lock(queueMutex[c]);
        if
        :: len(queue[c]) == 0 && !senderEnding[c] && !senderFinishing[c] ->
            if
            :: patient = true
            :: patient = false
            fi;
            waiting[c] = true;
            unlock(queueMutex[c]);
            if
            :: patient -> !waiting[c]
            :: else -> waiting[c] = false
            fi;
            lock(queueMutex[c])
        :: else
        fi;
        if
        :: len(queue[c]) != 0 -> queue[c] ? m
        :: else -> m = MESSAGES; senderEnding[c] = senderEnding[c] || senderFinishing[c]
        fi;
        unlock(queueMutex[c])
    }
}

#define isWanted(c) (!senderEnding[c] && (senderRunning[c] || senderFinishing[c]))

/* OutMessageSender::send() with writeFully(): the peer takes it, is gone, or does not read any more. */
inline sendMessage(c, m)
{
    if
    :: peer = TAKES
    :: peer = GONE
    :: peer = DEAF
    :: peer = STARVES
    fi;
    assert(socketOpen[c] && senderAlive[c]);
    if
    :: peer == TAKES -> settle(m) /* written */
    :: peer == GONE -> settle(m); healthy = false
    :: peer == DEAF -> !isWanted(c) || senderFinishing[c]; settle(m); healthy = false
    :: peer == STARVES -> isShutDown[c] = true; settle(m); healthy = false
    fi
}

proctype Sender(byte c)
{
    byte m = MESSAGES;
    byte peer;
    bool healthy = true, patient;
    do
    :: healthy && isWanted(c) ->
        takeNext(c, m);
        if
        :: m < MESSAGES -> sendMessage(c, m)
        :: else
        fi
    :: healthy && isWanted(c) && senderFinishing[c] -> break /* out of time */
    :: !(healthy && isWanted(c)) -> break
    od;
    senderConnected[c] = false;
    senderDone[c] = true
}

/* IPCMessengerClient::disconnect(); the end of ended is ~OutMessageSender(). */
inline disconnect(ended, m)
{
    lock(senderMutex);
    atomic { ended = sender; sender = 0 };
    unlock(senderMutex);
    if
    :: ended != 0 ->
        atomic {
            lock(queueMutex[ended - 1]);
            senderEnding[ended - 1] = true;
            waiting[ended - 1] = false;
            unlock(queueMutex[ended - 1])
        };
        senderRunning[ended - 1] = false;
        senderDone[ended - 1]; /* the join in STBThread::stop() */
        socketOpen[ended - 1] = false;
        atomic {
            assert(queueMutex[ended - 1] == 0);
            senderAlive[ended - 1] = false;
            do
            :: len(queue[ended - 1]) != 0 -> queue[ended - 1] ? m; settle(m)
            :: else -> break
            od
        }
    :: else
    fi
}

/* IPCMessengerClient::startSender() and tellHandlers(onConnected) */
inline beginConnection(c)
{
    lock(senderMutex);
    if
    :: !ending ->
        atomic {
            assert(sender == 0);
            socketOpen[c] = true;
            senderAlive[c] = true;
            senderConnected[c] = true;
            senderRunning[c] = true;
            run Sender(c);
            sender = c + 1
        }
    :: else
    fi;
    unlock(senderMutex);
    lock(handlersMutex);
    assert(handlerThere);
    fate[HANDSHAKES + c] = LIVE;
    pushMessage(HANDSHAKES + c);
    unlock(handlersMutex)
}

/* IPCMessengerClient::dispatch(): a configuration, then a callback of the host that makes a request if it can. */
inline dispatch(c)
{
    lock(handlersMutex);
    assert(handlerThere);
    configured = true;
    atomic {
        if
        :: c == 0 && pending < QUEUE - 1 -> pending++; asks = true
        :: asks = false
        fi
    };
    if
    :: asks -> request(ANSWER)
    :: else
    fi;
    unlock(handlersMutex)
}

#define goesOn (clientRunning && !ending)

/* IPCMessengerClient::receiveFrames(): ends with what the Reception says. */
inline receiveFrames(c)
{
    if
    :: willSend = true
    :: willSend = false
    fi;
    if
    :: willDrop = true
    :: willDrop = false
    fi;
    do
    :: !goesOn && isShutDown[c] -> progress = DONE; break    /* between frames */
    :: !goesOn && isShutDown[c] -> progress = STOPPED; break /* in a frame */
    :: !goesOn && willSend -> progress = STOPPED; break      /* in a frame that a fast peer sends */
    :: goesOn && willSend -> willSend = false; dispatch(c)
    :: goesOn && willDrop -> progress = FAILED; break
    :: goesOn && isShutDown[c] -> progress = FAILED; break
    od
}

/* IPCMessengerClient::serveConnection() */
inline serveConnection(c)
{
    beginConnection(c);
    receiveFrames(c);
    if
    :: progress == FAILED ->
        lock(senderMutex); /* logEnd() */
        unlock(senderMutex);
        lock(handlersMutex);
        assert(handlerThere); /* onDisconnected() */
        unlock(handlersMutex)
    :: else
    fi;
    if
    :: progress != DONE -> disconnect(ended, m)
    :: else
    fi
}

proctype Client()
{
    byte c, ended, m, progress;
    bool willSend, willDrop, asks;
    do
    :: !goesOn -> break
    :: goesOn ->
        if
        :: !goesOn /* nobody there, or a full backlog, until the stop */
        :: c < CONNECTIONS -> serveConnection(c); c++
        fi
    od;
    clientDone = true
}

proctype Start()
{
    if
    :: configured
    :: closing
    fi;
    holds--
}

proctype Stop()
{
    byte ended, m;
    lock(cobaltManagerMutex); /* exchangeManager() */
    managerThere = false;
    unlock(cobaltManagerMutex);
    closing = true; /* ~CobaltManager() */
    holds == 0;
    lock(senderMutex); /* IPCMessengerClient::stop() */
    ending = true;
    if
    :: sender != 0 -> /* OutMessageSender::finish() */
        atomic {
            lock(queueMutex[sender - 1]);
            senderFinishing[sender - 1] = true;
            waiting[sender - 1] = false;
            unlock(queueMutex[sender - 1])
        };
        senderRunning[sender - 1] = false;
        senderDone[sender - 1] /* the join in STBThread::stop() */
    :: else
    fi;
    unlock(senderMutex);
    atomic { for (m : 0 .. CONNECTIONS - 1) { isShutDown[m] = true } };
    clientRunning = false;
    clientDone; /* the join in STBThread::stop() */
    lock(handlersMutex);
    handlerThere = false;
    unlock(handlersMutex);
    clientAlive = false; /* ~IPCMessengerClient() */
    disconnect(ended, m);
    stopReturned = true
}

init
{
    byte m;
    atomic {
        run Client();
        run Start();
        run Stop();
        run Producer(0);
        run Producer(EACH)
    };
    _nr_pr == 1;
    assert(stopReturned && pending == 0);
    for (m : 0 .. MESSAGES - 1) {
        assert(fate[m] != LIVE)
    }
}
