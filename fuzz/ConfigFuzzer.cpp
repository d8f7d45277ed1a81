// The configuration parser: two messages in a row on one record.
// Input: failing allocation, length of the first payload in two bytes, first payload, second payload.
#include <new>
#include <tuple>

#include "cobalt/CobaltManager.h"
#include "fuzz/Budget.h"
#include "fuzz/Input.h"

namespace {

typedef CobaltManager::Config Config;

auto numbersOf(Config const& c)
{
    return std::tie(c.displayWidth, c.displayHeight, c.auxWidth, c.auxHeight, c.displayFlag, c.auxValue, c.volume,
                    c.muted);
}

auto textsOf(Config const& c)
{
    return std::tie(c.macAddress, c.apiMode, c.language, c.portalUrl, c.auxText1, c.auxText2, c.auxText3);
}

bool isSame(Config const& a, Config const& b)
{
    return numbersOf(a) == numbersOf(b) && textsOf(a) == textsOf(b);
}

/// What the first whole message sets for good.
bool keepsWhatIsFixed(Config const& before, Config const& after)
{
    return (before.macAddress.empty() || before.macAddress == after.macAddress) &&
           ((before.displayWidth == 0 && before.displayHeight == 0) ||
            (before.displayWidth == after.displayWidth && before.displayHeight == after.displayHeight &&
             before.displayFlag == after.displayFlag));
}

void demand(bool holds)
{
    if (!holds) {
        __builtin_trap();
    }
}

void parse(Config& config, std::vector<char> const& payload, size_t failing)
{
    Config const before = config;
    try {
        Budget const budget(failing, 4096 + 8 * payload.size());
        demand(config.parse(payload));
    } catch (std::bad_alloc const&) {
        demand(isSame(before, config));
    }
    demand(keepsWhatIsFixed(before, config));
    // 32 bytes are the shortest whole message; what is cut short changes nothing.
    demand(payload.size() >= 32 || isSame(before, config));
    demand(isSame(before, config) || config.macAddress.size() == 17);
    demand(config.language.find('\0') == std::string::npos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    Input input(data, size);
    size_t const failing = input.byte();
    size_t const firstSize = input.word();
    Config config;
    parse(config, input.bytes(firstSize), failing);
    parse(config, input.bytes(), failing);
    return 0;
}
