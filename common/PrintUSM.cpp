#include "common/PrintUSM.h"

CPrintUSM* CPrintUSM::GetInstance() {
    // Made on first use (thread-safe static) and never deleted, so that it outlives every
    // module that still holds it at exit.
    static CPrintUSM* const instance = new CPrintUSM();
    return instance;
}
