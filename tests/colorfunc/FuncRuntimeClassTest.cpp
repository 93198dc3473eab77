#include <gtest/gtest.h>

#include <cstring>

#include "colorfunc/ConcatFunc.h"
#include "colorfunc/FuncLab.h"
#include "colorfunc/InversFunc.h"
#include "colorfunc/WidthAdapters.h"

namespace {
void ExpectDynamicClass(const CObject& obj, const char* name, const CRuntimeClass* base) {
    const CRuntimeClass* cls = obj.GetRuntimeClass();
    EXPECT_STREQ(cls->m_lpszClassName, name);
    EXPECT_EQ(cls->m_pBaseClass, base) << name;
    EXPECT_EQ(cls->m_pfnCreateObject, nullptr) << name; // not creatable from an archive
    EXPECT_EQ(cls->CreateObject(), nullptr) << name;
    EXPECT_EQ(CRuntimeClass::FromName(name), nullptr) << name;
    EXPECT_TRUE(obj.IsKindOf(base)) << name;
}
} // namespace

TEST(RuntimeClass, CombinatorsAndAdaptersHaveRuntimeClassesButNoCreateObject) {
    CFunc_8 f8(3, 3);
    CFunc_16 f16(3, 3);
    ExpectDynamicClass(CConcatFunc_8(f8), "CConcatFunc_8", RUNTIME_CLASS(CFunc_8));
    ExpectDynamicClass(CConcatFunc_16(f16), "CConcatFunc_16", RUNTIME_CLASS(CFunc_16));
    ExpectDynamicClass(CInversFunc_8(f8), "CInversFunc_8", RUNTIME_CLASS(CFunc_8));
    ExpectDynamicClass(CInversFunc_16(f16), "CInversFunc_16", RUNTIME_CLASS(CFunc_16));
    ExpectDynamicClass(CFunc8To16(f8), "CFunc8To16", RUNTIME_CLASS(CFunc_16));
    ExpectDynamicClass(CFunc16To8(f16), "CFunc16To8", RUNTIME_CLASS(CFunc_8));
    ExpectDynamicClass(CFuncLab8ToLab16(f8), "CFuncLab8ToLab16", RUNTIME_CLASS(CFunc8To16));
    ExpectDynamicClass(CL8To16(), "CL8To16", RUNTIME_CLASS(CFunc_16));
    ExpectDynamicClass(CFunc16CopyInOut(3, 4), "CFunc16CopyInOut", RUNTIME_CLASS(CFunc_16));
    ExpectDynamicClass(CFuncLab(), "CFuncLab", RUNTIME_CLASS(CFunc_8));
}

TEST(RuntimeClass, LabAdapterIsAKindOfThe16BitFamily) {
    CFunc_8 f8(3, 3);
    CFuncLab8ToLab16 lab(f8);
    EXPECT_TRUE(lab.IsKindOf(RUNTIME_CLASS(CFunc_16)));
    EXPECT_FALSE(lab.IsKindOf(RUNTIME_CLASS(CFunc_8)));
}

TEST(RuntimeClass, BaseFunctionsStayCreatable) {
    EXPECT_NE(CRuntimeClass::FromName("CFunc_8"), nullptr);
    EXPECT_NE(CRuntimeClass::FromName("CFunc_16"), nullptr);
}
