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
                         "   0.001  library     sends IPC_CONFIG_REQUEST\n"
                         "   0.001  middleware  sends IPC_VOLUME value=30\n"
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
    std::string const text = "   0.000  middleware  sends IPC_VOLUME value=30\n";
    expectWell(text, run({"decode", "-"}, bytes(volume)));
    expectWell(text, run({"decode", "-"}, volume));
    expectWell(text, run({"decode", "-"}, "# the volume\n6D:01:00:27 # header\n00 00 00 04\r\n0000 001E\n"));
    expectWell(text, run({"decode", "--from", "hex", "-"}, volume));
    expectWell("", run({"decode", "-"}, ""));
}

TEST(DecodeCommand, TellsTheDirectionFromTheFirstKnownMessage)
{
    std::string const unknown = "6d010063 00000004 00000001 ";
    EXPECT_THAT(run({"decode", "-"}, unknown + volume).output, HasSubstr("middleware  sends type 99 value=1\n"));
    EXPECT_THAT(run({"decode", "-"}, unknown + "6d000017 00000000").output, HasSubstr("library     sends type 99"));
    EXPECT_THAT(run({"decode", "-", "--direction", "toMiddleware"}, volume).output,
                HasSubstr("library     sends IPC_V"));
}

TEST(DecodeCommand, KeepsWhatIsNoFrameAndSaysWhereItWas)
{
    Ended const ended = run({"decode", "-"}, bytes(std::string(volume) + "0011" + volume + "6d0100"));
    EXPECT_EQ("   0.000  middleware  sends IPC_VOLUME value=30\n"
              "   0.000  middleware  connection 1 raw bytes 0011\n"
              "   0.000  middleware  sends IPC_VOLUME value=30\n"
              "   0.000  middleware  connection 1 raw bytes 6d0100\n",
              ended.output);
    EXPECT_EQ("zelobox: the standard input: 2 bytes at offset 12 are no frame\n"
              "zelobox: the standard input: 3 bytes at offset 26 are no frame\n",
              ended.errors);
    EXPECT_EQ(1, ended.status);
}

TEST(DecodeCommand, NamesTheLineOfBadText)
{
    Ended const half = run({"decode", "-"}, "6d01\n6d0\n");
    EXPECT_EQ("zelobox: the standard input line 2: \"6d0\" has half a byte\n", half.errors);
    EXPECT_EQ(2, half.status);
    EXPECT_THAT(run({"decode", "-"}, "6d01\n0x27\n").errors, HasSubstr("line 2: \"0x27\" is not hexadecimal"));
}

TEST(DecodeCommand, PrintsATraceUpToItsFirstBadLine)
{
    Ended const ended = run({"decode", "-"}, std::string(trace) + "{\"time\":1}\n");
    EXPECT_EQ(traceText, ended.output);
    EXPECT_EQ("zelobox: the standard input line 6: field \"connection\": is missing\n", ended.errors);
    EXPECT_EQ(2, ended.status);
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
    EXPECT_EQ("zelobox: /nowhere/trace: cannot be read: No such file or directory\n", missing.errors);
    EXPECT_EQ("zelobox: /tmp: cannot be read: Is a directory\n", run({"decode", "/tmp"}).errors);
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
