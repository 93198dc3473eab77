// Fuzz target: object archives. Reads one object of any creatable class from the input,
// prepares it the way its class asks before the first use, runs it forward and inverse on a
// few values, and stores it again.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <vector>

#include "FuzzSupport.h"
#include "base/Archive.h"
#include "base/Exception.h"
#include "base/File.h"
#include "colorfunc/Func.h"
#include "gridtable/Mft.h"
#include "gridtable/TabMft.h"

namespace {

using kvrfuzz::RunForwardAndInverse;

// Grids and pipelines need their precomputed tables before the first Trn.
void Prepare(CObject& obj) {
    if (auto* m8 = dynamic_cast<TMft<uint8_t>*>(&obj)) m8->InitTrn();
    if (auto* m16 = dynamic_cast<TMft<uint16_t>*>(&obj)) m16->InitTrn();
    if (auto* p8 = dynamic_cast<CFunc_8TabBaseMft*>(&obj)) p8->InitMftTrn();
    if (auto* p16 = dynamic_cast<CFunc_16TabBaseMft*>(&obj)) p16->InitMftTrn();
}

void Run(CObject& obj, const uint8_t* data, size_t size) {
    if (auto* f8 = dynamic_cast<CFunc_8*>(&obj))
        RunForwardAndInverse(*f8, kvrfuzz::TestValues<uint8_t>(data, size));
    if (auto* f16 = dynamic_cast<CFunc_16*>(&obj))
        RunForwardAndInverse(*f16, kvrfuzz::TestValues<uint16_t>(data, size));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > (4u << 20)) return 0;
    std::vector<uint8_t> bytes(data, data + size);
    CMemFile in(bytes.data(), unsigned(bytes.size()));
    std::unique_ptr<CObject> obj;
    try {
        CArchive ar(&in, CArchive::load);
        obj.reset(ar.ReadObject(RUNTIME_CLASS(CObject)));
    } catch (const CArchiveException&) {
        return 0; // refused: unknown class, other schema, data ending early, bad counts
    } catch (const CFileException&) {
        return 0;
    }
    if (!obj) return 0;
    Prepare(*obj);
    Run(*obj, data, size);

    CMemFile out;
    {
        CArchive ar(&out, CArchive::store);
        ar.WriteObject(obj.get());
    }
    return 0;
}
