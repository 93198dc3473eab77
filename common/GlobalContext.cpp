#include "common/GlobalContext.h"

#include "common/PrintUSM.h"

CGlobalContext::CGlobalContext(CPrintUSM* usm) : m_usm(usm) {}

CPrintUSM* CGlobalContext::GetPrintUSM() const {
    return m_usm ? m_usm : CPrintUSM::GetInstance();
}

void CGlobalContext::SetInterpreterDesc(ePsPdfInterpreter interpreter,
                                        const SPsPdfInterpreterDesc& desc) {
    m_interpreterDescs[interpreter] = desc;
}

const SPsPdfInterpreterDesc*
CGlobalContext::GetInterpreterDesc(ePsPdfInterpreter interpreter) const {
    auto it = m_interpreterDescs.find(interpreter);
    return it == m_interpreterDescs.end() ? nullptr : &it->second;
}
