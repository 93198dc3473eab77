#include "common/PrintEnv.h"

#include <utility>

#include "base/IniEntries.h"
#include "base/PathUtil.h"
#include "base/TextUtil.h"
#include "common/PrintUSM.h"

namespace {

// Folders of printer profiles below the profile root.
constexpr wchar_t kPrinterFolder[] = L"Printer";
constexpr wchar_t kRgbPrinterFolder[] = L"Printer/RGB";

} // namespace

CPrintEnv::CPrintEnv(CPrintUSM* usm) : m_pUSM(usm ? usm : CPrintUSM::GetInstance()) {
    m_bRgbPrinter = m_pUSM->GetInt(IniPrnRgbPrinter) != 0;
    const std::wstring name = m_pUSM->GetString(IniPrnIccProfile);
    if (!name.empty()) {
        // A name with a folder is a path as it stands; a bare name lies in the printer folder.
        if (name.find_first_of(L"/\\") != std::wstring::npos) {
            m_sProfilePath = name;
        } else {
            const std::wstring folder =
                BuildFileName(m_pUSM->GetString(IniCpBasePath),
                              m_bRgbPrinter ? kRgbPrinterFolder : kPrinterFolder);
            m_sProfilePath = BuildFileName(folder, name);
        }
    }
    std::vector<int> inks;
    SplitNumberStringToInt(m_pUSM->GetString(IniPrnInks), inks);
    for (int ink : inks) m_vecPrimaries.push_back(enmDevicePrimColor(ink));
}

CPrintEnv::CPrintEnv(CPrintUSM* usm, std::wstring profilePath, bool rgbPrinter,
                     std::vector<enmDevicePrimColor> primaries)
    : m_pUSM(usm ? usm : CPrintUSM::GetInstance()), m_sProfilePath(std::move(profilePath)),
      m_bRgbPrinter(rgbPrinter), m_vecPrimaries(std::move(primaries)) {}

CPrintEnvContext::CPrintEnvContext(CPrintEnv* env)
    : pUSM(env ? env->pUSM() : nullptr), nDevPrimCols(env ? env->nDevPrimCols() : 0),
      DevPrimCols(env ? env->DevPrimCols() : nullptr), m_pPrintEnv(env) {}
