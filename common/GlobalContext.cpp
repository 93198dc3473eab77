#include "common/GlobalContext.h"

#include "common/PrintUSM.h"

CGlobalContext::CGlobalContext(CPrintUSM* usm) : m_usm(usm) {}

CPrintUSM* CGlobalContext::GetPrintUSM() const {
    return m_usm ? m_usm : CPrintUSM::GetInstance();
}
