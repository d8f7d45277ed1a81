// The configuration that the middleware sends, and how it changes the record.
#include "cobalt/CobaltManager.h"
#include "src/common/Log.h"
#include "src/common/Relaxed.h"
#include "src/ipc/IPCBrowserConfig.h"

namespace {

char const sourceFile[] = "cobalt/CobaltManager";

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

} // namespace

bool CobaltManager::Config::parse(std::vector<char> const& payload)
{
    IPCBrowserConfig received;
    if (!received.read(payload)) {
        ZELO_LOG(LogBadData, 123, sourceFile, "Browser config data failed");
        return true;
    }
    // Copies for the log, which is written without the lock, when the record may have changed once more.
    std::string const newApiMode = received.apiMode;
    std::string const newPortalUrl = received.portalUrl;
    bool apiModeChanged;
    bool portalUrlStored;
    {
        pthread_helper::guard lock(configMutex);
        if (macAddress.empty()) {
            macAddress.swap(received.macAddress);
        }
        if (displayWidth == 0 && displayHeight == 0) {
            storeRelaxed(displayWidth, uint32_t{received.displayWidth});
            storeRelaxed(displayHeight, uint32_t{received.displayHeight});
            displayFlag = received.displayFlag;
        }
        if (auxWidth == 0 && auxHeight == 0) {
            auxWidth = received.auxWidth;
            auxHeight = received.auxHeight;
        }
        apiModeChanged = replace(apiMode, received.apiMode);
        replace(language, received.language);
        replace(auxText1, received.auxText1);
        auxValue = received.auxValue;
        replace(auxText2, received.auxText2);
        portalUrlStored = replace(portalUrl, received.portalUrl) || received.forcePortalUrl;
    }
    if (apiModeChanged) {
        ZELO_LOG(LogNotable, 92, sourceFile, "New API mode: %s", newApiMode.c_str());
    }
    if (portalUrlStored) {
        ZELO_LOG(LogNotable, 119, sourceFile, "New portal url: %s", newPortalUrl.c_str());
    }
    return true;
}
