#include "colorspace/BaseColorSpace.h"

#include <sys/stat.h>

#include <algorithm>
#include <cwctype>
#include <map>
#include <mutex>

#include "base/PathUtil.h"
#include "base/WideString.h"
#include "colorspace/ChannelSignatures.h"

namespace {

// Modification time of a file in nanoseconds; 0 when its status cannot be read.
int64_t ModificationTime(const std::wstring& path) {
    struct stat st {};
    if (::stat(WideToUtf8(path).c_str(), &st) != 0) return 0;
    return int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
}

bool EqualNoCase(const std::wstring& a, const std::wstring& b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](wchar_t x, wchar_t y) {
               return std::towlower(wint_t(x)) == std::towlower(wint_t(y));
           });
}

// The process-wide cache of profile records. Paths compare exactly, case included. It never
// evicts singly: a new path at the limit empties it whole. One mutex guards it and is held
// across the file load of a miss, so misses load one at a time. The object is a static, so
// its records go when the library is unloaded.
class CProfileCache {
public:
    struct SEntry {
        std::unique_ptr<CIccColorProfile> record;
        int64_t mtime = 0;
    };

    ~CProfileCache() { Empty(); }

    std::mutex& Mutex() { return m_mutex; }
    // Both under the caller's lock.
    std::map<std::wstring, SEntry>& Entries() { return m_entries; }
    void CountLoad() { ++m_loads; }
    void CountHit() { ++m_hits; }

    CBaseColorSpace::SProfileCacheStats Stats() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return {m_entries.size(), m_loads, m_hits};
    }
    void Empty() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_entries.clear();
    }

private:
    std::mutex m_mutex;
    std::map<std::wstring, SEntry> m_entries;
    uint64_t m_loads = 0;
    uint64_t m_hits = 0;
};

CProfileCache& ProfileCache() {
    static CProfileCache cache;
    return cache;
}

} // namespace

CBaseColorSpace::CBaseColorSpace() : m_pIccProfile(std::make_unique<CIccColorProfile>()) {}

CBaseColorSpace::~CBaseColorSpace() = default;

void CBaseColorSpace::SetCountNotColorManagedChannels(int n) {
    if (n == m_nNotColorManagedChannels) return;
    m_nNotColorManagedChannels = n;
    UpdateChannelInfo();
}

void CBaseColorSpace::SetCountColorManagedChannels(int n) {
    if (n == m_nColorManagedChannels) return;
    m_nColorManagedChannels = n;
    UpdateChannelInfo();
}

void CBaseColorSpace::UpdateChannelInfo() {
    // A negative sum, possible only through a caller's negative count, makes no channels.
    m_vecChannelInfo.resize(size_t(std::max(GetCountChannels(), 0)));
}

void CBaseColorSpace::SetCmykPlus(int n) {
    m_eColorSpaceType = ecsCmyk;
    // Fewer than four inks cannot be CMYK: 1 to 3 become four; 0 stays 0, so that the first
    // profile decides the count.
    SetCountColorManagedChannels(n >= 1 && n <= 3 ? 4 : n);
    SetCountNotColorManagedChannels(0);
}

void CBaseColorSpace::SetGray() {
    m_eColorSpaceType = ecsGray;
    SetCountColorManagedChannels(1);
    SetCountNotColorManagedChannels(0);
}

void CBaseColorSpace::SetGray(int n) {
    m_eColorSpaceType = ecsGray;
    SetCountColorManagedChannels(1);
    SetCountNotColorManagedChannels(std::max(n, 1) - 1);
}

void CBaseColorSpace::SetLab(int n) {
    m_eColorSpaceType = ecsLab;
    SetCountColorManagedChannels(3);
    SetCountNotColorManagedChannels(std::max(n, 3) - 3);
}

void CBaseColorSpace::SetRgb(int n) {
    m_eColorSpaceType = ecsRgb;
    SetCountColorManagedChannels(3);
    SetCountNotColorManagedChannels(std::max(n, 3) - 3);
}

void CBaseColorSpace::SetSepar(int n) {
    m_eColorSpaceType = ecsSepar;
    SetCountColorManagedChannels(0);
    SetCountNotColorManagedChannels(n);
}

void CBaseColorSpace::Copy(const CBaseColorSpace* source) {
    if (source == nullptr || source == this) return;
    m_eColorSpaceType = source->m_eColorSpaceType;
    m_nColorManagedChannels = source->m_nColorManagedChannels;
    m_nNotColorManagedChannels = source->m_nNotColorManagedChannels;
    m_sIccFileName = source->m_sIccFileName;
    m_eRenderingIntent = source->m_eRenderingIntent;
    m_vecChannelInfo = source->m_vecChannelInfo;
    m_nError = source->m_nError;
    m_pIccProfile->copy(*source->m_pIccProfile);
}

void CBaseColorSpace::SetColorSpaceTypeFromDeviceColorSpaceSignature(icColorSpaceSignature sig) {
    switch (sig) {
    case icSigCmykData:
        m_eColorSpaceType = ecsCmyk;
        break;
    case icSigGrayData:
        m_eColorSpaceType = ecsGray;
        break;
    case icSigLabData:
        m_eColorSpaceType = ecsLab;
        break;
    case icSigRgbData:
        m_eColorSpaceType = ecsRgb;
        break;
    case kSeparationSignature:
        m_eColorSpaceType = ecsSepar;
        break;
    default:
        break;
    }
}

unsigned long CBaseColorSpace::GetDeviceColorSpaceSignature() {
    switch (m_eColorSpaceType) {
    case ecsLab:
        return icSigLabData;
    case ecsRgb:
        return icSigRgbData;
    case ecsCmyk:
        return icSigCmykData;
    case ecsGray:
        return icSigGrayData;
    case ecsSepar:
        return kSeparationSignature;
    }
    return 0;
}

IBaseColorSpace::enmColorSpaceType
CBaseColorSpace::ColorSpaceTypeOfSignature(icColorSpaceSignature sig) {
    if (sig == icSigRgbData) return ecsRgb;
    if (sig == icSigLabData) return ecsLab;
    // A CMYK space takes an n-colour profile of five inks and more.
    if (sig == icSigCmykData || IsNColorSignature(sig)) return ecsCmyk;
    if (sig == icSigGrayData) return ecsGray;
    return ecsSepar; // 2CLR, 3CLR, 4CLR, CMY and the rest: only an open space takes them
}

int CBaseColorSpace::CheckIccWithColorSpaceType() {
    const enmColorSpaceType kind =
        ColorSpaceTypeOfSignature(m_pIccProfile->DeviceColorSpaceSignature());
    if (m_eColorSpaceType == ecsSepar) {
        m_eColorSpaceType = kind;
        return 1;
    }
    return m_eColorSpaceType == kind ? 1 : 0;
}

int CBaseColorSpace::HoldsDataOfSignature(icColorSpaceSignature sig) {
    const int channels = int(GetChannelCountOfSignature(sig, false));
    return channels > 0 && ColorSpaceTypeOfSignature(sig) == m_eColorSpaceType &&
                   channels == GetCountChannels() && m_nNotColorManagedChannels == 0
               ? 1
               : 0;
}

namespace {
// The link meets the connection space as Lab, whether the profile's is Lab or XYZ.
icColorSpaceSignature AsLinkSide(icColorSpaceSignature sig) {
    return sig == icSigXYZData ? icSigLabData : sig;
}
bool IsConnectionSpace(icColorSpaceSignature sig) {
    return sig == icSigLabData || sig == icSigXYZData;
}
} // namespace

icColorSpaceSignature CBaseColorSpace::StepInputSignature(const icHeader& profile, int stepKind) {
    if (stepKind == CMdlColorLink::ProfStepDevToPcs) return AsLinkSide(profile.colorSpace);
    return IsConnectionSpace(profile.pcs) ? icSigLabData : icColorSpaceSignature(0);
}

icColorSpaceSignature CBaseColorSpace::StepOutputSignature(const icHeader& profile, int stepKind) {
    switch (stepKind) {
    case CMdlColorLink::ProfStepGamut:
        return icColorSpaceSignature(0); // one in-or-out answer, no colour space
    case CMdlColorLink::ProfStepPreview:
    case CMdlColorLink::ProfStepAbstract:
        return icSigLabData;
    case CMdlColorLink::ProfStepDevToPcs:
        return AsLinkSide(profile.pcs); // a device link's second space, else Lab or XYZ
    default:
        return AsLinkSide(profile.colorSpace);
    }
}

int CBaseColorSpace::LoadIccFile(const wchar_t* path, CUserSettingsMgr* usm) {
    if (path == nullptr || SplitFileName(path).empty()) {
        m_sIccFileName.clear();
        return 1;
    }
    m_sIccFileName = path;
    m_nError = 0;
    const int64_t mtime = ModificationTime(m_sIccFileName);

    {
        CProfileCache& cache = ProfileCache();
        std::lock_guard<std::mutex> lock(cache.Mutex());
        auto& entries = cache.Entries();
        auto found = entries.find(m_sIccFileName);
        if (found != entries.end() && found->second.mtime == mtime) {
            m_pIccProfile->copy(*found->second.record);
            cache.CountHit();
        } else {
            cache.CountLoad();
            if (!m_pIccProfile->LoadIccFile(m_sIccFileName.c_str(), usm)) {
                m_nError =
                    m_pIccProfile->Error() != 0 ? m_pIccProfile->Error() : ICC_ERR_LOAD_FAILED;
                m_sIccFileName.clear();
                return 0;
            }
            auto record = std::make_unique<CIccColorProfile>();
            record->copy(*m_pIccProfile);
            if (found != entries.end()) {
                found->second = {std::move(record), mtime}; // the stale record goes
            } else {
                if (entries.size() >= kProfileCacheLimit) entries.clear();
                entries.emplace(m_sIccFileName, CProfileCache::SEntry{std::move(record), mtime});
            }
        }
    }

    // A profile rejected here has entered the cache all the same.
    if (!CheckIccWithColorSpaceType()) {
        m_nError = ICC_ERR_CHANNEL_MISMATCH;
        m_sIccFileName.clear();
        return 0;
    }
    const int channels =
        int(GetChannelCountOfSignature(m_pIccProfile->DeviceColorSpaceSignature(), false));
    if (GetCountChannels() == 0) {
        // An open shape: the profile gives it.
        SetCountColorManagedChannels(channels);
        SetCountNotColorManagedChannels(0);
        return 1;
    }
    // A profile may have fewer channels than the space has colour-managed ones, never more.
    if (channels <= GetCountChannels() - GetCountNotColorManagedChannels()) return 1;
    m_nError = ICC_ERR_CHANNEL_MISMATCH;
    m_sIccFileName.clear();
    return 0;
}

CIccColorProfile* CBaseColorSpace::pIccProfile() {
    if (!EqualNoCase(m_sIccFileName, m_pIccProfile->FileName()))
        m_pIccProfile->LoadIccFile(m_sIccFileName.c_str(), nullptr);
    return m_pIccProfile.get();
}

CBaseColorSpace::SProfileCacheStats CBaseColorSpace::ProfileCacheStats() {
    return ProfileCache().Stats();
}

void CBaseColorSpace::EmptyProfileCache() {
    ProfileCache().Empty();
}
