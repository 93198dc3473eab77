#include "colorfunc/Func.h"

IMPLEMENT_DYNCREATE(CFunc_8, CObject)
IMPLEMENT_DYNCREATE(CFunc_16, CObject)
