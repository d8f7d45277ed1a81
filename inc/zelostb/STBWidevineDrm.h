/// @file
/// The box's Widevine object, as far as this library calls it. The host process supplies the definitions.
///
/// Only the positions of the virtual operations are a contract; their names may differ from box to box.
#ifndef ZELOSTB_STBWIDEVINEDRM_H
#define ZELOSTB_STBWIDEVINEDRM_H

#include <map>
#include <string>

/// Root of the bridge types.
class STBDrmCdmBridge {
public:
    virtual void reserved0() = 0;

protected:
    ~STBDrmCdmBridge() = default;
};

/// What the bridge really is. It has no key function, so that the host's and the library's type information are alike.
class STBDrmCdmInterface : public STBDrmCdmBridge {
public:
    virtual void reserved1() = 0;
    virtual void reserved2() = 0;
    virtual void reserved3() = 0;
    virtual void reserved4() = 0;
    virtual void reserved5() = 0;
    virtual void reserved6() = 0;
    virtual void reserved7() = 0;

    /// Slot 8: the host's CDM object.
    virtual void* cdm() = 0;

protected:
    ~STBDrmCdmInterface() = default;
};

/// The DRM object. The library allocates it, so the reserved block keeps room for the members of any box.
class STBWidevineDrm {
public:
    STBWidevineDrm();

    /// Slot 0: sets up a new object; both pointers are null.
    virtual void init(std::map<std::string, std::string> const& parameters, void*, void*);
    /// Slot 1.
    virtual void reserved();
    /// Slot 2: takes new parameters over into an object that is set up.
    virtual void apply(std::map<std::string, std::string> const& parameters);
    /// Slots 3 and 4.
    virtual ~STBWidevineDrm();

    /// @return the bridge, never null; it belongs to this object
    STBDrmCdmBridge* bridge();
    bool isL1() const;

private:
    void* reservedBlock[16];
};

#endif
