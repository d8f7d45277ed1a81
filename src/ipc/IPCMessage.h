/// @file
/// Messages to and from the middleware, and their payload encodings.
///
/// Multi-byte numbers are big-endian. A text is its length in 32 bits, its bytes, and one byte 0 that the length does
/// not count and that is never looked at.
#ifndef ZELO_IPC_IPCMESSAGE_H
#define ZELO_IPC_IPCMESSAGE_H

#include <stdint.h>

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "src/common/ByteReader.h"

/// How a payload is encoded. One byte in a frame; every value above 5 is treated like IPC_PAYLOAD_RAW.
enum IPCPayloadKind : uint32_t {
    IPC_PAYLOAD_RAW = 0, ///< the message type decides
    IPC_PAYLOAD_UINT32 = 1,
    IPC_PAYLOAD_UINT64 = 2,
    IPC_PAYLOAD_UINT32_ARRAY = 3,
    IPC_PAYLOAD_STRING = 4,
    IPC_PAYLOAD_STRING_ARRAY = 5,
};

/// What a message means. 16 bits in a frame. "In" is from the middleware, "out" to it.
enum IPCMessageType : uint32_t {
    IPC_ALLOWED_MESSAGE_LIST = 1,  ///< out: the types that this client wants to receive
    IPC_UNHANDLED_8 = 8,           ///< in
    IPC_RECORDER_STATS = 15,       ///< in
    IPC_CONFIG_REQUEST = 23,       ///< out, empty
    IPC_BROWSER_CONFIG = 24,       ///< in: see IPCBrowserConfig
    IPC_UNHANDLED_25 = 25,         ///< in
    IPC_REMOTE_KEY = 26,           ///< in: bits 0 to 15 an STBCommand, bits 16 to 23 a modifier
    IPC_UNHANDLED_27 = 27,         ///< in
    IPC_VIDEO_WINDOW = 29,         ///< out: x, y, width, height in 16 bits each, then one byte 0
    IPC_PLAYER_PLAYBACK_INFO = 32, ///< in
    IPC_PREVIOUS_CONTROLLER = 34,  ///< out: 4
    IPC_UNHANDLED_36 = 36,         ///< in
    IPC_CLIENT_STATE = 37,         ///< out: 2
    IPC_CONFIG_STATE = 38,         ///< out: 2
    IPC_VOLUME = 39,               ///< in
    IPC_PLAYER_MEDIA_INFO = 40,    ///< in
    IPC_UNHANDLED_42 = 42,         ///< in
    IPC_VIDEO_WINDOW_MODE = 44,    ///< out: "box"
    IPC_APP_LIFECYCLE = 49,        ///< in: "onpause" or "onresume"
    IPC_MUTE = 58,                 ///< in: not 0 means muted
};

/// One message; by itself one whose payload is written and read directly.
///
/// Created on the heap and handed on as std::auto_ptr<IPCMessage>. Not synchronised: one thread has it at a time.
class IPCMessage {
public:
    IPCMessage(uint32_t kind, IPCMessageType messageType);
    virtual ~IPCMessage() = default;

    IPCMessage(IPCMessage const&) = delete;
    IPCMessage& operator=(IPCMessage const&) = delete;

    /// Replaces #payload by the encoded fields.
    virtual void serialize();

    /// Sets the fields from #payload. A payload that is too short leaves what each class says.
    virtual void unserialize();

    uint32_t payloadKind;
    IPCMessageType type;
    uint8_t headerKind;  ///< #payloadKind as the frame carries it
    uint16_t headerType; ///< #type as the frame carries it
    std::vector<char> payload;

    /// Set by another thread to end unserialize() early: a stop must not wait for a hundred megabytes that nobody will
    /// read. Null if nobody can. The fields have no meaning then.
    std::atomic<bool> const* abandoned = nullptr;

protected:
    /// @return a reader of #payload that fails once the message is abandoned
    ByteReader reader() const { return ByteReader(payload, abandoned); }
};

/// 4 bytes. A shorter payload reads as 0; further bytes are ignored.
class IPCMessageUnsignedInt : public IPCMessage {
public:
    explicit IPCMessageUnsignedInt(IPCMessageType messageType, uint32_t initial = 0);
    void serialize() override;
    void unserialize() override;

    uint32_t value;
};

/// 8 bytes. A shorter payload reads as 0; further bytes are ignored.
class IPCMessageUnsignedInt64 : public IPCMessage {
public:
    explicit IPCMessageUnsignedInt64(IPCMessageType messageType, uint64_t initial = 0);
    void serialize() override;
    void unserialize() override;

    uint64_t value;
};

/// A count in 32 bits and that many numbers of 32 bits. Elements that are not all there are dropped.
class IPCMessageUnsignedIntArray : public IPCMessage {
public:
    explicit IPCMessageUnsignedIntArray(IPCMessageType messageType);
    void serialize() override;
    void unserialize() override;

    std::vector<uint32_t> values;
};

/// One text. A payload in which it is not all there leaves #text as it was.
class IPCMessageSimpleString : public IPCMessage {
public:
    explicit IPCMessageSimpleString(IPCMessageType messageType, std::string const& initial = std::string());
    void serialize() override;
    void unserialize() override;

    std::string text;
};

/// A count in 32 bits and that many texts. Texts that are not all there are dropped.
class IPCMessageStringArray : public IPCMessage {
public:
    explicit IPCMessageStringArray(IPCMessageType messageType);
    void serialize() override;
    void unserialize() override;

    std::vector<std::string> strings;
};

/// The subscription of a client: its types in ascending order, 32 bits each, without a count. Only ever sent.
class IPCMessageAllowedMessageList : public IPCMessage {
public:
    explicit IPCMessageAllowedMessageList(std::set<IPCMessageType> const& initial);
    void serialize() override;

    std::set<IPCMessageType> types;
};

/// One byte. A payload of another size leaves #value as it was.
class IPCMessageRecorderStats : public IPCMessage {
public:
    explicit IPCMessageRecorderStats(uint32_t kind = IPC_PAYLOAD_RAW);
    void serialize() override;
    void unserialize() override;

    uint8_t value = 0;
};

/// A record that nobody here interprets, sent in host byte order. A payload of another size leaves it as it was.
class IPCMessagePlayerPlaybackInfo : public IPCMessage {
public:
    struct __attribute__((packed)) Record {
        int32_t first = -1;
        uint16_t second = 0;
        uint8_t rest[24] = {};
    };
    static_assert(sizeof(Record) == 30, "the record is the payload");

    explicit IPCMessagePlayerPlaybackInfo(uint32_t kind = IPC_PAYLOAD_RAW);
    void serialize() override;
    void unserialize() override;

    Record record;
};

struct IPCJSPlayerMediaInfo {
    struct Stream {
        uint32_t number1 = 0;
        uint32_t number2 = 0;
        uint32_t number3 = 0;
        std::string text1;
        std::string text2;
    };

    std::string name;
    bool flag = false;
    uint64_t value64 = 0;
    std::vector<Stream> streams;
};

/// Text, flag in one byte, 64-bit number, stream count in 16 bits (the low bits of the number of streams), all streams.
class IPCMessagePlayerMediaInfo : public IPCMessage {
public:
    explicit IPCMessagePlayerMediaInfo(uint32_t kind = IPC_PAYLOAD_RAW);
    void serialize() override;

    /// @throw std::out_of_range when the payload is cut short; #info then holds what was complete before
    void unserialize() override;

    IPCJSPlayerMediaInfo info;
};

/// Makes the message that a received frame carries.
///
/// The kind picks the class; for IPC_PAYLOAD_RAW and kinds above 5 the type does.
///
/// @param kind     as in the frame, kept in the message also when above 5
/// @param type     as in the frame
/// @param payload  moved into the message
/// @param abandoned  see IPCMessage
/// @return the message with its fields set, never null
/// @throw what the message's unserialize() throws, std::bad_alloc
std::auto_ptr<IPCMessage> makeReceivedMessage(uint8_t kind, uint16_t type, std::vector<char>&& payload,
                                              std::atomic<bool> const* abandoned = nullptr);

#endif
