#include "icc/IccProfileGen.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>

#include "base/Digest.h"
#include "base/WideString.h"
#include "gridtable/TabMft.h"
#include "icc/IccDump.h"

IMPLEMENT_DYNAMIC(CIccProfileGen1, CIccProfileRead)

const double CIccProfileGen1::sc_BradfordD50ToD50[9] = {1.0, 0.0, 0.0, 0.0, 1.0,
                                                        0.0, 0.0, 0.0, 1.0};
const double CIccProfileGen1::sc_BradfordD55ToD50[9] = {1.0184567,  0.0093864, -0.0213199,
                                                        0.0120291,  0.995146,  -0.0072228,
                                                        -0.0039673, 0.0064899, 0.8925936};
const double CIccProfileGen1::sc_BradfordD65ToD50[9] = {1.0478112,  0.0228866, -0.050127,
                                                        0.0295424,  0.9904844, -0.0170491,
                                                        -0.0092345, 0.0150436, 0.7521316};
const char* const CIccProfileGen1::szCopyRight = "Copyright (c) 2026, the KVRCOLOR developers.";

namespace {

// The maker's version stamp of the Tvr2 tag, as text; the tag holds its decimal value.
constexpr char kTarvelinVersionText[] = "0350";

// Tag block sizes are 32-bit in the file; a larger block cannot be written.
uint32_t CheckedSize(uint64_t size) {
    if (size > std::numeric_limits<uint32_t>::max()) AfxThrowInvalidArgException();
    return static_cast<uint32_t>(size);
}

uint64_t Round4(uint64_t x) {
    return (x + 3) & ~uint64_t(3);
}

// Stores into a block at any byte offset, in host order.
void Put32(void* block, size_t offset, uint32_t v) {
    std::memcpy(static_cast<uint8_t*>(block) + offset, &v, 4);
}
void Put16(void* block, size_t offset, uint16_t v) {
    std::memcpy(static_cast<uint8_t*>(block) + offset, &v, 2);
}
void PutBytes(void* block, size_t offset, const void* data, size_t n) {
    if (n) std::memcpy(static_cast<uint8_t*>(block) + offset, data, n);
}

// trunc(x) as a 32-bit integer: saturated outside the range, 0 for NaN.
int32_t TruncToInt32(double x) {
    if (std::isnan(x)) return 0;
    x = std::trunc(x);
    if (x <= -2147483648.0) return std::numeric_limits<int32_t>::min();
    if (x >= 2147483647.0) return std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(x);
}

// trunc(x) as a 64-bit integer, saturated the same way.
int64_t TruncToInt64(double x) {
    if (std::isnan(x)) return 0;
    x = std::trunc(x);
    if (x <= -9223372036854775808.0) return std::numeric_limits<int64_t>::min();
    if (x >= 9223372036854775807.0) return std::numeric_limits<int64_t>::max();
    return static_cast<int64_t>(x);
}

// An integer result stored in a u16 field keeps its low 16 bits.
uint16_t LowU16(int32_t v) {
    return static_cast<uint16_t>(static_cast<uint32_t>(v));
}

// UTF-8 text cut to `limit` bytes at a character boundary: from index `limit`, step back over
// continuation bytes and cut there.
std::string CutUtf8(std::string text, size_t limit) {
    if (text.size() <= limit) return text;
    size_t cut = limit;
    while (cut > 0 && (static_cast<uint8_t>(text[cut]) & 0xC0) == 0x80) --cut;
    text.resize(cut);
    return text;
}

// Milliseconds since an arbitrary start, as a 32-bit counter that wraps.
uint32_t TickCount() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint32_t>(uint64_t(ts.tv_sec) * 1000u + uint64_t(ts.tv_nsec) / 1000000u);
}

// Writes the mft2 head: counts, identity matrix, entry counts.
void PutLut16Head(void* block, unsigned in, unsigned out, unsigned points, unsigned inEnt,
                  unsigned outEnt) {
    Put32(block, 0, icSigLut16Type);
    auto* b = static_cast<uint8_t*>(block);
    b[8] = static_cast<uint8_t>(in);
    b[9] = static_cast<uint8_t>(out);
    b[10] = static_cast<uint8_t>(points);
    Put32(block, offsetof(icLut16Type, lut.e00), 65536);
    Put32(block, offsetof(icLut16Type, lut.e11), 65536);
    Put32(block, offsetof(icLut16Type, lut.e22), 65536);
    Put16(block, offsetof(icLut16Type, lut.inputEnt), static_cast<uint16_t>(inEnt));
    Put16(block, offsetof(icLut16Type, lut.outputEnt), static_cast<uint16_t>(outEnt));
}

void PutLut8Head(void* block, unsigned in, unsigned out, unsigned points) {
    Put32(block, 0, icSigLut8Type);
    auto* b = static_cast<uint8_t*>(block);
    b[8] = static_cast<uint8_t>(in);
    b[9] = static_cast<uint8_t>(out);
    b[10] = static_cast<uint8_t>(points);
    Put32(block, offsetof(icLut8Type, lut.e00), 65536);
    Put32(block, offsetof(icLut8Type, lut.e11), 65536);
    Put32(block, offsetof(icLut8Type, lut.e22), 65536);
}

// points ^ inputs, 1 for no inputs.
uint64_t GridNodes(unsigned points, unsigned inputs) {
    uint64_t n = 1;
    for (unsigned i = 0; i < inputs; ++i) n *= points;
    return n;
}

} // namespace

CIccProfileGen1::CIccProfileGen1(CUserSettingsMgr* usm) : CIccProfileRead(usm) {}

CIccProfileGen1::~CIccProfileGen1() {
    DeleteContents();
}

// ---------------------------------------------------------------------------------------------
// Header

void CIccProfileGen1::SetHeader(uint32_t deviceClass, uint32_t colorSpace, uint32_t pcs,
                                icRenderingIntent intent) {
    m_Header.renderingIntent = intent;
    m_Header.cmmId = MakeIccSignature("TCMS");
    m_Header.version = 0x02000000u;
    m_Header.deviceClass = deviceClass;
    m_Header.colorSpace = colorSpace;
    m_Header.pcs = pcs;
    m_Header.magic = icMagicNumber;
    m_Header.platform = icSigMicrosoft;
    m_Header.manufacturer = MakeIccSignature("TARV");
    m_Header.illuminant.X = 63190; // 0.9642
    m_Header.illuminant.Y = 65536; // 1.0
    m_Header.illuminant.Z = 54061; // 0.8249

    const int64_t now = static_cast<int64_t>(std::time(nullptr));
    const time_t t = static_cast<time_t>(now);
    std::tm local{};
    if (localtime_r(&t, &local) != nullptr) {
        m_Header.date.year = static_cast<uint16_t>(local.tm_year + 1900);
        m_Header.date.month = static_cast<uint16_t>(local.tm_mon + 1);
        m_Header.date.day = static_cast<uint16_t>(local.tm_mday);
        m_Header.date.hours = static_cast<uint16_t>(local.tm_hour);
        m_Header.date.minutes = static_cast<uint16_t>(local.tm_min);
        m_Header.date.seconds = static_cast<uint16_t>(local.tm_sec);
    } else {
        m_Header.date = icDateTimeNumber{0, 0, 0, 65535, 65535, 65535};
    }

    // An identifier of this profile in the first 16 reserved bytes: the MD5 of the time in
    // seconds (8 bytes) and the tick count (4 bytes), in host order. The version-2 format has
    // no such field; readers that know none ignore the reserved bytes.
    unsigned char seed[12];
    const uint32_t ticks = TickCount();
    std::memcpy(seed, &now, 8);
    std::memcpy(seed + 8, &ticks, 4);
    KVR_MD5_CTX ctx;
    MD5Init(&ctx);
    MD5Update(&ctx, seed, sizeof seed);
    unsigned char id[16];
    MD5Final(id, &ctx);
    std::memcpy(m_Header.reserved, id, sizeof id);
}

// ---------------------------------------------------------------------------------------------
// Tags

void CIccProfileGen1::AddColorantTableTag(const std::vector<std::wstring>& names,
                                          const std::vector<SUint16Triple>& values) {
    const uint64_t n = names.size();
    const uint32_t size = CheckedSize(12 + 38 * n);
    uint32_t* block = AddTag(icSigColorantTableTag, size, 0);
    Put32(block, 0, icSigColorantTableType);
    Put32(block, 8, static_cast<uint32_t>(n));
    for (size_t i = 0; i < names.size(); ++i) {
        const size_t entry = 12 + 38 * i;
        // At most 31 bytes, so that the field ends in zero; characters may be cut in two.
        const std::string name = WideToUtf8(names[i]);
        PutBytes(block, entry, name.data(), std::min<size_t>(name.size(), 31));
        const SUint16Triple v = i < values.size() ? values[i] : SUint16Triple{};
        for (int k = 0; k < 3; ++k) Put16(block, entry + 32 + 2 * k, v.v[k]);
    }
    UpdateTagTableAndHeader();
}

void CIccProfileGen1::AddCurveTag(icTagSignature sig, int32_t gamma, uint32_t count) {
    const uint32_t size = CheckedSize(Round4(2 * uint64_t(count) + 12));
    uint32_t* block = AddTag(sig, size, 0);
    Put32(block, 0, icSigCurveType);
    Put32(block, 8, count);
    const double g = gamma * icFixed16Unit;
    if (count == 1) {
        Put16(block, 12, LowU16(TruncToInt32(std::floor(g * 256.0 + 0.5))));
    } else if (count >= 2) {
        const double last = count - 1.0;
        for (uint32_t i = 0; i < count; ++i) {
            const double v = std::floor(std::pow(i / last, g) * 65535.0 + 0.5);
            Put16(block, 12 + 2 * size_t(i), LowU16(TruncToInt32(v)));
        }
    }
    UpdateTagTableAndHeader();
}

uint32_t* CIccProfileGen1::AddLut16Tag(icTagSignature sig, const CFunc_16Tab3Mft& f) {
    const CFunc_16Tab& inTab = f.FuncInputTab();
    const CFunc_16Tab& outTab = f.FuncOutputTab();
    const unsigned in = f.inputChan(), out = f.outputChan();
    const unsigned points = f.Mft().clutPoints();
    const unsigned inEnt = inTab.entries(), outEnt = outTab.entries();
    const uint64_t nodes = GridNodes(points, in);
    const uint64_t inValues = uint64_t(inEnt) * in;
    const uint64_t gridValues = nodes * out;
    const uint64_t outValues = uint64_t(outEnt) * out;
    const uint32_t size = CheckedSize(Round4(2 * (inValues + gridValues + outValues) + 52));

    uint32_t* block = AddTag(sig, size, 0);
    PutLut16Head(block, in, out, points, inEnt, outEnt);
    size_t at = sizeof(icLut16Type);
    if (const uint16_t* p = inTab.pRawTab()) PutBytes(block, at, p, 2 * inValues);
    at += 2 * inValues;
    const size_t gridHave = std::min<uint64_t>(gridValues, f.Mft().TabEntries());
    if (gridHave) PutBytes(block, at, f.Mft().Table(), 2 * gridHave);
    at += 2 * gridValues;
    if (const uint16_t* p = outTab.pRawTab()) PutBytes(block, at, p, 2 * outValues);
    UpdateTagTableAndHeader();
    return block;
}

uint32_t* CIccProfileGen1::AddLut16Tag(icTagSignature sig, const CMTab& t) {
    const unsigned in = t.inputChan, out = t.outputChan, points = t.clutPoints;
    const unsigned inEnt = t.inputEnt, outEnt = t.outputEnt;
    const uint64_t nodes = GridNodes(points, in);
    const uint64_t inValues = uint64_t(inEnt) * in;
    const uint64_t gridValues = nodes * out;
    const uint64_t outValues = uint64_t(outEnt) * out;
    const uint32_t size = CheckedSize(Round4(2 * (inValues + gridValues + outValues) + 52));

    uint32_t* block = AddTag(sig, size, 0);
    PutLut16Head(block, in, out, points, inEnt, outEnt);
    auto* p =
        reinterpret_cast<unsigned short*>(reinterpret_cast<uint8_t*>(block) + sizeof(icLut16Type));
    for (unsigned c = 0; c < in; ++c)
        for (unsigned e = 0; e < inEnt; ++e) *p++ = t.InputValue(e, c);
    for (uint64_t k = 0; k < nodes; ++k) {
        const int more = t.NodeValues16(static_cast<unsigned>(k), p);
        p += out;
        if (!more) {
            // The source has no more nodes: the rest of the block stays zero.
            UpdateTagTableAndHeader();
            return block;
        }
    }
    for (unsigned c = 0; c < out; ++c)
        for (unsigned e = 0; e < outEnt; ++e) *p++ = t.OutputValue(e, c);
    UpdateTagTableAndHeader();
    return block;
}

uint32_t* CIccProfileGen1::AddLut8Tag(icTagSignature sig, const CFunc_8Tab3Mft& f) {
    const unsigned in = f.inputChan(), out = f.outputChan();
    const unsigned points = f.Mft().clutPoints();
    const uint64_t nodes = GridNodes(points, in);
    const uint64_t gridValues = nodes * out;
    const uint32_t size = CheckedSize(Round4(48 + 256 * uint64_t(in + out) + gridValues));

    uint32_t* block = AddTag(sig, size, 0);
    PutLut8Head(block, in, out, points);
    size_t at = sizeof(icLut8Type);
    if (const uint8_t* p = f.FuncInputTab().pTab()) PutBytes(block, at, p, 256 * size_t(in));
    at += 256 * size_t(in);
    const size_t gridHave = std::min<uint64_t>(gridValues, f.Mft().TabEntries());
    if (gridHave) PutBytes(block, at, f.Mft().Table(), gridHave);
    at += gridValues;
    if (const uint8_t* p = f.FuncOutputTab().pTab()) PutBytes(block, at, p, 256 * size_t(out));
    UpdateTagTableAndHeader();
    return block;
}

uint32_t* CIccProfileGen1::AddLut8Tag(icTagSignature sig, const CMTab& t) {
    const unsigned in = t.inputChan, out = t.outputChan, points = t.clutPoints;
    const uint64_t nodes = GridNodes(points, in);
    const uint64_t gridValues = nodes * out;
    const uint32_t size = CheckedSize(Round4(48 + 256 * uint64_t(in + out) + gridValues));

    uint32_t* block = AddTag(sig, size, 0);
    PutLut8Head(block, in, out, points);
    auto* p = reinterpret_cast<unsigned char*>(block) + sizeof(icLut8Type);
    // Always 256 entries per curve, whatever the source's entry counts say.
    for (unsigned c = 0; c < in; ++c)
        for (unsigned e = 0; e < 256; ++e)
            *p++ = static_cast<unsigned char>(t.InputValue(e, c) / 257);
    for (uint64_t k = 0; k < nodes; ++k) {
        const int more = t.NodeValues8(static_cast<unsigned>(k), p);
        p += out;
        if (!more) {
            UpdateTagTableAndHeader();
            return block;
        }
    }
    for (unsigned c = 0; c < out; ++c)
        for (unsigned e = 0; e < 256; ++e)
            *p++ = static_cast<unsigned char>(t.OutputValue(e, c) / 257);
    UpdateTagTableAndHeader();
    return block;
}

void CIccProfileGen1::AddMeasurementInfoTag(enmIluminant illuminant, enmObserver observer) {
    uint32_t* block = AddTag(icSigMeasurementTag, sizeof(icMeasurmentType), 0);
    Put32(block, 0, icSigMeasurementType);
    Put32(block, offsetof(icMeasurmentType, measurement.stdObserver),
          observer == Observer10Degree ? icStdObs1964TenDegrees : icStdObs1931TwoDegrees);
    Put32(block, offsetof(icMeasurmentType, measurement.illuminant),
          illuminant == IluminantD65 ? icIlluminantD65 : icIlluminantD50);
    UpdateTagTableAndHeader();
}

void CIccProfileGen1::AddNamedColor2Tag(int count, int coords, const std::wstring& prefix,
                                        const std::wstring& suffix,
                                        const std::vector<std::wstring>& names,
                                        const std::vector<ICC_threecolors>& pcs,
                                        const std::vector<unsigned short>& device) {
    const uint64_t n = count > 0 ? uint64_t(count) : 0;
    const uint64_t m = coords > 0 ? uint64_t(coords) : 0;
    const uint64_t stride = 2 * (m + 19); // 32-byte name, 3 + m u16
    const uint32_t size = CheckedSize(84 + n * stride);
    uint32_t* block = AddTag(icSigNamedColor2Tag, size, 0);
    Put32(block, 0, icSigNamedColor2Type);
    Put32(block, 8, 0x80000000u);
    Put32(block, 12, static_cast<uint32_t>(n));
    Put32(block, 16, static_cast<uint32_t>(m));
    const std::string pre = CutUtf8(WideToUtf8(prefix), 32);
    const std::string suf = CutUtf8(WideToUtf8(suffix), 32);
    PutBytes(block, 20, pre.data(), pre.size());
    PutBytes(block, 52, suf.data(), suf.size());
    for (uint64_t i = 0; i < n; ++i) {
        const size_t entry = 84 + size_t(i * stride);
        if (i < names.size()) {
            const std::string name = CutUtf8(WideToUtf8(names[i]), 32);
            PutBytes(block, entry, name.data(), name.size());
        }
        const ICC_threecolors v = i < pcs.size() ? pcs[i] : ICC_threecolors{};
        for (int k = 0; k < 3; ++k) Put16(block, entry + 32 + 2 * k, v.v[k]);
        for (uint64_t d = 0; d < m; ++d) {
            const uint64_t at = i * m + d;
            Put16(block, entry + 38 + 2 * size_t(d), at < device.size() ? device[at] : 0);
        }
    }
    UpdateTagTableAndHeader();
}

void CIccProfileGen1::AddProfileDescriptionTag(const char* text) {
    if (TagFind(icSigProfileDescriptionTag) != icTagIndexNone) {
        ModifyProfileDescriptionTag(text);
        return;
    }
    const size_t length = text ? std::strlen(text) : 0;
    const uint32_t rounded = CheckedSize(Round4(length + 1));
    uint32_t* block = AddTag(icSigProfileDescriptionTag, CheckedSize(uint64_t(rounded) + 91), 0);
    Put32(block, 0, icSigTextDescriptionType);
    Put32(block, 8, rounded);
    PutBytes(block, 12, text, length);
    UpdateTagTableAndHeader();
}

void CIccProfileGen1::AddS15Fixed16ArrayTag(icTagSignature sig, unsigned short count,
                                            const int32_t* values) {
    uint32_t* block = AddTag(sig, 8 + 4 * uint32_t(count), 0);
    Put32(block, 0, icSigS15Fixed16ArrayType);
    if (values) PutBytes(block, 8, values, 4 * size_t(count));
    UpdateTagTableAndHeader();
}

void CIccProfileGen1::AddTagAndData(const icTag& tag, const void* data) {
    uint32_t* block = AddTag(tag.sig, tag.size, 0);
    if (data) PutBytes(block, 0, data, tag.size);
    UpdateTagTableAndHeader();
}

void CIccProfileGen1::AddTarvelinVersionTag() {
    if (TagFind(icSigTvr2Tag) != icTagIndexNone) return;
    uint32_t* block = AddTag(icSigTvr2Tag, 12, 0);
    Put32(block, 0, icSigUInt32ArrayType);
    Put32(block, 8, static_cast<uint32_t>(std::strtoul(kTarvelinVersionText, nullptr, 10)));
    UpdateTagTableAndHeader();
}

void CIccProfileGen1::AddTextTag(icTagSignature sig, const char* text) {
    if (TagFind(sig) != icTagIndexNone) {
        ModifyTextTag(sig, text);
        return;
    }
    const size_t length = text ? std::strlen(text) : 0;
    uint32_t* block = AddTag(sig, CheckedSize(Round4(length + 1) + 8), 0);
    Put32(block, 0, icSigTextType);
    PutBytes(block, 8, text, length);
    UpdateTagTableAndHeader();
}

void CIccProfileGen1::AddXYZTag(icTagSignature sig, uint32_t X, uint32_t Y, uint32_t Z) {
    uint32_t* block = AddTag(sig, 20, 0);
    Put32(block, 0, icSigXYZType);
    Put32(block, 8, X);
    Put32(block, 12, Y);
    Put32(block, 16, Z);
    UpdateTagTableAndHeader();
}

uint32_t* CIccProfileGen1::ReplaceTag(unsigned index, icTagSignature sig, uint32_t size) {
    // RemoveTag hands the old data on to any tag that shared it, so no node is left pointing
    // at the removed one.
    RemoveTag(index);
    auto node = std::make_unique<CTagNode>(sig, size, 0, nullptr, nullptr);
    uint32_t* block = node->pTagData();
    m_Tags.insert(m_Tags.begin() + index, std::move(node));
    return block;
}

void CIccProfileGen1::ModifyProfileDescriptionTag(const char* text) {
    const unsigned index = TagFind(icSigProfileDescriptionTag);
    if (index == icTagIndexNone || index >= m_Tags.size()) return;
    const size_t length = text ? std::strlen(text) : 0;
    const uint32_t rounded = CheckedSize(Round4(length + 1));
    uint32_t* block =
        ReplaceTag(index, icSigProfileDescriptionTag, CheckedSize(uint64_t(rounded) + 91));
    Put32(block, 0, icSigTextDescriptionType);
    Put32(block, 8, rounded);
    PutBytes(block, 12, text, length);
    UpdateTagTableAndHeader();
}

void CIccProfileGen1::ModifyTextTag(icTagSignature sig, const char* text) {
    const unsigned index = TagFind(sig);
    if (index == icTagIndexNone || index >= m_Tags.size()) return;
    const size_t length = text ? std::strlen(text) : 0;
    uint32_t* block = ReplaceTag(index, sig, CheckedSize(Round4(length + 1) + 8));
    Put32(block, 0, icSigTextType);
    PutBytes(block, 8, text, length);
    UpdateTagTableAndHeader();
}

void CIccProfileGen1::DupTagAs(icTagSignature newSig, icTagSignature existingSig) {
    for (const auto& node : m_Tags) {
        if (node->sig != existingSig) continue;
        // Share with the owner of the data, so that the new entry takes its offset.
        CTagNode* owner = node->bIsRef() ? node->pRef : node.get();
        m_Tags.push_back(std::make_unique<CTagNode>(newSig, node->size, 0, owner->pBuffer, owner));
        break;
    }
    UpdateTagTableAndHeader();
}

uint32_t* CIccProfileGen1::pTagDataFind(uint32_t sig) {
    const unsigned index = TagFind(sig);
    if (index == icTagIndexNone || index >= m_Tags.size()) return nullptr;
    return m_Tags[index]->pTagData();
}

// ---------------------------------------------------------------------------------------------
// Output

void CIccProfileGen1::CopyToMemory(char* dest) {
    // Everything is converted in copies, so the profile itself stays in host order throughout.
    icHeader header = m_Header;
    SwapHeader(&header);
    std::memcpy(dest, &header, sizeof header);
    dest += sizeof header;

    const uint32_t count = GetCount();
    const size_t tableBytes = 4 + sizeof(icTag) * size_t(count);
    std::vector<uint32_t> table(tableBytes / 4);
    std::memcpy(table.data(), pTagTable(), tableBytes);
    SwapTagTable(reinterpret_cast<icTagTable*>(table.data()), tableBytes);
    const uint8_t countBytes[4] = {uint8_t(count >> 24), uint8_t(count >> 16), uint8_t(count >> 8),
                                   uint8_t(count)};
    std::memcpy(table.data(), countBytes, 4);
    std::memcpy(dest, table.data(), tableBytes);
    dest += tableBytes;

    std::vector<uint32_t> work;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t size = Tag(i).size;
        work.assign((std::max<size_t>(size, 8) + 3) / 4, 0);
        if (i < m_Tags.size()) {
            const CTagNode& node = *m_Tags[i];
            // A block shorter than its entry (a shared block of a loaded profile) is followed
            // by zeros.
            const uint32_t have = std::min(size, node.nDataSize());
            if (node.pTagData() && have) std::memcpy(work.data(), node.pTagData(), have);
        }
        SwapTagData(work.data(), size, 0);
        if (size) std::memcpy(dest, work.data(), size);
        dest += size;
    }
}

std::wstring CIccProfileGen1::DumpText() {
    std::wstring text = DumpHeader(m_Header);
    text += DumpTagTable(pTagTable());
    for (const auto& node : m_Tags) {
        icTag tag{node->sig, node->offset, node->size};
        text += DumpTagData(node->pTagData(), tag, node->nDataSize());
    }
    return text;
}

int CIccProfileGen1::OnSaveDocument(const wchar_t* path) {
    return CIccProfileRead::OnSaveDocument(path);
}

void CIccProfileGen1::Serialize(CArchive& ar) {
    CIccProfileRead::Serialize(ar);
}

// ---------------------------------------------------------------------------------------------
// Fixed-point conversions

int32_t CIccProfileGen1::ConvertDoubleToS15Fixed16(double x) {
    return TruncToInt32(x * 65536.0 + 0.5);
}

uint32_t CIccProfileGen1::ConvertDoubleToU16Fixed16(double x) {
    return static_cast<uint32_t>(static_cast<uint64_t>(TruncToInt64(x * 65536.0 + 0.5)));
}

double CIccProfileGen1::ConvertS15Fixed16ToDouble(int32_t v) {
    return v * icFixed16Unit;
}

double CIccProfileGen1::ConvertU16Fixed16ToDouble(uint32_t v) {
    return v * icFixed16Unit;
}

void CIccProfileGen1::ConvertArrayDoubleToS15Fixed16(int count, const double* in, int32_t* out) {
    for (int i = 0; i < count; ++i) out[i] = ConvertDoubleToS15Fixed16(in[i]);
}
