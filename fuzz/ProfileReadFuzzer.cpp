// Fuzz target: the profile reader on a profile in memory. Loads it, reads every tag through
// each access path, takes the digest, prints the whole text dump, stores the profile into an
// archive and loads that copy again.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/Archive.h"
#include "base/File.h"
#include "icc/IccDump.h"
#include "icc/IccProfile.h"

namespace {

// Everything a reader of a loaded profile may ask of it. Answers a number derived from what
// was read, so that none of it can be dropped as unused.
size_t ReadEverything(CIccProfileRead& p) {
    size_t seen = 0;
    std::wstring text = DumpHeader(p);
    text += DumpTagTable(p);
    const unsigned nodes = p.GetTagNodeCount();
    for (unsigned i = 0; i < nodes; ++i) {
        const uint32_t* block = p.GetTagData(i);
        const uint32_t bytes = p.GetTagDataSize(i);
        if (block && i < p.GetCount()) {
            text += DumpTagData(block, p.Tag(i), bytes);
            text += DumpTag(block, p.Tag(i).size, bytes);
        }
        icTag tag{};
        uint32_t blockSize = 0;
        if (i < p.GetCount() && p.FindTagData(p.Tag(i).sig, &tag, &blockSize))
            seen += blockSize + tag.size;
        if (i < p.GetCount() && IccTagDescription(icTagSignature(p.Tag(i).sig))) ++seen;
    }
    enmIluminant illuminant{};
    enmObserver observer{};
    if (p.GetMeasurementInfo(illuminant, observer)) seen += size_t(illuminant) + size_t(observer);
    seen += size_t(p.bAllOffsetsDwordAligned());
    seen += p.GetProfileMD5String().size();
    return seen + text.size();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A profile is at most a few megabytes; larger inputs only slow the search down.
    if (size > (4u << 20)) return 0;
    std::vector<unsigned char> bytes(data, data + size);
    std::vector<uint8_t> stored;
    {
        CIccProfileRead profile(nullptr);
        if (!profile.Open(bytes.data(), int(bytes.size()))) return 0;
        volatile size_t sink = ReadEverything(profile);
        (void)sink;

        // Written back as the reader stores it, then read once more.
        CMemFile out;
        {
            CArchive ar(&out, CArchive::store);
            profile.Serialize(ar);
        }
        stored.assign(out.GetBuffer(), out.GetBuffer() + out.GetLength());

        // Tags removed from the front, the table rebuilt, and everything read again.
        if (profile.GetTagNodeCount() > 0) {
            profile.RemoveTag(0);
            profile.UpdateTagTableAndHeader();
            sink = ReadEverything(profile);
        }
    }
    CIccProfileRead again(nullptr);
    if (again.Open(stored.data(), int(stored.size()))) {
        volatile size_t sink = ReadEverything(again);
        (void)sink;
    }
    return 0;
}
