#include "zelobox/protocol/PayloadValues.h"

#include <gtest/gtest.h>

#include "zelobox/protocol/FrameJson.h"

using namespace zelobox;

/// Whole, cut and overlong payloads of every kind.
TEST(PayloadValues, AreTheFieldsThatAreShown)
{
    std::vector<char> const bytes = bytesOfHex("00000003 61620063 00646566");
    for (uint8_t kind = 0; kind <= IPC_PAYLOAD_STRING_ARRAY + 1; ++kind) {
        for (size_t size = 0; size <= bytes.size(); ++size) {
            std::vector<char> const payload(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
            SCOPED_TRACE(testing::Message() << "kind " << unsigned{kind} << " length " << size);
            Json const number = fieldsOf({kind, IPC_VOLUME, payload});
            EXPECT_EQ(number.value("value", uint32_t{0}), numberIn({kind, IPC_VOLUME, payload}));
            Json const text = fieldsOf({kind, IPC_APP_LIFECYCLE, payload});
            EXPECT_EQ(text.value("text", ""), textIn({kind, IPC_APP_LIFECYCLE, payload}));
            Json const list = fieldsOf({kind, IPC_ALLOWED_MESSAGE_LIST, payload});
            EXPECT_EQ(list.value("types", std::vector<uint32_t>()), typesIn({kind, IPC_ALLOWED_MESSAGE_LIST, payload}));
            Json const shown = fieldsOf({kind, IPC_VIDEO_WINDOW, payload});
            VideoWindow const window = videoWindowIn({kind, IPC_VIDEO_WINDOW, payload});
            EXPECT_EQ(shown.value("x", 0), window.x);
            EXPECT_EQ(shown.value("y", 0), window.y);
            EXPECT_EQ(shown.value("width", 0), window.width);
            EXPECT_EQ(shown.value("height", 0), window.height);
        }
    }
}
