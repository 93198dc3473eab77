#include "icc/IccProfile.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/Digest.h"
#include "gridtable/GridMemory.h"

IMPLEMENT_DYNAMIC(CIccProfile, CProtectedDocument)
IMPLEMENT_DYNAMIC(CIccProfileRead, CIccProfile)

namespace {

constexpr unsigned kOpenFlags = CFile::modeRead | CFile::shareDenyWrite | CFile::typeBinary;
static_assert(kOpenFlags == 32800);

constexpr uint64_t kHeaderBytes = sizeof(icHeader);
constexpr uint64_t kTagEntryBytes = sizeof(icTag);

uint32_t ReadBigEndian32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

// Bytes read from a file, in a buffer that is not zero-filled before the read overwrites it.
struct SReadBytes {
    std::shared_ptr<uint8_t[]> data;
    uint64_t size = 0;
};

// A buffer of n bytes, left uninitialised.
std::shared_ptr<uint8_t[]> NewBytes(uint64_t n) {
    return GridMemory::NewSharedArray<uint8_t>(static_cast<size_t>(std::max<uint64_t>(n, 1)));
}

// Reads up to n bytes from the archive behind `prefix` bytes reserved at the front of the buffer,
// and answers the buffer with those that arrived (size counts the prefix too). The buffer is sized
// by what the file holds, not by n: a length announced by the data never allocates more than the
// file can deliver. Where the length is known this is one read.
SReadBytes ReadAvailable(CArchive& ar, uint64_t n, uint64_t prefix) {
    SReadBytes out;
    uint64_t first = std::min<uint64_t>(n, 1u << 20);
    if (CFile* f = ar.GetFile()) {
        try {
            uint64_t len = f->GetLength(), pos = f->GetPosition();
            first = std::min<uint64_t>(n, len > pos ? len - pos : 0);
        } catch (const CException&) {
            // no length to go by: read in chunks below
        }
    }
    uint64_t capacity = prefix + first;
    out.data = NewBytes(capacity);
    uint64_t got = first ? ar.Read(out.data.get() + prefix, static_cast<unsigned>(first)) : 0;
    out.size = prefix + got;
    if (got < first) return out;
    // More may follow where the length was not known in advance; grow only by what arrives.
    while (out.size - prefix < n) {
        uint8_t probe;
        if (ar.Read(&probe, 1) != 1) break;
        const uint64_t chunk =
            std::min<uint64_t>(n - (out.size - prefix) - 1, std::max<uint64_t>(out.size, 65536));
        if (out.size + 1 + chunk > capacity) {
            capacity = out.size + 1 + chunk;
            auto grown = NewBytes(capacity);
            std::memcpy(grown.get(), out.data.get(), static_cast<size_t>(out.size));
            out.data = std::move(grown);
        }
        out.data[static_cast<size_t>(out.size++)] = probe;
        uint64_t more =
            chunk ? ar.Read(out.data.get() + out.size, static_cast<unsigned>(chunk)) : 0;
        out.size += more;
        if (more < chunk) break;
    }
    return out;
}

// Whether the tag table describes blocks that can be read one by one. Well-formed: entries at
// one offset have one size (one block, shared), and blocks at different offsets share no byte.
bool TagBlocksAreDisjoint(const icTagTable& table) {
    std::vector<std::pair<uint32_t, uint32_t>> blocks; // offset, size
    blocks.reserve(table.count);
    for (uint32_t i = 0; i < table.count; ++i)
        blocks.emplace_back(table.tags[i].offset, table.tags[i].size);
    std::sort(blocks.begin(), blocks.end());
    blocks.erase(std::unique(blocks.begin(), blocks.end()), blocks.end());
    uint64_t end = 0; // the end of the blocks so far, in 64 bits: offset + size can pass 2^32
    for (size_t i = 0; i < blocks.size(); ++i) {
        const auto [offset, size] = blocks[i];
        if (i > 0 && blocks[i - 1].first == offset) return false; // one offset, two sizes
        if (size != 0 && offset < end) return false;              // inside an earlier block
        end = std::max(end, uint64_t(offset) + size);
    }
    return true;
}

void WriteZeros(CArchive& ar, uint64_t count) {
    static const uint8_t zeros[4096] = {};
    while (count > 0) {
        unsigned n = static_cast<unsigned>(std::min<uint64_t>(count, sizeof zeros));
        ar.Write(zeros, n);
        count -= n;
    }
}

} // namespace

// ---------------------------------------------------------------------------------------------
// CIccProfile

CIccProfile::CIccProfile(CUserSettingsMgr* usm) : CProtectedDocument(usm), m_Header{} {
    AllocTagTable(0);
}

CIccProfile::~CIccProfile() = default;

void CIccProfile::AllocTagTable(uint32_t count) {
    m_pTagTable.reset(new uint32_t[1 + 3 * size_t(count)]());
    m_pTagTable[0] = count;
}

// ---------------------------------------------------------------------------------------------
// Tag nodes

namespace {

uint64_t BlockWords(uint32_t size) {
    return (std::max<uint64_t>(size, 8) + 3) / 4;
}

} // namespace

CIccProfileRead::CTagDataBuffer::CTagDataBuffer(uint32_t size)
    : nSize(size), m_bLoaded(false), m_pData(new uint32_t[BlockWords(size)]()) {
    std::call_once(m_converted, [] {}); // nothing to convert
}

CIccProfileRead::CTagDataBuffer::CTagDataBuffer(uint32_t size,
                                                std::shared_ptr<const uint8_t[]> file,
                                                const uint8_t* source)
    : nSize(size), m_bLoaded(true), m_pFile(std::move(file)), m_pSource(source) {
    std::memcpy(m_head, source, std::min<uint32_t>(size, sizeof m_head));
}

bool CIccProfileRead::CTagDataBuffer::LutChannels(unsigned* inputs, unsigned* outputs) {
    if (nSize < 10) return false;
    uint8_t head[12];
    uint32_t type;
    if (m_bLoaded) {
        std::memcpy(head, m_head, sizeof head);
        type = ReadBigEndian32(head); // the type word as the conversion would leave it
    } else {
        std::memcpy(head, Data(), std::min<uint32_t>(nSize, sizeof head));
        std::memcpy(&type, head, 4);
    }
    if (type != icSigLut8Type && type != icSigLut16Type) return false;
    *inputs = head[8];
    *outputs = head[9];
    return true;
}

uint32_t* CIccProfileRead::CTagDataBuffer::Data() {
    std::call_once(m_converted, [this] {
        const uint64_t words = BlockWords(nSize);
        std::shared_ptr<uint32_t[]> block = GridMemory::NewSharedArray<uint32_t>(words);
        if (nSize != 0) std::memcpy(block.get(), m_pSource, nSize);
        // Only the bytes behind the data are zeroed: those a short block reads as its head.
        std::memset(reinterpret_cast<uint8_t*>(block.get()) + nSize, 0, words * 4 - nSize);
        // The load has checked the block; the conversion is the one that check ran.
        SwapTagData(block.get(), nSize, 1);
        m_pData = std::move(block);
        m_pFile.reset();
        m_pSource = nullptr;
    });
    return m_pData.get();
}

CIccProfileRead::CTagNode::CTagNode(icTagSignature sig_, unsigned size_, unsigned offset_,
                                    std::shared_ptr<CTagDataBuffer> buffer, CTagNode* ref)
    : sig(sig_), offset(offset_), size(size_), pRef(ref) {
    if (ref == nullptr && buffer == nullptr)
        pBuffer = std::make_shared<CTagDataBuffer>(size_);
    else
        pBuffer = std::move(buffer);
}

CIccProfileRead::CTagNode::~CTagNode() = default;

// ---------------------------------------------------------------------------------------------
// CIccProfileRead

CIccProfileRead::CIccProfileRead(CUserSettingsMgr* usm) : CIccProfile(usm), m_nError(0) {}

CIccLoadDigest::CIccLoadDigest(std::shared_ptr<const uint8_t[]> bytes, uint64_t length)
    : m_bytes(std::move(bytes)), m_length(length) {}

const unsigned char* CIccLoadDigest::Get() const {
    std::call_once(m_once, [this] {
        MD5_CTX ctx;
        MD5Init(&ctx);
        // MD5Update takes an unsigned count.
        const uint8_t* p = m_bytes.get();
        for (uint64_t left = m_length; left > 0;) {
            const unsigned n = static_cast<unsigned>(std::min<uint64_t>(left, 1u << 30));
            MD5Update(&ctx, p, n);
            p += n;
            left -= n;
        }
        MD5Final(m_digest, &ctx);
        m_bytes.reset();
    });
    return m_digest;
}

std::wstring CIccLoadDigest::Text() const {
    static const unsigned char zero[16] = {};
    const unsigned char* digest = Get();
    if (std::memcmp(digest, zero, sizeof zero) == 0) return std::wstring();
    return MD5DigestToString(digest);
}

void CIccProfileRead::SetPendingDigest(std::shared_ptr<const uint8_t[]> bytes, uint64_t length) {
    // The digest of this load is taken when first asked for (the load only keeps the bytes).
    m_pDigest = std::make_shared<CIccLoadDigest>(std::move(bytes), length);
}

const unsigned char* CIccProfileRead::GetDigest() const {
    static const unsigned char zero[16] = {};
    return m_pDigest ? m_pDigest->Get() : zero;
}

CIccProfileRead::~CIccProfileRead() {
    DeleteContents();
    m_pFile.reset();
}

int CIccProfileRead::Open(const wchar_t* path) {
    m_pFile.reset();
    CFileException error;
    m_pFile.reset(GetFile(path, kOpenFlags, &error));
    if (!m_pFile) {
        if (error.m_cause == CFileException::accessDenied) m_nError = kIccErrorAccessDenied;
        DeleteContents();
        return 0;
    }
    return LoadFromFile();
}

int CIccProfileRead::Open(unsigned char* data, int size) {
    m_pFile.reset();
    unsigned length = (data != nullptr && size > 0) ? static_cast<unsigned>(size) : 0;
    m_pFile = std::make_unique<CMemFile>(length ? data : nullptr, length, 0);
    int result = 0;
    try {
        m_pFile->SeekToBegin();
        result = LoadFromFile();
    } catch (const CException&) {
        m_nError = kIccErrorCannotLoad;
    }
    if (!result) {
        DeleteContents();
        m_pFile.reset();
    }
    return result;
}

int CIccProfileRead::LoadFromFile() {
    try {
        CArchive ar(m_pFile.get(), CArchive::load, 4096);
        Serialize(ar);
        return m_Header.magic == icMagicNumber ? 1 : 0;
    } catch (const CException&) {
    } catch (const std::exception&) { // allocation failures of the standard library
    }
    DeleteContents();
    m_nError = kIccErrorCannotLoad;
    return 0;
}

void CIccProfileRead::Close() {
    m_pFile.reset();
}

unsigned CIccProfileRead::nTagFind(uint32_t sig) const {
    const unsigned count = GetCount();
    for (unsigned i = 0; i < count; ++i)
        if (Tag(i).sig == sig) return i;
    return icTagIndexNone;
}

uint32_t* CIccProfileRead::FindTagData(uint32_t sig, icTag* tag) {
    return FindTagData(sig, tag, nullptr);
}

uint32_t* CIccProfileRead::FindTagData(uint32_t sig, icTag* tag, uint32_t* pBlockSize) {
    if (pBlockSize) *pBlockSize = 0;
    unsigned index = nTagFind(sig);
    if (index == icTagIndexNone) return nullptr;
    if (tag) {
        tag->sig = Tag(index).sig;
        tag->size = Tag(index).size;
    }
    // Table and nodes can fall out of step (a second Open without DeleteContents).
    if (index >= m_Tags.size()) return nullptr;
    if (pBlockSize) *pBlockSize = m_Tags[index]->nDataSize();
    return m_Tags[index]->pTagData();
}

CIccProfileRead::CTagNode& CIccProfileRead::Node(unsigned index) {
    if (index >= m_Tags.size()) AfxThrowInvalidArgException();
    return *m_Tags[index];
}

uint32_t* CIccProfileRead::GetTagData(unsigned index) {
    return Node(index).pTagData();
}

bool CIccProfileRead::GetLutChannels(unsigned index, unsigned* inputs, unsigned* outputs) {
    CTagNode& node = Node(index);
    return node.pBuffer && node.pBuffer->LutChannels(inputs, outputs);
}

uint32_t CIccProfileRead::GetTagDataSize(unsigned index) {
    return Node(index).nDataSize();
}

uint32_t* CIccProfileRead::AddTag(icTagSignature sig, unsigned size, unsigned offset) {
    m_Tags.push_back(std::make_unique<CTagNode>(sig, size, offset, nullptr, nullptr));
    return m_Tags.back()->pTagData();
}

void CIccProfileRead::RemoveTag(unsigned index) {
    icTagTable* table = pTagTable();
    if (index < table->count) {
        std::memmove(&table->tags[index], &table->tags[index + 1],
                     (table->count - index - 1) * sizeof(icTag));
        --table->count;
    }
    CTagNode* victim = &Node(index);
    // Sharing nodes keep the block: the first becomes its owner, the others share with it.
    CTagNode* heir = nullptr;
    for (auto& node : m_Tags) {
        if (node->pRef != victim) continue;
        if (!heir) {
            heir = node.get();
            heir->pRef = nullptr;
            heir->offset = victim->offset;
        } else {
            node->pRef = heir;
        }
    }
    m_Tags.erase(m_Tags.begin() + index);
}

void CIccProfileRead::UpdateTagTableAndHeader() {
    const uint64_t n = m_Tags.size();
    const uint64_t tableEnd = kHeaderBytes + 4 + kTagEntryBytes * n;
    // Offsets and size are 32-bit in the file: refuse a layout that does not fit before
    // touching anything.
    uint64_t run = 0;
    for (auto& node : m_Tags) {
        run = (run + 3) & ~uint64_t(3);
        if (!node->bIsRef()) run += node->size;
    }
    if (tableEnd + run > UINT32_MAX) throw CArchiveException(CArchiveException::genericException);

    AllocTagTable(static_cast<uint32_t>(n));
    run = 0;
    for (auto& node : m_Tags) {
        run = (run + 3) & ~uint64_t(3);
        if (!node->bIsRef()) {
            node->offset = static_cast<uint32_t>(run);
            run += node->size;
        }
    }
    icTagTable* table = pTagTable();
    for (size_t i = 0; i < m_Tags.size(); ++i) {
        const CTagNode& node = *m_Tags[i];
        table->tags[i].sig = node.sig;
        table->tags[i].offset = node.bIsRef() ? node.pRef->offset : node.offset;
        table->tags[i].size = node.size;
    }
    for (size_t i = 0; i < m_Tags.size(); ++i)
        table->tags[i].offset += static_cast<uint32_t>(tableEnd);
    m_Header.size = static_cast<uint32_t>(tableEnd + run);
}

int CIccProfileRead::bAllOffsetsDwordAligned() {
    const unsigned count = GetCount();
    for (unsigned i = 0; i < count; ++i)
        if (Tag(i).offset % 4 != 0) return 0;
    return 1;
}

bool CIccProfileRead::GetMeasurementInfo(enmIluminant& illuminant, enmObserver& observer) {
    uint32_t blockSize = 0;
    auto* block =
        reinterpret_cast<const uint8_t*>(FindTagData(icSigMeasurementTag, nullptr, &blockSize));
    if (!block || blockSize < sizeof(icMeasurmentType)) return false;
    uint32_t stdObserver, illum;
    std::memcpy(&stdObserver, block + offsetof(icMeasurmentType, measurement.stdObserver), 4);
    std::memcpy(&illum, block + offsetof(icMeasurmentType, measurement.illuminant), 4);
    illuminant = illum == icIlluminantD65 ? IluminantD65 : IluminantD50;
    observer = stdObserver == icStdObs1964TenDegrees ? Observer10Degree : Observer2Degree;
    return true;
}

std::wstring CIccProfileRead::GetProfileMD5String() {
    return m_pDigest ? m_pDigest->Text() : std::wstring();
}

void CIccProfileRead::DeleteContents() {
    AllocTagTable(0);
    m_Tags.clear();
}

void CIccProfileRead::Serialize(CArchive& ar) {
    if (ar.IsLoading())
        LoadBody(ar);
    else
        StoreBody(ar);
}

void CIccProfileRead::LoadBody(CArchive& ar) {
    // Header and count. A header cut short keeps zeros where nothing arrived, so its magic
    // fails. The digest covers the bytes as read, in the order read: header, count, table, data.
    uint8_t raw[kHeaderBytes + 4] = {};
    unsigned got = ar.Read(raw, kHeaderBytes);
    std::memcpy(&m_Header, raw, kHeaderBytes);
    SwapHeader(&m_Header);
    if (m_Header.magic != icMagicNumber) {
        auto bytes = NewBytes(got);
        std::memcpy(bytes.get(), raw, got);
        SetPendingDigest(std::move(bytes), got);
        return;
    }

    // Tag count and table.
    if (ar.Read(raw + kHeaderBytes, 4) != 4) throw CArchiveException(CArchiveException::endOfFile);
    const uint32_t count = ReadBigEndian32(raw + kHeaderBytes);
    const uint64_t tableBytes = kTagEntryBytes * count;
    const uint64_t dataStart = kHeaderBytes + 4 + tableBytes;
    // The data behind the table is size - dataStart bytes, a signed int: a size that ends
    // inside the table, or a length beyond the range of int, cannot be loaded.
    const int64_t dataLength = int64_t(m_Header.size) - int64_t(dataStart);
    if (count != 0 && (dataLength < 0 || dataLength > INT_MAX)) throw CMemoryException();
    if (count == 0) {
        AllocTagTable(0);
        auto bytes = NewBytes(sizeof raw);
        std::memcpy(bytes.get(), raw, sizeof raw);
        SetPendingDigest(std::move(bytes), sizeof raw);
        return;
    }

    // Table and data in one read, behind header and count in one buffer: the file as stored,
    // so that a table offset is an index into it. Only what arrived is digested and used.
    SReadBytes file = ReadAvailable(ar, tableBytes + uint64_t(dataLength), sizeof raw);
    if (file.size < dataStart) throw CArchiveException(CArchiveException::endOfFile);
    std::memcpy(file.data.get(), raw, sizeof raw);
    AllocTagTable(count);
    std::memcpy(pTagTable()->tags, file.data.get() + sizeof raw, static_cast<size_t>(tableBytes));
    SwapTagTable(pTagTable(), 4 + tableBytes);
    if (!TagBlocksAreDisjoint(*pTagTable()))
        throw CArchiveException(CArchiveException::genericException);
    const uint64_t arrived = file.size - dataStart;
    std::shared_ptr<const uint8_t[]> bytes = std::move(file.data);

    // Tags at one offset share the block of the first of them; the owners of this load by
    // offset, so that a long table is not searched once per entry. Every block is checked
    // here; it is copied and converted when first asked for.
    std::unordered_map<uint32_t, CTagNode*> owners;
    owners.reserve(std::min<size_t>(count, 4096));
    m_Tags.reserve(m_Tags.size() + std::min<size_t>(count, arrived / 12 + 1));
    for (uint32_t i = 0; i < count; ++i) {
        const icTag entry = Tag(i);
        auto found = owners.find(entry.offset);
        if (found != owners.end()) {
            CTagNode* owner = found->second;
            m_Tags.push_back(
                std::make_unique<CTagNode>(entry.sig, entry.size, 0, owner->pBuffer, owner));
            continue;
        }
        // A tag must lie inside the data that arrived: not in the header or the table, not
        // beyond the end.
        const int64_t d = int64_t(entry.offset) - int64_t(dataStart);
        if (d < 0 || uint64_t(d) + entry.size > arrived)
            throw CArchiveException(CArchiveException::endOfFile);
        const uint8_t* source = bytes.get() + entry.offset;
        if (!TagDataFits(source, entry.size))
            throw CArchiveException(CArchiveException::genericException);
        m_Tags.push_back(std::make_unique<CTagNode>(
            entry.sig, entry.size, entry.offset,
            std::make_shared<CTagDataBuffer>(entry.size, bytes, source), nullptr));
        owners.emplace(entry.offset, m_Tags.back().get());
    }
    SetPendingDigest(std::move(bytes), file.size);
}

void CIccProfileRead::StoreBody(CArchive& ar) {
    icHeader header = m_Header;
    SwapHeader(&header);
    ar.Write(&header, sizeof header);

    const uint32_t count = GetCount();
    const size_t tableBytes = 4 + kTagEntryBytes * size_t(count);
    std::vector<uint32_t> table(tableBytes / 4);
    std::memcpy(table.data(), m_pTagTable.get(), tableBytes);
    auto* fileTable = reinterpret_cast<icTagTable*>(table.data());
    SwapTagTable(fileTable, tableBytes);
    const uint8_t countBytes[4] = {uint8_t(count >> 24), uint8_t(count >> 16), uint8_t(count >> 8),
                                   uint8_t(count)};
    std::memcpy(&fileTable->count, countBytes, 4);
    ar.Write(table.data(), static_cast<unsigned>(tableBytes));

    uint64_t position = tableBytes + kHeaderBytes;
    for (uint32_t i = 0; i < count; ++i) {
        const CTagNode& node = Node(i);
        if (node.bIsRef() || node.pTagData() == nullptr) continue;
        const icTag& entry = Tag(i);
        // The block is written as far as it goes; a table entry that claims more is filled up
        // with zeros so that the file agrees with its table.
        const uint32_t blockBytes = std::min(entry.size, node.nDataSize());
        uint32_t* block = node.pTagData();
        if (entry.offset > position) {
            WriteZeros(ar, entry.offset - position);
            position = entry.offset;
        }
        SwapTagData(block, blockBytes, 0);
        try {
            ar.Write(block, blockBytes);
        } catch (...) {
            SwapTagData(block, blockBytes, 1);
            throw;
        }
        SwapTagData(block, blockBytes, 1);
        WriteZeros(ar, entry.size - blockBytes);
        position += entry.size;
    }
}
