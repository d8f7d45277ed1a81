/// @file
/// A time type of another size and with other members.
#ifndef ALTSTB_NSTIME_H
#define ALTSTB_NSTIME_H

#include <stdint.h>

class NSTime {
public:
    NSTime();
    explicit NSTime(long long us);
    NSTime(NSTime const& other);
    NSTime& operator=(NSTime const& other);
    ~NSTime();

    static NSTime nowRelative();
    static NSTime nowAbsolute();

    NSTime operator-(NSTime const& other) const;
    NSTime operator+(NSTime const& other) const;
    bool operator>=(NSTime const& other) const;
    bool operator<(NSTime const& other) const;

private:
    int64_t seconds;
    int32_t nanoseconds;
    char const* zone;
    uint32_t marker[4];
};

#endif
