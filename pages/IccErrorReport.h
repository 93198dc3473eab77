// The one message of the colour code for the user: an error number of the colour family with
// the file it concerns. The numbers: 901 profile cannot be opened or loaded, 903 wrong colour
// space for the purpose, 904 no usable transform or format not possible, 905 format or chain
// doesn't fit, 907 named colours failed (colorspace/BaseColorSpace.h and
// colorlink/MdlColorLink.h name them), and 909 access to the file denied.
#pragma once

#include <string>

// Access to the file denied; the only number of the family that no lower layer reports.
inline constexpr int ICC_ERR_ACCESS_DENIED = 909;

// The text of error `code` naming the file `name` (null counts as empty). A number outside the
// family gets a general text with the number.
std::wstring IccErrorText(int code, const wchar_t* name);

// Shows IccErrorText(code, name) through the current page services (PageServicesScope.h);
// without current services the message has nowhere to go and is dropped.
void ReportIccError(int code, const wchar_t* name);
