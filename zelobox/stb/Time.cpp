#include <NSTime.h>

#include <chrono>

NSTime::NSTime() : microseconds(0) {}

NSTime::NSTime(long long count) : microseconds(count) {}

NSTime NSTime::nowRelative()
{
    auto const now = std::chrono::steady_clock::now().time_since_epoch();
    return NSTime(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

NSTime NSTime::operator-(NSTime const& other) const
{
    return NSTime(microseconds - other.microseconds);
}

bool NSTime::operator>=(NSTime const& other) const
{
    return microseconds >= other.microseconds;
}
