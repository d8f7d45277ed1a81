/// @file
/// A time made of the vendor's clock, which has none.
#ifndef SHIM_NSTIME_H
#define SHIM_NSTIME_H

#include <Platform.hpp>

class NSTime {
public:
    NSTime() = default;
    explicit NSTime(long long count) : microseconds(count) {}

    static NSTime nowRelative() { return NSTime(vendor::clock::monotonicMicroseconds()); }

    NSTime operator-(NSTime const& other) const { return NSTime(microseconds - other.microseconds); }
    bool operator>=(NSTime const& other) const { return microseconds >= other.microseconds; }

private:
    long long microseconds = 0;
};

#endif
