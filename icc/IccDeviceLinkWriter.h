// A link table saved as an ICC device-link profile, so that other engines (lcms2, ...) can apply
// the same conversion: class 'link', version 2, colour space the link's input, the
// connection-space field its output, one A2B0 of type lut16 ('mft2') with the link table's input
// curves, grid and output curves, a description and a copyright.
#pragma once

#include <cstdint>

class CFunc_16TabBaseMft;
class CUserSettingsMgr;

enum class EDeviceLinkResult {
    Ok,
    UnsupportedTable, // a table of a kind that lut16 cannot hold
    UnreadableCurves, // the table's curves cannot be read out
    WriteFailed,      // the file cannot be written
};

// Writes the profile to `path` through a temporary of its own, renamed at the end.
// `inSpace` and `outSpace` are ICC colour-space signatures of the header; `headerIntent` is the
// ICC header's 0 to 3.
EDeviceLinkResult WriteIccDeviceLink(CUserSettingsMgr* settings, const wchar_t* path,
                                     const CFunc_16TabBaseMft& table, uint32_t inSpace,
                                     uint32_t outSpace, unsigned headerIntent,
                                     const char* description);
