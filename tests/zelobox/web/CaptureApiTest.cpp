#include "zelobox/web/CaptureApi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

using namespace zelobox;
using testing::HasSubstr;

namespace {

TraceRecord recordOf(int64_t seconds, TraceRecord::Event event)
{
    TraceRecord record;
    record.time = seconds * 1000000;
    record.connection = 1;
    record.event = event;
    return record;
}

TraceRecord volumeAt(int64_t seconds, uint32_t volume)
{
    TraceRecord record = recordOf(seconds, TraceRecord::Event::Frame);
    record.frame = frameOf(IPCMessageUnsignedInt(IPC_VOLUME, volume));
    return record;
}

Json get(CaptureApi& api, std::string const& path, std::map<std::string, std::string> const& query = {})
{
    PageAnswer const answer = api.answer({"GET", path, query, ""});
    EXPECT_EQ(200, answer.status) << answer.body;
    return Json::parse(answer.body);
}

} // namespace

TEST(CaptureApi, KnowsTheStateAtEachRecordAndTime)
{
    std::vector<TraceRecord> records = {recordOf(1, TraceRecord::Event::Connected)};
    for (uint32_t i = 2; i <= 5000; ++i) {
        records.push_back(volumeAt(i, i));
    }
    records.push_back(recordOf(6000, TraceRecord::Event::Disconnected));
    CaptureApi api(records, "trace.pcapng");
    for (uint32_t const serial : {2U, 1999U, 2000U, 2001U, 2002U, 4000U, 4001U, 5000U}) {
        Json const state = get(api, "/api/state", {{"serial", std::to_string(serial)}});
        EXPECT_EQ(serial, state["middleware"]["volume"]);
        EXPECT_EQ(1U, state["clients"].size());
        Json const between = get(api, "/api/state", {{"time", std::to_string(serial) + "500000"}});
        EXPECT_EQ(serial, between["capture"]["serial"]);
        EXPECT_EQ(serial, between["middleware"]["volume"]);
    }
    EXPECT_EQ(0, get(api, "/api/state", {{"time", "5"}})["capture"]["serial"]);
    Json const last = get(api, "/api/state");
    EXPECT_EQ(0U, last["clients"].size());
    EXPECT_EQ(R"({"name":"trace.pcapng","records":5001,"from":1.0,"to":6000.0,"serial":5001})", last["capture"].dump());
}

TEST(CaptureApi, HasTheClientsOfAFileThatWasBegunLate)
{
    TraceRecord list = recordOf(7, TraceRecord::Event::Frame);
    list.direction = Direction::ToMiddleware;
    list.frame = frameOf(IPCMessageAllowedMessageList({IPC_VOLUME}));
    CaptureApi api({list}, "late.jsonl");
    Json const client = get(api, "/api/state")["clients"].at(0);
    EXPECT_EQ(1, client["id"]);
    EXPECT_EQ(7.0, client["since"]);
    EXPECT_EQ(R"(["IPC_VOLUME"])", client["allowed"].dump());
}

TEST(CaptureApi, GivesRecordsInTheOrderOfTheirTimes)
{
    CaptureApi api({volumeAt(3, 3), volumeAt(1, 1), volumeAt(2, 2)}, "mixed.jsonl");
    PageAnswer const answer = api.answer({"GET", "/api/records", {{"first", "2"}, {"count", "10"}}, ""});
    EXPECT_EQ(2, std::count(answer.body.begin(), answer.body.end(), '\n'));
    EXPECT_THAT(answer.body, testing::StartsWith(R"({"serial":2,"time":2.0)"));
    EXPECT_EQ(3, get(api, "/api/record", {{"serial", "3"}})["fields"]["value"]);
}

TEST(CaptureApi, CutsALongRecordUntilItIsAskedFor)
{
    TraceRecord record = recordOf(1, TraceRecord::Event::Frame);
    record.frame = frameOf(IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE, std::string(100000, 'x')));
    CaptureApi api({record}, "long.jsonl");
    PageAnswer const shown = api.answer({"GET", "/api/records", {{"first", "1"}, {"count", "1"}}, ""});
    EXPECT_THAT(shown.body, HasSubstr(R"("cut":true)"));
    EXPECT_LT(shown.body.size(), 10000U);
    EXPECT_EQ(100000U, get(api, "/api/record", {{"serial", "1"}})["fields"]["text"].get<std::string>().size());
}

TEST(CaptureApi, IsReadOnly)
{
    CaptureApi api({}, "trace.pcapng");
    PageAnswer const answer = api.answer({"POST", "/api/key", {}, R"({"key":"Return"})"});
    EXPECT_EQ(405, answer.status);
    EXPECT_EQ("{\"error\":\"trace.pcapng is a capture file: it is read only\"}\n", answer.body);
    EXPECT_EQ(nullptr, api.openStream(""));
}

TEST(CaptureApi, AnswersForAnEmptyFile)
{
    CaptureApi api({}, "empty.jsonl");
    EXPECT_EQ(0, get(api, "/api/state")["capture"]["records"]);
    EXPECT_EQ("", api.answer({"GET", "/api/records", {{"first", "1"}, {"count", "1"}}, ""}).body);
    EXPECT_EQ(400, api.answer({"GET", "/api/record", {{"serial", "1"}}, ""}).status);
    EXPECT_EQ(400, api.answer({"GET", "/api/records", {}, ""}).status);
    EXPECT_EQ(404, api.answer({"GET", "/api/keys", {}, ""}).status);
}
