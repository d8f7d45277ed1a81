/// @file
/// Runs the check against a middleware that makes one mistake.
#ifndef ZELO_TESTS_DIAGNOSIS_H
#define ZELO_TESTS_DIAGNOSIS_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "src/common/ByteWriter.h"
#include "tests/zelobox/Program.h"
#include "tests/zelobox/check/ScriptedMiddleware.h"
#include "zelobox/protocol/Json.h"

namespace diagnosis {

using Bytes = std::vector<char>;

inline Bytes frame(int kind, int type, Bytes const& payload)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    writer.u8('m');
    writer.u8(static_cast<uint8_t>(kind));
    writer.u16(static_cast<uint16_t>(type));
    writer.u32(static_cast<uint32_t>(payload.size()));
    writer.raw(payload.data(), payload.size());
    return bytes;
}

inline Bytes hex(std::string const& digits)
{
    return zelobox::bytesOfHex(digits);
}

/// A configuration whose parts a test can replace; each is hexadecimal.
struct Config {
    std::string flag = "00";
    std::string address = "02005e102030";
    std::string display = "07800438";
    std::string displayFlag = "00";
    std::string aux = "00000000";
    std::string apiMode = "0003747600";
    std::string language = "0003656e00";
    std::string portalUrl = "0003782f00";
    std::string auxText1 = "000100";
    std::string rest = "01000100"; // auxValue and auxText2

    Bytes bytes() const
    {
        return frame(
            0, 24,
            hex(flag + address + display + displayFlag + aux + apiMode + language + portalUrl + auxText1 + rest));
    }
};

struct Report {
    std::string output;
    int status;
};

/// What the check says of a middleware that sends @p configuration, and @p events.
inline Report check(Bytes const& configuration, Bytes const& events = frame(1, 58, {0, 0, 0, 0}),
                    program::Words more = {})
{
    program::Directory const directory;
    program::ScriptedMiddleware const middleware(directory.path("messenger"), configuration, events);
    more.insert(more.begin(), {"check", "--socket", directory.path("messenger"), "--wait", "1", "--timeout", "2",
                               "--case", "messages", "--case", "payload", "--case", "kind"});
    program::Ended const ended = program::run(more);
    EXPECT_EQ("", ended.errors);
    return {ended.output, ended.status};
}

inline Report checkConfig(std::function<void(Config&)> const& spoil)
{
    Config config;
    spoil(config);
    return check(config.bytes());
}

inline Report checkEvents(Bytes const& events)
{
    return check(Config().bytes(), events);
}

MATCHER_P(FailsWith, text, "")
{
    *result_listener << "status " << arg.status << "\n" << arg.output;
    return arg.status == 1 && arg.output.find(text) != std::string::npos &&
           arg.output.find("FAILED") != std::string::npos;
}

MATCHER_P(WarnsOf, text, "")
{
    *result_listener << "status " << arg.status << "\n" << arg.output;
    return arg.status == 0 && arg.output.find(text) != std::string::npos &&
           arg.output.find("warned   plausible") != std::string::npos;
}

} // namespace diagnosis

#endif
