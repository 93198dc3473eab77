// The profile generator: builds a version-2 ICC profile in memory, tag by tag, and writes it to
// a file or into a caller's memory block.
//
// Nothing inside the library calls it; it is exported whole for the programs that build
// profiles and named-colour files. Typical use:
//
//     CIccProfileGen1 gen(usm);
//     gen.SetHeader(icSigOutputClass, icSigCmykData, icSigLabData, icPerceptual);
//     gen.AddProfileDescriptionTag("My printer");
//     gen.AddTextTag(icSigCopyrightTag, CIccProfileGen1::szCopyRight);
//     gen.AddLut16Tag(icSigAToB0Tag, table);
//     gen.DupTagAs(icSigAToB1Tag, icSigAToB0Tag);
//     gen.OnSaveDocument(L"/path/printer.icc");
//
// Each Add... call writes one tag block in host byte order (the layouts of IccRecords.h),
// appends its node and rebuilds the tag table and the header's size at once, so the object can
// be saved after any call. Tags stand in the file in the order of the calls. Only
// AddProfileDescriptionTag, AddTextTag and AddTarvelinVersionTag look for an existing tag:
// every other Add... of a signature that is already there makes a second table entry, and
// lookups find the first.
//
// Numbers in the interface keep the widths of the file format: a "long" of the file format is
// int32_t here and an "unsigned long" uint32_t.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "icc/IccProfile.h"

class CFunc_16Tab3Mft;
class CFunc_8Tab3Mft;

// Three connection-space values of a named colour.
struct ICC_threecolors {
    unsigned short v[3];
};

// Source of a lookup table that is not a colour function object: the calling programs derive
// their table classes from it. The generator reads the counts below and calls the four value
// operations; the first virtual slot (the destructor) is not called here.
class CMTab {
public:
    virtual ~CMTab() = default;

    // 16-bit value of entry `entry` of input table `channel`.
    virtual unsigned short InputValue(unsigned entry, unsigned channel) const = 0;
    // Writes the outputChan 16-bit values of grid node `node` (nodes in ICC grid order, the
    // first input varying slowest). Answers non-zero while there are nodes; 0 ends the grid.
    virtual int NodeValues16(unsigned node, unsigned short* values) const = 0;
    // The same in 8 bits.
    virtual int NodeValues8(unsigned node, unsigned char* values) const = 0;
    // 16-bit value of entry `entry` of output table `channel`.
    virtual unsigned short OutputValue(unsigned entry, unsigned channel) const = 0;

    uint8_t inputChan = 0;  // input channels
    uint8_t outputChan = 0; // output channels
    uint8_t clutPoints = 0; // grid points per input channel
    uint16_t inputEnt = 0;  // entries of each input table
    uint16_t outputEnt = 0; // entries of each output table

protected:
    CMTab() = default;
    CMTab(const CMTab&) = default;
    CMTab& operator=(const CMTab&) = default;
};

class CIccProfileGen1 : public CIccProfileRead {
    DECLARE_DYNAMIC(CIccProfileGen1)
public:
    // Three connection-space values of a colorant.
    struct SUint16Triple {
        unsigned short v[3];
    };

    // Bradford chromatic adaptation matrices to D50, nine values by rows, for callers that
    // adapt measurements before they write them.
    static const double sc_BradfordD50ToD50[9];
    static const double sc_BradfordD55ToD50[9];
    static const double sc_BradfordD65ToD50[9];
    // Copyright line for a caller's cprt tag: 44 characters.
    static const char* const szCopyRight;

    explicit CIccProfileGen1(CUserSettingsMgr* usm);
    ~CIccProfileGen1() override;

    // Header fields of a new profile: intent, preferred CMM "TCMS", version 2.0.0, class and
    // spaces as given, "acsp", platform "MSFT", manufacturer "TARV", D50 illuminant, the
    // current local time, and a 16-byte identifier in the first reserved bytes. Other fields
    // stay as they are (zero in a new object); size is kept.
    void SetHeader(uint32_t deviceClass, uint32_t colorSpace, uint32_t pcs,
                   icRenderingIntent intent);

    // clrt tag of one entry per name: the name in UTF-8, at most 31 bytes (cut without regard
    // to character boundaries, so that the field ends in zero), and its three values. Missing
    // values are written as 0.
    void AddColorantTableTag(const std::vector<std::wstring>& names,
                             const std::vector<SUint16Triple>& values);
    // curv tag of `count` entries for the gamma `gamma` (s15Fixed16): count 0 is the identity,
    // count 1 holds the gamma as u8Fixed8, otherwise entry i is (i / (count - 1))^gamma.
    void AddCurveTag(icTagSignature sig, int32_t gamma, uint32_t count);
    // mft2 tag from a 16-bit pipeline: its input curves, grid and output curves as they stand
    // (skip flags are not looked at), identity matrix. Answers the block.
    uint32_t* AddLut16Tag(icTagSignature sig, const CFunc_16Tab3Mft& f);
    // mft2 tag from a table source. If the source ends its grid early, the rest of the block
    // stays zero. Answers the block.
    uint32_t* AddLut16Tag(icTagSignature sig, const CMTab& t);
    // mft1 tag from an 8-bit pipeline, as AddLut16Tag. Answers the block.
    uint32_t* AddLut8Tag(icTagSignature sig, const CFunc_8Tab3Mft& f);
    // mft1 tag from a table source: always 256 entries per curve, whatever the source's counts,
    // each its 16-bit value / 257; grid by NodeValues8. Answers the block.
    uint32_t* AddLut8Tag(icTagSignature sig, const CMTab& t);
    // meas tag: illuminant D65 or D50, observer 10 or 2 degrees; backing, geometry, flare 0.
    void AddMeasurementInfoTag(enmIluminant illuminant, enmObserver observer);
    // ncl2 tag of `count` colours with `coords` device values each. prefix, suffix and names
    // go in UTF-8, cut to 32 bytes at a character boundary (a text of exactly 32 bytes has no
    // terminating zero). `device` holds all colours' device values one behind the other.
    // Missing names or values are written as empty or 0; negative counts count as 0.
    void AddNamedColor2Tag(int count, int coords, const std::wstring& prefix,
                           const std::wstring& suffix, const std::vector<std::wstring>& names,
                           const std::vector<ICC_threecolors>& pcs,
                           const std::vector<unsigned short>& device);
    // desc tag of the 8-bit text, taken as given; replaces an existing desc in its place.
    void AddProfileDescriptionTag(const char* text);
    // sf32 tag of `count` values, copied as they stand.
    void AddS15Fixed16ArrayTag(icTagSignature sig, unsigned short count, const int32_t* values);
    // A tag of signature tag.sig and tag.size bytes copied from `data`, which must be in host
    // order and begin with its type signature. tag.offset is not used.
    void AddTagAndData(const icTag& tag, const void* data);
    // Tvr2 tag (ui32) with the version stamp of the profile's maker, 350; once only.
    void AddTarvelinVersionTag();
    // text tag of the 8-bit text, taken as given; replaces an existing tag of `sig` in its place.
    void AddTextTag(icTagSignature sig, const char* text);
    // XYZ  tag of one s15Fixed16 triple, as given.
    void AddXYZTag(icTagSignature sig, uint32_t X, uint32_t Y, uint32_t Z);

    // Appends a tag `newSig` that shares the data of the first tag `existingSig`: one copy of
    // the data in the file, two table entries at one offset. Nothing is added if there is no
    // such tag. The table is rebuilt in both cases.
    void DupTagAs(icTagSignature newSig, icTagSignature existingSig);

    // The block of the first table entry with `sig`; null if there is none.
    uint32_t* pTagDataFind(uint32_t sig);

    // Writes header, table and every table entry's data, in table order and without gaps, in
    // file byte order. Offsets are not honoured and shared data is written once per entry, so
    // the result equals the saved file only when no tag shares data and every size is a
    // multiple of 4. `dest` must hold 132 + 12 * count + the sum of all sizes.
    void CopyToMemory(char* dest);

    // Header, tag table, then each tag with its description and contents, as text.
    std::wstring DumpText();

    // Fixed-point conversions. To s15Fixed16: trunc(x * 65536 + 0.5), so that negative values
    // are not rounded to nearest; outside the 32-bit range the result saturates, NaN gives 0.
    // To u16Fixed16: the same through a 64-bit integer, kept as its low 32 bits.
    static int32_t ConvertDoubleToS15Fixed16(double x);
    static uint32_t ConvertDoubleToU16Fixed16(double x);
    static double ConvertS15Fixed16ToDouble(int32_t v);
    static double ConvertU16Fixed16ToDouble(uint32_t v);
    // Each element by ConvertDoubleToS15Fixed16; a count of 0 or below does nothing.
    static void ConvertArrayDoubleToS15Fixed16(int count, const double* in, int32_t* out);

    int OnSaveDocument(const wchar_t* path) override;
    void Serialize(CArchive& ar) override;

private:
    unsigned TagFind(uint32_t sig) const { return nTagFind(sig); }
    void ModifyProfileDescriptionTag(const char* text);
    void ModifyTextTag(icTagSignature sig, const char* text);
    // Puts a new owner node of `size` bytes at node index `index`, in place of the node there;
    // tags that shared the old node's data keep that data. Answers the new block.
    uint32_t* ReplaceTag(unsigned index, icTagSignature sig, uint32_t size);
};
