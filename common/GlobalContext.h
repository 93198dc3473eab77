// What the host hands every module of the colour library: the user settings of the system, and
// what the application says about its interpreters' colour pages.
#pragma once

#include <map>

#include "common/PreSetPsCs.h"
#include "common/PsPdfInterpreterDesc.h"

class CPrintUSM;

class CGlobalContext {
public:
    // Null stands for the process's settings, CPrintUSM::GetInstance().
    explicit CGlobalContext(CPrintUSM* usm = nullptr);
    virtual ~CGlobalContext() = default;

    // The user settings of the system; never null.
    virtual CPrintUSM* GetPrintUSM() const;

    // The description of an interpreter's pages, which the application supplies; null for an
    // interpreter it has not described. The context keeps its own copy.
    void SetInterpreterDesc(ePsPdfInterpreter interpreter, const SPsPdfInterpreterDesc& desc);
    virtual const SPsPdfInterpreterDesc* GetInterpreterDesc(ePsPdfInterpreter interpreter) const;

private:
    CPrintUSM* m_usm; // not owned
    std::map<ePsPdfInterpreter, SPsPdfInterpreterDesc> m_interpreterDescs;
};
