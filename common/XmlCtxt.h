// The XML layer of the presets, on pugixml. A data class derives from CXmlCtxt, writes itself in
// XmlSave with XmlBeginElement / XmlSetText / XmlEndElement, and reads itself back in
// OnXmlNodeText, which is called once for every element that holds text (or no children at
// all), with XmlGetTag(0) naming that element, XmlGetTag(1) its parent and so on.
//
// Loading is all or nothing: the text is parsed and checked (well formed, root element of this
// kind, size and depth within the limits below) before the first OnXmlNodeText, so a refused
// document leaves the data as it was. XmlError() tells why the last load or save failed.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

class CXmlCtxt {
public:
    // A preset file is a few kilobytes; anything larger than this is not one of ours.
    static constexpr size_t kMaxXmlBytes = 1 << 20;
    // Presets nest two or three levels; a bundle of presets a few more.
    static constexpr int kMaxXmlDepth = 32;

    CXmlCtxt();
    CXmlCtxt(const CXmlCtxt&);
    CXmlCtxt& operator=(const CXmlCtxt&);
    virtual ~CXmlCtxt();

    // `isString` 0: `src` is the path of a file, 1: the XML text itself. `flags` is reserved (0).
    // Answers 1 on success, 0 with XmlError() set.
    int LoadFromXml(const wchar_t* src, int isString, int flags);
    int LoadFromXml(const std::wstring& src, int isString, int flags) {
        return LoadFromXml(src.c_str(), isString, flags);
    }
    // Writes to the file `path` (isString 0: through a temporary file renamed over it), or sets
    // `xml` to the text (isString 1; the text has no line breaks, so it fits a settings line).
    int SaveToXml(const wchar_t* path, int isString, int flags);
    int SaveToXml(std::wstring& xml, int isString, int flags);

    // Nesting in a larger document: XmlSaveTo writes this object's XmlSave at `outer`'s place of
    // writing; XmlLoadFrom reads this object from the first element named XmlRootTag() at or
    // below `outer`'s current element (the root after LoadFromXml, the element being read during
    // OnXmlNodeText). XmlLoadFrom answers 0 when there is none or it is malformed.
    void XmlSaveTo(CXmlCtxt& outer);
    int XmlLoadFrom(CXmlCtxt& outer);

    // Writing, inside XmlSave.
    void XmlBeginElement(const wchar_t* name);
    void XmlEndElement();
    void XmlSetText(const wchar_t* text);
    void XmlSetText(const std::wstring& text) { XmlSetText(text.c_str()); }

    // Reading, inside OnXmlNodeText: the tag `level` steps up from the element being read (0);
    // empty above the root.
    std::wstring XmlGetTag(int level) const;

    const std::wstring& XmlError() const { return m_error; }

protected:
    // The name of this kind's root element; LoadFromXml refuses a document with another root.
    // Null accepts any root (a plain container).
    virtual const wchar_t* XmlRootTag() const { return nullptr; }
    virtual void XmlSave() {}
    // Called once a document has passed the checks, before its first OnXmlNodeText.
    virtual void OnXmlLoadStart() {}
    virtual void OnXmlNodeText(const wchar_t* text) { (void)text; }

    void SetXmlError(std::wstring text) { m_error = std::move(text); }

private:
    struct State;
    int Walk(const void* element);
    int Check(const void* element);

    std::unique_ptr<State> m_state;   // the document being written or read
    std::vector<std::wstring> m_tags; // element names from the root down while reading
    std::wstring m_error;
};

// A data class whose XML is a flat list of elements below its root, one per field: the derived
// class lists its fields once in XmlMapFields, and writing and reading follow that list.
// Elements not in the list are ignored on reading; fields without an element keep their value.
class CXmlMapped : public CXmlCtxt {
public:
    class CFieldMap {
    public:
        void Int(const wchar_t* tag, int& field) { m_fields.push_back({tag, &field, nullptr}); }
        void Text(const wchar_t* tag, std::wstring& field) {
            m_fields.push_back({tag, nullptr, &field});
        }

    private:
        friend class CXmlMapped;
        struct Field {
            const wchar_t* tag;
            int* intField;
            std::wstring* textField;
        };
        std::vector<Field> m_fields;
    };

protected:
    virtual void XmlMapFields(CFieldMap& map) = 0;
    void XmlSave() override;
    void OnXmlNodeText(const wchar_t* text) override;
};
