"""One-line mutations of the library: file, the text that is there once, what takes its place."""

C = "src/ipc/IPCMessengerClient.cpp"
S = "src/ipc/OutMessageSender.cpp"
M = "src/ipc/IPCMessage.cpp"
P = "src/ipc/IPCPlayerMessage.cpp"
B = "src/ipc/IPCBrowserConfig.cpp"
T = "src/common/STBThread.cpp"
A = "src/common/AutoRetrier.cpp"
R = "src/common/ByteReader.h"
W = "src/common/ByteWriter.h"
H = "inc/private/pthread_helper.h"
G = "cobalt/CobaltManager.cpp"
F = "cobalt/CobaltConfig.cpp"
Z = "cobalt/ZeloCobalt.cpp"
D = "cobalt/DrmBridge.cpp"

MUTATIONS = [
    # The reader and the writer
    (R, "failure || count > left", "failure || count >= left"),
    (R, "left -= count;", "left -= count + 0 * left - 1;"),
    (R, "value << 8 |", "value << 7 |"),
    (W, "value >> (width - 1 - i) * 8", "value >> i * 8"),
    (W, "void u16(uint16_t value) { number(value, 2); }", "void u16(uint16_t value) { number(value, 4); }"),
    # Messages
    (M, "bytes.reserve(sizeof value);\n    ByteWriter(bytes).u32(value);", "ByteWriter(bytes).u16(static_cast<uint16_t>(value));"),
    (M, "ByteWriter(bytes).u64(value);", "ByteWriter(bytes).u64(~value);"),
    (M, "value = ByteReader(payload).u64();", "value = ByteReader(payload).u32();"),
    (M, "case IPC_RECORDER_STATS:", "case IPC_UNHANDLED_8:"),
    (M, "case IPC_PAYLOAD_UINT64:", "case 9:"),
    (M, "reader.skip(i == 0 ? 0 : 1); // the terminator of the text before", "reader.skip(1);"),
    (M, "if (!reader.failed()) {", "if (true) {"),
    (M, "headerType(static_cast<uint16_t>(messageType))", "headerType(static_cast<uint8_t>(messageType))"),
    (P, "flagOffset >= payload.size()", "flagOffset > payload.size() + 1"),
    (P, "uint64_t{nameLength} + 5", "uint64_t{nameLength} + 4"),
    (P, "stream.number2 = reader.u32();", "stream.number2 = reader.u16();"),
    (P, "if (payload.size() == sizeof record) {", "if (payload.size() >= sizeof record) {"),
    (P, "info.flag = reader.u8() != 0;", "info.flag = reader.u8() == 1;"),
    # The configuration
    (B, 'i == 0 ? "%02X" : ":%02X"', 'i == 0 ? "%02x" : ":%02x"'),
    (B, "length - 1U", "length - 0U"),
    (B, "if (length == 0) {", "if (length == 1) {"),
    (F, "if (record.macAddress.empty()) {", "if (true) {"),
    (F, "record.displayWidth == 0 && record.displayHeight == 0", "record.displayWidth == 0 || record.displayHeight == 0"),
    (F, "replace(record.language, received.language);", "replace(record.language, received.apiMode);"),
    (F, "|| received.forcePortalUrl", ""),
    (F, "if (text == next) {", "if (false) {"),
    # The back-off
    (A, "++failures;", "failures += 2;"),
    (A, "failures = 0;", "failures = failures;"),
    (A, "(failures - 1) * 3.1415926", "failures * 3.1415926"),
    (A, "return steps != 0 ? 0 : maxWaitMs;", "return maxWaitMs;"),
    (A, "waitMs()) * 1000)", "waitMs()) * 100)"),
    # Threads
    (T, "    sleepCond.broadcast();\n    if (!isRunning()) {", "    if (!isRunning()) {"),
    (T, "        state.unlock();\n        owner->join();", "        owner->join();"),
    (T, "running.store(false, std::memory_order_release);", ""),
    (T, "niceValue = 15;", "niceValue = 5;"),
    (T, "if (completed != nullptr) {", "if (completed == nullptr) {"),
    (H, "PTHREAD_MUTEX_ERRORCHECK", "PTHREAD_MUTEX_NORMAL"),
    (H, "check(res <= EPERM,", "check(res == 0,"),
    (H, "res == 0 || res == ETIMEDOUT", "res == 0"),
    (H, "static_cast<void>(pthread_join(handle, nullptr));", ""),
    # The link
    (C, "error == EAGAIN || error == EINTR", "error == EINTR"),
    (C, "error == EAGAIN || error == EINTR", "error == EAGAIN"),
    (C, "if (fd != 0) {", "if (true) {"),
    (C, "STDERR_FILENO + 1", "STDIN_FILENO"),
    (C, "FD_CLOEXEC) != 0", "0) != 0"),
    (C, "retrier.succeeded();", ""),
    (C, "retrier.failed();", ""),
    (C, "if (count == 0) {", "if (count == -2) {"),
    (C, "have += static_cast<size_t>(count);", "have = static_cast<size_t>(count);"),
    (C, "(!interrupted || senderHasFailed())", "!interrupted"),
    (C, "header.length >= tooLong", "header.length > tooLong"),
    (C, "size_t const payloadStep = size_t{256} * 1024;", "size_t const payloadStep = 0x7FFFFFFF;"),
    (C, "fruitlessConnections = 0;\n", "\n"),
    (C, "if (progress == Progress::Failed && handlersKnow) {", "if (handlersKnow) {"),
    (C, "    if (ended) {\n        ended->end();\n    }\n    closeSocket();", "    closeSocket();"),
    (C, "throw; // the middleware repeats what matters on a new connection", ""),
    (C, "if (!allowedMessages.empty()) {", "if (allowedMessages.empty()) {"),
    (C, "closeSocket();\n    return false;", "return false;"),
    # The sender
    (S, "sigaddset(&signals, SIGPIPE);", ""),
    (S, "if (queue.empty() && !ending) {", "if (queue.empty()) {"),
    (S, "connected = false;", ""),
    (S, "done += static_cast<size_t>(count);", "done += size;"),
    (S, "queueCond.signal();\n}", "\n}"),
    (S, "if (!connected) {", "if (connected) {"),
    (S, "errno != EAGAIN && errno != EINTR", "errno != EINTR"),
    # The manager and the entry points
    (G, "closing = true;", ""),
    (G, "while (holds != 0) {", "while (false) {"),
    (G, "messenger->removeHandler(this);", ""),
    (G, "static_cast<uint8_t>(value >> 16)", "static_cast<uint8_t>(value >> 24)"),
    (G, "storeRelaxed(_config.muted, valueOf(message) != 0);", "storeRelaxed(_config.muted, valueOf(message) == 1);"),
    (G, 'if (command == "onpause" && callbacks.onPause != nullptr) {', 'if (command == "onpause") {'),
    (G, "for (int const number : {x, y, width, height}) {", "for (int const number : {x, y, height, width}) {"),
    (G, "writer.u8(0);", ""),
    (G, "if (parsed) {", "if (!parsed) {"),
    (G, "setVideoWindow(0, 0, 0, 0);", ""),
    (Z, "total > 280000000", "total >= 280000001"),
    (Z, "total > 600000000", "total > 300000000"),
    (Z, "if (value > 0) {", "if (value >= 0) {"),
    (Z, "ape,flac", "flac,ape"),
    (Z, "case 3:\n    case 4:", "case 4:"),
    (D, "size_t const applySlot = 2;", "size_t const applySlot = 1;"),
    (D, "static_cast<int32_t>(reinterpret_cast<intptr_t>(context))", "reinterpret_cast<intptr_t>(context)"),
]
