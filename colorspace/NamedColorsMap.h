// The storage of a named-colour dictionary: names in the order they were first inserted, and a
// sorted map from name to pixel that compares names without regard to case. The list keeps
// the spelling first seen; the map and the list always hold the same names.
//
// Pixels belong to the map. A pixel handed out stays valid until its entry is replaced or
// removed, or the map goes. The map does not know how long its pixels are: that is the
// business of the dictionary built on it.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "base/Object.h"

// One character folded for a comparison without regard to case: the Unicode simple lower-case
// mapping, the same whatever locale the process runs in.
wchar_t FoldCaseChar(wchar_t c);
// Whether a and b are equal without regard to case.
bool EqualsNoCase(std::wstring_view a, std::wstring_view b);

// Order of names without regard to case, character by character after folding. Transparent,
// so that a lookup with a string view needs no copy.
struct CaseBlindLess {
    using is_transparent = void;
    bool operator()(std::wstring_view a, std::wstring_view b) const;
};

class CMapNameToDevPixel : public CObject {
    DECLARE_DYNAMIC(CMapNameToDevPixel)
public:
    using Pixel = std::unique_ptr<unsigned short[]>;

    CMapNameToDevPixel() = default;
    ~CMapNameToDevPixel() override;
    // Copying needs the pixel length, which only the dictionary knows.
    CMapNameToDevPixel(const CMapNameToDevPixel&) = delete;
    CMapNameToDevPixel& operator=(const CMapNameToDevPixel&) = delete;

    int GetCount() const { return static_cast<int>(m_map.size()); }
    bool IsEmpty() const { return m_map.empty(); }

    // The pixel of `name` in any case; null when the name is not there.
    unsigned short* Find(std::wstring_view name) const;
    // Whether a name equal to `name` in any case is there.
    bool Contains(std::wstring_view name) const { return m_map.count(name) != 0; }
    // Adds `name` with `pixel` when the name is not there in any case, and answers true.
    // Otherwise nothing changes, `pixel` is freed and the answer is false.
    bool Add(const std::wstring& name, Pixel pixel);
    // Stores `pixel` under `name`: a name already there in any case gets the new pixel (its old
    // one is freed) and keeps its spelling; a new name is appended.
    void SetAt(const std::wstring& name, Pixel pixel);
    // Removes `name` in any case with its pixel; false when it is not there.
    bool RemoveKey(std::wstring_view name);
    // Removes every name and frees every pixel.
    void RemoveAll();

    // The names, in the order they were first inserted, spelt as then.
    const std::list<std::wstring>& Names() const { return m_names; }

private:
    struct Entry {
        Pixel pixel;
        std::list<std::wstring>::iterator name; // the entry's place in m_names
    };

    std::list<std::wstring> m_names;
    std::map<std::wstring, Entry, CaseBlindLess> m_map;
};
