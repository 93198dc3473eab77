#include "gridtable/BuiltInMft.h"

#include <memory>

#include "base/Archive.h"
#include "base/File.h"
#include "base/Resource.h"

void LoadBuiltInMft(const wchar_t* name, CMft_16*& mft) {
    unsigned size = 0;
    std::unique_ptr<unsigned char[]> copy(GetCopyOfUserdefResource(name, L"mft", &size));
    if (!copy) return;

    CMemFile file(copy.get(), size);
    CArchive ar(&file, CArchive::load, 4096);
    // Read whatever class the archive holds, so that a table of another family can be told
    // apart from a damaged archive: the first is answered with null, the second throws.
    std::unique_ptr<CObject> obj(ar.ReadObject(nullptr));
    if (obj && obj->IsKindOf(RUNTIME_CLASS(CMft_16))) {
        mft = static_cast<CMft_16*>(obj.release());
        mft->InitTrn(); // the virtual GenDelta of the three- or four-input grid
    } else {
        mft = nullptr;
    }
    ar.Close();
    file.Close();
}
