// Points in time and durations as seconds plus microseconds (common::Time, common::Duration, always
// normalised to 0..999999 microseconds), and platform::Time, which reads the wall clock and converts
// to and from timeval. Plain values; nothing fails.
#pragma once

#include <cstdint>

struct timeval;

namespace common {

class Duration {
public:
    Duration() = default;
    Duration(int64_t seconds, int64_t microseconds);
    static Duration FromMilliseconds(int64_t milliseconds) { return Duration(0, milliseconds * 1000); }

    int64_t Seconds() const { return m_seconds; }
    int64_t Microseconds() const { return m_microseconds; }
    int64_t TotalMicroseconds() const { return m_seconds * 1000000 + m_microseconds; }

private:
    int64_t m_seconds = 0;
    int64_t m_microseconds = 0;
};

class Time {
public:
    Time() = default;
    Time(int64_t seconds, int64_t microseconds);

    int64_t Seconds() const { return m_seconds; }
    int64_t Microseconds() const { return m_microseconds; }

    Time operator+(const Duration& duration) const;
    Time operator-(const Duration& duration) const;
    Duration operator-(const Time& other) const;
    Time& operator+=(const Duration& duration) { return *this = *this + duration; }
    Time& operator-=(const Duration& duration) { return *this = *this - duration; }
    bool operator<(const Time& other) const;
    bool operator<=(const Time& other) const;

private:
    int64_t m_seconds = 0;
    int64_t m_microseconds = 0;
};

} // namespace common

namespace platform {

class Time : public common::Time {
public:
    Time() = default;
    Time(const common::Time& time) : common::Time(time) {}
    explicit Time(const timeval& value);

    void ToTimeval(timeval& value) const;
    // Reads the wall clock.
    void SetToNow();
    static Time Now();
    // From now until this time (negative once it has passed).
    common::Duration Until() const;
};

} // namespace platform
