#include "common/XmlCtxt.h"

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <pugixml.hpp>
#include <sstream>

#include "base/TextUtil.h"
#include "base/WideString.h"

namespace fs = std::filesystem;

struct CXmlCtxt::State {
    pugi::xml_document doc;
    pugi::xml_node cursor;  // where XmlBeginElement and XmlSetText write
    pugi::xml_node current; // the element being read
};

namespace {

std::string U8(const wchar_t* text) {
    return WideToUtf8(text ? text : L"");
}

// Whether `node` and everything below it stays within the depth limit, counting `node` at
// `depth`. Iterative, so that a document nested far too deep is refused without recursing.
bool WithinDepth(pugi::xml_node node, int depth, int maxDepth) {
    std::vector<std::pair<pugi::xml_node, int>> todo{{node, depth}};
    while (!todo.empty()) {
        auto [n, d] = todo.back();
        todo.pop_back();
        if (d > maxDepth) return false;
        for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling())
            if (c.type() == pugi::node_element) todo.push_back({c, d + 1});
    }
    return true;
}

bool HasElementChild(pugi::xml_node node) {
    for (pugi::xml_node c = node.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element) return true;
    return false;
}

struct StringWriter : pugi::xml_writer {
    std::string text;
    void write(const void* data, size_t size) override {
        text.append(static_cast<const char*>(data), size);
    }
};

} // namespace

CXmlCtxt::CXmlCtxt() = default;
CXmlCtxt::CXmlCtxt(const CXmlCtxt&) : CXmlCtxt() {}
CXmlCtxt& CXmlCtxt::operator=(const CXmlCtxt&) {
    return *this; // the document is transient state of one load or save, never copied
}
CXmlCtxt::~CXmlCtxt() = default;

int CXmlCtxt::LoadFromXml(const wchar_t* src, int isString, int /*flags*/) {
    m_error.clear();
    if (!src) {
        m_error = L"no XML given";
        return 0;
    }
    std::string text;
    if (isString) {
        text = WideToUtf8(src);
    } else {
        std::error_code ec;
        const fs::path path(WideToUtf8(src));
        const auto size = fs::file_size(path, ec);
        if (ec) {
            m_error = L"cannot read " + std::wstring(src);
            return 0;
        }
        if (size > kMaxXmlBytes) {
            m_error = std::wstring(src) + L": larger than " + std::to_wstring(kMaxXmlBytes) +
                      L" bytes, not a preset";
            return 0;
        }
        std::ifstream in(path, std::ios::binary);
        std::ostringstream buf;
        buf << in.rdbuf();
        if (!in && !in.eof()) {
            m_error = L"cannot read " + std::wstring(src);
            return 0;
        }
        text = buf.str();
    }
    if (text.size() > kMaxXmlBytes) {
        m_error = L"XML larger than " + std::to_wstring(kMaxXmlBytes) + L" bytes, not a preset";
        return 0;
    }
    auto state = std::make_unique<State>();
    pugi::xml_parse_result r =
        state->doc.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!r) {
        m_error = L"XML not well formed at byte " + std::to_wstring(r.offset) + L": " +
                  Utf8ToWide(r.description());
        return 0;
    }
    pugi::xml_node root = state->doc.document_element();
    if (!root) {
        m_error = L"XML without a root element";
        return 0;
    }
    if (const wchar_t* want = XmlRootTag(); want && U8(want) != root.name()) {
        m_error = L"root element <" + Utf8ToWide(root.name()) + L"> is not <" + want +
                  L">: a preset of another kind";
        return 0;
    }
    if (!WithinDepth(root, 1, kMaxXmlDepth)) {
        m_error = L"XML nested deeper than " + std::to_wstring(kMaxXmlDepth) + L" levels";
        return 0;
    }
    m_state = std::move(state);
    m_tags.clear();
    m_state->current = root;
    OnXmlLoadStart();
    return Walk(&root);
}

int CXmlCtxt::Walk(const void* element) {
    const pugi::xml_node node = *static_cast<const pugi::xml_node*>(element);
    m_tags.push_back(Utf8ToWide(node.name()));
    const pugi::xml_node saved = m_state->current;
    m_state->current = node;
    if (HasElementChild(node)) {
        for (pugi::xml_node c = node.first_child(); c; c = c.next_sibling())
            if (c.type() == pugi::node_element) Walk(&c);
    } else {
        OnXmlNodeText(Utf8ToWide(node.text().get()).c_str());
    }
    m_state->current = saved;
    m_tags.pop_back();
    return 1;
}

int CXmlCtxt::XmlLoadFrom(CXmlCtxt& outer) {
    m_error.clear();
    if (!outer.m_state || !outer.m_state->current) {
        m_error = L"nothing to read from";
        return 0;
    }
    const wchar_t* want = XmlRootTag();
    const std::string name = U8(want);
    // Breadth first: the shallowest element of this kind is this object's.
    std::vector<pugi::xml_node> level{outer.m_state->current};
    pugi::xml_node found;
    int depth = static_cast<int>(outer.m_tags.empty() ? 1 : outer.m_tags.size());
    while (!level.empty() && !found && depth <= kMaxXmlDepth) {
        std::vector<pugi::xml_node> next;
        for (pugi::xml_node n : level) {
            if (!want || name == n.name()) {
                found = n;
                break;
            }
            for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling())
                if (c.type() == pugi::node_element) next.push_back(c);
        }
        level = std::move(next);
        ++depth;
    }
    if (!found) {
        m_error = L"no <" + std::wstring(want ? want : L"") + L"> element";
        return 0;
    }
    if (!WithinDepth(found, 1, kMaxXmlDepth)) {
        m_error = L"XML nested deeper than " + std::to_wstring(kMaxXmlDepth) + L" levels";
        return 0;
    }
    auto state = std::make_unique<State>();
    state->current = found;
    std::swap(m_state, state);
    m_tags.clear();
    for (pugi::xml_node p = found.parent(); p && p.type() == pugi::node_element; p = p.parent())
        m_tags.insert(m_tags.begin(), Utf8ToWide(p.name()));
    OnXmlLoadStart();
    Walk(&found);
    m_tags.clear();
    std::swap(m_state, state);
    return 1;
}

int CXmlCtxt::SaveToXml(const wchar_t* path, int isString, int flags) {
    if (isString) { // a caller that meant a string but passed a pointer: nothing to fill
        m_error = L"SaveToXml to a string needs a string";
        return 0;
    }
    (void)flags;
    m_error.clear();
    if (!path || !*path) {
        m_error = L"no file name";
        return 0;
    }
    m_state = std::make_unique<State>();
    m_state->cursor = m_state->doc;
    XmlSave();
    StringWriter w;
    m_state->doc.save(w, "  ", pugi::format_indent, pugi::encoding_utf8);
    m_state.reset();

    // Written beside the target and renamed over it: a reader never sees half a preset.
    const fs::path target(WideToUtf8(path));
    std::error_code ec;
    if (target.has_parent_path()) fs::create_directories(target.parent_path(), ec);
    fs::path temp = target;
    temp += ".tmp" + std::to_string(getpid());
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        out << w.text;
        out.flush();
        if (!out) {
            out.close();
            fs::remove(temp, ec);
            m_error = L"cannot write " + std::wstring(path);
            return 0;
        }
    }
    fs::rename(temp, target, ec);
    if (ec) {
        fs::remove(temp, ec);
        m_error = L"cannot write " + std::wstring(path);
        return 0;
    }
    return 1;
}

int CXmlCtxt::SaveToXml(std::wstring& xml, int isString, int flags) {
    if (!isString) return SaveToXml(xml.c_str(), 0, flags);
    m_error.clear();
    m_state = std::make_unique<State>();
    m_state->cursor = m_state->doc;
    XmlSave();
    StringWriter w;
    m_state->doc.save(w, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
    m_state.reset();
    xml = Utf8ToWide(w.text);
    return 1;
}

void CXmlCtxt::XmlSaveTo(CXmlCtxt& outer) {
    if (!outer.m_state) return;
    auto state = std::make_unique<State>();
    state->cursor = outer.m_state->cursor;
    std::swap(m_state, state);
    XmlSave();
    std::swap(m_state, state);
}

void CXmlCtxt::XmlBeginElement(const wchar_t* name) {
    if (!m_state) return;
    m_state->cursor = m_state->cursor.append_child(U8(name).c_str());
}

void CXmlCtxt::XmlEndElement() {
    if (!m_state || !m_state->cursor.parent()) return;
    m_state->cursor = m_state->cursor.parent();
}

void CXmlCtxt::XmlSetText(const wchar_t* text) {
    if (!m_state || m_state->cursor.type() != pugi::node_element) return;
    m_state->cursor.text().set(U8(text).c_str());
}

std::wstring CXmlCtxt::XmlGetTag(int level) const {
    if (level < 0 || static_cast<size_t>(level) >= m_tags.size()) return std::wstring();
    return m_tags[m_tags.size() - 1 - static_cast<size_t>(level)];
}

void CXmlMapped::XmlSave() {
    CFieldMap map;
    XmlMapFields(map);
    XmlBeginElement(XmlRootTag());
    for (const auto& f : map.m_fields) {
        XmlBeginElement(f.tag);
        XmlSetText(f.intField ? std::to_wstring(*f.intField) : *f.textField);
        XmlEndElement();
    }
    XmlEndElement();
}

void CXmlMapped::OnXmlNodeText(const wchar_t* text) {
    // Only the fields directly below this object's root count.
    if (XmlGetTag(1) != (XmlRootTag() ? XmlRootTag() : L"")) return;
    CFieldMap map;
    XmlMapFields(map);
    const std::wstring tag = XmlGetTag(0);
    for (const auto& f : map.m_fields) {
        if (tag != f.tag) continue;
        if (f.intField) {
            *f.intField = FromString(text);
        } else {
            *f.textField = text;
        }
        return;
    }
}
