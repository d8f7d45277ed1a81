/// @file
/// DRM classes with other members, other operation names and more operations; the slots are where they always are.
#ifndef ALTSTB_STBWIDEVINEDRM_H
#define ALTSTB_STBWIDEVINEDRM_H

#include <map>
#include <string>
#include <vector>

class STBDrmCdmBridge {
public:
    virtual int openSession() = 0;
    virtual int closeSession() = 0;
    virtual int update() = 0;

protected:
    ~STBDrmCdmBridge() {}
};

class STBDrmCdmInterface : public STBDrmCdmBridge {
public:
    virtual int load() = 0;
    virtual int remove() = 0;
    virtual int certificate() = 0;
    virtual int renewals() = 0;
    virtual int keyStatus() = 0;
    virtual void* contentDecryptionModule() = 0;
    virtual int metrics() = 0;

protected:
    ~STBDrmCdmInterface() {}
};

class STBWidevineDrm {
public:
    STBWidevineDrm();
    virtual void open(std::map<std::string, std::string> const& options, void* display, void* surface);
    virtual void suspend();
    virtual void reopen(std::map<std::string, std::string> const& options);
    virtual ~STBWidevineDrm();
    virtual void resume();

    STBDrmCdmBridge* bridge();
    bool isL1() const;

private:
    std::vector<std::string> sessions;
    std::map<int, std::string> keys;
    std::string level;
    char certificateCache[512];
};

#endif
