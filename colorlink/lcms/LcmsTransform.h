// The implementation of ILcmsTransform. The transform it ends with belongs to the pool; the
// object holds it without a count, so that an eviction from the pool can leave it with a dead
// handle when more than the pool's capacity of different transforms are alive at once.
#pragma once

#include <lcms2.h>

#include <memory>
#include <string>
#include <vector>

#include "colorlink/lcms/ILcmsTransform.h"
#include "colorlink/lcms/LcmsProfileHandle.h"
#include "colorlink/lcms/LcmsWrapper.h"

class ILcmsTransformPool;

// One use of a profile in the chain.
struct SLcmsEntry {
    CLcmsProfileHandle* pHandle; // not owned: one of the object's handles
    unsigned nIntent;
    unsigned nBlackPoint;
    double Adaptation;
    std::wstring Hash; // of the handle's hash, the intent, the black point and the adaptation
};

class CLcmsTransform : public CLcmsWrapper, public ILcmsTransform {
public:
    // Through the process-wide pool ...
    CLcmsTransform();
    // ... or through another.
    explicit CLcmsTransform(ILcmsTransformPool& pool);
    ~CLcmsTransform() override;

    void AddProfile(const std::wstring& path, int intent, int blackPoint) override;
    void InsertProfileData(const void* data, int intent, int blackPoint) override;
    void InsertProfile(const std::wstring& path, int intent, int blackPoint) override;
    void AddCurves(unsigned space, const std::vector<unsigned short*>& curves) override;
    unsigned GetColorSpace() override;
    int GetChannels() override;
    void CreateTransform(unsigned inType, unsigned nIn, unsigned outType, unsigned nOut) override;
    void DoTransform(const void* src, void* dst, unsigned count) override;
    int IsCurvesOnly() override;

    // The SHA-1 text of an entry: the wide characters of the handle's hash as 2 bytes each, the
    // intent and the black point as 4 bytes, the adaptation as 8, in the machine's byte order.
    static std::wstring EntryHash(const CLcmsProfileHandle* handle, unsigned intent,
                                  unsigned blackPoint, double adaptation);
    // lcms2's pixel type for a type of CreateTransform.
    static cmsUInt32Number PixelType(unsigned type);

    cmsHTRANSFORM Transform() const { return hTransform; }
    const std::vector<SLcmsEntry>& Entries() const { return m_Entries; }
    size_t HandleCount() const { return Handles.size(); }
    // The pool key and the flags (own bits included) of the last CreateTransform.
    const std::wstring& LastKey() const { return m_LastKey; }
    cmsUInt32Number LastFlags() const { return m_LastFlags; }

private:
    void AddFile(const std::wstring& path, int intent, int blackPoint, bool atFront);
    void AddEntry(CLcmsProfileHandle* handle, int intent, int blackPoint, bool atFront);
    void CloseAll();

    ILcmsTransformPool& Pool;
    const unsigned nInBytes = 2; // 16-bit samples only
    const unsigned nOutBytes = 2;
    const double AdaptationState = 1.0;
    std::vector<SLcmsEntry> m_Entries;
    cmsHTRANSFORM hTransform = nullptr; // owned by the pool
    std::vector<std::unique_ptr<CLcmsProfileHandle>> Handles;
    std::wstring m_LastKey;
    cmsUInt32Number m_LastFlags = 0;
};
