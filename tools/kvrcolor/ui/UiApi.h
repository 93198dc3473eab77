// What the page of `kvrcolor ui` asks of the program, without the HTTP around it: the presets
// of the five kinds (list, new, copy, rename, delete, make current, export, import), one preset
// open on its page model, the profiles below the base folder with their texts, and soft proofs.
// One person works with one page at a time: the server calls these one after the other.
#pragma once

#include <nlohmann/json.hpp>

#include <memory>
#include <stdexcept>
#include <string>

// A refused request: the HTTP status and one line for the person.
class UiError : public std::runtime_error {
public:
    UiError(int status, const std::string& message)
        : std::runtime_error(message), m_status(status) {}
    int status() const { return m_status; }

private:
    int m_status;
};

// A file the browser sent; `name` is already the bare name (SafeName.h).
struct SUpload {
    std::string name;
    std::string bytes;
};

// A file for the browser to download or show.
struct SFileReply {
    std::string bytes;
    std::string contentType;
    std::string fileName;
};

class CUiApi {
public:
    CUiApi();
    ~CUiApi();

    // {"kinds": [{"kind", "current", "presets": [names]}], "errors": {number: text}}
    nlohmann::json Presets();
    // {"action": "new"|"copy"|"rename"|"delete"|"current", "kind", "name", "newName"}; answers
    // Presets(). Changing the preset that is open on the page closes the page.
    nlohmann::json PresetAction(const nlohmann::json& request);

    // {"kind", "name", "channelMask" (optional, 1 to 3)}: the preset on its page.
    nlohmann::json OpenPage(const nlohmann::json& request);
    // {"change": {...} (PageView.h), "answers": [bool]} with the uploaded file a file choice of
    // the page gets, if any. Answers the page afresh with what the page said.
    nlohmann::json ChangePage(const nlohmann::json& request, const SUpload* upload);
    // The accept button: the page's data back into the preset, which is saved, unless the page
    // refused its data with a message.
    nlohmann::json SavePage(const nlohmann::json& request);
    nlohmann::json ClosePage();

    // The preset as an archive, with its profiles unless `withProfiles` is false.
    SFileReply Export(const std::string& kind, const std::string& name, bool withProfiles);
    // An archive made by Export into the preset and profile folders. Files of other content are
    // replaced only with `replace`, else kept.
    nlohmann::json Import(const SUpload& archive, bool replace);

    // {"base", "profiles": [{"path" (below the base), "folder", "name", "description", "class",
    // "space", "pcs", "version", "size", "inkLimit" (printers), "md5", "error"}]}
    nlohmann::json Profiles();
    // The texts of `kvrcolor info` and `kvrcolor dump` of a profile below the base.
    std::string ProfileText(const std::string& path, bool dump);

    // The image as the printer profile `printer` (below the base) would print it, on the
    // monitor: a PNG.
    SFileReply Proof(const SUpload& image, const std::string& printer);

private:
    struct SOpenPage;
    std::unique_ptr<SOpenPage> m_page;
};
