#include "colorlink/icm/LcmsIcmPlatform.h"

#include <lcms2.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/Exception.h"
#include "base/File.h"
#include "base/Resource.h"

namespace {

constexpr size_t kHeaderBytes = sizeof(icm::PROFILEHEADER);
// Pixels converted at a time where bytes are reordered: two buffers of this many pixels of up
// to eight channels stay on the stack.
constexpr unsigned kChunkPixels = 512;
constexpr unsigned kMaxBmChannels = 8;
// Above this many input channels lcms2 evaluates the chain for each pixel instead of sampling
// it into one new grid first: that grid has seven or more points on each input, and sampling
// it for seven or eight inputs takes seconds to tens of seconds per transform.
constexpr int kMaxResampledInputs = 6;

uint32_t BigEndian32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

// The header as mscms gives it: each four bytes of the file as one number in the machine's
// order, the reserved bytes as they stand.
icm::PROFILEHEADER ParseHeader(const uint8_t* b) {
    icm::PROFILEHEADER h{};
    uint32_t* const words[] = {&h.phSize,
                               &h.phCMMType,
                               &h.phVersion,
                               &h.phClass,
                               &h.phDataColorSpace,
                               &h.phConnectionSpace,
                               &h.phDateTime[0],
                               &h.phDateTime[1],
                               &h.phDateTime[2],
                               &h.phSignature,
                               &h.phPlatform,
                               &h.phProfileFlags,
                               &h.phManufacturer,
                               &h.phModel,
                               &h.phAttributes[0],
                               &h.phAttributes[1],
                               &h.phRenderingIntent,
                               reinterpret_cast<uint32_t*>(&h.phIlluminant.ciexyzX),
                               reinterpret_cast<uint32_t*>(&h.phIlluminant.ciexyzY),
                               reinterpret_cast<uint32_t*>(&h.phIlluminant.ciexyzZ),
                               &h.phCreator};
    for (uint32_t* w : words) {
        *w = BigEndian32(b);
        b += 4;
    }
    std::copy(b, b + sizeof h.phReserved, h.phReserved);
    return h;
}

// Where the samples of a bitmap format stand: how many a pixel has, and whether they run in
// the reverse of the colour space's own order (blue-green-red, KYMC).
struct SLayout {
    unsigned channels = 0;
    bool reversed = false;
};

// The layout of `format` when it fits a colour space of `channels` channels, else false.
bool Fits(icm::BMFORMAT format, cmsColorSpaceSignature space, int channels, SLayout& layout) {
    switch (format) {
    case icm::BM_BGRTRIPLETS:
        layout = {3, true};
        return space == cmsSigRgbData;
    case icm::BM_CMYKQUADS:
        layout = {4, false};
        return channels == 4;
    case icm::BM_KYMCQUADS:
        layout = {4, true};
        return channels == 4;
    case icm::BM_5CHANNEL:
    case icm::BM_6CHANNEL:
    case icm::BM_7CHANNEL:
    case icm::BM_8CHANNEL:
        layout = {5 + (format - icm::BM_5CHANNEL), false};
        return channels == int(layout.channels);
    case icm::BM_LabTRIPLETS: // the ICC 8-bit encoding of Lab, which lcms2 uses for 8-bit Lab
        layout = {3, false};
        return space == cmsSigLabData;
    case icm::BM_G3CHTRIPLETS:
        layout = {3, false};
        return channels == 3;
    default:
        return false;
    }
}

// The colour spaces at the two ends of a chain, found as lcms2 finds them when it builds the
// transform: the first profile is entered from its data space, and each later profile is gone
// through forwards when the chain stands in a device space before it, backwards when it
// stands in the connection space; a device link always forwards.
std::pair<cmsColorSpaceSignature, cmsColorSpaceSignature>
EndSpaces(const std::vector<cmsHPROFILE>& chain) {
    cmsColorSpaceSignature entry = cmsGetColorSpace(chain.front());
    cmsColorSpaceSignature current = entry;
    for (size_t i = 0; i < chain.size(); ++i) {
        const bool forwards = (current != cmsSigXYZData && current != cmsSigLabData) ||
                              cmsGetDeviceClass(chain[i]) == cmsSigLinkClass;
        const cmsColorSpaceSignature in =
            forwards ? cmsGetColorSpace(chain[i]) : cmsGetPCS(chain[i]);
        current = forwards ? cmsGetPCS(chain[i]) : cmsGetColorSpace(chain[i]);
        if (i == 0) entry = in;
    }
    return {entry, current};
}

// The lcms2 format of 8-bit samples of `space` in its own channel order.
cmsUInt32Number Format8(cmsColorSpaceSignature space, int channels) {
    return COLORSPACE_SH(_cmsLCMScolorSpace(space)) | CHANNELS_SH(channels) | BYTES_SH(1);
}

void ReversePixels(const uint8_t* src, uint8_t* dst, unsigned pixels, unsigned channels) {
    for (unsigned i = 0; i < pixels; ++i, src += channels, dst += channels)
        std::reverse_copy(src, src + channels, dst);
}

// Bytes from one row to the next: as given, or the row padded to four bytes when 0.
size_t RowStride(uint32_t stride, size_t rowBytes) {
    return stride ? stride : (rowBytes + 3) & ~size_t(3);
}

} // namespace

struct CLcmsIcmPlatform::SImpl {
    struct SProfile {
        cmsHPROFILE h = nullptr;
        uint8_t header[kHeaderBytes];
        ~SProfile() {
            if (h) cmsCloseProfile(h);
        }
    };
    struct STransform {
        cmsHTRANSFORM h = nullptr;
        cmsColorSpaceSignature inSpace, outSpace;
        int inChannels, outChannels;
        ~STransform() {
            if (h) cmsDeleteTransform(h);
        }
    };
    struct SResource {
        std::unique_ptr<unsigned char[]> data;
        unsigned size = 0;
    };

    SImpl() : ctx(cmsCreateContext(nullptr, nullptr)) {
        // lcms2 reports its refusals through this handler; the answers of the calls say enough.
        cmsSetLogErrorHandlerTHR(ctx, [](cmsContext, cmsUInt32Number, const char*) {});
    }
    ~SImpl() {
        transforms.clear();
        profiles.clear();
        cmsDeleteContext(ctx);
    }

    // The open profile of a handle, or null. Called under `mutex`.
    SProfile* Profile(icm::HPROFILE h) const {
        auto it = profiles.find(h);
        return it == profiles.end() ? nullptr : it->second.get();
    }

    // The resource of a handle, or null. Called under `mutex`.
    const SResource* Resource(void* h) const {
        for (const auto& [key, r] : resources)
            if (&r == h) return &r;
        return nullptr;
    }

    // A handle for the profile in `bytes`, or null when lcms2 finds no ICC profile there.
    icm::HPROFILE Open(const uint8_t* bytes, size_t size) {
        if (size < kHeaderBytes || size > UINT32_MAX) return nullptr;
        auto p = std::make_unique<SProfile>();
        p->h = cmsOpenProfileFromMemTHR(ctx, bytes, cmsUInt32Number(size));
        if (!p->h) return nullptr;
        std::copy(bytes, bytes + kHeaderBytes, p->header);
        std::lock_guard lock(mutex);
        icm::HPROFILE handle = p.get();
        profiles.emplace(handle, std::move(p));
        return handle;
    }

    cmsContext ctx;
    std::atomic<uint32_t> cmm{0};
    mutable std::mutex mutex; // profiles and resources
    std::unordered_map<icm::HPROFILE, std::unique_ptr<SProfile>> profiles;
    std::map<std::pair<unsigned, unsigned>, SResource> resources;
    mutable std::shared_mutex transformMutex; // shared while pixels are converted
    std::unordered_map<icm::HTRANSFORM, std::unique_ptr<STransform>> transforms;
};

CLcmsIcmPlatform::CLcmsIcmPlatform() : m(std::make_unique<SImpl>()) {}
CLcmsIcmPlatform::~CLcmsIcmPlatform() = default;

int CLcmsIcmPlatform::SelectCMM(uint32_t cmmId) {
    if (cmmId != 0 && cmmId != kLcmsCmmId) return 0; // no such engine here
    m->cmm = cmmId;
    return 1;
}

uint32_t CLcmsIcmPlatform::SelectedCMM() const {
    return m->cmm;
}

icm::HPROFILE CLcmsIcmPlatform::OpenColorProfileW(const icm::PROFILE* profile,
                                                  uint32_t desiredAccess, uint32_t /*shareMode*/,
                                                  uint32_t creationMode) {
    // Profiles are only read here: writing and creating are refused.
    if (!profile || !profile->pProfileData || desiredAccess != icm::kProfileRead) return nullptr;
    try {
        if (profile->dwType == icm::kProfileMemBuffer)
            return m->Open(static_cast<const uint8_t*>(profile->pProfileData), profile->cbDataSize);
        if (profile->dwType != icm::kProfileFileName || creationMode != icm::kOpenExisting)
            return nullptr;
        // The path ends at its terminator, which must lie within the size given.
        const auto* path = static_cast<const wchar_t*>(profile->pProfileData);
        const size_t maxChars = profile->cbDataSize / sizeof(wchar_t);
        const size_t len = std::find(path, path + maxChars, L'\0') - path;
        if (len == 0 || len == maxChars) return nullptr;
        CFile file;
        if (!file.Open(std::wstring(path, len).c_str(),
                       CFile::modeRead | CFile::shareDenyWrite | CFile::typeBinary))
            return nullptr;
        const uint64_t size = file.GetLength();
        if (size < kHeaderBytes || size > UINT32_MAX) return nullptr;
        std::vector<uint8_t> bytes(size);
        if (file.Read(bytes.data(), unsigned(size)) != size) return nullptr;
        return m->Open(bytes.data(), bytes.size());
    } catch (const CException&) {
        return nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int CLcmsIcmPlatform::GetColorProfileHeader(icm::HPROFILE profile, icm::PROFILEHEADER* header) {
    if (!header) return 0;
    std::lock_guard lock(m->mutex);
    const SImpl::SProfile* p = m->Profile(profile);
    if (!p) return 0;
    *header = ParseHeader(p->header);
    return 1;
}

int CLcmsIcmPlatform::CloseColorProfile(icm::HPROFILE profile) {
    std::lock_guard lock(m->mutex);
    return m->profiles.erase(profile) ? 1 : 0;
}

icm::HTRANSFORM CLcmsIcmPlatform::CreateMultiProfileTransform(const icm::HPROFILE* profiles,
                                                              uint32_t nProfiles,
                                                              const uint32_t* intents,
                                                              uint32_t nIntents, uint32_t flags,
                                                              uint32_t cmmIndex) {
    // One intent for all or one for each; no modes or flags; no engine but this one.
    if (!profiles || nProfiles == 0 || !intents || (nIntents != 1 && nIntents != nProfiles) ||
        flags != 0 || (cmmIndex != 0 && cmmIndex != kLcmsCmmId))
        return nullptr;
    try {
        // ICM and lcms2 number the four intents alike.
        std::vector<cmsUInt32Number> lcmsIntents(nProfiles);
        for (uint32_t i = 0; i < nProfiles; ++i) {
            lcmsIntents[i] = intents[nIntents == 1 ? 0 : i];
            if (lcmsIntents[i] > icm::kIntentAbsoluteColorimetric) return nullptr;
        }
        std::vector<cmsBool> noBlackPointCompensation(nProfiles, FALSE);
        std::vector<cmsFloat64Number> adaptation(nProfiles, cmsSetAdaptationStateTHR(m->ctx, -1));

        // The profiles stay locked while lcms2 reads them, so none is closed meanwhile.
        std::lock_guard lock(m->mutex);
        std::vector<cmsHPROFILE> chain(nProfiles);
        for (uint32_t i = 0; i < nProfiles; ++i) {
            const SImpl::SProfile* p = m->Profile(profiles[i]);
            if (!p) return nullptr;
            chain[i] = p->h;
        }
        auto t = std::make_unique<SImpl::STransform>();
        std::tie(t->inSpace, t->outSpace) = EndSpaces(chain);
        t->inChannels = cmsChannelsOfColorSpace(t->inSpace);
        t->outChannels = cmsChannelsOfColorSpace(t->outSpace);
        if (t->inChannels < 1 || t->outChannels < 1 || t->inChannels > cmsMAXCHANNELS ||
            t->outChannels > cmsMAXCHANNELS)
            return nullptr;
        t->h = cmsCreateExtendedTransform(
            m->ctx, nProfiles, chain.data(), noBlackPointCompensation.data(), lcmsIntents.data(),
            adaptation.data(), nullptr, 0, Format8(t->inSpace, t->inChannels),
            Format8(t->outSpace, t->outChannels),
            t->inChannels > kMaxResampledInputs ? cmsFLAGS_NOOPTIMIZE : 0);
        if (!t->h) return nullptr;
        std::unique_lock transformLock(m->transformMutex);
        icm::HTRANSFORM handle = t.get();
        m->transforms.emplace(handle, std::move(t));
        return handle;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int CLcmsIcmPlatform::TranslateBitmapBits(icm::HTRANSFORM transform, const void* src,
                                          icm::BMFORMAT inFormat, uint32_t width, uint32_t height,
                                          uint32_t inStride, void* dst, icm::BMFORMAT outFormat,
                                          uint32_t outStride, void* /*callback*/,
                                          uintptr_t /*callbackData*/) {
    if (!transform || !src || !dst || width == 0 || height == 0) return 0;
    std::shared_lock lock(m->transformMutex);
    auto it = m->transforms.find(transform);
    if (it == m->transforms.end()) return 0;
    const SImpl::STransform& t = *it->second;
    SLayout in, out;
    if (!Fits(inFormat, t.inSpace, t.inChannels, in) ||
        !Fits(outFormat, t.outSpace, t.outChannels, out))
        return 0;
    const size_t inRow = size_t(width) * in.channels, outRow = size_t(width) * out.channels;
    if ((inStride && inStride < inRow) || (outStride && outStride < outRow)) return 0;
    const size_t inStep = RowStride(inStride, inRow), outStep = RowStride(outStride, outRow);

    uint8_t inBuf[kChunkPixels * kMaxBmChannels];
    uint8_t outBuf[kChunkPixels * kMaxBmChannels];
    for (uint32_t y = 0; y < height; ++y) {
        const uint8_t* s = static_cast<const uint8_t*>(src) + y * inStep;
        uint8_t* d = static_cast<uint8_t*>(dst) + y * outStep;
        for (uint32_t done = 0; done < width;) {
            const unsigned n = std::min<uint32_t>(kChunkPixels, width - done);
            const uint8_t* from = s + size_t(done) * in.channels;
            uint8_t* to = d + size_t(done) * out.channels;
            if (in.reversed) {
                ReversePixels(from, inBuf, n, in.channels);
                from = inBuf;
            }
            cmsDoTransform(t.h, from, out.reversed ? outBuf : to, n);
            if (out.reversed) ReversePixels(outBuf, to, n, out.channels);
            done += n;
        }
    }
    return 1;
}

icm::HRSRC CLcmsIcmPlatform::FindResourceW(unsigned id, unsigned type) {
    std::lock_guard lock(m->mutex);
    auto it = m->resources.find({id, type});
    if (it == m->resources.end()) {
        // The store hands out copies; one is kept for as long as this object, as a loaded
        // resource stays for as long as its library.
        SImpl::SResource r;
        r.data.reset(GetCopyOfUserdefResource(UserdefResourceId(id).c_str(),
                                              UserdefResourceId(type).c_str(), &r.size));
        if (!r.data) return nullptr;
        it = m->resources.emplace(std::make_pair(id, type), std::move(r)).first;
    }
    return &it->second;
}

uint32_t CLcmsIcmPlatform::SizeofResource(icm::HRSRC resource) {
    std::lock_guard lock(m->mutex);
    const SImpl::SResource* r = m->Resource(resource);
    return r ? r->size : 0;
}

icm::HGLOBAL CLcmsIcmPlatform::LoadResource(icm::HRSRC resource) {
    // Found is loaded: the copy is already in memory.
    std::lock_guard lock(m->mutex);
    return m->Resource(resource) ? resource : nullptr;
}

const void* CLcmsIcmPlatform::LockResource(icm::HGLOBAL loaded) {
    std::lock_guard lock(m->mutex);
    const SImpl::SResource* r = m->Resource(loaded);
    return r ? r->data.get() : nullptr;
}

size_t CLcmsIcmPlatform::OpenProfileCount() const {
    std::lock_guard lock(m->mutex);
    return m->profiles.size();
}

size_t CLcmsIcmPlatform::TransformCount() const {
    std::shared_lock lock(m->transformMutex);
    return m->transforms.size();
}

#ifndef _WIN32
IIcmPlatform& DefaultIcmPlatform() {
    // Never destroyed: a link deleted while the process ends still finds its platform.
    static CLcmsIcmPlatform* const platform = new CLcmsIcmPlatform;
    return *platform;
}
#endif
