// One lcms2 profile opened by the wrapper, with the SHA-1 text of what it was made from: the
// file's bytes, the profile data in memory, or the curves. The hash, not the path, identifies
// the profile in the keys of the transform pool.
#pragma once

#include <lcms2.h>

#include <memory>
#include <string>
#include <vector>

#include "colorlink/lcms/LcmsWrapper.h"

class CLcmsProfileHandle : public CLcmsWrapper {
public:
    // Each throws, with the text lcms2 reported, when the profile cannot be made.
    static std::unique_ptr<CLcmsProfileHandle> FromFile(const std::wstring& path);
    // `data` starts with an ICC header, whose size field says how many bytes the profile has.
    static std::unique_ptr<CLcmsProfileHandle> FromMemory(const void* data);
    // A linearisation device link of `space` from 256-entry curves; throws "Not enough
    // channels" when there are fewer curves than the space has channels.
    static std::unique_ptr<CLcmsProfileHandle>
    FromCurves(cmsColorSpaceSignature space, const std::vector<unsigned short*>& curves);

    ~CLcmsProfileHandle() override;

    cmsHPROFILE Profile() const { return hProfile; }
    const std::wstring& Path() const { return m_Path; }
    const std::wstring& Hash() const { return m_Hash; }
    int IsCurves() const { return bCurves; }

private:
    CLcmsProfileHandle() = default;

    cmsHPROFILE hProfile = nullptr; // owned
    std::wstring m_Path;            // empty for memory and curves
    std::wstring m_Hash;            // 40 upper-case hexadecimal digits
    int bCurves = 0;
};
