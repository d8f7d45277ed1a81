#include "cobalt/CobaltManager.h"

#include <stdlib.h>
#include <unistd.h>

#include <set>
#include <typeinfo>

#include "src/common/ByteWriter.h"
#include "src/common/Log.h"
#include "src/common/NoDestructor.h"
#include "src/common/Relaxed.h"

namespace {

char const* const sourceFile = "cobalt/CobaltManager";

enum Line : int {
    LineConnected = 155,
    LineDisconnected = 184,
};

NoDestructor<pthread_helper::mutex> configMutexRoom;
NoDestructor<CobaltManager::Config> configRoom;

/// What the middleware is told: this client is there, respectively has its configuration.
uint32_t const stateReady = 2;
/// Whom to hand control back to: the previous controller.
uint32_t const previousController = 4;

/// @return @p message as what its type asks for. The dynamic_cast would look for derived classes at every key; there are
///         none, so it is left to throw.
/// @throw std::bad_cast when the kind has made something else of it
template <typename Message> Message const& as(IPCMessage const& message)
{
    bool const isExpected = typeid(message) == typeid(Message);
    return isExpected ? static_cast<Message const&>(message) : dynamic_cast<Message const&>(message);
}

uint32_t valueOf(IPCMessage const& message)
{
    return as<IPCMessageUnsignedInt>(message).value;
}

} // namespace

pthread_helper::mutex& CobaltManager::configMutex = configMutexRoom.make();
CobaltManager::Config& CobaltManager::_config = configRoom.make();

CobaltManager::CobaltManager(ZeloCallbacks const& hostCallbacks) : callbacks(hostCallbacks)
{
    if (char const* const code = getenv("ZELO_LANG_CODE")) {
        std::string initial(code); // no allocation under the lock, which host threads wait for
        pthread_helper::guard lock(configMutex);
        _config.language.swap(initial);
    }
    messenger.reset(new IPCMessengerClient);
    // Before the thread, whose first connection may come at once.
    messenger->addHandler(this);
    messenger->clearStopRequest();
    messenger->start(nullptr);
}

CobaltManager::~CobaltManager()
{
    // Ends a start that waits, and its hold.
    closing = true;
    while (holds != 0) {
        usleep(1000); // at most one polling period of waitForConfiguration()
    }
    // No callback from here on.
    messenger->stop();
    messenger->removeHandler(this);
    messenger.reset();
}

bool CobaltManager::waitForConfiguration()
{
    while (!configured) {
        if (closing) {
            return false;
        }
        usleep(50000);
    }
    return true;
}

bool CobaltManager::parseConfig(std::vector<char> const& payload)
{
    bool const parsed = _config.parse(payload);
    if (parsed) {
        configured = true;
    }
    return parsed;
}

void CobaltManager::send(std::auto_ptr<IPCMessage> message)
{
    messenger->pushMessage(message);
}

bool CobaltManager::volumes(unsigned& volume, bool& muted)
{
    volume = loadRelaxed(_config.volume);
    muted = loadRelaxed(_config.muted);
    return true;
}

bool CobaltManager::displaySize(unsigned& width, unsigned& height)
{
    width = loadRelaxed(_config.displayWidth);
    height = loadRelaxed(_config.displayHeight);
    return true;
}

std::string const& CobaltManager::language()
{
    return _config.language;
}

std::string CobaltManager::copyOfLanguage()
{
    pthread_helper::guard lock(configMutex);
    return _config.language;
}

void CobaltManager::forgetTexts()
{
    for (std::string* const text : {&_config.macAddress, &_config.apiMode, &_config.language, &_config.portalUrl,
                                    &_config.auxText1, &_config.auxText2}) {
        std::string forgotten;
        pthread_helper::guard lock(configMutex);
        text->swap(forgotten);
    }
}

void CobaltManager::onConnected()
{
    ZELO_LOG(LogConnection, LineConnected, sourceFile, "Connected IPC!");
    std::set<IPCMessageType> const types = {
        IPC_BROWSER_CONFIG, IPC_UNHANDLED_8, IPC_UNHANDLED_25, IPC_REMOTE_KEY,   IPC_UNHANDLED_27,
        IPC_VOLUME,         IPC_MUTE,        IPC_UNHANDLED_36, IPC_UNHANDLED_42, IPC_APP_LIFECYCLE,
    };
    messenger->setAllowedMessages(types); // the client sends it by itself from the next connection on
    send(std::auto_ptr<IPCMessage>(new IPCMessageAllowedMessageList(types)));
    send(std::auto_ptr<IPCMessage>(new IPCMessage(IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST)));
    send(std::auto_ptr<IPCMessage>(new IPCMessageUnsignedInt(IPC_CLIENT_STATE, stateReady)));
}

void CobaltManager::onDisconnected()
{
    ZELO_LOG(LogConnection, LineDisconnected, sourceFile, "Disconnected IPC");
}

void CobaltManager::onNewMessageReceived(IPCMessage const* message)
{
    switch (message->type) {
    case IPC_BROWSER_CONFIG:
        return onConfiguration(*message);
    case IPC_REMOTE_KEY:
        return onKey(*message);
    case IPC_VOLUME:
        return onVolume(*message);
    case IPC_MUTE:
        return onMute(*message);
    case IPC_APP_LIFECYCLE:
        return onLifecycle(*message);
    default:
        return;
    }
}

void CobaltManager::onConfiguration(IPCMessage const& message)
{
    parseConfig(message.payload);
    // Whatever it held: a middleware waits for the answer.
    send(std::auto_ptr<IPCMessage>(new IPCMessageUnsignedInt(IPC_CONFIG_STATE, stateReady)));
    setVideoWindow(0, 0, 0, 0);
}

void CobaltManager::onKey(IPCMessage const& message)
{
    uint32_t const value = valueOf(message);
    if (callbacks.onKey != nullptr) {
        callbacks.onKey(KeyCodeToSbKey(static_cast<STBCommand>(value & 0xFFFF)), static_cast<uint8_t>(value >> 16));
    }
}

void CobaltManager::onVolume(IPCMessage const& message)
{
    storeRelaxed(_config.volume, valueOf(message));
    if (callbacks.onVolumeChanged != nullptr) {
        callbacks.onVolumeChanged();
    }
}

void CobaltManager::onMute(IPCMessage const& message)
{
    storeRelaxed(_config.muted, valueOf(message) != 0);
    if (callbacks.onVolumeChanged != nullptr) {
        callbacks.onVolumeChanged();
    }
}

void CobaltManager::onLifecycle(IPCMessage const& message)
{
    std::string const& command = as<IPCMessageSimpleString>(message).text;
    if (command == "onpause" && callbacks.onPause != nullptr) {
        callbacks.onPause();
    } else if (command == "onresume" && callbacks.onResume != nullptr) {
        callbacks.onResume();
    }
}

CobaltManager::VideoWindowRequest::VideoWindowRequest(int x, int y, int width, int height)
    : window(new IPCMessage(IPC_PAYLOAD_RAW, IPC_VIDEO_WINDOW)),
      mode(new IPCMessageSimpleString(IPC_VIDEO_WINDOW_MODE, "box"))
{
    window->payload.reserve(9);
    ByteWriter writer(window->payload);
    for (int const number : {x, y, width, height}) {
        writer.u16(static_cast<uint16_t>(number));
    }
    writer.u8(0);
}

CobaltManager::PreviousControllerRequest::PreviousControllerRequest()
    : message(new IPCMessageUnsignedInt(IPC_PREVIOUS_CONTROLLER, previousController))
{
}

void CobaltManager::setVideoWindow(VideoWindowRequest&& request)
{
    send(std::auto_ptr<IPCMessage>(request.window.release()));
    send(std::auto_ptr<IPCMessage>(request.mode.release()));
}

void CobaltManager::setVideoWindow(int x, int y, int width, int height)
{
    setVideoWindow(VideoWindowRequest(x, y, width, height));
}

void CobaltManager::requestPreviousController(PreviousControllerRequest&& request)
{
    send(std::auto_ptr<IPCMessage>(request.message.release()));
}

void CobaltManager::requestPreviousController()
{
    requestPreviousController(PreviousControllerRequest());
}
