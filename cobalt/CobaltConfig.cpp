// The configuration that the middleware sends, and how it changes the record.
#include "cobalt/CobaltManager.h"
#include "src/common/Log.h"
#include "src/common/Relaxed.h"
#include "src/ipc/IPCBrowserConfig.h"

namespace {

char const* const sourceFile = "cobalt/CobaltManager";

enum Line : int {
    LineNewApiMode = 92,
    LineNewPortalUrl = 119,
    LineBadData = 123,
};

/// Stores @p next if it differs. Nothing is allocated.
///
/// @return whether it differed
bool replace(std::string& text, std::string& next)
{
    if (text == next) {
        return false;
    }
    text.swap(next);
    return true;
}

// A merge has two halves, each of which ends with what is worth a line in the log. The caller holds the lock of the
// record, and nothing is allocated.

/// @return whether the API mode has changed
bool mergeFirstHalf(IPCBrowserConfig& received, CobaltManager::Config& record)
{
    if (record.macAddress.empty()) {
        record.macAddress.swap(received.macAddress);
    }
    if (record.displayWidth == 0 && record.displayHeight == 0) {
        storeRelaxed(record.displayWidth, uint32_t{received.displayWidth});
        storeRelaxed(record.displayHeight, uint32_t{received.displayHeight});
        record.displayFlag = received.displayFlag;
    }
    if (record.auxWidth == 0 && record.auxHeight == 0) {
        record.auxWidth = received.auxWidth;
        record.auxHeight = received.auxHeight;
    }
    return replace(record.apiMode, received.apiMode);
}

/// @return whether the portal address is to be announced
bool mergeSecondHalf(IPCBrowserConfig& received, CobaltManager::Config& record)
{
    replace(record.language, received.language);
    replace(record.auxText1, received.auxText1);
    record.auxValue = received.auxValue;
    replace(record.auxText2, received.auxText2);
    return replace(record.portalUrl, received.portalUrl) || received.forcePortalUrl;
}

} // namespace

bool CobaltManager::Config::parse(std::vector<char> const& payload)
{
    IPCBrowserConfig received;
    if (!received.read(payload)) {
        ZELO_LOG(LogBadData, LineBadData, sourceFile, "Browser config data failed");
        return true;
    }
    // Copies for the log, which is written without the lock, when the record may have changed once more. They are made
    // first, so that nothing has changed if there is no memory for them.
    std::string const newApiMode = received.apiMode;
    std::string const newPortalUrl = received.portalUrl;
    pthread_helper::guard firstHalf(configMutex);
    bool const isApiModeNew = mergeFirstHalf(received, *this);
    firstHalf.unlock();
    if (isApiModeNew) {
        ZELO_LOG(LogNotable, LineNewApiMode, sourceFile, "New API mode: %s", newApiMode.c_str());
    }
    pthread_helper::guard secondHalf(configMutex);
    bool const isPortalUrlNew = mergeSecondHalf(received, *this);
    secondHalf.unlock();
    if (isPortalUrlNew) {
        ZELO_LOG(LogNotable, LineNewPortalUrl, sourceFile, "New portal url: %s", newPortalUrl.c_str());
    }
    return true;
}
