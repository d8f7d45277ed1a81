/// @file
/// The box's time type, as far as this library uses it. The host process supplies the definitions.
#ifndef ZELOSTB_NSTIME_H
#define ZELOSTB_NSTIME_H

/// A point in monotonic time or a difference of two, in microseconds.
class NSTime {
public:
    NSTime();
    explicit NSTime(long long count);

    /// The monotonic clock: not moved when the wall clock is set.
    static NSTime nowRelative();

    NSTime operator-(NSTime const& other) const;
    bool operator>=(NSTime const& other) const;

private:
    long long microseconds;
};

#endif
