#include "ui/UiApi.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "CliError.h"
#include "PresetSession.h"
#include "ProfileText.h"
#include "Profiles.h"
#include "SoftProof.h"
#include "base/Settings.h"
#include "colorspace/ProfileQueries.h"
#include "common/ImpExArch.h"
#include "icc/IccProfile.h"
#include "icc/IccRecords.h"
#include "pages/IccErrorReport.h"
#include "presets/PresetExport.h"
#include "ui/PageView.h"
#include "ui/SafeName.h"

namespace fs = std::filesystem;

namespace {

// The error numbers of the colour family the page explains, with the texts the pages show for
// them; "%1" stands where a message names the file.
constexpr int kFirstIccError = 901, kLastIccError = 909;

// A private folder for the files of one request, removed with everything in it.
class CRequestFolder {
public:
    CRequestFolder() {
        std::string pattern = (fs::temp_directory_path() / "kvrcolor-ui-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw UiError(500, "no temporary folder can be made");
        m_path = pattern;
    }
    ~CRequestFolder() {
        std::error_code ec;
        fs::remove_all(m_path, ec);
    }
    CRequestFolder(const CRequestFolder&) = delete;
    CRequestFolder& operator=(const CRequestFolder&) = delete;

    // Writes the upload under its bare name and answers the path.
    fs::path Write(const SUpload& upload) const {
        const fs::path path = m_path / upload.name;
        std::ofstream out(path, std::ios::binary);
        out.write(upload.bytes.data(), std::streamsize(upload.bytes.size()));
        if (!out.flush()) throw UiError(500, "the upload cannot be stored");
        return path;
    }
    const fs::path& path() const { return m_path; }

private:
    fs::path m_path;
};

std::string ReadAll(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string Text(const nlohmann::json& request, const char* key) {
    if (!request.is_object() || !request.contains(key) || !request[key].is_string())
        throw UiError(400, std::string("the request lacks \"") + key + "\"");
    return request[key].get<std::string>();
}

std::string Signature(uint32_t sig) {
    std::string s;
    for (int shift = 24; shift >= 0; shift -= 8) s += char((sig >> shift) & 0xff);
    while (!s.empty() && s.back() == ' ') s.pop_back();
    return s;
}

std::string ClassText(uint32_t sig) {
    switch (sig) {
    case icSigInputClass:
        return "input";
    case icSigDisplayClass:
        return "display";
    case icSigOutputClass:
        return "printer";
    case icSigLinkClass:
        return "device link";
    case icSigAbstractClass:
        return "abstract";
    case icSigColorSpaceClass:
        return "colour space";
    case icSigNamedColorClass:
        return "named colours";
    default:
        return Signature(sig);
    }
}

std::string VersionText(uint32_t version) {
    return std::to_string(version >> 24) + "." + std::to_string((version >> 20) & 0xf) + "." +
           std::to_string((version >> 16) & 0xf);
}

// A profile named by the page: a safe path below the base folder, of a file that exists.
fs::path ProfileBelowBase(const std::string& relative) {
    if (!IsSafeRelativePath(relative))
        throw UiError(400, "\"" + relative + "\" is no profile below the base folder");
    const fs::path path = fs::path(ProfileBasePath()) / relative;
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) throw UiError(404, "no profile " + relative);
    return path;
}

// What the tool's failures become for the browser.
UiError FromCli(const CliError& e) {
    return UiError(e.code() == kExitInternal || e.code() == kExitOutput ? 500 : 400, e.what());
}

} // namespace

// The open page owns, in order of building: the kind's session, the preset and its page. The
// page refers to the session's context and the preset, and goes first.
struct CUiApi::SOpenPage {
    std::unique_ptr<Session> session;
    std::unique_ptr<IPreSetObj> pso;
    std::unique_ptr<CPSOPropPg> page;
    CPageModel* model = nullptr; // the page, as a model
    std::string kind;
    std::string name;
    CWebPageServices services;

    nlohmann::json Answer(const char* what) const {
        nlohmann::json out = PageJson(*model);
        out.update(services.Outcome());
        out["kind"] = kind;
        out["name"] = name;
        out["done"] = what;
        return out;
    }
};

CUiApi::CUiApi() = default;
CUiApi::~CUiApi() = default;

nlohmann::json CUiApi::Presets() {
    nlohmann::json kinds = nlohmann::json::array();
    for (const Kind& k : Kinds()) {
        Session s(k);
        nlohmann::json names = nlohmann::json::array();
        for (const std::wstring& n : s.store->GetNames()) names.push_back(WideToUtf8(n));
        kinds.push_back({{"kind", k.name},
                         {"current", WideToUtf8(s.usm->GetString(*k.currentName))},
                         {"presets", names}});
    }
    nlohmann::json errors = nlohmann::json::object();
    for (int n = kFirstIccError; n <= kLastIccError; ++n)
        errors[std::to_string(n)] = WideToUtf8(IccErrorText(n, L"%1"));
    return {{"kinds", kinds}, {"errors", errors}, {"base", ProfileBasePath()}};
}

nlohmann::json CUiApi::PresetAction(const nlohmann::json& request) {
    const std::string action = Text(request, "action");
    try {
        Session s(FindKind(Text(request, "kind")));
        const std::string name = Text(request, "name");
        const std::wstring wname = Utf8ToWide(name);
        if (m_page && m_page->kind == s.kind.name && m_page->name == name && action != "new" &&
            action != "copy" && action != "current")
            m_page.reset();
        if (action == "new") {
            s.RequireNewName(name);
            auto pso = s.New();
            if (s.kind.defaults) s.kind.defaults(*pso, s.usm);
            s.Save(name, *pso);
        } else if (action == "copy") {
            auto pso = s.Load(name);
            const std::string to = Text(request, "newName");
            s.RequireNewName(to);
            s.Save(to, *pso);
        } else if (action == "rename") {
            const std::string to = Text(request, "newName");
            if (!s.store->Exists(wname.c_str())) s.Load(name); // says why
            if (to != name) s.RequireNewName(to);
            if (!s.store->Rename(wname.c_str(), Utf8ToWide(to).c_str()))
                throw UiError(500, WideToUtf8(s.store->GetLastError()));
        } else if (action == "delete") {
            if (!s.store->Exists(wname.c_str())) s.Load(name);
            if (!s.store->Delete(wname.c_str()))
                throw UiError(500, WideToUtf8(s.store->GetLastError()));
        } else if (action == "current") {
            if (!s.store->Exists(wname.c_str())) s.Load(name);
            if (!s.usm->PutString(*s.kind.currentName, wname.c_str()))
                throw UiError(500, "the settings file cannot be written");
        } else {
            throw UiError(400, "unknown preset action \"" + action + "\"");
        }
    } catch (const CliError& e) {
        throw FromCli(e);
    }
    return Presets();
}

nlohmann::json CUiApi::OpenPage(const nlohmann::json& request) {
    m_page.reset();
    int mask = kAllChannels;
    if (request.contains("channelMask")) {
        if (!request["channelMask"].is_number_integer() || request["channelMask"] < 1 ||
            request["channelMask"] > kAllChannels)
            throw UiError(400, "channelMask is 1 (RGB), 2 (CMYK) or 3 (both)");
        mask = request["channelMask"].get<int>();
    }
    auto open = std::make_unique<SOpenPage>();
    try {
        open->session = std::make_unique<Session>(FindKind(Text(request, "kind")), mask);
        open->kind = open->session->kind.name;
        open->name = Text(request, "name");
        open->pso = open->session->Load(open->name);
    } catch (const CliError& e) {
        throw FromCli(e);
    }
    const std::wstring wname = Utf8ToWide(open->name);
    open->page.reset(open->pso->CreatePSOPropPg(0, wname.c_str()));
    open->model = dynamic_cast<CPageModel*>(open->page.get());
    if (!open->model)
        throw UiError(501, "the page of " + open->kind + " presets is not part of this build yet");
    open->services.Begin({}, {});
    open->pso->DataToPSOPropPg(open->page.get());
    open->model->Create(&open->services);
    m_page = std::move(open);
    return m_page->Answer("open");
}

nlohmann::json CUiApi::ChangePage(const nlohmann::json& request, const SUpload* upload) {
    if (!m_page) throw UiError(409, "no preset is open");
    std::vector<bool> answers;
    if (request.contains("answers")) {
        if (!request["answers"].is_array()) throw UiError(400, "answers is a list of true/false");
        for (const auto& a : request["answers"]) {
            if (!a.is_boolean()) throw UiError(400, "answers is a list of true/false");
            answers.push_back(a.get<bool>());
        }
    }
    // The upload lies in a folder of its own under its own name while the page works, as a file
    // a person chose would; the page copies what it keeps.
    std::optional<CRequestFolder> folder;
    std::optional<std::wstring> chosen;
    if (upload) {
        folder.emplace();
        chosen = Utf8ToWide(folder->Write(*upload).string());
    }
    m_page->services.Begin(chosen, answers);
    if (!request.contains("change") || !ApplyChange(*m_page->model, request["change"])) {
        const nlohmann::json outcome = m_page->services.Outcome();
        if (outcome["messages"].empty())
            throw UiError(409, "this control cannot be changed now (it is hidden or disabled, "
                               "or the page has no such control)");
    }
    return m_page->Answer("change");
}

nlohmann::json CUiApi::SavePage(const nlohmann::json& /*request*/) {
    if (!m_page) throw UiError(409, "no preset is open");
    m_page->services.Begin({}, {});
    m_page->model->OnOK();
    nlohmann::json out;
    // A page that refuses its data says so with a message and stays open, as a dialog would.
    if (m_page->services.Outcome()["messages"].empty()) {
        m_page->pso->DataFromPSOPropPg(m_page->page.get());
        try {
            m_page->session->Save(m_page->name, *m_page->pso);
        } catch (const CliError& e) {
            throw FromCli(e);
        }
        out = m_page->Answer("saved");
    } else {
        out = m_page->Answer("refused");
    }
    return out;
}

nlohmann::json CUiApi::ClosePage() {
    m_page.reset();
    return {{"done", "closed"}};
}

SFileReply CUiApi::Export(const std::string& kind, const std::string& name, bool withProfiles) {
    try {
        Session s(FindKind(kind));
        auto pso = s.Load(name);
        IKvImpExArch::SExportOptions options;
        options.bExportProfiles = withProfiles ? 1 : 0;
        CKvZipExport archive(s.Base(), options);
        if (!ExportPreset(*pso, s.kind.extension, Utf8ToWide(name), archive))
            throw UiError(500, "the preset cannot be written as XML");
        CRequestFolder folder;
        const fs::path zip = folder.path() / "preset.zip";
        if (!archive.Write(Utf8ToWide(zip.string()).c_str()))
            throw UiError(500, WideToUtf8(archive.GetLastError()));
        return {ReadAll(zip), "application/zip", name + "." + kind + ".zip"};
    } catch (const CliError& e) {
        throw FromCli(e);
    }
}

nlohmann::json CUiApi::Import(const SUpload& upload, bool replace) {
    CRequestFolder folder;
    const fs::path path = folder.Write(upload);
    CKvZipImport archive;
    if (!archive.Open(Utf8ToWide(path.string()).c_str()))
        throw UiError(400, upload.name + ": " + WideToUtf8(archive.GetLastError()));
    const Kind* kind = KindOfExtension(archive.PresetExtension());
    if (!kind)
        throw UiError(400, upload.name + ": a preset of the unknown kind \"" +
                               WideToUtf8(archive.PresetExtension()) + "\"");
    Session s(*kind);
    auto probe = s.New();
    std::wstring error;
    if (!ImportPreset(
            archive, *probe, s.Base(), s.Files().Folder(),
            [replace](const std::wstring&) { return replace; }, error))
        throw UiError(400, upload.name + ": " + WideToUtf8(error));
    nlohmann::json written = nlohmann::json::array(), kept = nlohmann::json::array();
    for (const std::wstring& w : archive.Written()) written.push_back(WideToUtf8(w));
    for (const std::wstring& k : archive.Kept()) kept.push_back(WideToUtf8(k));
    nlohmann::json out = Presets();
    out["imported"] = {{"kind", kind->name},
                       {"name", WideToUtf8(archive.PresetName())},
                       {"written", written},
                       {"kept", kept}};
    return out;
}

nlohmann::json CUiApi::Profiles() {
    const fs::path base = ProfileBasePath();
    nlohmann::json list = nlohmann::json::array();
    std::error_code ec;
    std::vector<fs::path> files;
    for (fs::recursive_directory_iterator it(base, ec), end; !ec && it != end; it.increment(ec))
        if (it->is_regular_file(ec)) files.push_back(it->path());
    std::sort(files.begin(), files.end());
    for (const fs::path& path : files) {
        const std::string rel = path.lexically_relative(base).generic_string();
        nlohmann::json p = {
            {"path", rel},
            {"folder", path.parent_path().lexically_relative(base).generic_string()},
            {"name", path.filename().string()},
            {"size", fs::file_size(path, ec)}};
        CIccProfileRead profile(&Settings());
        const std::wstring wide = Utf8ToWide(path.string());
        try {
            const ProfileFacts facts = ReadProfileFacts(path.string());
            if (!profile.Open(wide.c_str())) throw CliError(kExitProfile, "damaged profile");
            p["description"] = ProfileDescription(profile);
            p["class"] = ClassText(facts.deviceClass);
            p["space"] = Signature(facts.colorSpace);
            p["pcs"] = Signature(facts.pcs);
            p["version"] = VersionText(facts.version);
            p["md5"] = WideToUtf8(profile.GetProfileMD5String());
            if (facts.deviceClass == icSigOutputClass)
                p["inkLimit"] = GetProfileInkLimit(&Settings(), wide.c_str());
        } catch (const CliError& e) {
            p["error"] = e.what();
        }
        list.push_back(p);
    }
    return {{"base", base.string()}, {"profiles", list}};
}

std::string CUiApi::ProfileText(const std::string& path, bool dump) {
    const fs::path file = ProfileBelowBase(path);
    try {
        return dump ? WideToUtf8(ProfileDumpText(file.string())) : ProfileInfoText(file.string());
    } catch (const CliError& e) {
        throw FromCli(e);
    }
}

SFileReply CUiApi::Proof(const SUpload& image, const std::string& printer) {
    CRequestFolder folder;
    ProofOptions options;
    options.in = folder.Write(image).string();
    // Beside the upload, in a folder of its own, so that no upload name can be the output's.
    fs::create_directory(folder.path() / "out");
    options.out = (folder.path() / "out" / "proof.png").string();
    options.printer = ProfileBelowBase(printer).string();
    options.output = ProofOutput::Proof;
    try {
        RunSoftProof(options);
    } catch (const CliError& e) {
        throw FromCli(e);
    }
    return {ReadAll(options.out), "image/png", "proof.png"};
}
