// The store extensions of the preset kinds: each kind's files are "<name>.<extension>" in the
// folder of US_SettingsFolder. (The simulation target's is CPresetSimTargetPrinter::szExtension.)
#pragma once

inline constexpr wchar_t kExtInputProfiles[] = L"InputProfiles";
inline constexpr wchar_t kExtPsCs[] = L"PsCs";
inline constexpr wchar_t kExtGhostSepCs[] = L"GhostSepCs";
inline constexpr wchar_t kExtPDFAurelonCs[] = L"PDFAurelonCs";
