// mkbuiltins: writes the library's built-in grid tables and its Lab identity profile.
//
//     kvrmkbuiltins <output folder>
//
// writes RGBTOCMYK.mft, LABTOCMYK.mft, LABTORGB.mft, CMYKTORGB.mft, CMYKV2TORGB.mft,
// CMYKV2TOLAB.mft, SRGBTOLAB.mft (object archives, each of one table) and LABPROFILE.icc. The
// build compiles these files into the library as resources. The output depends on nothing but
// this program: the same build writes the same bytes.
//
// The colour models behind the tables, sRGB and the press with its separation, are those of
// tools/gen/PrinterModel.h, which the default profiles share. RGBTOCMYK separates sRGB as the
// default printer profile does at the perceptual intent (tools/gen/Separation.h); LABTOCMYK
// keeps the press model's own grey-component separation (CPressModel::Separate).
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "base/Archive.h"
#include "base/Colorimetry.h"
#include "base/File.h"
#include "colorfunc/Func.h"
#include "gridtable/Mft3.h"
#include "gridtable/Mft4.h"
#include "gridtable/TabMft.h"
#include "icc/IccProfileGen.h"
#include "tools/gen/PrinterModel.h"
#include "tools/gen/Separation.h"

namespace {

// ---------------------------------------------------------------------------------------------
// Sample encodings

uint16_t Round16(double v) {
    return static_cast<uint16_t>(std::lround(std::clamp(v, 0.0, 1.0) * 65535.0));
}
uint8_t Round8(double v) {
    return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
}

// Full-range 16-bit Lab: L 100 at 0xFFFF, a and b at 257 units each with neutral at 0x8080.
// Samples are truncated, not rounded.
void EncodeLabFullRange(const Vec3& lab, uint16_t* enc) {
    const double v[3] = {lab[0] * 655.35, (lab[1] + 128.0) * 257.0, (lab[2] + 128.0) * 257.0};
    for (int c = 0; c < 3; ++c) enc[c] = static_cast<uint16_t>(std::clamp(v[c], 0.0, 65535.0));
}

// 8-bit Lab as the pipelines take it: L 100 at 255, a and b neutral at 128.
Vec3 DecodeLab8(const uint8_t* v) {
    return {v[0] * 100.0 / 255.0, v[1] - 128.0, v[2] - 128.0};
}

// ---------------------------------------------------------------------------------------------
// The tables as colour functions, sampled by DefineByFunc

class CSRgbToLab16 : public CFunc_16 {
public:
    explicit CSRgbToLab16(const SRgb& s) : CFunc_16(3, 3), m_s(s) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        EncodeLabFullRange(m_s.ToLab({in[0] / 65535.0, in[1] / 65535.0, in[2] / 65535.0}), out);
        return 1;
    }

private:
    const SRgb& m_s;
};

class CCmykToLabV2 : public CFunc_16 {
public:
    explicit CCmykToLabV2(const CPressModel& m) : CFunc_16(4, 3), m_m(m) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        const double ink[4] = {in[0] / 65535.0, in[1] / 65535.0, in[2] / 65535.0, in[3] / 65535.0};
        const Vec3 lab = m_m.Lab(ink);
        IccEncodeLab16(lab.data(), out);
        return 1;
    }

private:
    const CPressModel& m_m;
};

class CCmykToRgb16 : public CFunc_16 {
public:
    CCmykToRgb16(const CPressModel& m, const SRgb& s) : CFunc_16(4, 3), m_m(m), m_s(s) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        const double ink[4] = {in[0] / 65535.0, in[1] / 65535.0, in[2] / 65535.0, in[3] / 65535.0};
        const Vec3 rgb = m_s.FromXyz(m_m.Xyz(ink));
        for (int c = 0; c < 3; ++c) out[c] = Round16(rgb[c]);
        return 1;
    }

private:
    const CPressModel& m_m;
    const SRgb& m_s;
};

class CCmykToRgb8 : public CFunc_8 {
public:
    CCmykToRgb8(const CPressModel& m, const SRgb& s) : CFunc_8(4, 3), m_m(m), m_s(s) {}
    int Trn(const uint8_t* in, uint8_t* out) const override {
        const double ink[4] = {in[0] / 255.0, in[1] / 255.0, in[2] / 255.0, in[3] / 255.0};
        const Vec3 rgb = m_s.FromXyz(m_m.Xyz(ink));
        for (int c = 0; c < 3; ++c) out[c] = Round8(rgb[c]);
        return 1;
    }

private:
    const CPressModel& m_m;
    const SRgb& m_s;
};

// sRGB to the press's inks as the default printer profile separates at the perceptual intent:
// gamut mapping and black generation of CPrinterSeparation. Its searches start from the last
// node's inks, so the table depends on the order of the nodes, which DefineByFunc keeps.
class CRgbToCmyk8 : public CFunc_8 {
public:
    explicit CRgbToCmyk8(const CPrinterGamut& g)
        : CFunc_8(3, 4), m_sep(g, EIntent::Perceptual), m_s(g.Srgb()) {}
    int Trn(const uint8_t* in, uint8_t* out) const override {
        double cmyk[4];
        Vec3 mapped;
        m_sep.Separate(m_s.ToLab({in[0] / 255.0, in[1] / 255.0, in[2] / 255.0}), cmyk, mapped);
        for (int c = 0; c < 4; ++c) out[c] = Round8(cmyk[c]);
        return 1;
    }

private:
    mutable CPrinterSeparation m_sep;
    const SRgb& m_s;
};

class CLabToCmyk8 : public CFunc_8 {
public:
    explicit CLabToCmyk8(const CPressModel& m) : CFunc_8(3, 4), m_m(m) {}
    int Trn(const uint8_t* in, uint8_t* out) const override {
        double cmyk[4];
        m_m.Separate(DecodeLab8(in), cmyk);
        for (int c = 0; c < 4; ++c) out[c] = Round8(cmyk[c]);
        return 1;
    }

private:
    const CPressModel& m_m;
};

class CLabToRgb8 : public CFunc_8 {
public:
    explicit CLabToRgb8(const SRgb& s) : CFunc_8(3, 3), m_s(s) {}
    int Trn(const uint8_t* in, uint8_t* out) const override {
        const Vec3 rgb = m_s.FromXyz(LabToXyz(DecodeLab8(in)));
        for (int c = 0; c < 3; ++c) out[c] = Round8(rgb[c]);
        return 1;
    }

private:
    const SRgb& m_s;
};

// ---------------------------------------------------------------------------------------------
// The Lab identity profile

// Identity lookup table of the profile: curves with entry i = 16 * i over 4096 entries, and a
// grid of two points whose eight nodes are the corners.
class CLabIdentityTab : public CMTab {
public:
    CLabIdentityTab() {
        inputChan = 3;
        outputChan = 3;
        clutPoints = 2;
        inputEnt = 4096;
        outputEnt = 4096;
    }
    unsigned short InputValue(unsigned entry, unsigned) const override {
        return static_cast<unsigned short>(16 * entry);
    }
    int NodeValues16(unsigned node, unsigned short* values) const override {
        if (node >= 8) return 0;
        for (unsigned c = 0; c < 3; ++c) values[c] = ((node >> (2 - c)) & 1) ? 65535 : 0;
        return 1;
    }
    int NodeValues8(unsigned node, unsigned char* values) const override {
        if (node >= 8) return 0;
        for (unsigned c = 0; c < 3; ++c) values[c] = ((node >> (2 - c)) & 1) ? 255 : 0;
        return 1;
    }
    unsigned short OutputValue(unsigned entry, unsigned) const override {
        return static_cast<unsigned short>(16 * entry);
    }
};

// The profile's author notice. Its length is fixed by the profile's size: a text tag of 444
// bytes holds 432 to 435 characters.
constexpr char kLabProfileNotice[] =
    "Copyright (c) KVRCOLOR colour library developers. Lab Output: an identity colour space "
    "conversion profile from CIELAB to CIELAB, relative to the D50 white of the ICC profile "
    "connection space, carried inside the colour library as a built-in resource and used as "
    "the Lab stage of device colour transforms. It holds no device data and may be copied, "
    "used and passed on freely, alone or together with the library, without any restriction.";
static_assert(sizeof(kLabProfileNotice) - 1 >= 432 && sizeof(kLabProfileNotice) - 1 <= 435,
              "the notice must fill a 444-byte text tag");

// A generator whose header carries no creation time and no identifier, so that every run
// writes the same bytes.
class CFixedProfileGen : public CIccProfileGen1 {
public:
    CFixedProfileGen() : CIccProfileGen1(nullptr) {}
    void ClearStamps() {
        std::memset(&m_Header.date, 0, sizeof m_Header.date);
        std::memset(m_Header.reserved, 0, sizeof m_Header.reserved);
    }
};

bool WriteLabProfile(const std::filesystem::path& path) {
    CFixedProfileGen gen;
    gen.SetHeader(icSigColorSpaceClass, icSigLabData, icSigLabData, icPerceptual);
    gen.ClearStamps();
    gen.AddProfileDescriptionTag(" Lab Output");
    const CLabIdentityTab identity;
    gen.AddLut16Tag(icSigAToB0Tag, identity);
    gen.AddLut16Tag(icSigBToA0Tag, identity);
    gen.AddXYZTag(icSigMediaWhitePointTag,
                  static_cast<uint32_t>(CIccProfileGen1::ConvertDoubleToS15Fixed16(kD50X)),
                  static_cast<uint32_t>(CIccProfileGen1::ConvertDoubleToS15Fixed16(kD50Y)),
                  static_cast<uint32_t>(CIccProfileGen1::ConvertDoubleToS15Fixed16(kD50Z)));
    gen.AddTextTag(icSigCopyrightTag, kLabProfileNotice);
    return gen.OnSaveDocument(path.wstring().c_str()) != 0;
}

// ---------------------------------------------------------------------------------------------
// Output

bool WriteArchive(const std::filesystem::path& path, const CObject& obj) {
    CMemFile mem;
    {
        CArchive ar(&mem, CArchive::store);
        ar.WriteObject(&obj);
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(mem.GetBuffer()),
              static_cast<std::streamsize>(mem.GetLength()));
    return static_cast<bool>(out);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <output folder>\n", argv[0]);
        return 2;
    }
    const std::filesystem::path dir(argv[1]);
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);

    const SRgb srgb;
    const CPressModel press;
    bool ok = true;

    {
        CMft3_8 t(17, 4);
        t.DefineByFunc(CRgbToCmyk8(CPrinterGamut()));
        ok &= WriteArchive(dir / "RGBTOCMYK.mft", t);
    }
    {
        CFunc_8Tab3Mft t(9, 4);
        t.DefineByFunc(CLabToCmyk8(press));
        ok &= WriteArchive(dir / "LABTOCMYK.mft", t);
    }
    {
        CFunc_8Tab3Mft t(9, 3);
        t.DefineByFunc(CLabToRgb8(srgb));
        ok &= WriteArchive(dir / "LABTORGB.mft", t);
    }
    {
        CMft4_8 t(7, 3);
        t.DefineByFunc(CCmykToRgb8(press, srgb));
        ok &= WriteArchive(dir / "CMYKTORGB.mft", t);
    }
    {
        CMft4_16 t(18, 3);
        t.DefineByFunc(CCmykToRgb16(press, srgb));
        ok &= WriteArchive(dir / "CMYKV2TORGB.mft", t);
    }
    {
        CMft4_16 t(16, 3);
        t.DefineByFunc(CCmykToLabV2(press));
        ok &= WriteArchive(dir / "CMYKV2TOLAB.mft", t);
    }
    {
        CMft3_16 t(33, 3);
        t.DefineByFunc(CSRgbToLab16(srgb));
        ok &= WriteArchive(dir / "SRGBTOLAB.mft", t);
    }
    ok &= WriteLabProfile(dir / "LABPROFILE.icc");

    if (!ok) {
        std::fprintf(stderr, "%s: cannot write the built-in resources to %s\n", argv[0],
                     dir.string().c_str());
        return 1;
    }
    return 0;
}
