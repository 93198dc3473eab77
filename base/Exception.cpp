#include "base/Exception.h"

void ThrowStringException(const std::string& text) {
    throw CStringException(text);
}

void AfxThrowInvalidArgException() {
    throw CInvalidArgException();
}
