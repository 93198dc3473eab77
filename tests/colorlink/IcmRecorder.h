// A recording stand-in for the platform of the ICM back-end: it writes every call the link
// makes, with its arguments, arrays and answer, as one line of text, so that a test states the
// exact conversation. Profiles are made-up headers registered by file name; the built-in Lab
// profile is a block of its own that the resource calls hand out.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "base/WideString.h"
#include "colorlink/icm/IcmPlatform.h"
#include "gridtable/BuiltInMft.h"
#include "icc/IccRecords.h"

namespace icmtest {

class IcmRecorder : public IIcmPlatform {
public:
    // A profile that OpenColorProfileW finds under `name`.
    void AddProfile(const std::wstring& name, uint32_t cls, uint32_t data, uint32_t pcs) {
        icm::PROFILEHEADER h{};
        h.phClass = cls;
        h.phDataColorSpace = data;
        h.phConnectionSpace = pcs;
        m_files[name] = h;
    }

    // Engines SelectCMM refuses, intents CreateMultiProfileTransform refuses (the whole call
    // fails when any intent given is one of them), and whether the Lab resource is missing.
    std::set<uint32_t> refusedCmms;
    std::set<uint32_t> refusedIntents;
    bool noLabResource = false;

    // The calls so far, one line each; Take() hands them over and starts afresh.
    std::vector<std::string> calls;
    std::vector<std::string> Take() {
        std::vector<std::string> c;
        c.swap(calls);
        return c;
    }
    // Handles open now.
    const std::set<std::string>& Open() const { return m_open; }

    int SelectCMM(uint32_t cmmId) override {
        const int ok = refusedCmms.count(cmmId) ? 0 : 1;
        Line(calls) << "SelectCMM(" << cmmId << ") -> " << ok;
        return ok;
    }

    icm::HPROFILE OpenColorProfileW(const icm::PROFILE* p, uint32_t access, uint32_t share,
                                    uint32_t creation) override {
        Line line(calls);
        line << "OpenColorProfileW(";
        std::string name;
        icm::PROFILEHEADER header{};
        bool found = false;
        if (p->dwType == icm::kProfileFileName) {
            const auto* path = static_cast<const wchar_t*>(p->pProfileData);
            const std::wstring w(path);
            // The size covers the path and its terminator, in bytes.
            line << "file " << WideToUtf8(w)
                 << ((w.size() + 1) * sizeof(wchar_t) == p->cbDataSize ? "" : " (bad size)");
            auto it = m_files.find(w);
            if (it != m_files.end()) {
                found = true;
                header = it->second;
                name = "P" + std::to_string(++m_opened);
            }
        } else if (p->dwType == icm::kProfileMemBuffer) {
            line << "memory";
            if (p->pProfileData == m_labBlock && p->cbDataSize == sizeof m_labBlock) {
                line << " lab";
                found = true;
                header.phClass = icSigColorSpaceClass;
                header.phDataColorSpace = header.phConnectionSpace = icSigLabData;
                name = "LAB" + std::to_string(++m_labOpened);
            }
        }
        line << ", " << access << ", " << share << ", " << creation << ") -> "
             << (found ? name : "null");
        if (!found) return nullptr;
        m_headers[name] = header;
        m_open.insert(name);
        return Handle(name);
    }

    int GetColorProfileHeader(icm::HPROFILE h, icm::PROFILEHEADER* header) override {
        const std::string name = Name(h);
        Line(calls) << "GetColorProfileHeader(" << name << ")";
        auto it = m_headers.find(name);
        if (it == m_headers.end() || !m_open.count(name)) return 0;
        *header = it->second;
        return 1;
    }

    icm::HTRANSFORM CreateMultiProfileTransform(const icm::HPROFILE* profiles, uint32_t n,
                                                const uint32_t* intents, uint32_t nIntents,
                                                uint32_t flags, uint32_t cmm) override {
        Line line(calls);
        line << "CreateMultiProfileTransform([";
        for (uint32_t i = 0; i < n; ++i) line << (i ? " " : "") << Name(profiles[i]);
        line << "], " << n << ", [";
        bool refused = false;
        for (uint32_t i = 0; i < nIntents; ++i) {
            line << (i ? " " : "") << intents[i];
            refused |= refusedIntents.count(intents[i]) != 0;
        }
        line << "], " << nIntents << ", " << flags << ", " << cmm << ") -> ";
        if (refused) {
            line << "null";
            return nullptr;
        }
        const std::string name = "T" + std::to_string(++m_transforms);
        line << name;
        return Handle(name);
    }

    int TranslateBitmapBits(icm::HTRANSFORM t, const void* src, icm::BMFORMAT in, uint32_t width,
                            uint32_t height, uint32_t inStride, void* dst, icm::BMFORMAT out,
                            uint32_t outStride, void* callback, uintptr_t data) override {
        Line(calls) << "TranslateBitmapBits(" << (t ? Name(t) : "null") << ", "
                    << (src ? "src" : "null") << ", " << in << ", " << width << ", " << height
                    << ", " << inStride << ", " << (dst ? "dst" : "null") << ", " << out << ", "
                    << outStride << ", " << (callback ? "callback" : "null") << ", " << data << ")";
        lastSrc = src;
        lastDst = dst;
        return t ? 1 : 0;
    }
    const void* lastSrc = nullptr;
    void* lastDst = nullptr;

    int CloseColorProfile(icm::HPROFILE h) override {
        const std::string name = Name(h);
        Line(calls) << "CloseColorProfile(" << name << ")";
        return m_open.erase(name) ? 1 : 0;
    }

    icm::HRSRC FindResourceW(unsigned id, unsigned type) override {
        const bool found =
            !noLabResource && id == kLabProfileResourceId && type == kLabProfileResourceType;
        Line(calls) << "FindResourceW(" << id << ", " << type << ") -> " << (found ? "R" : "null");
        return found ? &m_resource : nullptr;
    }
    uint32_t SizeofResource(icm::HRSRC r) override {
        Line(calls) << "SizeofResource(" << (r == &m_resource ? "R" : "?") << ")";
        return r == &m_resource ? sizeof m_labBlock : 0;
    }
    icm::HGLOBAL LoadResource(icm::HRSRC r) override {
        Line(calls) << "LoadResource(" << (r == &m_resource ? "R" : "?") << ")";
        return r == &m_resource ? &m_loaded : nullptr;
    }
    const void* LockResource(icm::HGLOBAL g) override {
        Line(calls) << "LockResource(" << (g == &m_loaded ? "G" : "?") << ")";
        return g == &m_loaded ? m_labBlock : nullptr;
    }

private:
    // One line of the record, added to `calls` when the call returns.
    class Line : public std::ostringstream {
    public:
        explicit Line(std::vector<std::string>& calls) : m_calls(calls) {}
        ~Line() override { m_calls.push_back(str()); }

    private:
        std::vector<std::string>& m_calls;
    };

    icm::HPROFILE Handle(const std::string& name) {
        auto [it, added] = m_handles.emplace(name, nullptr);
        if (added) {
            m_names.push_back(name);
            it->second = reinterpret_cast<void*>(uintptr_t(m_names.size()) * 16);
        }
        return it->second;
    }
    std::string Name(const void* h) const {
        const uintptr_t i = reinterpret_cast<uintptr_t>(h) / 16;
        if (h && reinterpret_cast<uintptr_t>(h) % 16 == 0 && i >= 1 && i <= m_names.size())
            return m_names[i - 1];
        return "?";
    }

    std::map<std::wstring, icm::PROFILEHEADER> m_files;
    std::map<std::string, icm::PROFILEHEADER> m_headers;
    std::map<std::string, void*> m_handles;
    std::vector<std::string> m_names;
    std::set<std::string> m_open;
    unsigned m_opened = 0, m_labOpened = 0, m_transforms = 0;
    uint8_t m_labBlock[16] = {};
    int m_resource = 0, m_loaded = 0;
};

} // namespace icmtest
