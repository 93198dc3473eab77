// Generic presets: a set of named items, each described once by an SPreSetItemDesc (its element
// name in the preset file, whether it holds text or a number, and where its default comes from).
// CPreSetInputProfiles is the set of the input-profile preset.
//
// The XML form is the kind's root element with one child per item present, in the order of the
// kind's item table; loading a file replaces all items with those the file holds (elements the
// kind does not know are skipped), so an item the file lacks is absent and Lookup says so.
#pragma once

#include <map>
#include <span>
#include <string>

#include "common/XmlCtxt.h"

struct _INIENTRY;
class CPrintUSM;

struct SPreSetItemDesc {
    enum enmType { Text, Integer };
    const wchar_t* name; // element name in the preset file
    enmType type;
    const _INIENTRY* defaultEntry; // the default is this setting's value; null: `def`
    const wchar_t* def;
};

class CPreSet : public CXmlCtxt {
public:
    // Answer 1 and set `value` when the item is present; 0 leaves `value` alone.
    int Lookup(const SPreSetItemDesc& desc, std::wstring& value) const;
    int Lookup(const SPreSetItemDesc& desc, int& value) const;
    void SetItem(const SPreSetItemDesc& desc, const wchar_t* value);
    void SetItem(const SPreSetItemDesc& desc, const std::wstring& value) {
        SetItem(desc, value.c_str());
    }
    void SetItem(const SPreSetItemDesc& desc, int value);
    void RemoveItem(const SPreSetItemDesc& desc) { m_items.erase(desc.name); }

    // Every item of the kind at its default, read from `usm` where the item has a setting (the
    // description's own default without `usm`).
    void LoadDefault(CPrintUSM* usm);

    // The kind's items, in file order.
    virtual std::span<const SPreSetItemDesc* const> Items() const = 0;
    // The item of that element name, or null.
    const SPreSetItemDesc* FindItem(const std::wstring& name) const;

    bool operator==(const CPreSet& other) const { return m_items == other.m_items; }

protected:
    void XmlSave() override;
    void OnXmlLoadStart() override { m_items.clear(); }
    void OnXmlNodeText(const wchar_t* text) override;

private:
    std::map<std::wstring, std::wstring> m_items; // element name -> value as text
};

// Items of the input-profile preset. Profile names are bare file names; the folder follows from
// the colour space.
extern const SPreSetItemDesc PRS_RgbProfileName;
extern const SPreSetItemDesc PRS_CmykProfileName;
extern const SPreSetItemDesc PRS_LabProfileName;
extern const SPreSetItemDesc PRS_GrayProfileName;
extern const SPreSetItemDesc PRS_RgbRenderingIntent;
extern const SPreSetItemDesc PRS_CmykRenderingIntent;
extern const SPreSetItemDesc PRS_LabRenderingIntent;
extern const SPreSetItemDesc PRS_GrayRenderingIntent;
extern const SPreSetItemDesc PRS_RgbUseEmbeddedProfile;
extern const SPreSetItemDesc PRS_CmykUseEmbeddedProfile;
extern const SPreSetItemDesc PRS_GrayUseEmbeddedProfile;
extern const SPreSetItemDesc PRS_RgbAskOnMissingEmbedded;
extern const SPreSetItemDesc PRS_CmykAskOnMissingEmbedded;
extern const SPreSetItemDesc PRS_UseColorimetricRI;
extern const SPreSetItemDesc PRS_DisableWhitePointExpansion;

class CPreSetInputProfiles : public CPreSet {
public:
    static constexpr const wchar_t* kRootTag = L"InputProfiles";

    std::span<const SPreSetItemDesc* const> Items() const override;

protected:
    const wchar_t* XmlRootTag() const override { return kRootTag; }
};
