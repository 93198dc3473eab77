#include "pages/IccErrorReport.h"

#include <string>

#include "base/TextUtil.h"
#include "colorlink/MdlColorLink.h"
#include "colorspace/BaseColorSpace.h"
#include "pages/PageModel.h"
#include "pages/PageServicesScope.h"
#include "pages/PageStrings.h"

std::wstring IccErrorText(int code, const wchar_t* name) {
    const std::wstring file = name ? name : L"";
    switch (code) {
    case ICC_ERR_LOAD_FAILED:
    case ICC_ERR_CHANNEL_MISMATCH:
    case CMdlColorLink::LinkErrNoTable:
    case CMdlColorLink::LinkErrFormat:
    case ICC_ERR_NAMED_COLORS:
    case ICC_ERR_ACCESS_DENIED:
        return FormatPageString(static_cast<unsigned int>(code), {file});
    default:
        return FormatPageString(IDS_ICC_ERROR_OTHER, {file, ToString(code)});
    }
}

void ReportIccError(int code, const wchar_t* name) {
    if (IPageServices* services = CurrentPageServices())
        services->Message(IccErrorText(code, name));
}
