#include "base/Exception.h"

#include "base/WideString.h"

void ThrowStringException(const std::string& text) {
    throw CStringException(text);
}

void ThrowStringException(const std::wstring& text, int line, const wchar_t* file) {
    throw CStringException(WideToUtf8(text), line, file ? file : L"");
}

void AfxThrowInvalidArgException() {
    throw CInvalidArgException();
}
