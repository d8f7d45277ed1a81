#include "zelobox/capture/ByteInput.h"

#include "zelobox/protocol/Pcapng.h"

namespace zelobox {

InputFormat guessFormat(std::string const& contents)
{
    size_t const first = contents.find_first_not_of(" \t\r\n");
    if (isPcapng(contents) || isClassicPcap(contents)) {
        return InputFormat::Pcapng;
    }
    if (first == std::string::npos || contents[first] == '{') {
        return InputFormat::JsonLines;
    }
    // A stream of frames begins with "m". One that is out of step may begin with anything, but hardly consist of
    // digits.
    bool const digits = contents.find_first_not_of("0123456789abcdefABCDEF: \t\r\n") == std::string::npos;
    std::string const start = contents.substr(first, 2);
    return digits || start == "6d" || start == "6D" || start[0] == '#' ? InputFormat::Hex : InputFormat::Raw;
}

} // namespace zelobox
