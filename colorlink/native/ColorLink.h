// The native back-end: opens each profile at AddProfile and keeps only the table its step needs;
// CreateLink composes those tables into one chain of colour functions and samples it into a
// single grid table, so that a pixel then costs one interpolation however long the chain was.
//
// Threads: a built link only reads its table, so any number of threads may convert through
// it at once. The built-in tables and their counters are guarded by one lock, so links may be
// made and deleted on several threads; the grid sizes are read without one (the first link of
// a process should be made before others are made on other threads).
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "base/Object.h"
#include "colorfunc/Func.h"
#include "colorlink/MdlColorLink.h"
#include "colorlink/native/ColorTag.h"
#include "gridtable/Mft.h"
#include "gridtable/TabMft.h"

class CUserSettingsMgr;
class CFastPixelPath;

class CColorLink : public CMdlColorLink {
public:
    // The steps of a link, head first. Owns its tags. The built-in CMYK-to-RGB table lives
    // while a list does: loaded when a chain first needs it, freed with the last list.
    class CColorTagList : public CObject {
    public:
        CColorTagList();
        ~CColorTagList() override;
        CColorTagList(const CColorTagList&) = delete;
        CColorTagList& operator=(const CColorTagList&) = delete;

        void AddTail(std::unique_ptr<CColorTag> tag) { m_tags.push_back(std::move(tag)); }
        // Deletes the tags from the tail forward until `n` are left.
        void TruncateTo(size_t n);
        // Deletes every tag, then empties the list.
        void RemoveAll() { TruncateTo(0); }
        size_t GetCount() const { return m_tags.size(); }
        bool IsEmpty() const { return m_tags.empty(); }
        CColorTag& At(size_t i) const { return *m_tags[i]; }
        CColorTag& GetHead() const { return *m_tags.front(); }
        CColorTag& GetTail() const { return *m_tags.back(); }

        // What the build needs of the whole list.
        unsigned MaxClutEntries() const;
        bool AnyAbsolute() const;

        unsigned nError = 0; // why the composition stopped (905), else 0

    private:
        std::vector<std::unique_ptr<CColorTag>> m_tags;
    };

    explicit CColorLink(CUserSettingsMgr* settings);
    ~CColorLink() override;
    CColorLink(const CColorLink&) = delete;
    CColorLink& operator=(const CColorLink&) = delete;

    void TrnPixels16(const unsigned short* src, unsigned short* dst, unsigned count) override;
    int AddProfile(const wchar_t* path, int stepKind, enmRenderingIntent intent) override;
    int AddGradation(const std::vector<unsigned short*>&) override { return 0; }
    int CreateLink(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut) override;
    unsigned GetLinkError() override { return nLastError; }
    void TrnPixels8(const unsigned char* src, unsigned char* dst, unsigned count) override;
    void TrnBgrPixels8(const unsigned char* src, unsigned char* dst, unsigned count) override;
    void Reserved1() override {}
    void Reserved2() override {}
    unsigned nInChannels() override { return m_nInChannels; }
    unsigned nOutChannels() override { return m_nOutChannels; }
    unsigned InFormat() override { return m_InFormat; }
    unsigned OutFormat() override { return m_OutFormat; }
    int SupportsGradation() override { return 0; }

    // The built table (null before a successful CreateLink, or for a copying link), prepared
    // for Trn. Read-only access for tools that save a link's table, for instance as a
    // device-link profile.
    const CFunc_16TabBaseMft* Table16() const {
        PrepareTable();
        return pFunc16.get();
    }
    // The steps collected so far (emptied by CreateLink).
    const CColorTagList& Tags() const { return TagList; }

    // Grid sizes configured for three- and four-input tables, read from the RIP settings by the
    // first link that finds them 0. Negative: fixed size; positive: least size.
    static int s_nGrid3;
    static int s_nGrid4;
    // Built-in tables and the counts of their users. A table is read from its resource the
    // first time a chain uses it (null until then, and null if the library has no such
    // resource) and freed when the last user of its kind goes.
    static CMft_16* s_pCmykToRgb; // per CColorTagList
    static int s_nListCount;
    static CMft_16* s_pCmykToLab; // per CColorLink
    static CMft_16* s_pRgbToLab;
    static int s_nLinkCount;
    // The built-in table in `slot` (one of the three above), read from resource `name` now if
    // it was not yet. Only for a caller that holds a list or a link, which keeps it alive.
    static const CMft_16* BuiltIn(CMft_16*& slot, const wchar_t* name);

    static constexpr unsigned kMaxPixelChannels = 16; // work buffers of the 8-bit loop

protected:
    // Installs a finished 16-bit table. The link build does this itself; it is open to derived
    // classes so that the pixel loops can be exercised on any table.
    void SetTable16(std::unique_ptr<CFunc_16TabBaseMft> table);

private:
    // What the format checks of CreateLink find out about the chain.
    struct SLinkFlags {
        bool OutIsXYZ = false;
        bool InIsXYZ = false;
        bool UseCmykToLab = false;
        bool UseRgbToLab = false;
        bool GamutOfRgb = false;
    };
    bool CheckFormats(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut,
                      SLinkFlags& flags) const;
    // The chain of all tags as one function, or null with TagList.nError set.
    std::unique_ptr<CFunc_16> ComposeChain();
    void ApplyWhiteFix(CMft_16& mft, const uint16_t* whitePixel, unsigned nOut, bool outIsXYZ);
    // Prepares pFunc16 (InitMftTrn) the first time something reads it through its own Trn;
    // safe on several threads at once. The fast pixel paths read the grid's nodes and never
    // need it.
    void PrepareTable() const;

    CUserSettingsMgr* pSettings; // not owned
    CColorTagList TagList;
    std::unique_ptr<CFunc_8TabBaseMft> pFunc8;   // 8-bit result table; never made by CreateLink
    std::unique_ptr<CFunc_16TabBaseMft> pFunc16; // 16-bit result table of the built link
    // A faster way through pFunc16 with identical results, made by CreateLink where one exists.
    std::unique_ptr<CFastPixelPath> pFast;
    mutable std::atomic<bool> m_tablePrepared{false}; // pFunc16 has had its InitMftTrn
    mutable std::mutex m_prepareLock;                 // taken to run it
    unsigned nLastError = 0;
    unsigned FirstSpace = icSigNone; // input colour space of the first step
    unsigned LastSpace = icSigNone;  // output colour space of the last step
    unsigned m_nInChannels = 0;
    unsigned m_nOutChannels = 0;
    // Stored by CreateLink for callers that skip repeated pixels; nothing in the library reads
    // them.
    bool (*pfnSamePixel8)(const unsigned char*, const unsigned char*) = nullptr;
    bool (*pfnSamePixel16)(const unsigned short*, const unsigned short*) = nullptr;
    int nTabOutChannels = 0;
    unsigned m_InFormat = 0;
    unsigned m_OutFormat = 0;
};
