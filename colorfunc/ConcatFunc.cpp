#include "colorfunc/ConcatFunc.h"

IMPLEMENT_DYNAMIC(CConcatFunc_8, CFunc_8)
IMPLEMENT_DYNAMIC(CConcatFunc_16, CFunc_16)
