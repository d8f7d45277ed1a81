/// @file
/// A vendor's support library: one header, names of its own, C++17.
#ifndef VENDOR_PLATFORM_HPP
#define VENDOR_PLATFORM_HPP

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace vendor::clock {

long long monotonicMicroseconds();

} // namespace vendor::clock

namespace vendor {

struct LogRecord {
    char const* prefix = "";
    char const* component = "";
    char const* group = "";
    uint32_t session = 0;
    uint32_t sequence = 0;
    uint64_t reserved = 0;
    bool toConsole = false;
    bool toFile = false;
    bool toNetwork = false;
    bool urgent = false;
};

class Identity {
public:
    static inline constexpr std::string_view unknown = "unknown";
    static std::string getCurrentDeviceId();
};

class DecryptionBase {
public:
    virtual void vendorReserved() = 0;

protected:
    ~DecryptionBase() = default;
};

class Decryption : public DecryptionBase {
public:
    virtual void open() = 0;
    virtual void close() = 0;
    virtual void pause() = 0;
    virtual void resume() = 0;
    virtual void flush() = 0;
    virtual void reset() = 0;
    virtual void status() = 0;
    virtual void* module() = 0;

protected:
    ~Decryption() = default;
};

class Widevine {
public:
    Widevine();
    virtual void setUp(std::map<std::string, std::string> const& parameters, void*, void*);
    virtual void tearDown();
    virtual void update(std::map<std::string, std::string> const& parameters);
    virtual ~Widevine();

    DecryptionBase* bridge();
    bool isL1() const;

private:
    void* state[24];
};

} // namespace vendor

extern "C" int STBLogger_log(vendor::LogRecord const* record, char const* extra, int severity, int line,
                             char const* file, char const* format, ...);

#endif
