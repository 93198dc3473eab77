// The library's exceptions: every one derives from CException, so a caller that guards a call
// with catch (const CException&) sees all of them. File and archive errors carry the cause
// numbers callers test.
#pragma once

#include <exception>
#include <string>
#include <utility>

class CException : public std::exception {
public:
    const char* what() const noexcept override { return "CException"; }
};

class CMemoryException : public CException {
public:
    const char* what() const noexcept override { return "out of memory"; }
};

class CFileException : public CException {
public:
    enum Cause {
        none = 0,
        genericException = 1,
        fileNotFound = 2,
        badPath = 3,
        tooManyOpenFiles = 4,
        accessDenied = 5,
        invalidFile = 6,
        removeCurrentDir = 7,
        directoryFull = 8,
        badSeek = 9,
        hardIO = 10,
        sharingViolation = 11,
        lockViolation = 12,
        diskFull = 13,
        endOfFile = 14,
    };
    explicit CFileException(int cause = none, int osError = 0)
        : m_cause(cause), m_lOsError(osError) {}
    const char* what() const noexcept override { return "file exception"; }

    int m_cause;
    int m_lOsError;
    std::wstring m_strFileName;
};

class CArchiveException : public CException {
public:
    enum Cause {
        none = 0,
        genericException = 1,
        readOnly = 2, // a write to a loading archive
        endOfFile = 3,
        writeOnly = 4, // a read from a storing archive
        badIndex = 5,
        badClass = 6,
        badSchema = 7,
    };
    explicit CArchiveException(int cause = none) : m_cause(cause) {}
    const char* what() const noexcept override { return "archive exception"; }

    int m_cause;
};

// An argument outside what a call accepts: an index beyond a count, a channel count above a
// fixed maximum, a size that the file format cannot record.
class CInvalidArgException : public CException {
public:
    const char* what() const noexcept override { return "invalid argument"; }
};

[[noreturn]] void AfxThrowInvalidArgException();

// Thrown by the few interfaces that report failure as text.
class CStringException : public CException {
public:
    explicit CStringException(std::string text) : m_text(std::move(text)) {}
    CStringException(std::string text, int line, std::wstring file)
        : m_text(std::move(text)), m_line(line), m_file(std::move(file)) {}
    const char* what() const noexcept override { return m_text.c_str(); }

    std::string m_text;  // UTF-8
    int m_line = 0;      // where it was thrown, when the thrower says so
    std::wstring m_file; // the throwing module's name, when the thrower says so
};

[[noreturn]] void ThrowStringException(const std::string& text);
// Wide text, with the line and the module of the throw: the form of the lcms wrapper.
[[noreturn]] void ThrowStringException(const std::wstring& text, int line, const wchar_t* file);
