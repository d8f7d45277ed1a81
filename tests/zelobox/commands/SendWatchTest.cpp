#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/zelobox/Client.h"
#include "tests/zelobox/Program.h"
#include "zelobox/protocol/FrameJson.h"

using program::connectTo;
using program::Ended;
using program::run;
using testing::HasSubstr;
using zelobox::Connection;
using zelobox::Frame;
using zelobox::frameOf;

namespace {

Frame const volume = {IPC_PAYLOAD_UINT32, IPC_VOLUME, {0, 0, 0, 30}};
Frame const state = {IPC_PAYLOAD_UINT32, IPC_CLIENT_STATE, {0, 0, 0, 2}};
Frame const request = {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}};

class SendCommand : public testing::Test {
protected:
    std::string socket() const { return directory.path("messenger"); }

    program::Words words(program::Words all) const
    {
        all.insert(all.end(), {"--socket", socket()});
        return program::command(all);
    }

    program::Directory directory;
};

using WatchCommand = SendCommand;

} // namespace

TEST_F(SendCommand, GivesAMessageToTheClientThatWantsIt)
{
    program::Program send(words({"send", "IPC_VOLUME", "value=30"}));
    ASSERT_TRUE(send.waitForText("waits on " + socket()));
    Connection client = connectTo(socket());
    EXPECT_TRUE(client.isSilentFor(zelobox::Milliseconds(100))) << "it has not subscribed";
    client.send(frameOf(IPCMessageAllowedMessageList({IPC_VOLUME})));
    EXPECT_EQ(volume, client.receive());
    EXPECT_EQ(0, send.wait().status);
}

TEST_F(SendCommand, GivesAMessageToWhoeverComesWhenToldSo)
{
    program::Program send(words({"send", R"({"frame":99,"bytes":"00ff"})", "--unsubscribed"}));
    ASSERT_TRUE(send.waitForText("waits on " + socket()));
    Connection client = connectTo(socket());
    EXPECT_EQ((Frame{IPC_PAYLOAD_RAW, 99, {0, '\xff'}}), client.receive());
    EXPECT_EQ(0, send.wait().status);
}

TEST_F(SendCommand, IsAClientForWhatAMiddlewareTakes)
{
    zelobox::Listener listener(socket());
    program::Program send(words({"send", "IPC_CLIENT_STATE", "value=2"}));
    Connection middleware = listener.accept();
    EXPECT_EQ(state, middleware.receive());
    EXPECT_TRUE(middleware.waitForClose());
    EXPECT_EQ(0, send.wait().status);
    program::Program forced(words({"send", "IPC_VOLUME", "value=30", "--to", "middleware"}));
    Connection again = listener.accept();
    EXPECT_EQ(volume, again.receive());
    EXPECT_EQ(0, forced.wait().status);
}

TEST_F(SendCommand, EndsWithACodeOfItsOwnWhenNobodyComes)
{
    program::Program send(words({"send", "IPC_VOLUME", "value=30", "--timeout", "0.2"}));
    Ended const ended = send.wait();
    EXPECT_EQ(3, ended.status);
    EXPECT_THAT(ended.errors, HasSubstr("\nzelobox send: no client that has subscribed to IPC_VOLUME came to "));
    Ended const nobody = run({"send", "IPC_CLIENT_STATE", "value=2", "--socket", socket()});
    EXPECT_EQ(2, nobody.status);
    EXPECT_THAT(nobody.errors, HasSubstr("zelobox send: nobody listens on " + socket()));
}

TEST_F(SendCommand, SaysWhatIsWrongWithTheMessage)
{
    EXPECT_EQ("zelobox send: there is no message IPC_VOLUM; did you mean IPC_VOLUME?\n",
              run({"send", "IPC_VOLUM", "value=1"}).errors);
    EXPECT_THAT(run({"send", "IPC_VOLUME", "30"}).errors, HasSubstr("\"30\" is no field; expected one like value=30"));
    EXPECT_THAT(run({"send", "IPC_VOLUME", "value=loud"}).errors,
                HasSubstr("field \"value\": expected a whole number"));
    EXPECT_THAT(run({"send", "IPC_VOLUME", "value=1", "text=x"}).errors, HasSubstr("field \"text\": is unknown here"));
}

TEST_F(WatchCommand, PrintsWhatAMiddlewareSendsUntilItIsEnough)
{
    zelobox::Listener listener(socket());
    program::Program watch(words({"watch", "--count", "1", "--ignore", "IPC_MUTE"}));
    Connection middleware = listener.accept();
    EXPECT_EQ(IPC_ALLOWED_MESSAGE_LIST, middleware.receive().type);
    EXPECT_EQ(request, middleware.receive());
    middleware.send({IPC_PAYLOAD_UINT32, IPC_MUTE, {0, 0, 0, 1}});
    middleware.send(volume);
    Ended const ended = watch.wait();
    EXPECT_EQ("   0.000  middleware  1 sends IPC_VOLUME value=30\n", ended.output);
    EXPECT_EQ(0, ended.status);
}

TEST_F(WatchCommand, LooksForNamesAndFields)
{
    zelobox::Listener listener(socket());
    program::Program watch(words({"watch", "IPC_VOLUME", "--field", "value=31", "--count", "1", "--json"}));
    Connection middleware = listener.accept();
    middleware.send({IPC_PAYLOAD_UINT32, IPC_MUTE, {0, 0, 0, 31}});
    middleware.send(volume);
    middleware.send({IPC_PAYLOAD_UINT32, IPC_VOLUME, {0, 0, 0, 31}});
    Ended const ended = watch.wait();
    EXPECT_THAT(ended.output, HasSubstr(R"("name":"IPC_VOLUME","kind":1,"type":39,"fields":{"value":31},"hex":"6d01)"));
    EXPECT_EQ(1, std::count(ended.output.begin(), ended.output.end(), '\n'));
    EXPECT_EQ(0, ended.status);
}

TEST_F(WatchCommand, PrintsWhatHostsSend)
{
    program::Program watch(words({"watch", "--from", "host", "IPC_CLIENT_STATE", "--count", "1"}));
    ASSERT_TRUE(watch.waitForText("waits on " + socket()));
    Connection client = connectTo(socket());
    client.send(request);
    client.send(state);
    EXPECT_EQ("   0.000  library     1 sends IPC_CLIENT_STATE value=2\n", watch.wait().output);
}

TEST_F(WatchCommand, EndsWithItsTime)
{
    zelobox::Listener listener(socket());
    EXPECT_EQ(3, run({"watch", "--timeout", "0.1", "--socket", socket()}).status) << "nothing has come";
    program::Program some(words({"watch", "--timeout", "0.5"}));
    Connection first = listener.accept(); // of the one that has gone
    Connection middleware = listener.accept();
    middleware.send(volume);
    EXPECT_EQ(0, some.wait().status);
    program::Program tooFew(words({"watch", "--timeout", "0.5", "--count", "2"}));
    Connection another = listener.accept();
    another.send(volume);
    EXPECT_EQ(3, tooFew.wait().status);
}

TEST_F(WatchCommand, EndsWithTheMiddlewareAndWithCtrlC)
{
    zelobox::Listener listener(socket());
    program::Program left(words({"watch"}));
    listener.accept().close();
    Ended const ended = left.wait();
    EXPECT_EQ(1, ended.status);
    EXPECT_EQ("zelobox watch: the middleware has closed the connection\n", ended.errors);
    program::Program stopped(words({"watch"}));
    Connection middleware = listener.accept();
    middleware.send(volume);
    EXPECT_TRUE(stopped.waitForText("IPC_VOLUME"));
    stopped.signal(SIGINT);
    EXPECT_EQ(0, stopped.wait().status);
    EXPECT_THAT(run({"watch", "--socket", "/nowhere/messenger"}).errors, HasSubstr("zelobox watch: nobody listens on"));
}
