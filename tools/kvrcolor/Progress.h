// A progress bar on stderr for long conversions: only when stderr is a terminal, and only once
// a run has taken more than a second, so that short runs and pipes stay quiet.
#pragma once

#include <chrono>
#include <cstdint>

class Progress {
public:
    Progress(uint64_t total, bool allowed);
    ~Progress(); // clears the bar if one was shown
    void Update(uint64_t done);

private:
    using Clock = std::chrono::steady_clock;
    uint64_t m_total;
    bool m_enabled;
    bool m_shown = false;
    Clock::time_point m_start;
    Clock::time_point m_last;
};
