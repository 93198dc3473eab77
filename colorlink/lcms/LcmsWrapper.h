// Base of the objects of the lcms wrapper: collects the error texts that lcms2 reports for one
// object. Each object hands itself to lcms2 as the context of the calls it makes (the THR forms),
// and the process-wide log handler sends a report to the object named by its context. Failures
// of the wrapper are exceptions carrying these texts.
//
// The log handler is one for the whole process and the last registration wins: every object of
// the wrapper registers it when made, a colour link of the lcms back-end registers a silent one.
#pragma once

#include <lcms2.h>

#include <string>

class CLcmsWrapper {
public:
    CLcmsWrapper();
    virtual ~CLcmsWrapper() = default;
    CLcmsWrapper(const CLcmsWrapper&) = delete;
    CLcmsWrapper& operator=(const CLcmsWrapper&) = delete;

    // Appends the text and a line break to ErrorText; the code says nothing more and is ignored.
    virtual void OnLcmsError(unsigned code, const char* text);

    const std::wstring& ErrorText() const { return m_ErrorText; }

    // The module name that the wrapper's exceptions carry.
    static const wchar_t kThrowFile[];

protected:
    // The lcms2 context that routes lcms2's reports to this object: lcms2 takes an id it does
    // not know for its global context, and hands it on to the log handler as it was.
    cmsContext Context() {
        return static_cast<cmsContext>(static_cast<void*>(static_cast<CLcmsWrapper*>(this)));
    }
    // Throws the collected text with ThrowStringException.
    [[noreturn]] void ThrowError(int line) const;

    std::wstring m_ErrorText;
};
