#include "icc/IccProfile.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/Digest.h"

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

// Reads up to n bytes from the archive and answers those that arrived. The buffer is sized by
// what the file holds, not by n: a length announced by the data never allocates more than the
// file can deliver.
std::vector<uint8_t> ReadAvailable(CArchive& ar, uint64_t n) {
    std::vector<uint8_t> buf;
    if (n == 0) return buf;
    uint64_t first = std::min<uint64_t>(n, 1u << 20);
    if (CFile* f = ar.GetFile()) {
        try {
            uint64_t len = f->GetLength(), pos = f->GetPosition();
            first = std::min<uint64_t>(n, len > pos ? len - pos : 0);
        } catch (const CException&) {
            // no length to go by: read in chunks below
        }
    }
    buf.resize(static_cast<size_t>(first));
    uint64_t got = first ? ar.Read(buf.data(), static_cast<unsigned>(first)) : 0;
    buf.resize(static_cast<size_t>(got));
    if (got < first) return buf;
    // More may follow where the length was not known in advance; grow only by what arrives.
    while (buf.size() < n) {
        uint8_t probe;
        if (ar.Read(&probe, 1) != 1) break;
        buf.push_back(probe);
        uint64_t chunk = std::min<uint64_t>(n - buf.size(), std::max<size_t>(buf.size(), 65536));
        size_t at = buf.size();
        buf.resize(at + static_cast<size_t>(chunk));
        uint64_t more = chunk ? ar.Read(buf.data() + at, static_cast<unsigned>(chunk)) : 0;
        buf.resize(at + static_cast<size_t>(more));
        if (more < chunk) break;
    }
    return buf;
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

CIccProfileRead::CTagDataBuffer::CTagDataBuffer(uint32_t size)
    : nSize(size), pData(new uint32_t[(std::max<uint64_t>(size, 8) + 3) / 4]()) {}

CIccProfileRead::CTagNode::CTagNode(icTagSignature sig_, unsigned size_, unsigned offset_,
                                    std::shared_ptr<CTagDataBuffer> buffer, CTagNode* ref)
    : sig(sig_), offset(offset_), size(size_), pRef(ref) {
    if (ref == nullptr)
        pBuffer = std::make_shared<CTagDataBuffer>(size_);
    else
        pBuffer = std::move(buffer);
}

CIccProfileRead::CTagNode::~CTagNode() = default;

// ---------------------------------------------------------------------------------------------
// CIccProfileRead

CIccProfileRead::CIccProfileRead(CUserSettingsMgr* usm)
    : CIccProfile(usm), m_nError(0), m_Digest{} {}

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
    static const unsigned char zero[16] = {};
    if (std::memcmp(m_Digest, zero, sizeof zero) == 0) return std::wstring();
    return MD5DigestToString(m_Digest);
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
    MD5_CTX ctx;
    MD5Init(&ctx);

    // Header. A header cut short keeps zeros where nothing arrived, so its magic fails.
    uint8_t raw[kHeaderBytes] = {};
    unsigned got = ar.Read(raw, sizeof raw);
    MD5Update(&ctx, raw, got);
    std::memcpy(&m_Header, raw, sizeof raw);
    SwapHeader(&m_Header);
    if (m_Header.magic != icMagicNumber) {
        MD5Final(m_Digest, &ctx);
        return;
    }

    // Tag count and table.
    uint8_t countBytes[4];
    if (ar.Read(countBytes, 4) != 4) throw CArchiveException(CArchiveException::endOfFile);
    MD5Update(&ctx, countBytes, 4);
    const uint32_t count = ReadBigEndian32(countBytes);
    const uint64_t tableBytes = kTagEntryBytes * count;
    const uint64_t dataStart = kHeaderBytes + 4 + tableBytes;
    // The data behind the table is size - dataStart bytes, a signed int: a size that ends
    // inside the table, or a length beyond the range of int, cannot be loaded.
    const int64_t dataLength = int64_t(m_Header.size) - int64_t(dataStart);
    if (count != 0 && (dataLength < 0 || dataLength > INT_MAX)) throw CMemoryException();

    std::vector<uint8_t> tableData = ReadAvailable(ar, tableBytes);
    if (tableData.size() != tableBytes) throw CArchiveException(CArchiveException::endOfFile);
    MD5Update(&ctx, tableData.data(), static_cast<unsigned>(tableData.size()));
    AllocTagTable(count);
    if (!tableData.empty()) std::memcpy(pTagTable()->tags, tableData.data(), tableData.size());
    SwapTagTable(pTagTable(), 4 + tableData.size());
    tableData = std::vector<uint8_t>();

    if (count == 0) {
        MD5Final(m_Digest, &ctx);
        return;
    }
    if (!TagBlocksAreDisjoint(*pTagTable()))
        throw CArchiveException(CArchiveException::genericException);

    // All tag data in one buffer; only what arrived is digested and used.
    std::vector<uint8_t> data = ReadAvailable(ar, static_cast<uint64_t>(dataLength));
    MD5Update(&ctx, data.data(), static_cast<unsigned>(data.size()));
    const uint64_t arrived = data.size();

    // Tags at one offset share the block of the first of them; the owners of this load by
    // offset, so that a long table is not searched once per entry.
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
        uint32_t* block = AddTag(entry.sig, entry.size, entry.offset);
        owners.emplace(entry.offset, m_Tags.back().get());
        if (entry.size != 0) std::memcpy(block, data.data() + d, entry.size);
        if (!SwapTagDataChecked(block, entry.size, 1))
            throw CArchiveException(CArchiveException::genericException);
    }
    MD5Final(m_Digest, &ctx);
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
