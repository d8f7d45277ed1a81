/// @file
/// The manager of the link with the middleware, and what the middleware has said about the box.
#ifndef ZELO_COBALT_COBALTMANAGER_H
#define ZELO_COBALT_COBALTMANAGER_H

#include <stdint.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cobalt/ZeloCobalt.h"
#include "inc/private/pthread_helper.h"
#include "inc/private/thread_annotations.h"
#include "src/ipc/IPCMessage.h"
#include "src/ipc/IPCMessengerClient.h"

/// Lives from start to stop: tells the middleware what it wants to hear, keeps the configuration current and calls the
/// host back.
///
/// The handler operations run on the client's thread; everything else may be called from any thread but that one.
class CobaltManager final : public IPCMessengerClient::IPCMessengerHandler {
public:
    /// What the middleware has said. One for the process; a stop does not reset it.
    ///
    /// Host threads read the numbers without a lock, by relaxed atomic operations; the texts are covered by
    /// configMutex. Nobody in the library writes #properties and #auxText3.
    struct Config {
        std::string macAddress; ///< of the first configuration
        uint32_t displayWidth = 0;
        uint32_t displayHeight = 0;
        uint32_t auxWidth = 0;
        uint32_t auxHeight = 0;
        bool displayFlag = false;
        std::string apiMode;
        std::string language;
        std::string portalUrl;
        std::string auxText1;
        uint32_t auxValue = 1;
        std::string auxText2;
        std::map<std::string, std::string> properties;
        std::string auxText3;
        uint32_t volume = 0;
        bool muted = false;

        /// Merges the payload of an IPC_BROWSER_CONFIG message into the record.
        ///
        /// Device address and sizes stay as they were first; the rest follows every message. A payload that is cut
        /// short changes nothing.
        ///
        /// @return true, also for bad data, which is logged
        /// @throw std::bad_alloc; the record is then unchanged
        bool parse(std::vector<char> const& payload) EXCLUDES(configMutex);
    };

    /// The messages of one request, made before any lock is taken: without memory nothing has happened yet.
    struct VideoWindowRequest {
        /// @see ZeloSetVideoWindow()
        VideoWindowRequest(int x, int y, int width, int height);

        std::unique_ptr<IPCMessage> window;
        std::unique_ptr<IPCMessage> mode;
    };
    struct PreviousControllerRequest {
        PreviousControllerRequest();

        std::unique_ptr<IPCMessage> message;
    };

    /// Keeps a manager in place while its start waits: the destructor returns only after every hold is gone.
    class Hold {
    public:
        explicit Hold(CobaltManager& heldManager) : manager(heldManager) { ++manager.holds; }
        ~Hold() { --manager.holds; }
        Hold(Hold const&) = delete;
        Hold& operator=(Hold const&) = delete;

    private:
        CobaltManager& manager;
    };

    /// Connects in the background.
    ///
    /// @param hostCallbacks  copied
    explicit CobaltManager(ZeloCallbacks const& hostCallbacks);
    /// Ends waiting starts, then the connection. No callback runs afterwards.
    ~CobaltManager();

    CobaltManager(CobaltManager const&) = delete;
    CobaltManager& operator=(CobaltManager const&) = delete;

    /// Waits without a limit for the first configuration; the caller has a Hold.
    ///
    /// @return true; false if the manager is being destroyed instead
    bool waitForConfiguration();

    /// @return what Config::parse() returned
    bool parseConfig(std::vector<char> const& payload);

    /// Queues a message for the middleware.
    void send(std::auto_ptr<IPCMessage> message);

    /// Sends both messages of the request, in this order.
    void setVideoWindow(VideoWindowRequest&& request);
    void setVideoWindow(int x, int y, int width, int height);
    void requestPreviousController(PreviousControllerRequest&& request);
    void requestPreviousController();

    /// @return true
    static bool volumes(unsigned& volume, bool& muted);
    /// @return true
    static bool displaySize(unsigned& width, unsigned& height);
    /// For the client's thread, which is the one that changes it.
    static std::string const& language();
    /// For every other thread.
    static std::string copyOfLanguage() EXCLUDES(configMutex);
    /// Releases the texts of the configuration at exit or unload.
    static void forgetTexts() EXCLUDES(configMutex);

    void onNewMessageReceived(IPCMessage const* message) override;
    void onConnected() override;
    void onDisconnected() override;

    /// Never destroyed: threads of the host may ask while the process exits.
    static Config& _config;

private:
    void onConfiguration(IPCMessage const& message);
    void onKey(IPCMessage const& message);
    void onVolume(IPCMessage const& message);
    void onMute(IPCMessage const& message);
    void onLifecycle(IPCMessage const& message);

    static pthread_helper::mutex& configMutex; // a leaf: nothing is called while it is held

    ZeloCallbacks const callbacks;
    std::unique_ptr<IPCMessengerClient> messenger; // constant once constructed
    std::atomic<bool> configured{false};
    std::atomic<bool> closing{false};
    std::atomic<int> holds{0};
};

#endif
