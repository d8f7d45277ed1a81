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

/// What of a merge is worth a line in the log.
struct Changes {
    bool apiMode;
    bool portalUrl;
};

/// The caller holds the lock of the record. Nothing is allocated.
Changes merge(IPCBrowserConfig& received, CobaltManager::Config& record)
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
    replace(record.language, received.language);
    replace(record.auxText1, received.auxText1);
    record.auxValue = received.auxValue;
    replace(record.auxText2, received.auxText2);
    bool const newApiMode = replace(record.apiMode, received.apiMode);
    bool const newPortalUrl = replace(record.portalUrl, received.portalUrl);
    return {newApiMode, newPortalUrl || received.forcePortalUrl};
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
    Changes changes;
    {
        pthread_helper::guard lock(configMutex);
        changes = merge(received, *this);
    }
    if (changes.apiMode) {
        ZELO_LOG(LogNotable, 92, sourceFile, "New API mode: %s", newApiMode.c_str());
    }
    if (changes.portalUrl) {
        ZELO_LOG(LogNotable, 119, sourceFile, "New portal url: %s", newPortalUrl.c_str());
    }
    return true;
}
