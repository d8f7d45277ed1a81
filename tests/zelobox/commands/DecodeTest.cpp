#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/zelobox/Program.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/TraceFile.h"

using program::Ended;
using program::run;
using testing::HasSubstr;

namespace {

char const volume[] = "6d010027 00000004 0000001e";
char const trace[] =
    R"({"time":1795219200.012345,"connection":1,"event":"connected"}
{"time":1795219200.013,"connection":1,"direction":"toMiddleware","name":"IPC_CONFIG_REQUEST","kind":0,"type":23,"fields":{},"hex":"6d00001700000000"}
{"time":1795219200.013,"connection":1,"direction":"toHost","name":"IPC_VOLUME","kind":1,"type":39,"fields":{"value":30},"hex":"6d010027000000040000001e"}
{"time":1795219200.5,"connection":1,"direction":"toMiddleware","event":"raw","hex":"00ff"}
{"time":1795219201.2,"connection":1,"event":"disconnected","reason":"closed by the client"}
)";
char const traceText[] = "   0.000  middleware  connection 1 connected\n"
                         "   0.001  library     1 sends IPC_CONFIG_REQUEST\n"
                         "   0.001  middleware  1 sends IPC_VOLUME value=30\n"
                         "   0.488  library     connection 1 raw bytes 00ff\n"
                         "   1.188  middleware  connection 1 disconnected: closed by the client\n";

std::string bytes(std::string const& hex)
{
    std::vector<char> const all = zelobox::bytesOfHex(hex);
    return {all.begin(), all.end()};
}

void expectWell(std::string const& output, Ended const& ended)
{
    EXPECT_EQ(output, ended.output);
    EXPECT_EQ("", ended.errors);
    EXPECT_EQ(0, ended.status);
}

} // namespace

TEST(DecodeCommand, PrintsATrace)
{
    program::Directory const directory;
    expectWell(traceText, run({"decode", directory.file("trace", trace)}));
    expectWell(traceText, run({"decode", "-"}, trace));
}

TEST(DecodeCommand, ConvertsThereAndBackWithoutLoss)
{
    program::Directory const directory;
    std::string const packets = directory.path("trace.pcapng");
    std::string const lines = directory.path("trace.jsonl");
    expectWell("", run({"decode", directory.file("trace", trace), "-o", packets}));
    EXPECT_EQ("\x0A\x0D\x0D\x0A", zelobox::contentsOf(packets).substr(0, 4));
    expectWell("", run({"decode", packets, "-o", lines}));
    EXPECT_EQ(trace, zelobox::contentsOf(lines));
    expectWell(trace, run({"decode", packets, "--to", "jsonl"}));
    expectWell(traceText, run({"decode", "--from", "pcapng", packets, "--to", "text"}));
    expectWell(zelobox::contentsOf(packets), run({"decode", "-", "--to", "pcapng"}, trace));
}

TEST(DecodeCommand, ReadsBytesAndHexadecimalText)
{
    std::string const text = "   0.000  middleware  1 sends IPC_VOLUME value=30\n";
    expectWell(text, run({"decode", "-"}, bytes(volume)));
    expectWell(text, run({"decode", "-"}, volume));
    expectWell(text, run({"decode", "-"}, "# the volume\n6D:01:00:27 # header\n00 00 00 04\r\n0000 001E\n"));
    expectWell(text, run({"decode", "--from", "hex", "-"}, volume));
    expectWell("", run({"decode", "-"}, ""));
}

TEST(DecodeCommand, TellsTheDirectionFromTheFirstKnownMessage)
{
    std::string const unknown = "6d010063 00000004 00000001 ";
    EXPECT_THAT(run({"decode", "-"}, unknown + volume).output, HasSubstr("middleware  1 sends type 99 value=1\n"));
    EXPECT_THAT(run({"decode", "-"}, unknown + "6d000017 00000000").output, HasSubstr("library     1 sends type 99"));
    EXPECT_THAT(run({"decode", "-", "--direction", "toMiddleware"}, volume).output,
                HasSubstr("library     1 sends IPC_V"));
}

TEST(DecodeCommand, KeepsWhatIsNoFrameAndSaysWhereItWas)
{
    Ended const ended = run({"decode", "-"}, bytes(std::string(volume) + "0011" + volume + "6d0100"));
    EXPECT_EQ("   0.000  middleware  1 sends IPC_VOLUME value=30\n"
              "   0.000  middleware  connection 1 raw bytes 0011\n"
              "   0.000  middleware  1 sends IPC_VOLUME value=30\n"
              "   0.000  middleware  connection 1 raw bytes 6d0100\n",
              ended.output);
    EXPECT_EQ("zelobox decode: the standard input: 2 bytes at offset 12 are no frame\n"
              "zelobox decode: the standard input: 3 bytes at offset 26 are no frame\n",
              ended.errors);
    EXPECT_EQ(1, ended.status);
}

TEST(DecodeCommand, LeavesALineOfBadTextOutAndNamesIt)
{
    Ended const half = run({"decode", "-"}, "6d01\n6d0\n0027 00000004\n0000001e\n");
    EXPECT_EQ("zelobox decode: the standard input line 2: \"6d0\" has half a byte\n", half.errors);
    EXPECT_EQ(1, half.status);
    EXPECT_THAT(half.output, HasSubstr("sends IPC_VOLUME value=30\n"));
    EXPECT_THAT(run({"decode", "-"}, "6d01\n0x27\n").errors, HasSubstr("line 2: \"0x27\" is not hexadecimal"));
}

TEST(DecodeCommand, LeavesABadRecordOutAndReadsTheRest)
{
    Ended const ended = run({"decode", "-"}, "{\"time\":1}\n" + std::string(trace));
    EXPECT_EQ(traceText, ended.output);
    EXPECT_EQ("zelobox decode: the standard input line 1: field \"connection\": is missing\n", ended.errors);
    EXPECT_EQ(1, ended.status);
}

TEST(DecodeCommand, LeavesABadPacketOutAndReadsTheRest)
{
    program::Directory const directory;
    std::string packets = run({"decode", "-", "--to", "pcapng"}, trace).output;
    size_t const volumeAt = packets.find(bytes(volume));
    ASSERT_NE(std::string::npos, volumeAt);
    packets[volumeAt + 7] = 5; // the frame is longer than its packet
    Ended const ended = run({"decode", "-"}, packets);
    EXPECT_TRUE(program::hasInOrder(ended.output, {"connected\n", "IPC_CONFIG_REQUEST", "raw bytes 00ff\n"}));
    EXPECT_THAT(ended.errors, HasSubstr(": the packet is not one whole frame\n"));
    EXPECT_EQ(1, ended.status);
}

TEST(DecodeCommand, FindsTheNextPacketBehindALengthThatMakesNoSense)
{
    std::string packets = run({"decode", "-", "--to", "pcapng"}, trace).output;
    size_t const requestAt = packets.find(bytes("6d00001700000000"));
    size_t const lengthAt = requestAt - 32; // a header of 28 bytes and one of 8 stand between block and frame
    packets[lengthAt + 3] = 3;
    Ended const ended = run({"decode", "-"}, packets);
    EXPECT_THAT(ended.errors, HasSubstr(": no block has the length 3\n"));
    EXPECT_TRUE(program::hasInOrder(ended.output, {"connected\n", "sends IPC_VOLUME value=30\n", "raw bytes 00ff\n"}));
    EXPECT_EQ(1, ended.status);
    packets[lengthAt] = 1;
    packets[lengthAt + 3] = 0;
    Ended const longer = run({"decode", "-"}, packets);
    EXPECT_THAT(longer.errors, HasSubstr(": the file is cut short\n")) << "it may be";
    EXPECT_TRUE(program::hasInOrder(longer.output, {"connected\n", "sends IPC_VOLUME value=30\n", "raw bytes 00ff\n"}));
}

TEST(DecodeCommand, SaysTheSameOfManyLinesOnceOnly)
{
    std::string lines;
    for (int i = 0; i < 30; ++i) {
        lines += "{\n";
    }
    EXPECT_TRUE(program::hasInOrder(run({"decode", "-"}, lines).errors,
                                    {"line 20: is no JSON", "\nzelobox decode: 10 more of the kind\n"}));
}

TEST(DecodeCommand, ReadsWhatGzipHasPacked)
{
    program::Directory const directory;
    std::string const file = directory.file("trace", trace);
    program::Program gzip({"gzip", "--keep", file});
    ASSERT_EQ(0, gzip.wait().status);
#ifdef ZELO_EMULATED // a program for a box has nothing to unpack with
    EXPECT_THAT(run({"decode", file + ".gz"}).errors,
                HasSubstr("is packed, and this program cannot unpack; use gunzip\n"));
#else
    expectWell(traceText, run({"decode", file + ".gz"}));
    std::string packed = zelobox::contentsOf(file + ".gz");
    expectWell(std::string(trace) + trace, run({"decode", "-", "--to", "jsonl"}, packed + packed));
    packed[packed.size() / 2] ^= 0x55;
    EXPECT_THAT(run({"decode", "-"}, packed).errors, HasSubstr("what gzip has packed is damaged\n"));
#endif
}

TEST(DecodeCommand, ReadsTheFormatBeforePcapng)
{
    // Two packets of link type 147, little-endian, with microseconds, and one that was cut short.
    std::string const packet = "01000000 00000001 6d010027000000040000001e";
    std::string const head = "d4c3b2a1 0200 0400 00000000 00000000 ffff0000 93000000";
    std::string const capture = head + " 00000000 00000000 14000000 14000000" + packet +
                                "01000000 20a10700 14000000 14000000" + packet + "01000000 00000000 14000000 15000000" +
                                packet;
    Ended const ended = run({"decode", "-"}, bytes(capture));
    EXPECT_EQ("   0.000  middleware  1 sends IPC_VOLUME value=30\n"
              "   1.500  middleware  1 sends IPC_VOLUME value=30\n",
              ended.output);
    EXPECT_EQ("zelobox decode: the standard input at offset 96: the packet is cut short\n", ended.errors);
    EXPECT_THAT(run({"decode", "-"}, bytes("a1b2c3d4 0002 0004 00000000 00000000 0000ffff 00000001")).errors,
                HasSubstr("the link type is 1, expected 147"));
}

TEST(DecodeCommand, PrintsEachRecordAsItComes)
{
    for (std::string const& piece : {std::string(trace), bytes(volume)}) {
        program::Program decode(program::command({"decode", "-"}));
        decode.write(piece);
        EXPECT_TRUE(decode.waitForText("sends IPC_VOLUME value=30\n")) << "before the end of the input";
        decode.closeInput();
        EXPECT_EQ(0, decode.wait().status);
    }
}

TEST(DecodeCommand, DoesAsItIsToldAboutTheFormat)
{
    EXPECT_THAT(run({"decode", "--from", "raw", "-"}, trace).errors, HasSubstr("bytes at offset 0 are no frame"));
    EXPECT_THAT(run({"decode", "--from", "pcapng", "-"}, trace).errors, HasSubstr("the standard input at offset 0: "));
    EXPECT_THAT(run({"decode", "--from", "jsonl", "-"}, volume).errors, HasSubstr("line 1: is no JSON"));
    Ended const mistyped = run({"decode", "--to", "jsnol", "-"});
    EXPECT_EQ(2, mistyped.status);
    EXPECT_THAT(mistyped.errors, HasSubstr("--to: jsnol not in {jsonl,pcapng,text}"));
}

TEST(DecodeCommand, SaysWhatItCannotReadOrWrite)
{
    program::Directory const directory;
    std::string const in = directory.file("trace", trace);
    Ended const missing = run({"decode", "/nowhere/trace"});
    EXPECT_EQ(2, missing.status);
    EXPECT_EQ("zelobox decode: /nowhere/trace: cannot be read: No such file or directory\n", missing.errors);
    EXPECT_EQ("zelobox decode: /tmp: cannot be read: Is a directory\n", run({"decode", "/tmp"}).errors);
    EXPECT_THAT(run({"decode", in, "-o", "/nowhere/x"}).errors, HasSubstr("/nowhere/x: cannot be written"));
    for (char const* const format : {"text", "jsonl", "pcapng"}) {
        Ended const full = run({"decode", in, "-o", "/dev/full", "--to", format});
        EXPECT_EQ(2, full.status);
        EXPECT_THAT(full.errors, HasSubstr("cannot be written: No space left on device\n"));
    }
    EXPECT_EQ(2, run({"decode"}).status);
}

TEST(DecodeCommand, HelpsWithExamples)
{
    Ended const ended = run({"decode", "--help"});
    EXPECT_EQ(0, ended.status);
    EXPECT_TRUE(program::hasInOrder(ended.output, {"Usage: zelobox decode", "Examples:", "zelobox decode"}));
}
