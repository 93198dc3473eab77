// The narrow view of a named-colour dictionary that the consumers of a spot-colour lookup see:
// how many device channels a pixel carries, and the pixel of a name.
#pragma once

class INamedColorsLookup {
public:
    virtual ~INamedColorsLookup() = default;
    // Device channels n of every pixel; a pixel holds 3 connection-space values, then n device
    // values.
    virtual int CountDevChannels() = 0;
    // 1 and `pixel` set to the dictionary's pixel of `name`; 0, leaving `pixel` alone, when the
    // name is not there. The pixel stays the dictionary's and is valid until it is changed.
    virtual int LookupColorName(const wchar_t* name, unsigned short*& pixel) = 0;
};
