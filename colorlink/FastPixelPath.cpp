#include "colorlink/FastPixelPath.h"

// No specialised path exists yet: every link runs its straightforward loops.
std::unique_ptr<CFastPixelPath> CFastPixelPath::Make(const CFunc_16TabBaseMft&, unsigned,
                                                     unsigned) {
    return nullptr;
}
