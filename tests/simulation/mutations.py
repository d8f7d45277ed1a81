"""Mutations of the library's threads: file, the text that is there once, what takes its place.

Not here, because nothing that is promised changes: the lock in setAllowedMessages(), which one thread alone calls; the
flag in endThread() and the look at it in openSocket(), beside which another flag says the same.
"""

C = "src/ipc/IPCMessengerClient.cpp"
I = "src/ipc/IPCMessengerClient.h"
S = "src/ipc/OutMessageSender.cpp"
O = "src/ipc/OutMessageSender.h"
V = "src/ipc/FrameReceiver.cpp"
T = "src/common/STBThread.cpp"
X = "src/common/ThreadRegistry.cpp"
H = "inc/private/pthread_helper.h"
G = "cobalt/CobaltManager.cpp"
N = "cobalt/CobaltManager.h"
F = "cobalt/CobaltConfig.cpp"
L = "cobalt/LifeCycle.cpp"
Z = "cobalt/ZeloCobalt.cpp"
D = "cobalt/DrmBridge.cpp"
M = "src/ipc/MessengerSocket.cpp"

MUTATIONS = [
    # What the library once had: a close before the sender has ended, a stop missed between check and wait, a request
    # lost before a stop (two ways), a destroyed manager under a waiting start
    (C, "    if (ended) {\n        ended->end();\n    }\n    closeSocket();", "    closeSocket();\n    if (ended) {\n        ended->end();\n    }"),
    (S, "if (queue.empty() && !ending && !finishing) {", "if (queue.empty()) {"),
    (S, "    bool const runs = isRunning();\n    return finishing ? isInTime() : runs;", "    return finishing ? isInTime() : isRunning();"),
    (C, "            sender->finish();\n", "            sender->end();\n"),
    (G, "while (holds != 0) {", "while (false) {"),
    # Missing locks
    (C, "    pthread_helper::guard lock(senderMutex);\n    if (sender) {\n        sender->push(", "    if (sender) {\n        sender->push("),
    (C, "        pthread_helper::guard lock(senderMutex);\n        ended.swap(sender);", "        ended.swap(sender);"),
    (C, "    pthread_helper::guard lock(connectionMutex);\n    if (socketFd > 0) {\n        shutDown", "    if (socketFd > 0) {\n        shutDown"),
    (C, "    pthread_helper::guard lock(connectionMutex);\n    if (socketFd > 0) {\n        close", "    if (socketFd > 0) {\n        close"),
    (C, "    pthread_helper::guard lock(connectionMutex);\n    if (goesOn()) {", "    if (goesOn()) {"),
    (S, "    pthread_helper::guard lock(queueMutex);\n    if (queue.empty() &&", "    static pthread_helper::mutex other;\n    pthread_helper::guard lock(other);\n    if (false && queue.empty() &&"),
    (S, "        pthread_helper::guard lock(queueMutex);\n        if (!finishing) {", "        if (!finishing) {"),
    (S, "        pthread_helper::guard lock(queueMutex);\n        ending = true;", "        ending = true;"),
    (G, "    pthread_helper::guard lock(configMutex);\n    return", "    return"),
    (G, "        pthread_helper::guard lock(configMutex);\n        _config.language.swap(initial);", "        _config.language.swap(initial);"),
    (L, "        pthread_helper::guard lock(changeMutex);\n", ""),
    (L, "    pthread_helper::guard lock(changeMutex);\n    enter();\n    exchange", "    enter();\n    exchange"),
    (L, "    pthread_helper::guard lock(cobaltManagerMutex);\n", ""),
    (X, "    isEntered = true;\n    pthread_helper::guard lock(registry.mutex);\n", "    isEntered = true;\n"),
    (X, "    isEntered = false;\n    pthread_helper::guard lock(registry.mutex);\n", "    isEntered = false;\n"),
    (X, "    pthread_helper::guard lock(mutex);\n    Entry* entry = first;", "    Entry* entry = first;"),
    (X, "    pthread_helper::guard lock(mutex);\n    return first", "    return first"),
    # Missing signals
    (S, "        queue.push_back(std::move(message));\n        queueCond.signal();", "        queue.push_back(std::move(message));"),
    (S, "            finishing = true;\n        }\n        queueCond.signal();", "            finishing = true;\n        }"),
    # Missing joins and ends
    (T, "        owner->join();\n", ""),
    (H, "static_cast<void>(pthread_join(handle, nullptr));", ""),
    (C, "    if (ended) {\n        ended->end();\n    }\n", ""),
    (C, "    shutDownSocket();\n    STBThread::stop();", "    STBThread::stop();"),
    (L, "hold.reset(new CobaltManager::Hold(*manager));", ""),
    (L, "while (LifeCycleCall::areAnyUnderWay()) {", "while (false) {"),
    (S, "    blockSigPipe();\n    bool", "    bool"),
    # Missing flags
    (G, "    closing = true;\n", ""),
    (O, "std::atomic<bool> connected{true}", "bool connected{true}"),
    (O, "std::atomic<bool> ending{false}", "bool ending{false}"),
    (O, "std::atomic<bool> finishing{false}", "bool finishing{false}"),
    (N, "std::atomic<bool> configured{false}", "bool configured{false}"),
    (N, "std::atomic<bool> closing{false}", "bool closing{false}"),
    (N, "std::atomic<int> holds{0}", "int holds{0}"),
    (G, "volume = loadRelaxed(_config.volume);", "volume = _config.volume;"),
    (G, "storeRelaxed(_config.muted, ", "_config.muted = ("),
    (F, "storeRelaxed(record.displayWidth, uint32_t{received.displayWidth});", "record.displayWidth = received.displayWidth;"),
    (Z, 'if (!isRefusedHere("ZeloStopApp")) {', "if (true) {"),
    (Z, "    CobaltManager::VideoWindowRequest request(x, y, width, height);\n    pthread_helper::guard lock(cobaltManagerMutex);\n", "    CobaltManager::VideoWindowRequest request(x, y, width, height);\n"),
    (Z, 'if (isRefusedHere("ZeloStartApp")) {', "if (false) {"),
    # Wrong order, wrong scope
    (T, "        state.unlock();\n        owner->join();", "        owner->join();"),
    (T, "    running.store(true, std::memory_order_release);\n    record->start();", "    record->start();\n    running.store(true, std::memory_order_release);"),
    (L, "    exchangeManager(nullptr).reset();\n    while", "    {\n        pthread_helper::guard managerLock(cobaltManagerMutex);\n        cobaltManager.reset();\n    }\n    while"),
    (L, "    while (isEndingManager) {", "    while (false) {"),
    (L, "    earlier.reset();\n", "    earlier.release();\n"),
    (C, "    shutDownSocket();\n    STBThread::stop();\n    ending = false;", "    STBThread::stop();\n    shutDownSocket();\n    ending = false;"),
    (V, "count < 0 && !isInterruption(errno)", "count < 0"),
    # Missing bounds
    (C, "unsigned const toleratedFruitlessConnections = 16;", "unsigned const toleratedFruitlessConnections = 1600000;"),
    (C, "unsigned const toleratedFruitlessConnections = 16;", "unsigned const toleratedFruitlessConnections = 15;"),
    (C, "        fruitlessConnections = 0;\n        dispatch", "        dispatch"),
    (C, "        fruitlessConnections = 0; // no part of a storm, however silent\n", ""),
    (C, "            tellHandlers(&IPCMessengerHandler::onDisconnected);\n", ""),
    (S, "if (queue.size() < queueLimit) {", "if (true) {"),
    (S, "    lock.unlock();\n    shutDownMessengerSocket(socketFd);\n", "    lock.unlock();\n"),
    (S, "    overflowed = true;\n", ""),
    (M, "if (fd < 0 || fd > STDERR_FILENO) {", "if (true) {"),
    # In a forked child
    (L, "if (callingProcess == getpid()) {", "if (true) {"),
    (D, "if (drmProcess == getpid()) {", "if (true) {"),
]
