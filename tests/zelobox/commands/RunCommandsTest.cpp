#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/zelobox/Program.h"

using program::Ended;
using program::run;
using testing::HasSubstr;
using testing::Not;

namespace {

char const volume[] = "6d010027 00000004 0000001e";
char const escape[] = "\033[";

} // namespace

TEST(CommandLine, HelpsWithItselfAndWithACommand)
{
    Ended const all = run({"help"});
    EXPECT_EQ(0, all.status);
    EXPECT_EQ(run({"--help"}).output, all.output);
    EXPECT_TRUE(program::hasInOrder(all.output, {"Usage: zelobox", "demo", "decode", "help", "Exit codes"}));
    EXPECT_EQ(run({"decode", "--help"}).output, run({"help", "decode"}).output);
    EXPECT_THAT(run({"help", "decode"}).output, HasSubstr("Usage: zelobox decode"));
}

TEST(CommandLine, NamesProgramAndCommandAndSuggestsWhatMayBeMeant)
{
    EXPECT_EQ("zelobox: there is no command decdoe; did you mean decode?\n", run({"decdoe"}).errors);
    EXPECT_EQ("zelobox decode: there is no option --form; did you mean --from?\n",
              run({"decode", "-", "--form", "hex"}).errors);
    EXPECT_EQ("zelobox help: there is no command decdoe; did you mean decode?\n", run({"help", "decdoe"}).errors);
    EXPECT_EQ("zelobox watch: messages: there is no message IPC_VOLUM; did you mean IPC_VOLUME?; \"zelobox help "
              "watch\" says more\n",
              run({"watch", "IPC_VOLUM"}).errors);
    for (program::Words const& words : {program::Words{"decdoe"}, {"decode", "-", "--form"}, {"help", "x"}, {"x"}}) {
        EXPECT_EQ(2, run(words).status);
    }
}

TEST(CommandLine, SaysWhereToLookWhenNothingIsSimilar)
{
    EXPECT_EQ("zelobox: there is no command qqqqqq; \"zelobox help\" says what there is\n", run({"qqqqqq"}).errors);
    EXPECT_EQ("zelobox decode: there is no option --qqqqqq; \"zelobox help decode\" says what there is\n",
              run({"decode", "-", "--qqqqqq"}).errors);
    EXPECT_EQ("zelobox replay: nothing is to be done with two; \"zelobox help replay\" says what there is\n",
              run({"replay", "one", "two"}).errors);
}

TEST(CommandLine, ColoursWhenToldSo)
{
    EXPECT_THAT(run({"decode", "-"}, volume).output, Not(HasSubstr(escape))) << "it is no terminal";
    EXPECT_THAT(run({"decode", "-", "--color", "always"}, volume).output, HasSubstr(escape));
    EXPECT_THAT(run({"--color", "always", "decode", "-"}, volume).output, HasSubstr(escape));
    EXPECT_EQ(2, run({"decode", "-", "--color", "sometimes"}).status);
}

TEST(CommandLine, ColoursNoTerminalThatDoesNotWantIt)
{
#ifdef ZELO_EMULATED
    GTEST_SKIP() << "a shell of this machine cannot start a program for a box";
#endif
    // script(1) gives it a terminal.
    auto const onTerminal = [](std::string const& settings) {
        std::string const command =
            "echo '" + std::string(volume) + "' | env " + settings + " " ZELOBOX_PROGRAM " decode -";
        program::Program script({"script", "--quiet", "--return", "--command", command, "/dev/null"});
        return script.wait().output;
    };
    EXPECT_THAT(onTerminal("-u NO_COLOR TERM=xterm"), HasSubstr(escape));
    EXPECT_THAT(onTerminal("NO_COLOR=1 TERM=xterm"), Not(HasSubstr(escape)));
    EXPECT_THAT(onTerminal("-u NO_COLOR TERM=dumb"), Not(HasSubstr(escape)));
}

TEST(CommandLine, MakesWhatComesFromOutsideHarmless)
{
    // A text with a newline, the single-character CSI, and a mark that reverses the direction of writing.
    std::string const text = "6d040031 0000000d 00000008 61 0a c29b e280ae 62 00";
    Ended const decoded = run({"decode", "-"}, text);
    EXPECT_THAT(decoded.output, HasSubstr("\\u009b"));
    EXPECT_THAT(decoded.output, HasSubstr("\\u202e"));
    EXPECT_THAT(decoded.output, Not(HasSubstr("\xC2\x9B")));
    EXPECT_THAT(decoded.output, Not(HasSubstr("\xE2\x80\xAE")));
    EXPECT_EQ(1, std::count(decoded.output.begin(), decoded.output.end(), '\n'));
    std::string const reason = R"({"time":1,"connection":1,"event":"disconnected","reason":"a\nb)"
                               "\xC2\x9B"
                               R"(2J"})"
                               "\n";
    Ended const gone = run({"decode", "-"}, reason);
    EXPECT_EQ("   0.000  middleware  connection 1 disconnected: a\\u000ab\\u009b2J\n", gone.output);
    Ended const wrong = run({"decode", "/nowhere/\xC2\x9B"
                                       "2J\xE2\x80\xAE"});
    EXPECT_EQ("zelobox decode: /nowhere/\\u009b2J\\u202e: cannot be read: No such file or directory\n", wrong.errors);
}

TEST(Completion, OffersCommandsOptionsAndTheirValues)
{
    EXPECT_THAT(run({"complete", "--", "de"}).output, "demo\ndecode\n");
    EXPECT_THAT(run({"complete", "--", ""}).output, Not(HasSubstr("complete")));
    EXPECT_EQ("--from\n", run({"complete", "--", "decode", "--fr"}).output);
    EXPECT_EQ("pcapng\n", run({"complete", "--", "decode", "--from", "pc"}).output);
    EXPECT_EQ("always\n", run({"complete", "--", "decode", "--color", "al"}).output);
    EXPECT_EQ("record\nreplay\n", run({"complete", "--", "help", "re"}).output);
    EXPECT_EQ("", run({"complete", "--", "decode", "x"}).output) << "the shell offers files";
}

TEST(Completion, WorksInEachShell)
{
#ifdef ZELO_EMULATED
    GTEST_SKIP() << "a shell of this machine cannot start a program for a box";
#endif
    std::string const directory = ZELOBOX_COMPLETION;
    program::Program bash({ZELOBOX_COMPLETION_BASH, directory + "/zelobox.bash", ZELOBOX_PROGRAM, "decode", "--dir"});
    EXPECT_EQ("--direction\n", bash.wait().output);
    program::Program fish(
        {"fish", "--no-config", "--command",
         "source " + directory + "/zelobox.fish; complete --do-complete '" ZELOBOX_PROGRAM " decode --dir'"});
    EXPECT_THAT(fish.wait().output, HasSubstr("--direction\n"));
    program::Program zsh({"zsh", "--no-rcs", "-c",
                          "compadd() { print -l -- ${(P)2}; }; _files() { print files; }; words=(" ZELOBOX_PROGRAM
                          " decode --dir); CURRENT=3; source " +
                              directory + "/_zelobox"});
    EXPECT_EQ("--direction\n", zsh.wait().output);
}
