#include "colorfunc/InversFunc.h"

IMPLEMENT_DYNAMIC(CInversFunc_8, CFunc_8)
IMPLEMENT_DYNAMIC(CInversFunc_16, CFunc_16)
