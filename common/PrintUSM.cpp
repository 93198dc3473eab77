#include "common/PrintUSM.h"

#include <memory>

#include "common/PrintEnv.h"

CPrintUSM* CPrintUSM::GetInstance() {
    // Made on first use (thread-safe static) and never deleted, so that it outlives every
    // module that still holds it at exit.
    static CPrintUSM* const instance = new CPrintUSM();
    return instance;
}

CPrintEnv* CPrintUSM::CreatePrintEnv(const wchar_t* iccProfile, int bRgbPrinter) {
    auto env = std::make_unique<CPrintEnv>(this);
    if (iccProfile == nullptr) return env.release();
    return new CPrintEnv(this, iccProfile, bRgbPrinter != 0,
                         std::vector<enmDevicePrimColor>(env->DevPrimCols(),
                                                         env->DevPrimCols() + env->nDevPrimCols()));
}
