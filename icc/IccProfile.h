// The profile reader: loads an ICC profile from a file or from memory, holds it in host byte
// order as a header, a tag table and one data block per tag, writes it back, and computes the
// MD5 digest by which a profile is recognised later.
//
// Everything that reads a profile goes through CIccProfileRead; the profile generator and the
// profile use classes derive from it.
//
// Typical use:
//
//     CIccProfileRead profile(usm);
//     if (!profile.Open(L"/path/printer.icc")) { /* profile.m_nError: 901, 909 or 0 */ }
//     icTag tag;
//     if (auto* block = profile.FindTagData(icSigMediaWhitePointTag, &tag)) { ... }
//
// Tag blocks. A block holds the tag's data exactly as the tag table describes it, type signature
// and reserved word included, converted to host order by the rules of IccRecords.h. Blocks are
// 4-byte aligned and never shorter than 8 bytes in memory (a shorter tag reads zeros behind its
// data), so the type head can always be read; a block made in memory starts zero-filled. Table
// entries at one file offset with one size share one block. Code that reads a block bounds its
// reads by GetTagDataSize / the size reported by FindTagData's overload, not by the table entry
// alone (a table built in memory may still announce other sizes).
//
// A loaded block is copied from the file's bytes and converted when it is first asked for
// (GetTagData, FindTagData), once, also when several threads ask at a time; a tag nobody reads
// costs nothing but its check at load. The file's bytes stay with the profile while a block
// still waits for them or the digest has not been asked for.
//
// Load checks. A load accepts any data whose header magic is "acsp"; version, class and spaces
// are not tested. It fails with error 901 when the tag table or a tag lies outside the data that
// the header's size announces and the file holds, and when a tag's own counts or offsets
// (curve and table counts, named-colour and colorant counts, mAB /mBA offsets and grids) reach
// beyond its block, and when the table is not one of disjoint blocks: entries at one offset
// with different sizes, or a block that starts inside another. All this is checked at load,
// before any block is converted. Every byte of tag data is thus copied at most once, and memory
// used grows with the size of the file only.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/Archive.h"
#include "base/Exception.h"
#include "base/File.h"
#include "common/ProtectedDocument.h"
#include "icc/IccRecords.h"

class CUserSettingsMgr;

// Illuminant and observer of a profile's measurement.
enum enmIluminant : int32_t { IluminantD50 = 1, IluminantD65 = 2 };
enum enmObserver : int32_t { Observer2Degree = 0, Observer10Degree = 1 };

// Error numbers of a failed load, in m_nError.
inline constexpr int kIccErrorCannotLoad = 901;   // profile cannot be opened or loaded
inline constexpr int kIccErrorAccessDenied = 909; // access to the file denied

// The MD5 of the bytes a load read. It is taken the first time it is asked for, from those bytes,
// which are kept until then, and not during the load; the value is the same. Safe to ask on
// several threads at a time.
class CIccLoadDigest {
public:
    CIccLoadDigest(std::shared_ptr<const uint8_t[]> bytes, uint64_t length);
    const unsigned char* Get() const;
    // The digest as 32 upper-case hexadecimal digits; empty where it is all zeros.
    std::wstring Text() const;

private:
    mutable std::once_flag m_once;
    mutable unsigned char m_digest[16] = {};
    mutable std::shared_ptr<const uint8_t[]> m_bytes; // released once digested
    uint64_t m_length;
};

// Header and tag table of a profile.
class CIccProfile : public CProtectedDocument {
    DECLARE_DYNAMIC(CIccProfile)
public:
    explicit CIccProfile(CUserSettingsMgr* usm);
    ~CIccProfile() override;

    // Entries in the tag table.
    unsigned GetCount() const { return pTagTable()->count; }
    const icHeader& Header() const { return m_Header; }
    // The table entry `index`. No bounds check: index must be below GetCount().
    icTag& Tag(unsigned index) const { return pTagTable()->tags[index]; }
    icTagTable* pTagTable() const { return reinterpret_cast<icTagTable*>(m_pTagTable.get()); }

protected:
    // Replaces the table by a zeroed one of `count` entries holding that count.
    void AllocTagTable(uint32_t count);

    icHeader m_Header; // host order; all zero after construction
    // The table, 4 + 12 * count bytes; after construction and DeleteContents a table of
    // count 0.
    std::unique_ptr<uint32_t[]> m_pTagTable;
};

class CIccProfileRead : public CIccProfile {
    DECLARE_DYNAMIC(CIccProfileRead)
public:
    // A block of tag data, shared by all nodes whose tags stand at one file offset. Its use
    // count (that of the shared_ptr holding it) is the number of those nodes.
    struct CTagDataBuffer {
        // A zero-filled block of `size` bytes.
        explicit CTagDataBuffer(uint32_t size);
        // A block of `size` bytes that `source` (inside `file`) holds in file order; copied and
        // converted on the first call of Data().
        CTagDataBuffer(uint32_t size, std::shared_ptr<const uint8_t[]> file, const uint8_t* source);
        // The block in host order, at least 8 bytes.
        uint32_t* Data();
        // Input and output counts of an mft1 / mft2 block (bytes 8 and 9, which the conversion
        // leaves alone), read without converting the block; false for other blocks.
        bool LutChannels(unsigned* inputs, unsigned* outputs);
        uint32_t nSize; // bytes of tag data

    private:
        uint8_t m_head[12] = {}; // the first bytes of a loaded block, as stored
        const bool m_bLoaded;
        std::shared_ptr<uint32_t[]> m_pData;
        std::shared_ptr<const uint8_t[]> m_pFile; // the loaded bytes, until converted
        const uint8_t* m_pSource = nullptr;
        std::once_flag m_converted;
    };

    // One tag: its signature, where it stood or stands, and its data block.
    class CTagNode : public CObject {
    public:
        // With ref and buffer null: a new owner with a zeroed block of `size` bytes. With ref
        // null and buffer set: the owner of `buffer`. With ref set: a node sharing `buffer`,
        // the block of the owner `ref`.
        CTagNode(icTagSignature sig, unsigned size, unsigned offset,
                 std::shared_ptr<CTagDataBuffer> buffer, CTagNode* ref);
        ~CTagNode() override;

        bool bIsRef() const { return pRef != nullptr; }
        // The block, or null where there is no buffer.
        uint32_t* pTagData() const { return pBuffer ? pBuffer->Data() : nullptr; }
        // Bytes of the block; 0 where there is no buffer.
        uint32_t nDataSize() const { return pBuffer ? pBuffer->nSize : 0; }
        // Nodes sharing the block, this one included.
        long nRefs() const { return pBuffer.use_count(); }

        icTagSignature sig;
        // After a load: the file offset of an owner, 0 for a sharing node. After
        // UpdateTagTableAndHeader: the offset counted from the first byte behind the table.
        uint32_t offset;
        uint32_t size; // bytes of the tag as its table entry gives them
        std::shared_ptr<CTagDataBuffer> pBuffer;
        CTagNode* pRef; // the owner whose block this node shares; null for an owner
    };

    explicit CIccProfileRead(CUserSettingsMgr* usm);
    ~CIccProfileRead() override;

    // Loads a profile file. Non-zero on success; on failure m_nError tells 909 (access denied),
    // 901 (read error or malformed data) or stays as it was (other open failures, wrong magic).
    // The file stays open until Close, the next Open or destruction. Open does not empty the
    // object first: a second Open on one object needs DeleteContents before it.
    int Open(const wchar_t* path);
    // Loads a profile from the caller's block, which must outlive the object's file (not the
    // tags, which are copied). On any failure the tags are deleted and the file is dropped.
    int Open(unsigned char* data, int size);
    // Drops the file; the tags stay.
    void Close();

    // The block of the first table entry with `sig`, null if there is none. With `tag` given,
    // its sig and size are set from the table entry; its offset is left as it was.
    uint32_t* FindTagData(uint32_t sig, icTag* tag);
    // The same, also answering the bytes of the block itself in *pBlockSize.
    uint32_t* FindTagData(uint32_t sig, icTag* tag, uint32_t* pBlockSize);
    // The block of node `index`, null where the node has no buffer. Throws
    // CInvalidArgException for an index at or beyond the node count.
    uint32_t* GetTagData(unsigned index);
    // Input and output counts of node `index` where its block is an mft1 or mft2 table of at
    // least 10 bytes, read without converting the block; false otherwise. Throws like
    // GetTagData.
    bool GetLutChannels(unsigned index, unsigned* inputs, unsigned* outputs);
    // Bytes of the block of node `index` (which may differ from the table entry's size for a
    // shared block). Throws CInvalidArgException like GetTagData.
    uint32_t GetTagDataSize(unsigned index);
    // Nodes held; after a load equal to GetCount().
    unsigned GetTagNodeCount() const { return static_cast<unsigned>(m_Tags.size()); }

    // Removes table entry `index` (if within the table) and node `index`. Offsets and size are
    // not recomputed: call UpdateTagTableAndHeader for a file from this. Nodes that shared the
    // removed node's block keep it: the first of them becomes its owner.
    void RemoveTag(unsigned index);
    // Rebuilds the table from the nodes, with offsets rising in node order on 4-byte
    // boundaries, and sets the header's size to the end of the last tag.
    void UpdateTagTableAndHeader();
    // 1 if every table offset is a multiple of 4 (also for an empty table), else 0.
    int bAllOffsetsDwordAligned();
    // Illuminant and observer of the meas tag; false, writing nothing, if there is none (or it
    // is too short to hold them).
    bool GetMeasurementInfo(enmIluminant& illuminant, enmObserver& observer);
    // The MD5 of the last load as 32 upper-case hexadecimal digits; empty if there was none.
    std::wstring GetProfileMD5String();
    // The 16 digest bytes of the last load; zero until a load completes.
    const unsigned char* GetDigest() const;
    // The digest of the last load, to be taken later (null before a load); records keep it.
    std::shared_ptr<const CIccLoadDigest> DigestOfLoad() const { return m_pDigest; }

    // Loading reads header, table and tags and computes the digest of the bytes as stored;
    // storing writes header, table and each owner's block at its table offset, in table order.
    void Serialize(CArchive& ar) override;
    // Replaces the table by an empty one and deletes every node. Header, digest, error and
    // file stay.
    void DeleteContents() override;

    int m_nError; // reason of the last failed load; 0 until one fails, never reset

protected:
    // Appends a new owner node with a zeroed block of `size` bytes and answers the block. The
    // table is not touched.
    uint32_t* AddTag(icTagSignature sig, unsigned size, unsigned offset);
    // Index of the first table entry with `sig`, icTagIndexNone if none.
    unsigned nTagFind(uint32_t sig) const;

    // The node `index`; throws CInvalidArgException beyond the node count.
    CTagNode& Node(unsigned index);

    std::vector<std::unique_ptr<CTagNode>> m_Tags; // one per table entry, in table order
    std::unique_ptr<CFile> m_pFile;                // the file of the last load

private:
    void SetPendingDigest(std::shared_ptr<const uint8_t[]> bytes, uint64_t length);

    std::shared_ptr<const CIccLoadDigest> m_pDigest; // of the last load; null before one

    int LoadFromFile(); // runs Serialize on m_pFile; the result of Open
    void LoadBody(CArchive& ar);
    void StoreBody(CArchive& ar);
};
