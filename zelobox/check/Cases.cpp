#include "zelobox/check/Case.h"
#include "zelobox/protocol/FrameJson.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

namespace {

Milliseconds const quietTime(200);
std::set<IPCMessageType> const onlyConfig = {IPC_BROWSER_CONFIG};

void append(std::vector<char>& bytes, Frame const& frame)
{
    std::vector<char> const more = bytesOf(frame);
    bytes.insert(bytes.end(), more.begin(), more.end());
}

/// @throw WrongFrames if there are findings that @p isWanted and that no case before has reported
void requireNone(CheckSetting const& setting, std::function<bool(Finding const&)> const& isWanted)
{
    Findings found = setting.log->takeErrors(isWanted);
    if (!found.empty()) {
        throw WrongFrames(std::move(found));
    }
}

bool isOfConfiguration(Finding const& finding)
{
    return finding.message == messageName(IPC_BROWSER_CONFIG);
}

/// A client that comes after something bad has happened is served as ever.
void requireService(CheckSetting const& setting)
{
    setting.meet(onlyConfig);
}

/// @return what the middleware sends by itself. @throw NotJudged
Frame awaitOwnMessage(CheckSetting const& setting, CheckClient& client, char const* id)
{
    setting.ask(std::string("for ") + id + ": press a key at the box, or change the volume");
    auto const end = std::chrono::steady_clock::now() + setting.patience;
    while (std::optional<Frame> frame =
               client.next(std::chrono::ceil<Milliseconds>(end - std::chrono::steady_clock::now()))) {
        if (frame->type != IPC_BROWSER_CONFIG) {
            return *frame;
        }
    }
    throw NotJudged("nothing was sent");
}

void judgeConfiguration(CheckSetting const& setting)
{
    setting.meet(typesToHost());
}

void judgeFraming(CheckSetting const& setting)
{
    CheckClient client = setting.meet(typesToHost());
    while (client.next(quietTime)) {
    }
    if (std::string const rest = client.unfinished(); !rest.empty()) {
        throw Unexpected("the last frame is not all there: " + rest);
    }
}

void judgePayload(CheckSetting const& setting)
{
    CheckClient client = setting.meet(onlyConfig);
    while (client.next(quietTime)) { // it may be sent what it has not subscribed to
    }
    requireNone(setting, [](Finding const& finding) {
        return isOfConfiguration(finding) && finding.rule != Rule::KindOfTheType;
    });
}

void judgeKind(CheckSetting const& setting)
{
    setting.meet(onlyConfig);
    requireNone(setting, [](Finding const& finding) {
        return isOfConfiguration(finding) && finding.rule == Rule::KindOfTheType;
    });
}

void judgeMessages(CheckSetting const& setting)
{
    CheckClient client = setting.meet(typesToHost());
    if (!setting.log->hasEvents()) {
        awaitOwnMessage(setting, client, "messages");
    }
    auto const end = std::chrono::steady_clock::now() + setting.patience;
    while (std::chrono::steady_clock::now() < end && client.next(quietTime)) {
    }
    requireNone(setting, [](Finding const& finding) {
        return !isOfConfiguration(finding) && finding.rule != Rule::KeepsToTheList;
    });
}

void judgeSecondRequest(CheckSetting const& setting)
{
    setting.meet(onlyConfig).configuration();
}

void judgeRepeatedList(CheckSetting const& setting)
{
    CheckClient client = setting.connect();
    client.subscribe(onlyConfig);
    client.subscribe(onlyConfig);
    client.configuration();
}

void judgeUnknownType(CheckSetting const& setting)
{
    CheckClient client = setting.meet(onlyConfig);
    client.send({IPC_PAYLOAD_RAW, UINT16_MAX, {1, 2, 3}});
    client.configuration();
}

void judgeSingleBytes(CheckSetting const& setting)
{
    CheckClient client = setting.connect();
    std::vector<char> bytes;
    append(bytes, frameOf(IPCMessageAllowedMessageList(onlyConfig)));
    append(bytes, {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    client.sendSingly(bytes);
    client.awaitConfiguration();
}

void judgeTwoClients(CheckSetting const& setting)
{
    CheckClient first = setting.meet(onlyConfig);
    CheckClient second = setting.meet(onlyConfig);
    first.configuration();
    second.configuration();
}

void judgeAllowedList(CheckSetting const& setting)
{
    CheckClient everything = setting.meet(typesToHost());
    CheckClient little = setting.meet(onlyConfig);
    awaitOwnMessage(setting, everything, "allowed-list");
    little.configuration(); // comes after whatever was sent to both
    requireNone(setting, [](Finding const& finding) { return finding.rule == Rule::KeepsToTheList; });
}

void judgeVanishingClient(CheckSetting const& setting)
{
    setting.meet(onlyConfig).sendBytes({'m', 1, 0, 38, 0, 0, 0, 4, 0});
    requireService(setting);
}

void judgeGarbage(CheckSetting const& setting)
{
    setting.meet(onlyConfig).sendBytes(std::vector<char>(64, 'x'));
    requireService(setting);
}

void judgeLyingLength(CheckSetting const& setting)
{
    CheckClient liar = setting.meet(onlyConfig);
    liar.sendBytes({'m', 1, 0, 38, '\xFF', '\xFF', '\xFF', '\xFB', 0});
    requireService(setting);
}

void judgeSlowReader(CheckSetting const& setting)
{
    CheckClient slow = setting.meet(onlyConfig);
    CheckClient other = setting.meet(onlyConfig);
    std::vector<char> requests;
    for (int i = 0; i < 4000; ++i) { // their answers are more than a socket holds
        append(requests, {IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    }
    try {
        slow.sendBytes(requests);
        slow.waitUntilTaken(setting.timeout); // otherwise the other one may come before them
    } catch (PeerTimeout const&) {
        // A middleware need not read what it has no room to answer.
    }
    other.configuration();
}

void judgeReconnects(CheckSetting const& setting)
{
    for (int i = 1; i <= 100; ++i) {
        try {
            setting.meet(onlyConfig);
        } catch (PeerError const& error) {
            throw Unexpected("connection " + std::to_string(i) + ": " + error.what());
        }
    }
}

void judgeFrames(CheckSetting const& setting)
{
    requireNone(setting, [](Finding const&) { return true; });
}

void judgePlausibility(CheckSetting const& setting)
{
    if (!setting.log->warnings().empty()) {
        throw WrongFrames(setting.log->warnings());
    }
}

} // namespace

WrongFrames::WrongFrames(Findings all) : Unexpected(textOf(all)), findings(std::move(all)) {}

CheckClient CheckSetting::meet(std::set<IPCMessageType> const& types) const
{
    CheckClient client = connect();
    client.subscribe(types);
    client.configuration();
    return client;
}

bool isAboutTheRun(CheckCase const& candidate)
{
    return candidate.judge == judgeFrames || candidate.judge == judgePlausibility;
}

namespace {

std::vector<CheckCase> casesOfOneClient()
{
    using R = Rule;
    return {
        {"configuration",
         "a configuration request is answered by an IPC_BROWSER_CONFIG",
         {},
         {R::Listens, R::AnswersEveryRequest},
         judgeConfiguration},
        {"framing", "whatever comes is whole frames", {"configuration"}, {R::WholeFrames}, judgeFraming},
        {"payload", "the configuration decodes wholly", {"framing"}, {R::WholePayload, R::CountedTexts}, judgePayload},
        {"kind", "the configuration has the payload kind 0", {"framing"}, {R::KindOfTheType}, judgeKind},
        {"messages",
         "what the box sends by itself has the kind and the payload of its type",
         {"framing"},
         {R::KindOfTheType, R::WholePayload, R::Texts},
         judgeMessages},
        {"second-request",
         "a second request is answered too",
         {"framing"},
         {R::AnswersEveryRequest},
         judgeSecondRequest},
        {"repeated-list", "an allowed list may come twice", {"framing"}, {R::TakesAList}, judgeRepeatedList},
        {"unknown-type",
         "a message of an unknown type is passed over",
         {"second-request"},
         {R::PassesOverTypes},
         judgeUnknownType},
        {"single-bytes", "frames may come byte by byte", {"framing"}, {R::TakesSplitFrames}, judgeSingleBytes},
    };
}

std::vector<CheckCase> casesOfSeveralClients()
{
    using R = Rule;
    return {
        {"two-clients", "two clients are served at once", {"second-request"}, {R::ManyClients}, judgeTwoClients},
        {"allowed-list",
         "nothing comes that was not subscribed to",
         {"two-clients"},
         {R::KeepsToTheList},
         judgeAllowedList},
        {"vanishing-client",
         "a client may go in the middle of a frame",
         {"framing"},
         {R::OutlivesClients},
         judgeVanishingClient},
        {"garbage", "a client that sends no frames harms nobody else", {"framing"}, {R::BearsGarbage}, judgeGarbage},
        {"lying-length",
         "a length of nearly 4 GiB harms nobody else",
         {"two-clients"},
         {R::BearsLyingLengths},
         judgeLyingLength},
        {"slow-reader",
         "a client that does not read holds nobody else up",
         {"two-clients"},
         {R::BearsSlowReaders},
         judgeSlowReader},
        {"reconnects",
         "a hundred connections, one after the other",
         {"framing"},
         {R::TakesReconnects},
         judgeReconnects},
    };
}

std::vector<CheckCase> casesOfTheRun()
{
    using R = Rule;
    return {
        {"library-start",
         "libzelocobalt.so starts, has a display size, and stops",
         {"payload", "single-bytes"},
         {R::LetsTheLibraryStart},
         judgeLibraryStart},
        {framesCase,
         "whatever else came in the run has the kind and the payload of its type",
         {},
         {R::KindOfTheType, R::WholePayload, R::CountedTexts, R::Texts, R::KeepsToTheList},
         judgeFrames},
        {plausibleCase,
         "what came is what a box would say",
         {},
         {R::PlausibleSizes, R::PlausibleVolume, R::LifeCycleTexts, R::CommandsWithKeys, R::Utf8, R::LanguageTag,
          R::NothingUnread},
         judgePlausibility},
    };
}

} // namespace

std::vector<CheckCase> const& checkCases()
{
    static std::vector<CheckCase> const cases = [] {
        std::vector<CheckCase> all = casesOfOneClient();
        for (auto const& more : {casesOfSeveralClients(), casesOfTheRun()}) {
            all.insert(all.end(), more.begin(), more.end());
        }
        return all;
    }();
    return cases;
}

} // namespace zelobox
