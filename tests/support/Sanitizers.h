// What AddressSanitizer adds to a process's peak memory, for tests that bound a peak by what the
// code itself allocates: freed blocks wait in its quarantine (256 MiB by default) before they
// are reused, and its shadow memory holds an eighth of the heap besides.
#pragma once

#include <cstdint>

namespace kvrtest {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr uint64_t kSanitizerPeakSlackBytes = (uint64_t(256) + 64) << 20;
#else
inline constexpr uint64_t kSanitizerPeakSlackBytes = 0;
#endif

} // namespace kvrtest
