// The profile record: the small stand-in for a loaded ICC profile that the colour spaces, the
// factories and the pages pass around. It holds the file's name, its header, the few tags that
// decide how the profile is treated, and its MD5 text, but no tables: whoever needs transforms
// opens the file again. A record is cheap to copy, which is why the profile cache of
// BaseColorSpace.h keeps records and not files.
//
// Private tags of the system's maker, read at offset 8 of their data:
//     Tvr2  unsigned 32-bit version
//     Tvr3  NUL-terminated description in the narrow code page
//     Tvr4  two lines of text (the named colours read them)
//     Tvr5  presence only (the named colours read it)
//     Tvr6  NUL-terminated description in UTF-8
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "base/Object.h"
#include "icc/IccProfile.h"
#include "icc/IccRecords.h"

class CUserSettingsMgr;

class CIccColorProfile : public CObject {
    DECLARE_DYNAMIC(CIccColorProfile)
public:
    CIccColorProfile();
    ~CIccColorProfile() override;
    // Copies go through copy(), which deliberately leaves out the colorant table.
    CIccColorProfile(const CIccColorProfile&) = delete;
    CIccColorProfile& operator=(const CIccColorProfile&) = delete;

    // Loads the record from the profile at `path`. A path whose file-name part is empty clears
    // the file name and answers 1: no profile is a valid state. Answers 0 only when the reader
    // cannot open the file; its error then stays in Error() and the earlier content stays but
    // for the file name, which is cleared.
    int LoadIccFile(const wchar_t* path, CUserSettingsMgr* usm);

    // Takes illuminant, observer, file name, description, version, header, MD5 text and error
    // from `other`. Channel names and colorant values are not copied, and this record keeps its
    // own: a record filled from the profile cache never has them.
    void copy(const CIccColorProfile& other);

    const std::wstring& FileName() const { return m_sFileName; }
    const std::wstring& Description() const { return m_sDescription; }
    // The device colour space: the header's, or the n-colour signature of the output count of
    // a B2A table with 5 to 15 outputs (the last such tag wins).
    icColorSpaceSignature DeviceColorSpaceSignature() const { return m_Header.colorSpace; }
    icColorSpaceSignature ProfileConnectionSpaceSignature() const { return m_Header.pcs; }
    icProfileClassSignature ProfileClass() const { return m_Header.deviceClass; }
    icRenderingIntent RenderingIntent() const { return m_Header.renderingIntent; }
    // 0 for a record never loaded, 1 after a load, or the value of the tag Tvr2.
    unsigned long TarvelinVersion() const { return m_nTarvelinVersion; }
    void GetIlluObserver(enmIluminant& illuminant, enmObserver& observer) const {
        illuminant = m_eIlluminant;
        observer = m_eObserver;
    }
    std::wstring GetProfileMD5String() const { return m_sMD5; }
    // 1 unless the connection space is 0, Lab or XYZ; the profile class is not looked at.
    int IsDeviceLinkProfile() const;

    const icHeader& Header() const { return m_Header; }
    // Names and PCS values of the colorant table, in order.
    const std::vector<std::wstring>& ChannelNames() const { return m_vecChannelNames; }
    const std::vector<std::array<uint16_t, 3>>& ColorantPcs() const { return m_vecColorantPcs; }
    // The reader's error after a failed open; not reset by a successful load.
    int Error() const { return m_nError; }

protected:
    // Reads the record from an open reader; answers 1. Nothing in the tag walk fails the load:
    // a malformed or missing tag leaves its field alone.
    int LoadIccFile(CIccProfileRead* reader);

private:
    std::wstring m_sFileName;
    enmObserver m_eObserver = Observer2Degree;
    enmIluminant m_eIlluminant = IluminantD50;
    std::wstring m_sDescription;
    icHeader m_Header{};
    uint32_t m_nTarvelinVersion = 0;
    // Taken at load, unlike the reader's: the profile cache keeps records for a long time, and
    // a record holds no tables, so it should not hold the file's bytes for a later digest.
    std::wstring m_sMD5;
    std::vector<std::wstring> m_vecChannelNames;
    std::vector<std::array<uint16_t, 3>> m_vecColorantPcs;
    int m_nError = 0;
};
