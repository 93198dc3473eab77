// ICC profile records and their byte order.
//
// A profile lives in memory as one icHeader, one icTagTable and one flat block of bytes per tag.
// There is no object per tag type: readers address a block through the fixed layouts below.
// The file is big-endian throughout; every record here is held in host byte order in memory, and
// the converters at the end of this header move a record between the two orders in place.
//
// Record and field names follow the published ICC profile format and its C header; the v4 types
// without an ic... name there (para, mAB , mBA , clrt) carry their published type names.
// Variable-length parts are flexible array members, so sizeof() of a record is the size of its
// fixed head (e.g. sizeof(icLut16Type) == 52). The plain array types (XYZ , sf32, uf32, ui08,
// ui16, ui32, ui64, text) hold their values directly in `data` behind the type head, since a
// record made of nothing but a variable-length array cannot be declared here.
#pragma once

#include <cstddef>
#include <cstdint>

// ---------------------------------------------------------------------------------------------
// Number forms

using icInt8Number = int8_t;
using icUInt8Number = uint8_t;
using icInt16Number = int16_t;
using icUInt16Number = uint16_t;
using icInt32Number = int32_t;
using icUInt32Number = uint32_t;
using icUInt64Number = icUInt32Number[2]; // two words, most significant first
using icS15Fixed16Number = int32_t;       // value * 65536
using icU16Fixed16Number = uint32_t;      // value * 65536
using icU8Fixed8Number = uint16_t;        // value * 256

// One unit of the s15Fixed16 and u16Fixed16 forms, 2^-16: a stored number times this is its value.
inline constexpr double icFixed16Unit = 1.0 / 65536.0;

// Signatures: four ASCII characters, the first in the most significant byte, compared in host
// order as one integer. All bits set means "none".
using icSignature = uint32_t;
using icTagSignature = uint32_t;
using icTagTypeSignature = uint32_t;
using icColorSpaceSignature = uint32_t;
using icProfileClassSignature = uint32_t;
using icPlatformSignature = uint32_t;
using icRenderingIntent = uint32_t;

// The signature of four characters, e.g. MakeIccSignature("curv").
constexpr icSignature MakeIccSignature(const char (&s)[5]) {
    return (icSignature(uint8_t(s[0])) << 24) | (icSignature(uint8_t(s[1])) << 16) |
           (icSignature(uint8_t(s[2])) << 8) | icSignature(uint8_t(s[3]));
}

// All bits set: no signature. The same value stands for "no tag" where a tag-table index is
// answered.
inline constexpr icSignature icSigNone = 0xFFFFFFFFu;
inline constexpr uint32_t icTagIndexNone = icSigNone;

inline constexpr icSignature icMaxEnumData = icSigNone;
inline constexpr icSignature icMaxEnumTag = icSigNone;
inline constexpr icSignature icMaxEnumType = icSigNone;
inline constexpr icSignature icMaxEnumClass = icSigNone;
inline constexpr icSignature icMaxEnumPlatform = icSigNone;

inline constexpr icSignature icMagicNumber = MakeIccSignature("acsp");
inline constexpr icUInt32Number icVersionNumber = 0x02100000u;

// Tag signatures
inline constexpr icTagSignature icSigAToB0Tag = MakeIccSignature("A2B0");
inline constexpr icTagSignature icSigAToB1Tag = MakeIccSignature("A2B1");
inline constexpr icTagSignature icSigAToB2Tag = MakeIccSignature("A2B2");
inline constexpr icTagSignature icSigBlueColorantTag = MakeIccSignature("bXYZ");
inline constexpr icTagSignature icSigBlueTRCTag = MakeIccSignature("bTRC");
inline constexpr icTagSignature icSigBToA0Tag = MakeIccSignature("B2A0");
inline constexpr icTagSignature icSigBToA1Tag = MakeIccSignature("B2A1");
inline constexpr icTagSignature icSigBToA2Tag = MakeIccSignature("B2A2");
inline constexpr icTagSignature icSigCalibrationDateTimeTag = MakeIccSignature("calt");
inline constexpr icTagSignature icSigCharTargetTag = MakeIccSignature("targ");
inline constexpr icTagSignature icSigChromaticAdaptationTag = MakeIccSignature("chad");
inline constexpr icTagSignature icSigChromaticityTag = MakeIccSignature("chrm");
inline constexpr icTagSignature icSigColorantOrderTag = MakeIccSignature("clro");
inline constexpr icTagSignature icSigColorantTableTag = MakeIccSignature("clrt");
inline constexpr icTagSignature icSigColorantTableOutTag = MakeIccSignature("clot");
inline constexpr icTagSignature icSigCopyrightTag = MakeIccSignature("cprt");
inline constexpr icTagSignature icSigCrdInfoTag = MakeIccSignature("crdi");
inline constexpr icTagSignature icSigDeviceMfgDescTag = MakeIccSignature("dmnd");
inline constexpr icTagSignature icSigDeviceModelDescTag = MakeIccSignature("dmdd");
inline constexpr icTagSignature icSigDToB0Tag = MakeIccSignature("D2B0");
inline constexpr icTagSignature icSigDToB1Tag = MakeIccSignature("D2B1");
inline constexpr icTagSignature icSigDToB2Tag = MakeIccSignature("D2B2");
inline constexpr icTagSignature icSigDToB3Tag = MakeIccSignature("D2B3");
inline constexpr icTagSignature icSigBToD0Tag = MakeIccSignature("B2D0");
inline constexpr icTagSignature icSigBToD1Tag = MakeIccSignature("B2D1");
inline constexpr icTagSignature icSigBToD2Tag = MakeIccSignature("B2D2");
inline constexpr icTagSignature icSigBToD3Tag = MakeIccSignature("B2D3");
inline constexpr icTagSignature icSigGamutTag = MakeIccSignature("gamt");
inline constexpr icTagSignature icSigGrayTRCTag = MakeIccSignature("kTRC");
inline constexpr icTagSignature icSigGreenColorantTag = MakeIccSignature("gXYZ");
inline constexpr icTagSignature icSigGreenTRCTag = MakeIccSignature("gTRC");
inline constexpr icTagSignature icSigLuminanceTag = MakeIccSignature("lumi");
inline constexpr icTagSignature icSigMeasurementTag = MakeIccSignature("meas");
inline constexpr icTagSignature icSigMediaBlackPointTag = MakeIccSignature("bkpt");
inline constexpr icTagSignature icSigMediaWhitePointTag = MakeIccSignature("wtpt");
inline constexpr icTagSignature icSigNamedColorTag = MakeIccSignature("ncol");
inline constexpr icTagSignature icSigNamedColor2Tag = MakeIccSignature("ncl2");
inline constexpr icTagSignature icSigOutputResponseTag = MakeIccSignature("resp");
inline constexpr icTagSignature icSigPreview0Tag = MakeIccSignature("pre0");
inline constexpr icTagSignature icSigPreview1Tag = MakeIccSignature("pre1");
inline constexpr icTagSignature icSigPreview2Tag = MakeIccSignature("pre2");
inline constexpr icTagSignature icSigProfileDescriptionTag = MakeIccSignature("desc");
inline constexpr icTagSignature icSigProfileSequenceDescTag = MakeIccSignature("pseq");
inline constexpr icTagSignature icSigPs2CRD0Tag = MakeIccSignature("psd0");
inline constexpr icTagSignature icSigPs2CRD1Tag = MakeIccSignature("psd1");
inline constexpr icTagSignature icSigPs2CRD2Tag = MakeIccSignature("psd2");
inline constexpr icTagSignature icSigPs2CRD3Tag = MakeIccSignature("psd3");
inline constexpr icTagSignature icSigPs2CSATag = MakeIccSignature("ps2s");
inline constexpr icTagSignature icSigPs2RenderingIntentTag = MakeIccSignature("ps2i");
inline constexpr icTagSignature icSigRedColorantTag = MakeIccSignature("rXYZ");
inline constexpr icTagSignature icSigRedTRCTag = MakeIccSignature("rTRC");
inline constexpr icTagSignature icSigScreeningDescTag = MakeIccSignature("scrd");
inline constexpr icTagSignature icSigScreeningTag = MakeIccSignature("scrn");
inline constexpr icTagSignature icSigTechnologyTag = MakeIccSignature("tech");
inline constexpr icTagSignature icSigUcrBgTag = MakeIccSignature("bfd ");
inline constexpr icTagSignature icSigViewingCondDescTag = MakeIccSignature("vued");
inline constexpr icTagSignature icSigViewingConditionsTag = MakeIccSignature("view");

// Private tags of this system's profiles.
inline constexpr icTagSignature icSigTvr2Tag = MakeIccSignature("Tvr2"); // ui32: maker's version
inline constexpr icTagSignature icSigTvr3Tag = MakeIccSignature("Tvr3"); // text: name, narrow
inline constexpr icTagSignature icSigTvr4Tag = MakeIccSignature("Tvr4"); // text: name, intent
inline constexpr icTagSignature icSigTvr5Tag = MakeIccSignature("Tvr5"); // presence only
inline constexpr icTagSignature icSigTvr6Tag = MakeIccSignature("Tvr6"); // text: name, UTF-8

// Tag type signatures
inline constexpr icTagTypeSignature icSigChromaticityType = MakeIccSignature("chrm");
inline constexpr icTagTypeSignature icSigColorantOrderType = MakeIccSignature("clro");
inline constexpr icTagTypeSignature icSigColorantTableType = MakeIccSignature("clrt");
inline constexpr icTagTypeSignature icSigCrdInfoType = MakeIccSignature("crdi");
inline constexpr icTagTypeSignature icSigCurveType = MakeIccSignature("curv");
inline constexpr icTagTypeSignature icSigDataType = MakeIccSignature("data");
inline constexpr icTagTypeSignature icSigDateTimeType = MakeIccSignature("dtim");
inline constexpr icTagTypeSignature icSigLut16Type = MakeIccSignature("mft2");
inline constexpr icTagTypeSignature icSigLut8Type = MakeIccSignature("mft1");
inline constexpr icTagTypeSignature icSigLutAtoBType = MakeIccSignature("mAB ");
inline constexpr icTagTypeSignature icSigLutBtoAType = MakeIccSignature("mBA ");
inline constexpr icTagTypeSignature icSigMeasurementType = MakeIccSignature("meas");
inline constexpr icTagTypeSignature icSigMultiLocalizedUnicodeType = MakeIccSignature("mluc");
inline constexpr icTagTypeSignature icSigNamedColorType = MakeIccSignature("ncol");
inline constexpr icTagTypeSignature icSigNamedColor2Type = MakeIccSignature("ncl2");
inline constexpr icTagTypeSignature icSigParametricCurveType = MakeIccSignature("para");
inline constexpr icTagTypeSignature icSigProfileSequenceDescType = MakeIccSignature("pseq");
inline constexpr icTagTypeSignature icSigS15Fixed16ArrayType = MakeIccSignature("sf32");
inline constexpr icTagTypeSignature icSigScreeningType = MakeIccSignature("scrn");
inline constexpr icTagTypeSignature icSigSignatureType = MakeIccSignature("sig ");
inline constexpr icTagTypeSignature icSigTextType = MakeIccSignature("text");
inline constexpr icTagTypeSignature icSigTextDescriptionType = MakeIccSignature("desc");
inline constexpr icTagTypeSignature icSigU16Fixed16ArrayType = MakeIccSignature("uf32");
inline constexpr icTagTypeSignature icSigUcrBgType = MakeIccSignature("bfd ");
inline constexpr icTagTypeSignature icSigUInt16ArrayType = MakeIccSignature("ui16");
inline constexpr icTagTypeSignature icSigUInt32ArrayType = MakeIccSignature("ui32");
inline constexpr icTagTypeSignature icSigUInt64ArrayType = MakeIccSignature("ui64");
inline constexpr icTagTypeSignature icSigUInt8ArrayType = MakeIccSignature("ui08");
inline constexpr icTagTypeSignature icSigViewingConditionsType = MakeIccSignature("view");
inline constexpr icTagTypeSignature icSigXYZType = MakeIccSignature("XYZ ");
inline constexpr icTagTypeSignature icSigXYZArrayType = MakeIccSignature("XYZ ");

// Colour space signatures
inline constexpr icColorSpaceSignature icSigXYZData = MakeIccSignature("XYZ ");
inline constexpr icColorSpaceSignature icSigLabData = MakeIccSignature("Lab ");
inline constexpr icColorSpaceSignature icSigLuvData = MakeIccSignature("Luv ");
inline constexpr icColorSpaceSignature icSigYCbCrData = MakeIccSignature("YCbr");
inline constexpr icColorSpaceSignature icSigYxyData = MakeIccSignature("Yxy ");
inline constexpr icColorSpaceSignature icSigRgbData = MakeIccSignature("RGB ");
inline constexpr icColorSpaceSignature icSigGrayData = MakeIccSignature("GRAY");
inline constexpr icColorSpaceSignature icSigHsvData = MakeIccSignature("HSV ");
inline constexpr icColorSpaceSignature icSigHlsData = MakeIccSignature("HLS ");
inline constexpr icColorSpaceSignature icSigCmykData = MakeIccSignature("CMYK");
inline constexpr icColorSpaceSignature icSigCmyData = MakeIccSignature("CMY ");
inline constexpr icColorSpaceSignature icSig2colorData = MakeIccSignature("2CLR");
inline constexpr icColorSpaceSignature icSig3colorData = MakeIccSignature("3CLR");
inline constexpr icColorSpaceSignature icSig4colorData = MakeIccSignature("4CLR");
inline constexpr icColorSpaceSignature icSig5colorData = MakeIccSignature("5CLR");
inline constexpr icColorSpaceSignature icSig6colorData = MakeIccSignature("6CLR");
inline constexpr icColorSpaceSignature icSig7colorData = MakeIccSignature("7CLR");
inline constexpr icColorSpaceSignature icSig8colorData = MakeIccSignature("8CLR");
inline constexpr icColorSpaceSignature icSig9colorData = MakeIccSignature("9CLR");
inline constexpr icColorSpaceSignature icSig10colorData = MakeIccSignature("ACLR");
inline constexpr icColorSpaceSignature icSig11colorData = MakeIccSignature("BCLR");
inline constexpr icColorSpaceSignature icSig12colorData = MakeIccSignature("CCLR");
inline constexpr icColorSpaceSignature icSig13colorData = MakeIccSignature("DCLR");
inline constexpr icColorSpaceSignature icSig14colorData = MakeIccSignature("ECLR");
inline constexpr icColorSpaceSignature icSig15colorData = MakeIccSignature("FCLR");

// Profile classes
inline constexpr icProfileClassSignature icSigInputClass = MakeIccSignature("scnr");
inline constexpr icProfileClassSignature icSigDisplayClass = MakeIccSignature("mntr");
inline constexpr icProfileClassSignature icSigOutputClass = MakeIccSignature("prtr");
inline constexpr icProfileClassSignature icSigLinkClass = MakeIccSignature("link");
inline constexpr icProfileClassSignature icSigAbstractClass = MakeIccSignature("abst");
inline constexpr icProfileClassSignature icSigColorSpaceClass = MakeIccSignature("spac");
inline constexpr icProfileClassSignature icSigNamedColorClass = MakeIccSignature("nmcl");

// Platforms
inline constexpr icPlatformSignature icSigMacintosh = MakeIccSignature("APPL");
inline constexpr icPlatformSignature icSigMicrosoft = MakeIccSignature("MSFT");
inline constexpr icPlatformSignature icSigSolaris = MakeIccSignature("SUNW");
inline constexpr icPlatformSignature icSigSGI = MakeIccSignature("SGI ");
inline constexpr icPlatformSignature icSigTaligent = MakeIccSignature("TGNT");

// Rendering intents as stored in the header
inline constexpr icRenderingIntent icPerceptual = 0;
inline constexpr icRenderingIntent icRelativeColorimetric = 1;
inline constexpr icRenderingIntent icSaturation = 2;
inline constexpr icRenderingIntent icAbsoluteColorimetric = 3;

// Measurement codes of the meas tag
inline constexpr icUInt32Number icStdObsUnknown = 0;
inline constexpr icUInt32Number icStdObs1931TwoDegrees = 1;
inline constexpr icUInt32Number icStdObs1964TenDegrees = 2;
inline constexpr icUInt32Number icIlluminantUnknown = 0;
inline constexpr icUInt32Number icIlluminantD50 = 1;
inline constexpr icUInt32Number icIlluminantD65 = 2;
inline constexpr icUInt32Number icIlluminantD93 = 3;
inline constexpr icUInt32Number icIlluminantF2 = 4;
inline constexpr icUInt32Number icIlluminantD55 = 5;
inline constexpr icUInt32Number icIlluminantA = 6;
inline constexpr icUInt32Number icIlluminantEquiPowerE = 7;
inline constexpr icUInt32Number icIlluminantF8 = 8;

// Maximum number of input channels of a grid (the gridPoints bytes of icCLutStruct).
inline constexpr unsigned icMaxCLutChannels = 16;

// ---------------------------------------------------------------------------------------------
// Records

struct icXYZNumber {
    icS15Fixed16Number X;
    icS15Fixed16Number Y;
    icS15Fixed16Number Z;
};

struct icDateTimeNumber {
    icUInt16Number year;
    icUInt16Number month;
    icUInt16Number day;
    icUInt16Number hours;
    icUInt16Number minutes;
    icUInt16Number seconds;
};

// The 128-byte profile header at the start of the file.
struct icHeader {
    icUInt32Number size;                 // whole profile in bytes
    icSignature cmmId;                   // preferred colour-management module
    icUInt32Number version;              // major version in the top byte
    icProfileClassSignature deviceClass; // profile class
    icColorSpaceSignature colorSpace;    // data colour space
    icColorSpaceSignature pcs;           // connection space
    icDateTimeNumber date;               // creation date
    icSignature magic;                   // icMagicNumber, "acsp"
    icPlatformSignature platform;        // primary platform
    icUInt32Number flags;                // profile flags
    icSignature manufacturer;            // device manufacturer
    icSignature model;                   // device model
    icUInt64Number attributes;           // device attributes, two words
    icRenderingIntent renderingIntent;   // icRenderingIntent
    icXYZNumber illuminant;              // connection-space illuminant
    icSignature creator;                 // profile creator
    icInt8Number reserved[44];           // carried as stored, never converted
};

// One entry of the tag table.
struct icTag {
    icTagSignature sig;    // tag signature
    icUInt32Number offset; // from the start of the file
    icUInt32Number size;   // bytes of the tag's data, type signature included
};

// The tag table at file offset 128: a count and `count` entries. Tag data begins at
// 132 + 12 * count.
struct icTagTable {
    icUInt32Number count;
    icTag tags[];
};

// Every tag block begins with an 8-byte type head: type signature and a reserved word.

struct icCurve {
    icUInt32Number count;  // 0: identity; 1: one u8Fixed8 gamma; otherwise a table
    icUInt16Number data[]; // count entries
};

struct icCurveType { // "curv"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icCurve curve;
};

struct parametricCurveType { // "para"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icUInt16Number functionType; // 0..4
    icUInt16Number reserved2;
    icS15Fixed16Number parameters[]; // 1, 3, 4, 5 or 7 by function type
};

struct icXYZType { // "XYZ "
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icXYZNumber data[]; // to the end of the tag
};

struct icS15Fixed16ArrayType { // "sf32"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icS15Fixed16Number data[];
};

struct icU16Fixed16ArrayType { // "uf32"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icU16Fixed16Number data[];
};

struct icUInt8ArrayType { // "ui08"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icUInt8Number data[];
};

struct icUInt16ArrayType { // "ui16"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icUInt16Number data[];
};

struct icUInt32ArrayType { // "ui32"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icUInt32Number data[];
};

// In memory each 64-bit value stands as two words that were converted one by one: the two
// halves keep their places, the most significant word first.
struct icUInt64ArrayType { // "ui64"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icUInt64Number data[];
};

struct icSignatureType { // "sig "
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icSignature signature;
};

struct icTextType { // "text"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icInt8Number data[];
};

struct icData {
    icUInt32Number dataFlag; // 0 ASCII, 1 binary
    icInt8Number data[];     // payload, as stored in the file
};

struct icDataType { // "data"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icData data;
};

struct icDateTimeType { // "dtim"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icDateTimeNumber date;
};

struct icMeasurement {
    icUInt32Number stdObserver; // icStdObs...
    icXYZNumber backing;        // XYZ of the backing
    icUInt32Number geometry;    // measurement geometry
    icU16Fixed16Number flare;   // measurement flare
    icUInt32Number illuminant;  // icIlluminant...
};

struct icMeasurmentType { // "meas", 36 bytes
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icMeasurement measurement;
};

// The 8-bit part of a profile description. In memory only `count` is in host order: the
// Unicode and ScriptCode parts behind the text stay as stored in the file.
struct icTextDescription {
    icUInt32Number count; // bytes of the 8-bit text, terminator included
    icInt8Number data[];  // zero-terminated 8-bit text, then the Unicode and ScriptCode parts
};

struct icProfileDescriptionType { // "desc"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icTextDescription desc;
};

// Under-colour removal: `count` u16 values; behind them, at 12 + 2 * count in the block, a
// second count and the black-generation values (possibly on a two-byte boundary), then text.
struct icUcrBgCurve {
    icUInt32Number count;
    icUInt16Number curve[];
};

struct icUcrBgType { // "bfd "
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icUcrBgCurve data;
};

struct icColorantTableEntry {
    icInt8Number name[32];
    icUInt16Number pcs[3];
};

struct colorantTableType { // "clrt"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icUInt32Number count;
    icColorantTableEntry entries[]; // 38 bytes each
};

// Named colours: from `data`, `count` entries of a 32-byte root name, three u16 connection-space
// values and nDeviceCoords u16 device values (stride 38 + 2 * nDeviceCoords).
struct icNamedColor2 {
    icUInt32Number vendorFlag;
    icUInt32Number count;
    icUInt32Number nDeviceCoords;
    icInt8Number prefix[32];
    icInt8Number suffix[32];
    icInt8Number data[];
};

struct icNamedColor2Type { // "ncl2"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icNamedColor2 ncolor;
};

// 8-bit lookup table: inputChan * 256 input bytes, clutPoints^inputChan * outputChan grid bytes,
// outputChan * 256 output bytes, from `data`.
struct icLut8 {
    icUInt8Number inputChan;
    icUInt8Number outputChan;
    icUInt8Number clutPoints;
    icInt8Number pad;
    icS15Fixed16Number e00, e01, e02; // 3 x 3 matrix by rows
    icS15Fixed16Number e10, e11, e12;
    icS15Fixed16Number e20, e21, e22;
    icUInt8Number data[];
};

struct icLut8Type { // "mft1"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icLut8 lut;
};

// 16-bit lookup table: inputChan * inputEnt, clutPoints^inputChan * outputChan and
// outputChan * outputEnt u16 values, from `data`.
struct icLut16 {
    icUInt8Number inputChan;
    icUInt8Number outputChan;
    icUInt8Number clutPoints;
    icInt8Number pad;
    icS15Fixed16Number e00, e01, e02; // 3 x 3 matrix by rows
    icS15Fixed16Number e10, e11, e12;
    icS15Fixed16Number e20, e21, e22;
    icUInt16Number inputEnt;
    icUInt16Number outputEnt;
    icUInt16Number data[];
};

struct icLut16Type { // "mft2"
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icLut16 lut;
};

// The grid of an mAB /mBA tag: grid points per input channel, precision (1 or 2 bytes a value),
// then the table of prod(gridPoints[0..inputChan-1]) * outputChan values.
struct icCLutStruct {
    icUInt8Number gridPoints[icMaxCLutChannels];
    icUInt8Number prec;
    icUInt8Number pad1;
    icUInt8Number pad2;
    icUInt8Number pad3;
    icUInt8Number data[];
};

// The v4 lookup types. Offsets count from the start of the tag block; 0 means the element is
// absent. Curve sets are runs of curv or para records, each padded to four bytes; the matrix is
// 12 s15Fixed16 values (3 x 3 by rows, then the offsets); the grid is an icCLutStruct.
struct lutAToBType { // "mAB "
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icUInt8Number inputChan;
    icUInt8Number outputChan;
    icUInt16Number pad;
    icUInt32Number offsetB;
    icUInt32Number offsetMatrix;
    icUInt32Number offsetM;
    icUInt32Number offsetCLUT;
    icUInt32Number offsetA;
};

struct lutBToAType { // "mBA ", the same layout
    icTagTypeSignature base;
    icInt8Number reserved[4];
    icUInt8Number inputChan;
    icUInt8Number outputChan;
    icUInt16Number pad;
    icUInt32Number offsetB;
    icUInt32Number offsetMatrix;
    icUInt32Number offsetM;
    icUInt32Number offsetCLUT;
    icUInt32Number offsetA;
};

static_assert(sizeof(icHeader) == 128);
static_assert(offsetof(icHeader, date) == 24 && offsetof(icHeader, magic) == 36);
static_assert(offsetof(icHeader, attributes) == 56 && offsetof(icHeader, illuminant) == 68);
static_assert(offsetof(icHeader, reserved) == 84);
static_assert(sizeof(icTag) == 12 && sizeof(icTagTable) == 4);
static_assert(sizeof(icCurveType) == 12 && sizeof(parametricCurveType) == 12);
static_assert(sizeof(icMeasurmentType) == 36);
static_assert(sizeof(icLut8Type) == 48 && sizeof(icLut16Type) == 52);
static_assert(sizeof(icNamedColor2Type) == 84 && sizeof(colorantTableType) == 12);
static_assert(sizeof(icColorantTableEntry) == 38);
static_assert(sizeof(icCLutStruct) == 20 && sizeof(lutAToBType) == 32);
static_assert(sizeof(lutBToAType) == 32 && sizeof(icDateTimeType) == 20);

// ---------------------------------------------------------------------------------------------
// Byte order
//
// Blocks are converted in place, with no copy and no allocation; on a big-endian host the file
// order is the host order and only the walk runs. The conversions never read or write outside
// the block they are given: counts and offsets found in a block are checked against its size,
// and a structure that does not fit is converted only as far as it lies inside the block.
//
// Deliberate departures from a full conversion of the published format:
// - desc: only the length word at 8 is converted; the Unicode and ScriptCode parts stay as
//   stored.
// - ui64: each 64-bit value is converted as two separate words that keep their places.
// - A curv record of one entry inside an mAB /mBA curve set keeps its u8Fixed8 gamma in file
//   order; a top-level curv of one entry has it converted.
// - The 44 reserved bytes of the header are never converted.

// Converts the header in place; the same call serves both directions.
void SwapHeader(icHeader* header);

// Converts the 3 * count words behind the count in place, in both directions. `count` is read
// as it stands and must be in host order at the call; it is not converted. Callers convert it
// themselves: after this call when going to file order, before it when coming from the file.
// The block must hold `count` entries.
void SwapTagTable(icTagTable* table);
// The same, converting at most the entries that fit in a block of `blockBytes` bytes.
void SwapTagTable(icTagTable* table, size_t blockBytes);

// Converts one tag block of `size` bytes in place. bToHost non-zero: the block stands in file
// order and is turned into host order; zero: the reverse. The counts that steer the conversion
// are always read in host order. The type signature is converted first towards the host and
// last towards the file, so that a block of unknown type has its signature converted and
// nothing else.
void SwapTagData(uint32_t* data, uint32_t size, int bToHost);

// The same conversion, answering whether the block's structure fits its size: false when a
// count or offset read from the block reaches beyond `size`, an offset of an mAB /mBA element
// points into its 32-byte head, a grid has more than 16 inputs, or the block is shorter than
// the fixed head that its type needs to be converted. Such a block is converted only as far as
// it lies inside `size`. Blocks that fit are converted exactly as by SwapTagData.
bool SwapTagDataChecked(uint32_t* data, uint32_t size, int bToHost);

// Whether a block of `size` bytes in file order would pass SwapTagDataChecked towards the host,
// answered without converting it: the walk reads the counts and offsets as the conversion
// would find them. Costs only the walk, not the conversion, for a well-formed block; an mAB /
// mBA block whose elements share bytes is converted on a copy to decide.
bool TagDataFits(const uint8_t* data, uint32_t size);

// Converts one curv or para record and answers the bytes it occupies: 12 + 2 * (n + (n & 1))
// for a curv of n entries (entries converted only for n >= 2), 12 + 4 * parameters for para,
// 0 for any other type. bTypeDone true: the caller has dealt with the type signature and it
// stands in host order; false: this routine converts it too and decides by the host value.
// The record is trusted to be complete.
size_t SwapCurveData(int bToHost, void* curve, bool bTypeDone);
// The same for a record that may not be complete: at most `available` bytes from `curve` are
// touched, and *pbFits (if given) is set to false when the record needs more than that.
size_t SwapCurveData(int bToHost, void* curve, bool bTypeDone, size_t available, bool* pbFits);

// Channels of a colour-space signature: GRAY 1, 2CLR 2, 3-channel spaces 3, CMYK and 4CLR 4,
// 5CLR..FCLR 5..15, anything else 0. The gamut tag signature "gamt" gives 1, as the transform
// factories and the named colours count it.
unsigned GetChannelCountOfSignature(icColorSpaceSignature sig);
// The same; with bGamutCounts false "gamt" gives 0, as the colour-space records count it when
// they load a profile.
unsigned GetChannelCountOfSignature(icColorSpaceSignature sig, bool bGamutCounts);
