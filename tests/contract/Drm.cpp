// The box's DRM classes with more operations than the library uses, and under other names. Every operation records the
// slot that it stands in.
#include <map>
#include <string>

#include "Host.h"

namespace {

typedef std::map<std::string, std::string> Parameters;

char answers[16];

/// Never destroyed: the DRM object goes at the very end.
std::vector<std::string>& calls()
{
    static std::vector<std::string>& list = *new std::vector<std::string>;
    return list;
}

void* record(char const* object, unsigned slot, std::string const& arguments = "")
{
    calls().push_back(std::string(object) + " slot " + std::to_string(slot) + arguments);
    return &answers[slot];
}

std::string textOf(Parameters const& parameters)
{
    std::string text;
    for (Parameters::value_type const& entry : parameters) {
        text += " " + entry.first + "=" + entry.second;
    }
    return text;
}

std::string textOf(void* pointer)
{
    return pointer == nullptr ? " null" : " something";
}

} // namespace

std::vector<std::string> host::drmCalls()
{
    return calls();
}

void* host::bridgeAnswer(unsigned number)
{
    return &answers[number];
}

class STBDrmCdmBridge {
public:
    virtual void* zero() = 0;
    virtual void* one() = 0;

protected:
    ~STBDrmCdmBridge() = default;
};

class STBDrmCdmInterface : public STBDrmCdmBridge {
public:
    virtual void* two() = 0;
    virtual void* three() = 0;
    virtual void* four() = 0;
    virtual void* five() = 0;
    virtual void* six() = 0;
    virtual void* seven() = 0;
    virtual void* eight() = 0;
    virtual void* nine() = 0;

protected:
    ~STBDrmCdmInterface() = default;
};

class STBWidevineDrm {
public:
    STBWidevineDrm();
    virtual void zero(Parameters const& parameters, void* first, void* second);
    virtual void one(Parameters const& parameters);
    virtual void two(Parameters const& parameters);
    virtual ~STBWidevineDrm();
    virtual void five(Parameters const& parameters);

    STBDrmCdmBridge* bridge();
    bool isL1() const;
};

namespace {

class Bridge : public STBDrmCdmInterface {
    void* zero() override { return record("bridge", 0); }
    void* one() override { return record("bridge", 1); }
    void* two() override { return record("bridge", 2); }
    void* three() override { return record("bridge", 3); }
    void* four() override { return record("bridge", 4); }
    void* five() override { return record("bridge", 5); }
    void* six() override { return record("bridge", 6); }
    void* seven() override { return record("bridge", 7); }
    void* eight() override { return record("bridge", 8); }
    void* nine() override { return record("bridge", 9); }
};

Bridge theBridge;

} // namespace

STBWidevineDrm::STBWidevineDrm()
{
    calls().push_back("object construct");
}

STBWidevineDrm::~STBWidevineDrm()
{
    calls().push_back("object destroy");
}

void STBWidevineDrm::zero(Parameters const& parameters, void* first, void* second)
{
    record("object", 0, textOf(parameters) + textOf(first) + textOf(second));
}

void STBWidevineDrm::one(Parameters const& parameters)
{
    record("object", 1, textOf(parameters));
}

void STBWidevineDrm::two(Parameters const& parameters)
{
    record("object", 2, textOf(parameters));
}

void STBWidevineDrm::five(Parameters const& parameters)
{
    record("object", 5, textOf(parameters));
}

STBDrmCdmBridge* STBWidevineDrm::bridge()
{
    return &theBridge;
}

bool STBWidevineDrm::isL1() const
{
    return true;
}
