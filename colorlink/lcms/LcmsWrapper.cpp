#include "colorlink/lcms/LcmsWrapper.h"

#include "base/Exception.h"
#include "base/WideString.h"

namespace {

// The context of every call of the wrapper is the object that made it; a null context is a
// call from elsewhere, whose report nobody collects.
void LcmsLogHandler(cmsContext context, cmsUInt32Number code, const char* text) {
    if (!context) return;
    static_cast<CLcmsWrapper*>(static_cast<void*>(context))->OnLcmsError(code, text);
}

} // namespace

const wchar_t CLcmsWrapper::kThrowFile[] = L"LcmsTransform";

CLcmsWrapper::CLcmsWrapper() {
    cmsSetLogErrorHandler(LcmsLogHandler);
}

void CLcmsWrapper::OnLcmsError(unsigned, const char* text) {
    // lcms2's texts quote the narrow file names it was given, which are UTF-8 here.
    m_ErrorText += Utf8ToWide(text ? text : "");
    m_ErrorText += L'\n';
}

void CLcmsWrapper::ThrowError(int line) const {
    ThrowStringException(m_ErrorText, line, kThrowFile);
}
