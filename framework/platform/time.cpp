#include "framework/platform/time.h"

#include <sys/time.h>

namespace {

// Splits a microsecond total into seconds and 0..999999 microseconds (floor division).
void Normalise(int64_t total, int64_t& seconds, int64_t& microseconds) {
    seconds = total / 1000000;
    microseconds = total % 1000000;
    if (microseconds < 0) {
        microseconds += 1000000;
        --seconds;
    }
}

int64_t Total(int64_t seconds, int64_t microseconds) {
    return seconds * 1000000 + microseconds;
}

} // namespace

namespace common {

Duration::Duration(int64_t seconds, int64_t microseconds) {
    Normalise(Total(seconds, microseconds), m_seconds, m_microseconds);
}

Time::Time(int64_t seconds, int64_t microseconds) {
    Normalise(Total(seconds, microseconds), m_seconds, m_microseconds);
}

Time Time::operator+(const Duration& duration) const {
    return Time(m_seconds + duration.Seconds(), m_microseconds + duration.Microseconds());
}

Time Time::operator-(const Duration& duration) const {
    return Time(m_seconds - duration.Seconds(), m_microseconds - duration.Microseconds());
}

Duration Time::operator-(const Time& other) const {
    return Duration(m_seconds - other.m_seconds, m_microseconds - other.m_microseconds);
}

bool Time::operator<(const Time& other) const {
    return m_seconds < other.m_seconds ||
           (m_seconds == other.m_seconds && m_microseconds < other.m_microseconds);
}

bool Time::operator<=(const Time& other) const {
    return !(other < *this);
}

} // namespace common

namespace platform {

Time::Time(const timeval& value) : common::Time(value.tv_sec, value.tv_usec) {}

// Not called by the agent; kept for callers that wait with a timeval.
void Time::ToTimeval(timeval& value) const {
    value.tv_sec = static_cast<time_t>(Seconds());
    value.tv_usec = static_cast<suseconds_t>(Microseconds());
}

void Time::SetToNow() {
    timeval now{};
    gettimeofday(&now, nullptr);
    *this = Time(now);
}

Time Time::Now() {
    Time now;
    now.SetToNow();
    return now;
}

// Not called by the agent; kept for callers that wait until a given time.
common::Duration Time::Until() const {
    return *this - Now();
}

} // namespace platform
