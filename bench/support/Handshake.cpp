#include "bench/support/Handshake.h"

zelobox::Connection acceptConfigured(zelobox::Listener& listener)
{
    zelobox::Connection client = listener.accept(zelobox::Milliseconds(30000));
    for (int greeting = 0; greeting < 3; ++greeting) {
        client.receive();
    }
    client.send({IPC_PAYLOAD_RAW, IPC_BROWSER_CONFIG, std::vector<char>(32)});
    for (int answer = 0; answer < 3; ++answer) {
        client.receive();
    }
    return client;
}
