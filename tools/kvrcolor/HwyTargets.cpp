// In the tool's programs only: Highway's one run-time question, answered without loading
// libhwy.so (CpuTargets.h). The programs link with --as-needed, so that the library, no longer
// called, is not recorded.
#include <hwy/targets.h>

#include "CpuTargets.h"

namespace hwy {
int64_t SupportedTargets() {
    static const int64_t targets = CpuSimdTargets();
    return targets;
}
} // namespace hwy
