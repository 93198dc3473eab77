// The separation of the default printer profile: gamut mapping (GamutMapping.h) and black
// generation, for every CIELAB colour.
//
// 1. The colour is mapped into the press's gamut by the intent's mapping. Tables bound the
//    mappings, so where the mapped colour does not print exactly it is moved onto the gamut
//    along the line from the mapping's neutral anchor (by bisection). At the relative intent
//    a printable colour stays as it is, and a colour darker than the darkest neutral is raised
//    to its lightness keeping only part of its chroma: near the grey axis little of it, so
//    that the nodes around the dark end of the axis hold nearly the neutral's inks.
// 2. Black. On the grey axis black follows GreyBlack: none up to a quarter of the way from the
//    paper to the darkest neutral, then rising smoothly (from a zero slope, then linearly) to
//    full black at the darkest neutral, so that C, M and Y only grow toward black. Off the
//    axis black aims at the curve's value scaled down by the colour's relative chroma (0 on
//    the axis, 1 at the cusp chroma of its hue), and outside a band around the axis at least at
//    the black of the grey-component rule (CPressModel::Separate); where that black cannot
//    reach the colour, the black nearest to it that can is taken (by bisection toward the
//    black of the printability search).
// 3. C, M and Y are solved for the chosen black, from the inks of the previous colour.
//
// Searches start from the inks of the previous colour, which keeps neighbouring grid nodes on
// the same branch of the solution, so that no ink jumps between them. The result therefore
// depends on the sequence of colours given to one object: use a new object for each
// independent sequence (one grid line, say).
#pragma once

#include "tools/gen/GamutMapping.h"
#include "tools/gen/PrinterModel.h"

enum class EIntent { Perceptual, Relative, Saturation };

// The press with its darkest neutral, its gamut and sRGB's, and the mappings between them:
// computed once (the boundaries take a few seconds) and shared by the separations.
class CPrinterGamut {
public:
    CPrinterGamut();

    const CPressModel& Press() const { return m_press; }
    double DarkestGreyL() const { return m_darkestGreyL; }
    const CBlackScaling& Scaling() const { return m_scaling; }
    const SRgb& Srgb() const { return m_srgb; }
    const CGamutBoundary& PrinterBoundary() const { return m_printer; }
    const CGamutBoundary& SourceBoundary() const { return m_source; }
    const CGamutMapper& Mapper() const { return m_mapper; }

private:
    CPressModel m_press;
    SRgb m_srgb;
    double m_darkestGreyL;
    CBlackScaling m_scaling;
    CGamutBoundary m_printer, m_source;
    CGamutMapper m_mapper;
};

class CPrinterSeparation {
public:
    CPrinterSeparation(const CPrinterGamut& gamut, EIntent intent);

    // Separates `target` (a colour of the connection space for the intent) into cmyk (0..1,
    // total at most the ink limit). `mapped` receives the colour the inks print.
    void Separate(const Vec3& target, double* cmyk, Vec3& mapped);

    // Black on the grey axis at lightness L, for a press whose darkest neutral is darkestL.
    static double GreyBlack(double L, double darkestL);

    static constexpr double kBlackStart = 0.25;    // of the way from paper to the darkest neutral
    static constexpr double kBlackSoftStart = 0.4; // of the rest, over which black's slope grows

private:
    // The colour to print for `target`; `ink4` receives inks (black free) that print it.
    Vec3 Map(const Vec3& target, double* ink4) const;

    // Black of the grey-component rule: from the smallest of C, M and Y without black.
    double RuleBlack(const Vec3& t);

    const CPrinterGamut& m_gamut;
    EIntent m_intent;
    double m_last4[4];    // inks of the last mapped colour, black free
    double m_lastCmy0[3]; // C, M, Y without black of the last colour
    double m_lastCmyk[4]; // the last separation
};
