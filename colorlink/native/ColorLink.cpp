#include "colorlink/native/ColorLink.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <cmath>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "base/IniEntries.h"
#include "base/Settings.h"
#include "colorfunc/Colorimetric.h"
#include "colorfunc/ConcatFunc.h"
#include "colorfunc/DeviceModels.h"
#include "colorfunc/InversFunc.h"
#include "colorfunc/PerChannel.h"
#include "colorfunc/WidthAdapters.h"
#include "colorlink/LinkSignatures.h"
#include "colorlink/native/FastPixelPath.h"
#include "gridtable/BuiltInMft.h"
#include "gridtable/TabMftX.h"

int CColorLink::s_nGrid3 = 0;
int CColorLink::s_nGrid4 = 0;
CMft_16* CColorLink::s_pCmykToRgb = nullptr;
int CColorLink::s_nListCount = 0;
CMft_16* CColorLink::s_pCmykToLab = nullptr;
CMft_16* CColorLink::s_pRgbToLab = nullptr;
int CColorLink::s_nLinkCount = 0;

namespace {

// A native link handles no more than this many channels on a side (the pixel loops' buffers).
constexpr unsigned kMaxSide = CColorLink::kMaxPixelChannels;

// The n-colour spaces accepted as LinkFmtNColor output: 5 to 12 colours. Spaces of 2, 3, 4,
// 13, 14 and 15 colours are deliberately not among them.
bool IsNColorOutputSpace(unsigned space) {
    return IsNClrSpace5To15(space) && space != icSig13colorData && space != icSig14colorData &&
           space != icSig15colorData;
}

// Building blocks of the chain. To append f is to make the chain the inner function of a new
// concatenation with f as outer; to prepend is the opposite. The chain is always owned;
// functions that belong to a tag or to the statics go in by reference, new ones by pointer.
using Chain = std::unique_ptr<CFunc_16>;

void Append(Chain& chain, CFunc_16* f) {
    chain = std::make_unique<CConcatFunc_16>(f, chain.release());
}
void AppendRef(Chain& chain, const CFunc_16& f) {
    chain = std::make_unique<CConcatFunc_16>(f, chain.release());
}
void Prepend(Chain& chain, CFunc_16* f) {
    chain = std::make_unique<CConcatFunc_16>(chain.release(), f);
}
void PrependRef(Chain& chain, const CFunc_16& f) {
    chain = std::make_unique<CConcatFunc_16>(chain.release(), f);
}

// Legacy Lab to the ICC encoding of XYZ, and back; made anew at each use.
CFunc_16* NewLabToIccXYZ() {
    return new CConcatFunc_16(new CXYZRelToIcc, new CLabXYZ16);
}
CFunc_16* NewIccXYZToLab() {
    return new CInversFunc_16(NewLabToIccXYZ());
}

// The ways of taking a tag's table into the chain. Head, Only and Tail run the tag's table with
// the chosen curve sets bypassed; Middle runs it with its curves. The flags are set on the
// tag's own table rather than on a copy: the list is dropped when the link is made, and the
// curves themselves, which CreateLink still reads, stay as they are. A table widened from 8
// bits gets the 8-bit Lab encoding corrected on its Lab sides.
Chain TagFuncBypassing(CColorTag& tag, bool skipInput, bool skipOutput) {
    CFunc_16TabBaseMft& f = *tag.pFunc16;
    f.SetSkipInputTab(skipInput);
    f.SetSkipOutputTab(skipOutput);
    return std::make_unique<CConcatFunc_16>(static_cast<const CFunc_16&>(f));
}
Chain TagFuncHead(CColorTag& tag) {
    Chain f = TagFuncBypassing(tag, true, false);
    if (tag.bFrom8Bit && tag.OutSpace == icSigLabData)
        Append(f, new CInversFunc_16(static_cast<CFunc_16*>(new CL8To16)));
    return f;
}
Chain TagFuncOnly(CColorTag& tag) {
    return TagFuncBypassing(tag, true, true);
}
Chain TagFuncTail(CColorTag& tag) {
    Chain f = TagFuncBypassing(tag, false, true);
    if (tag.bFrom8Bit && tag.InSpace == icSigLabData) Prepend(f, new CL8To16);
    return f;
}
Chain TagFuncMiddle(CColorTag& tag) {
    Chain f = std::make_unique<CConcatFunc_16>(static_cast<const CFunc_16&>(*tag.pFunc16));
    if (tag.bFrom8Bit && tag.OutSpace == icSigLabData)
        Append(f, new CInversFunc_16(static_cast<CFunc_16*>(new CL8To16)));
    if (tag.bFrom8Bit && tag.InSpace == icSigLabData) Prepend(f, new CL8To16);
    return f;
}

// Guards the built-in tables and the counts of their users.
std::mutex g_builtInLock;

// Reads a built-in table; a missing resource leaves the static null.
CMft_16* LoadBuiltIn(const wchar_t* name) {
    CMft_16* mft = nullptr;
    LoadBuiltInMft(name, mft);
    return mft;
}

bool SamePixel3x8(const unsigned char* a, const unsigned char* b) {
    return std::memcmp(a, b, 3) == 0;
}
bool SamePixel4x8(const unsigned char* a, const unsigned char* b) {
    return std::memcmp(a, b, 4) == 0;
}
bool SamePixel3x16(const unsigned short* a, const unsigned short* b) {
    return std::memcmp(a, b, 3 * sizeof(unsigned short)) == 0;
}
bool SamePixel4x16(const unsigned short* a, const unsigned short* b) {
    return std::memcmp(a, b, 4 * sizeof(unsigned short)) == 0;
}

// Grid points per axis: a positive setting is a least size, raised to the finest table of the
// chain taken as if it had `inputs` inputs; zero or negative fixes the size at its magnitude.
unsigned GridSize(int setting, unsigned maxEntries, double inputs) {
    if (setting <= 0) return unsigned(-int64_t(setting));
    return unsigned(std::max(double(setting), std::pow(double(maxEntries), 1.0 / inputs)) + 0.5);
}

// Threads that sample a link's chain over its grid. KVR_BUILD_THREADS, when set to a count of
// at least 1, fixes it (1 is the single-threaded way); otherwise every core up to eight, and
// one for a grid too small to be worth starting threads. The grid is the same for any count.
unsigned SamplingThreads(unsigned nodes) {
    if (const char* forced = std::getenv("KVR_BUILD_THREADS")) {
        const long n = std::strtol(forced, nullptr, 10);
        if (n >= 1) return unsigned(std::min(n, 64L));
    }
    if (nodes < 4096) return 1;
    return std::clamp(std::thread::hardware_concurrency(), 1u, 8u);
}

// Samples the chain into the table's grid. Leading steps that map each channel alone (the
// input curves, a change of scale) are evaluated once per node value of an axis, the rest of
// the chain once per node: the same samples as the whole chain at every node.
template <class Table> void SampleChain(Table& table, const CFunc_16& chain) {
    const unsigned threads = SamplingThreads(table.Mft().TabCount());
    const CPerChannelSplit split = SplitPerChannelHead(chain);
    if (split.head)
        table.DefineByFuncOnThreads(*split.head, *split.rest, threads);
    else
        table.DefineByFuncOnThreads(chain, threads);
}

} // namespace

const CMft_16* CColorLink::BuiltIn(CMft_16*& slot, const wchar_t* name) {
    std::lock_guard<std::mutex> lock(g_builtInLock);
    // The first list or link of the process no longer reads the table when it is made, but
    // when a chain first needs it: the same table, later, and only where it is used.
    if (!slot) slot = LoadBuiltIn(name);
    return slot;
}

CColorLink::CColorTagList::CColorTagList() {
    m_tags.reserve(10); // grows in blocks, as the steps of a link seldom exceed ten
    std::lock_guard<std::mutex> lock(g_builtInLock);
    ++s_nListCount;
}

CColorLink::CColorTagList::~CColorTagList() {
    RemoveAll();
    std::lock_guard<std::mutex> lock(g_builtInLock);
    if (--s_nListCount == 0) {
        delete s_pCmykToRgb;
        s_pCmykToRgb = nullptr;
    }
}

void CColorLink::CColorTagList::TruncateTo(size_t n) {
    while (m_tags.size() > n) m_tags.pop_back();
}

unsigned CColorLink::CColorTagList::MaxClutEntries() const {
    unsigned n = 0;
    for (const auto& tag : m_tags) n = std::max(n, tag->clutEntries());
    return n;
}

bool CColorLink::CColorTagList::AnyAbsolute() const {
    for (const auto& tag : m_tags)
        if (tag->pLabRelAbs || tag->pXYZRelAbs) return true;
    return false;
}

CColorLink::CColorLink(CUserSettingsMgr* settings) : pSettings(settings) {
    // The grid sizes come from the process-wide RIP settings, not from the caller's settings.
    // A configured 0 stays 0 and is simply read again by the next link.
    if (s_nGrid3 == 0) s_nGrid3 = CRipsIniFile::Instance().GetInt(IniClpColorLink3);
    if (s_nGrid4 == 0) s_nGrid4 = CRipsIniFile::Instance().GetInt(IniClpColorLink4);
    std::lock_guard<std::mutex> lock(g_builtInLock);
    ++s_nLinkCount;
}

CColorLink::~CColorLink() {
    TagList.RemoveAll();
    pFunc8.reset();
    pFunc16.reset();
    std::lock_guard<std::mutex> lock(g_builtInLock);
    if (--s_nLinkCount == 0) {
        delete s_pCmykToLab;
        delete s_pRgbToLab;
        s_pCmykToLab = s_pRgbToLab = nullptr;
    }
}

int CColorLink::AddProfile(const wchar_t* path, int stepKind, enmRenderingIntent intent) {
    const enmRenderingIntent reduced = TranslateBlackPreservingRI(intent);
    auto tag = std::make_unique<CColorTag>(path, stepKind, reduced, pSettings);
    nLastError = tag->nError;
    if (tag->nError == 0) {
        if (TagList.IsEmpty()) FirstSpace = tag->InSpace;
        LastSpace = tag->OutSpace;
        TagList.AddTail(std::move(tag));
        return 1;
    }
    const bool retry = stepKind == ProfStepPreview && tag->nError == LinkErrNoTable;
    tag.reset();
    if (!retry) return 0;
    // A profile without preview tags is played through as two steps: into the device with the
    // caller's intent, and back always relative colorimetric.
    auto toDevice = std::make_unique<CColorTag>(path, ProfStepPcsToDev, reduced, pSettings);
    if (toDevice->nError != 0) return 0;
    auto back = std::make_unique<CColorTag>(path, ProfStepDevToPcs, IntentRelative, pSettings);
    if (back->nError != 0) return 0;
    nLastError = 0;
    if (TagList.IsEmpty()) FirstSpace = toDevice->InSpace;
    LastSpace = back->OutSpace;
    TagList.AddTail(std::move(toDevice));
    TagList.AddTail(std::move(back));
    return 1;
}

bool CColorLink::CheckFormats(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut,
                              SLinkFlags& flags) const {
    // Output side. A link to which no profile was ever added, with equal formats and counts,
    // starts as the identity.
    bool ok =
        FirstSpace == icSigNone && LastSpace == icSigNone && inFormat == outFormat && nIn == nOut;
    switch (outFormat) {
    case LinkFmtRgb:
        if (LastSpace == icSigRgbData) ok = true;
        break;
    case LinkFmtCmyk:
        if (LastSpace == icSigCmykData) ok = true;
        break;
    case LinkFmtGamut:
        if (LastSpace == icSigGamutTag) ok = true;
        if (LastSpace == icSigRgbData) ok = flags.GamutOfRgb = true;
        break;
    case LinkFmtNColor:
        if (IsNColorOutputSpace(LastSpace)) ok = true;
        break;
    case LinkFmtLab:
        if (LastSpace == icSigLabData) ok = true;
        if (LastSpace == icSigXYZData) ok = flags.OutIsXYZ = true;
        if (LastSpace == icSigCmykData) {
            // Device CMYK to Lab goes through a built-in table chosen by the source space.
            if (FirstSpace == icSigCmykData)
                ok = flags.UseCmykToLab = true;
            else if (FirstSpace == icSigRgbData)
                ok = flags.UseRgbToLab = true;
            else
                ok = false;
        }
        break;
    default:
        break; // gray and anything else: ok stays as it is
    }
    // Input side, on the first step's space.
    switch (inFormat) {
    case LinkFmtRgb:
        ok = ok && FirstSpace == icSigRgbData;
        break;
    case LinkFmtCmyk:
        ok = ok && FirstSpace == icSigCmykData;
        break;
    case LinkFmtLab:
        if (FirstSpace == icSigXYZData)
            flags.InIsXYZ = true;
        else if (FirstSpace != icSigLabData)
            ok = false;
        break;
    case LinkFmtGray:
        ok = ok && FirstSpace == icSigGrayData;
        break;
    default:
        break; // n-colour and gamut sources are taken on trust
    }
    return ok;
}

std::unique_ptr<CFunc_16> CColorLink::ComposeChain() {
    const size_t count = TagList.GetCount();
    for (size_t i = 0; i < count; ++i) {
        TagList.At(i).Widen();
        // Only an 8-bit table of a kind without a 16-bit twin gets here; the profile reader
        // makes none, but a tag made from a profile object given by a caller might.
        if (!TagList.At(i).pFunc16) {
            TagList.nError = LinkErrNoTable;
            return nullptr;
        }
        // AddProfile takes only tables that fit their step; a tag put into the list by other
        // means is held to the same rule before anything is sampled.
        if (!TagList.At(i).FitsItsSpaces()) {
            TagList.nError = LinkErrFormat;
            return nullptr;
        }
    }
    CColorTag& first = TagList.GetHead();
    // A device link that already ends in the link's last space does the whole job alone.
    if (!IsPcsSpace(first.InSpace) && !IsPcsSpace(first.OutSpace) && first.OutSpace == LastSpace) {
        TagList.TruncateTo(1);
        return TagFuncOnly(first);
    }
    if (count == 1) {
        Chain chain = TagFuncOnly(first);
        if (first.bCompensateBlack && first.BlackPoint() > 0) {
            if (first.InSpace == icSigLabData)
                Prepend(chain, new CBPScalingLab(0, first.BlackPoint()));
            if (first.InSpace == icSigXYZData)
                Prepend(chain, new CBPScalingXYZ(0, first.BlackPoint()));
        }
        return chain;
    }
    Chain chain = TagFuncHead(first);
    unsigned prevOut = first.OutSpace;
    for (size_t i = 1; i < count; ++i) {
        CColorTag& prev = TagList.At(i - 1);
        CColorTag& tag = TagList.At(i);
        const bool last = i + 1 == count;
        // Joining. Lab and XYZ meet through the colorimetric conversions. Between other spaces
        // the tag's table is left out and its output is reached directly from prevOut.
        bool skip = false;
        if (tag.InSpace != prevOut) {
            if (prevOut == icSigLabData && tag.InSpace == icSigXYZData) {
                Append(chain, NewLabToIccXYZ());
            } else if (prevOut == icSigXYZData && tag.InSpace == icSigLabData) {
                Append(chain, NewIccXYZToLab());
            } else {
                skip = true;
                const CMft_16* cmykToRgb = nullptr;
                if (prevOut == icSigCmykData && tag.OutSpace == icSigRgbData)
                    cmykToRgb = BuiltIn(s_pCmykToRgb, kCmykV2ToRgbName);
                if (cmykToRgb) {
                    AppendRef(chain, *cmykToRgb);
                } else if (IsBridgeableDeviceSpace(prevOut) &&
                           IsBridgeableDeviceSpace(tag.OutSpace)) {
                    Append(chain,
                           new CFunc16CopyInOut(
                               GetChannelCountOfSignature(icColorSpaceSignature(prevOut)),
                               GetChannelCountOfSignature(icColorSpaceSignature(tag.OutSpace))));
                } else {
                    TagList.nError = LinkErrFormat;
                    return nullptr;
                }
            }
        }
        // Absolute handling: the previous profile's white first, then this one's.
        if (tag.pLabRelAbs) {
            Append(chain, new CLabAbsRel(prev.MediaWhite));
            AppendRef(chain, *tag.pLabRelAbs);
        } else if (tag.pXYZRelAbs) {
            Append(chain, new CXYZAbsRel(prev.MediaWhite));
            AppendRef(chain, *tag.pXYZRelAbs);
        }
        // Black point compensation stands between this step's table and the previous one.
        if (tag.bCompensateBlack && (tag.BlackPoint() > 0 || prev.BlackPoint() > 0)) {
            if (tag.InSpace == icSigLabData)
                Append(chain, new CBPScalingLab(prev.BlackPoint(), tag.BlackPoint()));
            else if (tag.InSpace == icSigXYZData)
                Append(chain, new CBPScalingXYZ(prev.BlackPoint(), tag.BlackPoint()));
        }
        if (skip) {
            prevOut = tag.OutSpace;
            continue;
        }
        if (last) {
            Append(chain, TagFuncTail(tag).release());
            break;
        }
        Append(chain, TagFuncMiddle(tag).release());
        prevOut = tag.OutSpace;
    }
    return chain;
}

void CColorLink::ApplyWhiteFix(CMft_16& mft, const uint16_t* white, unsigned nOut, bool outIsXYZ) {
    // The grid node that the source's white falls on prints no ink: the grid value whose output
    // curves give 0 on every channel.
    uint16_t buf[kMaxSide] = {};
    if (!outIsXYZ) {
        const uint16_t tmp[kMaxSide] = {};
        TagList.GetTail().pFunc16->FuncOutputTab().Inv(tmp, buf);
    }
    const unsigned i = mft.QuantizeToGridPoint(white);
    // Bounded by the grid's end, for a caller whose channel count exceeds the table's.
    const unsigned n = std::min({nOut, kMaxSide, mft.TabEntries() - std::min(i, mft.TabEntries())});
    mft.DefineSamples(i, buf, n);
}

int CColorLink::CreateLink(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut) {
    SLinkFlags flags;
    const bool ok = CheckFormats(inFormat, nIn, outFormat, nOut, flags);
    // The counts are stored whatever the outcome; the pixel loops step by them.
    m_nInChannels = nIn;
    m_nOutChannels = nOut;
    if (TagList.IsEmpty()) {
        // The identity link, or a failure without an error number.
        if (ok) {
            m_InFormat = inFormat;
            m_OutFormat = outFormat;
        }
        return ok ? 1 : 0;
    }
    if (!ok) {
        nLastError = LinkErrFormat; // the steps stay: the caller may try another format
        return 0;
    }
    const unsigned maxEntries = TagList.MaxClutEntries();
    const unsigned grid3 = GridSize(s_nGrid3, maxEntries, 3);
    const unsigned grid4 = GridSize(s_nGrid4, maxEntries, 4);

    Chain chain = ComposeChain();
    if (!chain) {
        nLastError = TagList.nError;
        TagList.RemoveAll();
        return 0;
    }
    // Device CMYK to Lab: the built-in table of the source space replaces the profiles' chain.
    const CMft_16* builtIn = flags.UseCmykToLab  ? BuiltIn(s_pCmykToLab, kCmykV2ToLabName)
                             : flags.UseRgbToLab ? BuiltIn(s_pRgbToLab, kSRgbToLabName)
                                                 : nullptr;
    if (flags.UseCmykToLab || flags.UseRgbToLab) {
        if (!builtIn) { // a library built without its resources
            nLastError = LinkErrNoTable;
            TagList.RemoveAll();
            return 0;
        }
        chain = std::make_unique<CConcatFunc_16>(static_cast<const CFunc_16&>(*builtIn));
    }
    CColorTag& head = TagList.GetHead();
    CColorTag& tail = TagList.GetTail();
    if (flags.OutIsXYZ) {
        // The output curves go into the grid, followed by the way back to Lab.
        AppendRef(chain, tail.pFunc16->FuncOutputTab());
        Append(chain, NewIccXYZToLab());
    }
    bool needInputTab = true;
    if (flags.InIsXYZ) {
        // The caller's Lab becomes XYZ, absolute when asked for, and passes the input curves.
        PrependRef(chain, head.pFunc16->FuncInputTab());
        needInputTab = false;
        if (head.pXYZRelAbs) PrependRef(chain, *head.pXYZRelAbs);
        Prepend(chain, NewLabToIccXYZ());
    } else if (head.pLabRelAbs || head.pXYZRelAbs) {
        PrependRef(chain, head.pFunc16->FuncInputTab());
        PrependRef(chain, head.pLabRelAbs ? *head.pLabRelAbs : *head.pXYZRelAbs);
        needInputTab = false;
    }
    if (flags.GamutOfRgb) Append(chain, new CRGBToGamut(3, 1));

    const bool absolute = TagList.AnyAbsolute();
    const bool toDevice = outFormat == LinkFmtCmyk || outFormat == LinkFmtNColor;
    std::unique_ptr<CFunc_16TabBaseMft> table;
    switch (chain->inputChan()) {
    case 3: {
        // A three-input table has no input curves of its own: they are sampled into the grid.
        if (needInputTab) PrependRef(chain, head.pFunc16->FuncInputTab());
        needInputTab = false;
        auto t3 = std::make_unique<CFunc_16Tab3Mft>(grid3, chain->outputChan());
        // The chain's functions keep no scratch state between calls, so its nodes may be
        // sampled on several threads at once: the same table, made sooner.
        SampleChain(*t3, *chain);
        if (inFormat == LinkFmtRgb && toDevice && !absolute) {
            const uint16_t white[3] = {65535, 65535, 65535};
            ApplyWhiteFix(t3->Mft(), white, nOut, flags.OutIsXYZ);
        }
        pfnSamePixel8 = SamePixel3x8;
        pfnSamePixel16 = SamePixel3x16;
        table = std::move(t3);
        break;
    }
    case 4: {
        auto t4 = std::make_unique<CFunc_16Tab4Mft>(grid4, chain->outputChan());
        SampleChain(*t4, *chain);
        if (inFormat == LinkFmtCmyk && toDevice && !absolute) {
            uint16_t white[4] = {0, 0, 0, 0};
            if (needInputTab) {
                const uint16_t paper[4] = {0, 0, 0, 0};
                head.pFunc16->FuncInputTab().Trn(paper, white);
            }
            ApplyWhiteFix(t4->Mft(), white, nOut, flags.OutIsXYZ);
        }
        pfnSamePixel8 = SamePixel4x8;
        pfnSamePixel16 = SamePixel4x16;
        table = std::move(t4);
        break;
    }
    case 1: {
        auto t1 = std::make_unique<CFunc_16Tab1Mft>(chain->outputChan());
        t1->DefineByFunc(*chain);
        pfnSamePixel8 = SamePixel4x8; // as for four inputs, although a pixel has one channel
        pfnSamePixel16 = SamePixel4x16;
        table = std::move(t1);
        break;
    }
    default:
        // Two inputs, or five and more: there is no table of that kind. Refused as a format
        // the link cannot serve.
        nLastError = LinkErrFormat;
        TagList.RemoveAll();
        return 0;
    }
    chain.reset();
    if (!flags.OutIsXYZ) {
        table->DefineOutputTab(tail.pFunc16->FuncOutputTab());
    }
    if (needInputTab) {
        table->DefineInputTab(head.pFunc16->FuncInputTab());
    }
    TagList.RemoveAll(); // the curves have been copied by now
    pFunc16 = std::move(table);
    // The finished table's InitMftTrn no longer runs here but before its first Trn
    // (PrepareTable): the fast pixel path reads the grid's nodes, and the difference tables
    // (for four inputs 15 of the grid's size) are then never read. Same tables, made later.
    m_tablePrepared = false;
    nTabOutChannels = int(pFunc16->outputChan());
    pFast = CFastPixelPath::Make(*pFunc16, nIn, nOut);
    m_InFormat = inFormat;
    m_OutFormat = outFormat;
    return 1;
}

void CColorLink::SetTable16(std::unique_ptr<CFunc_16TabBaseMft> table) {
    nTabOutChannels = table ? int(table->outputChan()) : 0;
    pFunc16 = std::move(table);
    pFast.reset();
    m_tablePrepared = false;
}

void CColorLink::PrepareTable() const {
    if (m_tablePrepared.load(std::memory_order_acquire)) return;
    std::lock_guard<std::mutex> lock(m_prepareLock);
    if (m_tablePrepared.load(std::memory_order_relaxed)) return;
    if (pFunc16) pFunc16->InitMftTrn();
    m_tablePrepared.store(true, std::memory_order_release);
}

void CColorLink::TrnPixels16(const unsigned short* src, unsigned short* dst, unsigned count) {
    if (!pFunc16) {
        // No table: a link of equal channel counts copies, any other does nothing.
        if (m_nInChannels == m_nOutChannels)
            std::memcpy(dst, src, size_t(count) * m_nInChannels * sizeof(unsigned short));
        return;
    }
    if (pFast && pFast->Trn16(src, dst, count)) return;
    PrepareTable();
    // The table reads and writes the caller's samples directly; its result is not used.
    const CFunc_16& f = *pFunc16;
    for (unsigned k = 0; k < count; ++k, src += m_nInChannels, dst += m_nOutChannels)
        f.Trn(src, dst);
}

void CColorLink::TrnPixels8(const unsigned char* src, unsigned char* dst, unsigned count) {
    if (!pFunc8 && !pFunc16) {
        if (m_nInChannels == m_nOutChannels) std::memcpy(dst, src, size_t(count) * m_nInChannels);
        return;
    }
    if (pFast && pFast->Trn8(src, dst, count)) return;
    PrepareTable();
    if (int(m_nOutChannels) > nTabOutChannels) std::memset(dst, 0, size_t(count) * m_nOutChannels);
    // The table is chosen once for the run: an 8-bit one, where there is one, converts alone.
    if (pFunc8) {
        const auto& f8 = *pFunc8;
        for (unsigned k = 0; k < count; ++k, src += m_nInChannels, dst += m_nOutChannels)
            f8.Trn(src, dst);
        return;
    }
    // Channels the table does not write read as 0, which is what the fill above intends.
    unsigned short in[kMaxPixelChannels] = {};
    unsigned short out[kMaxPixelChannels] = {};
    // The work buffers hold 16 channels a side; wider callers' samples beyond are not touched.
    const unsigned nIn = std::min(m_nInChannels, kMaxPixelChannels);
    const unsigned nOut = std::min(m_nOutChannels, kMaxPixelChannels);
    const CFunc_16& f16 = *pFunc16;
    for (unsigned k = 0; k < count; ++k, src += m_nInChannels, dst += m_nOutChannels) {
        // 8 to 16 bits is x * 257, so 255 reaches the table as 65535; back is the high byte.
        for (unsigned c = 0; c < nIn; ++c) in[c] = uint16_t(src[c] * 257u);
        f16.Trn(in, out);
        for (unsigned c = 0; c < nOut; ++c) dst[c] = uint8_t(out[c] >> 8);
    }
}

void CColorLink::TrnBgrPixels8(const unsigned char* src, unsigned char*, unsigned count) {
    // Only the ICM back-end gives this operation an effect. Here the table is evaluated on the
    // reversed bytes (scaled by 256, not 257) and the result is dropped; the destination is
    // never written. Meant for a built link of three inputs. A link without a table (the
    // copying link, or one whose build failed) has nothing to evaluate.
    if (!pFunc16) return;
    PrepareTable();
    // Inputs beyond the three bytes of a pixel read as 0, for a table of more inputs.
    unsigned short in[kMaxPixelChannels] = {};
    unsigned short out[kMaxPixelChannels];
    for (unsigned k = 0; k < count; ++k, src += 3) {
        in[0] = uint16_t(src[2] << 8);
        in[1] = uint16_t(src[1] << 8);
        in[2] = uint16_t(src[0] << 8);
        pFunc16->Trn(in, out);
    }
}
