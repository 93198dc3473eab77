#include "Progress.h"

#include <unistd.h>

#include <cstdio>

Progress::Progress(uint64_t total, bool allowed)
    : m_total(total ? total : 1), m_enabled(allowed && ::isatty(STDERR_FILENO)),
      m_start(Clock::now()), m_last(m_start) {}

Progress::~Progress() {
    if (m_shown) std::fprintf(stderr, "\r%60s\r", "");
}

void Progress::Update(uint64_t done) {
    if (!m_enabled) return;
    const auto now = Clock::now();
    if (now - m_start < std::chrono::seconds(1)) return;
    if (m_shown && now - m_last < std::chrono::milliseconds(200)) return;
    m_last = now;
    m_shown = true;
    const int width = 40;
    const int filled = int(done * width / m_total);
    char bar[width + 1];
    for (int i = 0; i < width; ++i) bar[i] = i < filled ? '#' : '.';
    bar[width] = 0;
    std::fprintf(stderr, "\r[%s] %3d%%", bar, int(done * 100 / m_total));
    std::fflush(stderr);
}
