#include "testkit/ConfigPayload.h"

#include <stdio.h>

#include "src/ipc/IPCBrowserConfig.h"
#include "zelobox/protocol/BrowserConfigPayload.h"

std::vector<char> ConfigPayload::bytes() const
{
    char mac[18];
    snprintf(mac, sizeof mac, "%02X:%02X:%02X:%02X:%02X:%02X", unsigned{address[0]}, unsigned{address[1]},
             unsigned{address[2]}, unsigned{address[3]}, unsigned{address[4]}, unsigned{address[5]});
    IPCBrowserConfig config;
    config.macAddress = mac;
    config.displayWidth = displayWidth;
    config.displayHeight = displayHeight;
    config.auxWidth = auxWidth;
    config.auxHeight = auxHeight;
    config.apiMode = apiMode;
    config.language = language;
    config.portalUrl = portalUrl;
    config.auxText1 = auxText1;
    config.auxValue = auxValue;
    config.auxText2 = auxText2;
    std::vector<char> payload = zelobox::payloadOf(config);
    size_t const forceOffset = 0;
    size_t const displayFlagOffset = 11;
    payload[forceOffset] = static_cast<char>(force);
    payload[displayFlagOffset] = static_cast<char>(displayFlag);
    return payload;
}

ConfigPayload configOfText(std::string const& text)
{
    ConfigPayload config;
    config.apiMode = config.language = config.portalUrl = config.auxText1 = config.auxText2 = text;
    return config;
}
