/// @file
/// The bridge between an application runtime (the host) and the middleware of a set-top box.
///
/// The host loads `libzelocobalt.so`, finds these functions by their full signatures and calls them from its own
/// threads. The library talks to the middleware over the UNIX-domain socket "/tmp/zelo_messenger" from two threads of
/// its own: "ipc_cln" connects, receives and calls the host back; a second one, "ipc_snd", writes.
///
/// @par Callbacks
/// Run on "ipc_cln", one at a time, with the library's handler lock held. From inside a callback every function here
/// may be called but ZeloStartApp() and ZeloStopApp(), which would wait for the callback itself: they do nothing then
/// but log, and say from where they were called. So it is in the box's logger when the library calls it, and inside
/// another start or stop on the same thread. The next message from the middleware waits until a callback returns, and
/// so does a stop. No callback runs after ZeloStopApp() has returned. While a start replaces a running manager, both
/// are up for a while: callbacks of the earlier start and of the new one can then run at the same time.
///
/// A callback must not throw, must not end its thread and must not cancel it; nor must anybody else cancel a thread of
/// the library, or a thread that is inside a function of it. The box's logger must not throw either.
///
/// @par Requests
/// Are queued and written one by one. What was requested before a stop is written as long as the middleware takes it,
/// for at most 200 ms. A middleware that lets 131,072 requests wait does not read: the connection ends, with a line in
/// the log, what is queued is lost, and the library connects again.
///
/// @par Exceptions
/// Functions that make a text, a request or the manager may throw std::bad_alloc, and nothing has changed then. What
/// the box's own functions throw passes through. Nothing else is thrown.
///
/// @par Signals
/// SIGPIPE is blocked in "ipc_snd" only; the process's own disposition is never touched. A signal handler of the host
/// that interrupts a call in one of the library's threads does not drop the connection. No function here may be called
/// in a signal handler, and what `exit` does there is as undefined as it is without this library.
///
/// @par fork, exit and unload
/// A forked child has no connection: it may exec or exit, but must call nothing here. Its exit leaves everything alone,
/// the DRM object too. The socket is closed on exec, is never one of the standard streams, and ends with the parent's
/// connection although a child holds a copy.
/// `exit` and `dlclose` with a running manager stop it first. A start that still waits then returns unconfigured.
/// `exit` may also be called from a callback; the connection then ends with the process. Getters on other threads may
/// be called to the end; the texts are empty then. `dlclose` may not be called from a callback, and a callback that it
/// waits for must not use the dynamic loader.
#ifndef ZELO_COBALT_H
#define ZELO_COBALT_H

#include <stdint.h>

#include <string>

#define ZELO_EXPORT __attribute__((visibility("default")))

/// A Starboard key code (the Windows virtual-key codes). 0 is the unknown key.
enum SbKey : uint32_t { SbKeyUnknown = 0 };

/// A remote-control command as the middleware numbers it. Commands 2 to 76 may have a key; see KeyCodeToSbKey().
enum STBCommand : int32_t {};

/// What ZeloGetEnv() can be asked for.
enum ZeloEnv : uint32_t {
    ZeloEnvStoragePath = 0,     ///< directory for the application's data, with a trailing slash
    ZeloEnvFirmwareVersion = 1, ///< first word of the firmware version file, or "unknown"
    ZeloEnvDeviceId = 2,        ///< the box's identity
    ZeloEnvReserved = 3,        ///< has no answer
    ZeloEnvLanguage = 4,        ///< language of the user interface, empty while unknown
};

/// The host's notifications, in the order of the record. Each may be null and is then not called.
struct ZeloCallbacks {
    /// A key was pressed. @param key 0 for a command that has no key @param modifier as the middleware sent it
    void (*onKey)(SbKey key, uint8_t modifier);
    /// The application is to pause.
    void (*onPause)();
    /// The application is to go on.
    void (*onResume)();
    /// The volume or the mute state has changed; ZeloGetVolume() already gives the new values.
    void (*onVolumeChanged)();
};

/// The host's record of what the box can do. The layout is fixed: 20 bytes.
struct Capabilities {
    uint32_t value1;      ///< set to 1
    uint8_t flag1;        ///< set to 1
    uint8_t flag2;        ///< left as the host set it
    uint8_t flag3;        ///< set to 0
    uint8_t flag4;        ///< set to 1
    uint32_t memoryClass; ///< 0 (least memory) to 2
    uint8_t flag5;        ///< left as the host set it
    uint8_t flag6;        ///< set to 0
    uint8_t reserved[2];  ///< left as the host set it
    uint32_t value2;      ///< set to 3
};

/// Passes one line of the host's log on to the box's logger.
///
/// @param level    1 to 4; any other level is ignored
/// @param message  zero-terminated, logged literally; borrowed for the call
/// @par Threads
/// Any, also from a callback.
/// @par Blocking
/// As long as the box's logger does.
ZELO_EXPORT void ZeloLog(int level, char const* message);

/// Answers one question about the environment.
///
/// @param key    which answer is wanted
/// @param value  receives the answer; left as it was when the result is false
/// @return true; false for ZeloEnvReserved and for a key that is not in the enumeration
/// @par Threads
/// Any, also from a callback, with or without a started library.
/// @par Blocking
/// At most 4,096 bytes of a regular file are read for ZeloEnvFirmwareVersion; ZeloEnvDeviceId takes as long as the box
/// does. Otherwise none.
ZELO_EXPORT bool ZeloGetEnv(ZeloEnv key, std::string& value);

/// Gives the volume and the mute state that the middleware sent last.
///
/// @param volume  receives the level in the middleware's unit, 0 before the first message
/// @param muted   receives the state, false before the first message
/// @return true
/// @par Threads
/// Any, also from a callback, with or without a started library.
/// @par Blocking
/// None.
ZELO_EXPORT bool ZeloGetVolume(unsigned& volume, bool& muted);

/// Fills the host's record of capabilities; see there which fields are written.
///
/// @param capabilities  owned by the host
/// @return true
/// @par Threads
/// Any, also from a callback, with or without a started library.
/// @par Blocking
/// None.
ZELO_EXPORT bool ZeloGetCapabilities(Capabilities& capabilities);

/// Gives the display size of the first configuration.
///
/// @param width   receives pixels, 0 before the first configuration
/// @param height  receives pixels, 0 before the first configuration
/// @return true
/// @par Threads
/// Any, also from a callback, with or without a started library.
/// @par Blocking
/// None.
ZELO_EXPORT bool ZeloGetDisplaySize(unsigned& width, unsigned& height);

/// Gives the size of the user interface from VIRTUAL_SCREEN_WIDTH and VIRTUAL_SCREEN_HEIGHT.
///
/// @param width   receives pixels; left as it was when the variable is not a positive number
/// @param height  likewise
/// @return true
/// @par Threads
/// Any, also from a callback, with or without a started library; not while another thread changes the environment.
/// @par Blocking
/// None.
ZELO_EXPORT bool ZeloGetUISize(unsigned& width, unsigned& height);

/// Translates a remote-control command of the middleware.
///
/// @param command  any value
/// @return the key code; 0 for a command that has no key
/// @par Threads
/// Any, also from a callback.
/// @par Blocking
/// None.
ZELO_EXPORT SbKey KeyCodeToSbKey(STBCommand command);

/// Sets up the DRM object on the first call, or gives it the new context on a later one.
///
/// The first call runs the provisioning program "/usr/bin/wvprov" and waits for it; its failure is ignored.
/// Exceptions of the box's DRM object pass through. If its construction has thrown, the next call begins anew; if its
/// first setting up has thrown, the object stays, and later calls only give it the new context.
///
/// @param context  the host's opaque value; not dereferenced
/// @return the host's CDM object; it belongs to the DRM object, which lives until unload
/// @par Threads
/// One thread at a time, and not beside ZeloCdmIsL1() on the first call. Also from a callback.
/// @par Blocking
/// The first call until the provisioning program has ended; later calls as long as the box's DRM object does.
ZELO_EXPORT void* ZeloCdm(void* context);

/// Tells whether the DRM object has the Widevine security level L1.
///
/// @return true if the object exists and says so; false before the first ZeloCdm()
/// @par Threads
/// Any, but not beside the first ZeloCdm(). Also from a callback.
/// @par Blocking
/// As long as the box's DRM object does.
ZELO_EXPORT bool ZeloCdmIsL1();

/// Starts the library and waits for the middleware's first configuration.
///
/// A start without a stop before it replaces the running manager: the new one is up before the old one goes, and until
/// then callbacks of both can run, each on its own thread. The environment variables "media_arm_audio_decoder" and
/// "media.ffmpeg.audio.decoder" are set unless the process has them already. ZELO_LANG_CODE, if it is set, is the
/// language until the middleware names one.
///
/// @param callbacks  copied
/// @par Threads
/// One at a time, and not while another thread uses the environment; not from a callback or the logger.
/// @par Blocking
/// Until the configuration has arrived, without a limit; ends early, with a line in the log, when ZeloStopApp(), `exit`
/// or an unload happens meanwhile.
ZELO_EXPORT void ZeloStartApp(ZeloCallbacks const& callbacks);

/// Stops the library; does nothing when it is not started. What the middleware sent stays readable by the getters.
///
/// @par Threads
/// Any, also while a start still waits on another thread; not from a callback or the logger.
/// @par Blocking
/// A few milliseconds at rest; until requests made before are written, at most 200 ms; in any case at most 500 ms,
/// whatever the middleware does, plus a callback that is just running.
ZELO_EXPORT void ZeloStopApp();

/// Asks the middleware to show the video in this rectangle of the display.
///
/// @param x       pixels; the low 16 bits are sent, likewise of the others
/// @param y       pixels
/// @param width   pixels
/// @param height  pixels; all four 0 mean the whole screen
/// @return true, also when the request is lost because the middleware is not connected or the library not started
/// @par Threads
/// Any, also from a callback.
/// @par Blocking
/// None: the request is queued.
ZELO_EXPORT bool ZeloSetVideoWindow(int x, int y, int width, int height);

/// Asks the middleware to hand control back to the application that had it before.
///
/// @return true, also when the request is lost because the middleware is not connected or the library not started
/// @par Threads
/// Any, also from a callback.
/// @par Blocking
/// None: the request is queued.
ZELO_EXPORT bool ZeloRequestPreviousController();

#endif
