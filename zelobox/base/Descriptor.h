/// @file
/// A file descriptor and its owner.
#ifndef ZELO_ZELOBOX_DESCRIPTOR_H
#define ZELO_ZELOBOX_DESCRIPTOR_H

namespace zelobox {

/// Owns a descriptor.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : fd(number) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : fd(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        reset(other.release());
        return *this;
    }

    int get() const { return fd; }
    explicit operator bool() const { return fd >= 0; }
    int release();
    void reset(int number = -1);

private:
    int fd = -1;
};

} // namespace zelobox

#endif
