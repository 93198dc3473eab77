// Profiles of a PDF file. qpdf reads the document; the profiles are the streams of ICCBased
// colour spaces (of pages, images, forms, patterns, shadings, transparency groups, Type 3 fonts
// and annotation appearances, including the bases and alternates of Indexed, Separation,
// DeviceN and Pattern spaces) and the DestOutputProfile of output intents, each listed once,
// where it is first met. A last sweep over every object of the file finds ICCBased spaces that
// no page reaches.
//
// Each stream is described as the library's ReadPdfProfileData wants it: the offset of its
// first byte in the file, its stored length, its filter names. Streams that the routine takes
// (one filter, FlateDecode, or none) are copied by it; the others (two filters, another filter,
// decode parameters, an encrypted document) are decoded by qpdf, and the listing says why.
//
// The file is read strictly: qpdf's recovery of damaged files (rebuilding a lost
// cross-reference table, guessing a wrong stream length) is off, so that the offsets and
// lengths handed to the routine are those the file states, and a damaged file is reported
// rather than guessed at.
#include <qpdf/Buffer.hh>
#include <qpdf/FileInputSource.hh>
#include <qpdf/Pipeline.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFExc.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFTokenizer.hh>
#include <qpdf/QPDFXRefEntry.hh>

#include <cstdio>
#include <cstring>
#include <map>
#include <new>
#include <set>

#include "CliError.h"
#include "EmbeddedProfiles.h"
#include "SafeOutput.h"
#include "base/WideString.h"
#include "icc/PdfProfile.h"

namespace {

// Colour spaces nest (an Indexed base, a DeviceN alternate), and forms and patterns carry
// resources of their own. Deeper than this is taken as a loop of direct objects.
constexpr int kMaxDepth = 32;

// Receives a decoded stream, and stops it once it grows past the largest profile. The pieces
// are kept as they come, so that no growing buffer ever holds its old and new copies together:
// memory stays within the limit however much the stream would inflate to.
class BoundedSink : public Pipeline {
public:
    BoundedSink() : Pipeline("profile", nullptr) {}
    void write(unsigned char const* data, size_t length) override {
        if (length > kPdfProfileMaxDecodedBytes - m_size) {
            m_tooLarge = true;
            throw std::length_error("profile stream too large");
        }
        m_pieces.emplace_back(data, data + length);
        m_size += length;
    }
    void finish() override {}
    std::vector<uint8_t> Join() {
        std::vector<uint8_t> all;
        all.reserve(m_size);
        for (auto& piece : m_pieces) {
            all.insert(all.end(), piece.begin(), piece.end());
            std::vector<uint8_t>().swap(piece);
        }
        return all;
    }
    bool tooLarge() const { return m_tooLarge; }

private:
    std::vector<std::vector<uint8_t>> m_pieces;
    uint64_t m_size = 0;
    bool m_tooLarge = false;
};

std::string Join(const std::vector<std::string>& names) {
    std::string text;
    for (const auto& n : names) text += (text.empty() ? "" : ", ") + n;
    return text;
}

// qpdf's message without the file name, which our line gives first.
std::string Detail(const QPDFExc& e) {
    std::string text = e.getMessageDetail();
    if (!e.getObject().empty()) text += " (" + e.getObject();
    if (e.getFilePosition() > 0)
        text += (e.getObject().empty() ? " (" : ", ") + std::string("offset ") +
                std::to_string(e.getFilePosition());
    if (!e.getObject().empty() || e.getFilePosition() > 0) text += ")";
    return text;
}

struct ProfileStream {
    QPDFObjectHandle stream;
    CPsInfo info;
    bool copied = false; // taken by ReadPdfProfileData
};

class PdfProfiles : public EmbeddedProfiles {
public:
    explicit PdfProfiles(const std::string& path);
    std::vector<uint8_t> Bytes(size_t index) override;
    void Write(size_t index, const std::string& outPath) override;

private:
    void Find();
    void Record(QPDFObjectHandle stream, const std::string& place);
    void VisitOutputIntents(QPDFObjectHandle intents, const std::string& place);
    void VisitColorSpace(QPDFObjectHandle cs, const std::string& place, int depth);
    void VisitResources(QPDFObjectHandle resources, const std::string& place, int depth);
    void VisitXObject(QPDFObjectHandle x, const std::string& place, int depth);
    void VisitShading(QPDFObjectHandle shading, const std::string& place, int depth);
    void VisitGroup(QPDFObjectHandle dict, const std::string& place, int depth);
    void Sweep(QPDFObjectHandle object, int depth);
    // Visits an indirect object once; direct objects always.
    bool FirstVisit(QPDFObjectHandle object);

    void Describe(ProfileStream& found, EmbeddedProfileEntry& entry);
    int64_t StreamDataOffset(QPDFObjGen og);
    std::string Name(size_t index) const {
        return m_path + ": profile " + std::to_string(index + 1) + " (" + m_entries[index].where +
               ")";
    }

    QPDF m_pdf;
    std::vector<ProfileStream> m_found;
    std::set<QPDFObjGen> m_recorded;
    std::set<QPDFObjGen> m_visited;
    std::map<QPDFObjGen, QPDFXRefEntry> m_xref;
};

PdfProfiles::PdfProfiles(const std::string& path) : EmbeddedProfiles(path) {
    m_pdf.setSuppressWarnings(true);
    m_pdf.setAttemptRecovery(false);
    try {
        m_pdf.processFile(path.c_str());
        m_xref = m_pdf.getXRefTable();
        Find();
        // Without recovery, qpdf still takes an object it cannot read as null and warns: the
        // profiles of such a file would be silently missing.
        if (m_pdf.anyWarnings()) {
            const auto warnings = m_pdf.getWarnings();
            throw CliError(kExitInput, path + ": damaged PDF: " + Detail(warnings.front()));
        }
        for (size_t i = 0; i < m_found.size(); ++i) Describe(m_found[i], m_entries[i]);
    } catch (const CliError&) {
        throw;
    } catch (const QPDFExc& e) {
        throw CliError(kExitInput, path + ": damaged PDF: " + Detail(e));
    } catch (const std::exception& e) {
        throw CliError(kExitInput, path + ": damaged PDF: " + e.what());
    }
}

bool PdfProfiles::FirstVisit(QPDFObjectHandle object) {
    if (!object.isIndirect()) return true;
    return m_visited.insert(object.getObjGen()).second;
}

void PdfProfiles::Record(QPDFObjectHandle stream, const std::string& place) {
    if (!stream.isStream() || !m_recorded.insert(stream.getObjGen()).second) return;
    EmbeddedProfileEntry entry;
    entry.where = place + ", object " + std::to_string(stream.getObjectID());
    QPDFObjectHandle n = stream.getDict().getKey("/N");
    if (n.isInteger() && n.getIntValue() > 0 && n.getIntValue() <= 15)
        entry.channels = unsigned(n.getIntValue());
    m_entries.push_back(std::move(entry));
    m_found.push_back({stream, {}, false});
}

void PdfProfiles::Find() {
    QPDFObjectHandle root = m_pdf.getRoot();
    VisitOutputIntents(root.getKey("/OutputIntents"), "output intent");
    const auto pages = QPDFPageDocumentHelper(m_pdf).getAllPages();
    for (size_t i = 0; i < pages.size(); ++i) {
        QPDFPageObjectHelper page = pages[i];
        const std::string place = "page " + std::to_string(i + 1);
        QPDFObjectHandle dict = page.getObjectHandle();
        VisitOutputIntents(dict.getKey("/OutputIntents"), place + " output intent");
        VisitResources(page.getAttribute("/Resources", false), place, 0);
        VisitGroup(dict, place, 0);
        QPDFObjectHandle annots = dict.getKey("/Annots");
        if (!annots.isArray()) continue;
        for (auto& annot : annots.aitems()) {
            if (!annot.isDictionary()) continue;
            QPDFObjectHandle ap = annot.getKey("/AP");
            if (!ap.isDictionary()) continue;
            for (auto& [key, appearance] : ap.ditems()) {
                if (appearance.isStream())
                    VisitXObject(appearance, place, 1);
                else if (appearance.isDictionary())
                    for (auto& [state, form] : appearance.ditems()) VisitXObject(form, place, 1);
            }
        }
    }
    for (auto& object : m_pdf.getAllObjects()) Sweep(object, 0);
}

void PdfProfiles::VisitOutputIntents(QPDFObjectHandle intents, const std::string& place) {
    if (!intents.isArray()) return;
    for (auto& intent : intents.aitems()) {
        if (!intent.isDictionary()) continue;
        QPDFObjectHandle s = intent.getKey("/S");
        Record(intent.getKey("/DestOutputProfile"),
               s.isName() ? place + " " + s.getName().substr(1) : place);
    }
}

void PdfProfiles::VisitColorSpace(QPDFObjectHandle cs, const std::string& place, int depth) {
    if (depth > kMaxDepth || !cs.isArray() || cs.getArrayNItems() < 2) return;
    QPDFObjectHandle family = cs.getArrayItem(0);
    if (!family.isName()) return;
    const std::string name = family.getName();
    if (name == "/ICCBased") {
        Record(cs.getArrayItem(1), place);
    } else if (name == "/Indexed" || name == "/Pattern") {
        VisitColorSpace(cs.getArrayItem(1), place, depth + 1);
    } else if ((name == "/Separation" || name == "/DeviceN") && cs.getArrayNItems() >= 3) {
        // (qpdf warns of an item past the end, and a warning marks the file as damaged.)
        VisitColorSpace(cs.getArrayItem(2), place, depth + 1);
        QPDFObjectHandle attributes =
            cs.getArrayNItems() > 4 ? cs.getArrayItem(4) : QPDFObjectHandle::newNull();
        if (name == "/DeviceN" && attributes.isDictionary()) {
            QPDFObjectHandle colorants = attributes.getKey("/Colorants");
            if (colorants.isDictionary())
                for (auto& [key, space] : colorants.ditems())
                    VisitColorSpace(space, place, depth + 1);
            QPDFObjectHandle process = attributes.getKey("/Process");
            if (process.isDictionary())
                VisitColorSpace(process.getKey("/ColorSpace"), place, depth + 1);
        }
    }
}

void PdfProfiles::VisitResources(QPDFObjectHandle resources, const std::string& place, int depth) {
    if (depth > kMaxDepth || !resources.isDictionary() || !FirstVisit(resources)) return;
    const auto each = [&](const char* key, auto&& visit) {
        QPDFObjectHandle dict = resources.getKey(key);
        if (dict.isDictionary())
            for (auto& [name, value] : dict.ditems()) visit(value);
    };
    each("/ColorSpace", [&](QPDFObjectHandle cs) { VisitColorSpace(cs, place, 0); });
    each("/XObject", [&](QPDFObjectHandle x) { VisitXObject(x, place, depth + 1); });
    each("/Shading", [&](QPDFObjectHandle sh) { VisitShading(sh, place, depth + 1); });
    each("/Pattern", [&](QPDFObjectHandle pattern) {
        if (pattern.isStream()) // tiling pattern: cells drawn with resources of their own
            VisitResources(pattern.getDict().getKey("/Resources"), place, depth + 1);
        else if (pattern.isDictionary())
            VisitShading(pattern.getKey("/Shading"), place, depth + 1);
    });
    each("/ExtGState", [&](QPDFObjectHandle gs) {
        if (!gs.isDictionary()) return;
        QPDFObjectHandle mask = gs.getKey("/SMask");
        if (mask.isDictionary()) VisitXObject(mask.getKey("/G"), place, depth + 1);
    });
    each("/Font", [&](QPDFObjectHandle font) {
        if (font.isDictionary() && font.getKey("/Subtype").isNameAndEquals("/Type3"))
            VisitResources(font.getKey("/Resources"), place, depth + 1);
    });
}

void PdfProfiles::VisitXObject(QPDFObjectHandle x, const std::string& place, int depth) {
    if (depth > kMaxDepth || !x.isStream() || !FirstVisit(x)) return;
    QPDFObjectHandle dict = x.getDict();
    QPDFObjectHandle subtype = dict.getKey("/Subtype");
    if (subtype.isNameAndEquals("/Image")) {
        VisitColorSpace(dict.getKey("/ColorSpace"), place, 0);
        VisitXObject(dict.getKey("/SMask"), place, depth + 1);
    } else if (subtype.isNameAndEquals("/Form")) {
        VisitResources(dict.getKey("/Resources"), place, depth + 1);
        VisitGroup(dict, place, depth);
    }
}

void PdfProfiles::VisitShading(QPDFObjectHandle shading, const std::string& place, int depth) {
    if (depth > kMaxDepth) return;
    // Shadings of types 4 to 7 are streams, the others dictionaries.
    QPDFObjectHandle dict = shading.isStream() ? shading.getDict() : shading;
    if (dict.isDictionary()) VisitColorSpace(dict.getKey("/ColorSpace"), place, 0);
}

// The blending space of a transparency group (of a page or a form).
void PdfProfiles::VisitGroup(QPDFObjectHandle dict, const std::string& place, int) {
    QPDFObjectHandle group = dict.getKey("/Group");
    if (group.isDictionary()) VisitColorSpace(group.getKey("/CS"), place, 0);
}

// Every [/ICCBased stream] inside an object, through its direct parts (indirect ones are swept
// as objects of their own).
void PdfProfiles::Sweep(QPDFObjectHandle object, int depth) {
    if (depth > kMaxDepth) return;
    if (object.isStream()) {
        Sweep(object.getDict(), depth + 1);
    } else if (object.isArray()) {
        if (object.getArrayNItems() >= 2 && object.getArrayItem(0).isNameAndEquals("/ICCBased"))
            Record(object.getArrayItem(1), "outside the pages");
        for (auto& item : object.aitems())
            if (!item.isIndirect()) Sweep(item, depth + 1);
    } else if (object.isDictionary()) {
        for (auto& [key, value] : object.ditems())
            if (!value.isIndirect()) Sweep(value, depth + 1);
    }
}

// Where the stream's data starts: qpdf's tokenizer reads the object's head at the offset the
// cross-reference table gives ("N G obj", the dictionary, the keyword "stream") and the end of
// line after the keyword is skipped as qpdf skips it. -1 if the object is not where the table
// says.
int64_t PdfProfiles::StreamDataOffset(QPDFObjGen og) {
    const auto at = m_xref.find(og);
    if (at == m_xref.end() || at->second.getType() != 1) return -1;
    auto input = std::make_shared<FileInputSource>(m_path.c_str());
    input->seek(at->second.getOffset(), SEEK_SET);
    QPDFTokenizer tokenizer;
    const auto id = tokenizer.readToken(input, m_path);
    const auto generation = tokenizer.readToken(input, m_path);
    const auto keyword = tokenizer.readToken(input, m_path);
    if (id.getType() != QPDFTokenizer::tt_integer ||
        generation.getType() != QPDFTokenizer::tt_integer || !keyword.isWord("obj"))
        return -1;
    bool empty = false;
    QPDFObjectHandle dict =
        QPDFObjectHandle::parse(input, m_path, tokenizer, empty, nullptr, &m_pdf);
    if (!dict.isDictionary() || !tokenizer.readToken(input, m_path).isWord("stream")) return -1;
    char c = 0;
    if (input->read(&c, 1) == 1) {
        if (c == '\r') {
            if (input->read(&c, 1) == 1 && c != '\n') input->unreadCh(c);
        } else if (c != '\n') {
            input->unreadCh(c);
        }
    }
    return input->tell();
}

void PdfProfiles::Describe(ProfileStream& found, EmbeddedProfileEntry& entry) {
    QPDFObjectHandle dict = found.stream.getDict();
    std::vector<std::string> names;
    bool oddFilter = false;
    QPDFObjectHandle filter = dict.getKey("/Filter");
    if (filter.isName()) {
        names.push_back(filter.getName().substr(1));
    } else if (filter.isArray()) {
        for (auto& f : filter.aitems()) {
            if (f.isName())
                names.push_back(f.getName().substr(1));
            else
                oddFilter = true;
        }
    } else if (!filter.isNull()) {
        oddFilter = true;
    }
    // A stream stored as it is: the routine's name for it is "None".
    if (names.empty() && !oddFilter) names.push_back("None");

    CPsInfo& info = found.info;
    info.bProfilePresent = 1;
    info.nStreamOffset = StreamDataOffset(found.stream.getObjGen());
    QPDFObjectHandle length = dict.getKey("/Length");
    info.nStreamLength =
        length.isInteger() && length.getIntValue() >= 0 ? uint64_t(length.getIntValue()) : 0;
    for (const auto& n : names) info.StreamFilters.push_back(Utf8ToWide(n));

    // Why the routine does not take the stream, if it does not.
    std::string why;
    QPDFObjectHandle parms = dict.getKey("/DecodeParms");
    if (parms.isArray() && parms.getArrayNItems() == 1) parms = parms.getArrayItem(0);
    const bool predictor = parms.isDictionary() && parms.getKey("/Predictor").isInteger() &&
                           parms.getKey("/Predictor").getIntValue() > 1;
    if (oddFilter)
        why = "filter entry that is not a name";
    else if (names.size() > 1)
        why = std::to_string(names.size()) + " filters: " + Join(names);
    else if (names[0] != "None" && names[0] != "FlateDecode")
        why = "filter " + names[0];
    else if (predictor)
        why = "Flate with a predictor";
    else if (m_pdf.isEncrypted())
        why = "encrypted document";
    else if (info.nStreamOffset < 0)
        why = "stream not where the cross-reference table says";
    else {
        // The bytes at the offset must be the stream qpdf reads there.
        const std::shared_ptr<Buffer> raw = found.stream.getRawStreamData();
        std::vector<uint8_t> stored(raw->getSize());
        FILE* f = std::fopen(m_path.c_str(), "rb");
        const bool same =
            f && std::fseek(f, long(info.nStreamOffset), SEEK_SET) == 0 &&
            raw->getSize() == info.nStreamLength &&
            std::fread(stored.data(), 1, stored.size(), f) == stored.size() &&
            (stored.empty() || std::memcmp(stored.data(), raw->getBuffer(), stored.size()) == 0);
        if (f) std::fclose(f);
        if (!same) why = "stream data not found at its offset";
    }
    found.copied = why.empty();
    entry.how = found.copied ? "copied" : "decoded by qpdf (" + why + ")";
}

std::vector<uint8_t> PdfProfiles::Bytes(size_t index) {
    ProfileStream& found = m_found.at(index);
    BoundedSink sink;
    bool filtered = false;
    bool ok = false;
    try {
        ok = found.stream.pipeStreamData(&sink, &filtered, 0, qpdf_dl_specialized, true);
    } catch (const std::exception&) {
        ok = false;
    }
    if (sink.tooLarge())
        throw CliError(kExitInput, Name(index) + ": decodes to more than " +
                                       std::to_string(kPdfProfileMaxDecodedBytes >> 20) +
                                       " MiB, more than any profile (damaged?)");
    const bool hasFilter = !found.stream.getDict().getKey("/Filter").isNull();
    if (!ok || (hasFilter && !filtered))
        throw CliError(kExitInput, Name(index) + ": the stream cannot be decoded (damaged, or a "
                                                 "filter qpdf does not decode)");
    return sink.Join();
}

void PdfProfiles::Write(size_t index, const std::string& outPath) {
    const ProfileStream& found = m_found.at(index);
    if (!found.copied) return EmbeddedProfiles::Write(index, outPath);
    SafeOutput out(outPath, {m_path});
    // Made here first so that an output that cannot be written is told apart from a stream
    // that cannot be read; the routine overwrites it.
    FILE* probe = std::fopen(out.tempPath().c_str(), "wb");
    if (!probe) throw CliError(kExitOutput, outPath + ": cannot be written");
    std::fclose(probe);
    int written = 0;
    try {
        written = ReadPdfProfileData(Utf8ToWide(m_path).c_str(), &found.info,
                                     Utf8ToWide(out.tempPath()).c_str());
    } catch (const std::bad_alloc&) {
        throw CliError(kExitInput, Name(index) +
                                       ": the Flate stream does not come to its end "
                                       "within " +
                                       std::to_string(kPdfProfileMaxDecodedBytes >> 20) +
                                       " MiB (damaged, or more than any profile)");
    }
    if (!written) throw CliError(kExitInput, Name(index) + ": the stream cannot be read");
    out.Commit();
}

} // namespace

std::unique_ptr<EmbeddedProfiles> OpenPdfProfiles(const std::string& path) {
    return std::make_unique<PdfProfiles>(path);
}
