#include "TiffExif.h"

#include <cstring>

#include "TiffErrors.h"

namespace {

// A value as libtiff hands over one scalar: the member its description names.
union ScalarValue {
    uint8_t u8;
    int8_t s8;
    uint16_t u16;
    int16_t s16;
    uint32_t u32;
    int32_t s32;
    uint64_t u64;
    float f;
    double d;
};

bool ReadEntry(TIFF* tif, uint32_t tag, TiffDirEntry& e) {
    const TIFFField* field = TIFFFieldWithTag(tif, tag);
    if (!field || TIFFFieldIsAnonymous(field)) return false; // a writer would not know it
    const int size = TIFFFieldSetGetSize(field);
    if (size <= 0) return false;
    e.tag = tag;
    const auto take = [&](const void* data, uint32_t count) {
        if (!data && count > 0) return false;
        const auto* bytes = static_cast<const uint8_t*>(data);
        e.count = count;
        e.value.assign(bytes, bytes + size_t(count) * size_t(size));
        return true;
    };
    if (TIFFFieldPassCount(field)) {
        void* data = nullptr;
        if (TIFFFieldSetGetCountSize(field) == 2) {
            uint16_t count = 0;
            return TIFFGetField(tif, tag, &count, &data) && take(data, count);
        }
        uint32_t count = 0;
        return TIFFGetField(tif, tag, &count, &data) && take(data, count);
    }
    if (TIFFFieldDataType(field) == TIFF_ASCII) {
        const char* text = nullptr;
        if (!TIFFGetField(tif, tag, &text) || !text) return false;
        return take(text, uint32_t(std::strlen(text) + 1)); // with its terminating zero
    }
    const int count = TIFFFieldReadCount(field);
    if (count == 1) {
        ScalarValue v{};
        return TIFFGetField(tif, tag, &v) && take(&v, 1);
    }
    // A fixed number of values, or one value of a variable field, comes as a pointer.
    void* data = nullptr;
    return TIFFGetField(tif, tag, &data) && take(data, uint32_t(count > 1 ? count : 1));
}

std::vector<TiffDirEntry> ReadEntries(TIFF* tif) {
    std::vector<TiffDirEntry> entries;
    const int n = TIFFGetTagListCount(tif);
    for (int i = 0; i < n; ++i) {
        TiffDirEntry e;
        if (ReadEntry(tif, TIFFGetTagListEntry(tif, i), e)) entries.push_back(std::move(e));
    }
    return entries;
}

bool WriteEntry(TIFF* tif, const TiffDirEntry& e) {
    const TIFFField* field = TIFFFindField(tif, e.tag, TIFF_ANY);
    const int size = field ? TIFFFieldSetGetSize(field) : 0;
    // An entry this libtiff does not describe the same way cannot be written; it is left out.
    if (size <= 0 || e.value.size() != size_t(e.count) * size_t(size)) return true;
    const void* data = e.value.data();
    if (TIFFFieldPassCount(field)) return TIFFSetField(tif, e.tag, e.count, data);
    if (TIFFFieldDataType(field) == TIFF_ASCII)
        return e.value.empty() || e.value.back() != 0 ||
               TIFFSetField(tif, e.tag, static_cast<const char*>(data));
    if (TIFFFieldWriteCount(field) != 1) return TIFFSetField(tif, e.tag, data);
    ScalarValue v{};
    std::memcpy(&v, data, size_t(size));
    // Scalars go through the variable arguments in their promoted types.
    switch (TIFFFieldDataType(field)) {
    case TIFF_BYTE:
    case TIFF_UNDEFINED:
        return TIFFSetField(tif, e.tag, int(v.u8));
    case TIFF_SBYTE:
        return TIFFSetField(tif, e.tag, int(v.s8));
    case TIFF_SHORT:
        return TIFFSetField(tif, e.tag, int(v.u16));
    case TIFF_SSHORT:
        return TIFFSetField(tif, e.tag, int(v.s16));
    case TIFF_LONG:
    case TIFF_IFD:
        return TIFFSetField(tif, e.tag, v.u32);
    case TIFF_SLONG:
        return TIFFSetField(tif, e.tag, v.s32);
    case TIFF_LONG8:
    case TIFF_SLONG8:
    case TIFF_IFD8:
        return TIFFSetField(tif, e.tag, v.u64);
    case TIFF_RATIONAL:
    case TIFF_SRATIONAL:
    case TIFF_FLOAT:
    case TIFF_DOUBLE:
        return TIFFSetField(tif, e.tag, size == int(sizeof(float)) ? double(v.f) : v.d);
    default:
        return true;
    }
}

// Writes one custom directory of `entries` at the end of the file; its offset into `at`.
bool WriteDirectory(TIFF* tif, int (*create)(TIFF*), const std::vector<TiffDirEntry>& entries,
                    uint64_t& at) {
    if (entries.empty()) return true;
    if (create(tif) != 0) return false;
    // An entry libtiff refuses is left out: the rest of the directory is still worth keeping.
    for (const TiffDirEntry& e : entries)
        if (!WriteEntry(tif, e)) ClearTiffError();
    const bool written = TIFFWriteCustomDirectory(tif, &at) != 0;
    // Setting up the next directory does not free this one's values: free them here.
    TIFFFreeDirectory(tif);
    return written;
}
} // namespace

bool ReadTiffExifDirectories(TIFF* tif, ImageMetadata& meta) {
    uint64_t exifAt = 0, gpsAt = 0;
    if (!TIFFGetField(tif, TIFFTAG_EXIFIFD, &exifAt)) exifAt = 0;
    if (!TIFFGetField(tif, TIFFTAG_GPSIFD, &gpsAt)) gpsAt = 0;
    if (exifAt == 0 && gpsAt == 0) return true;
    const tdir_t image = TIFFCurrentDirectory(tif);
    // A directory that cannot be read is metadata lost, not a reason to refuse the image.
    if (exifAt != 0 && TIFFReadEXIFDirectory(tif, exifAt)) meta.tiffExif = ReadEntries(tif);
    if (gpsAt != 0 && TIFFReadGPSDirectory(tif, gpsAt)) meta.tiffGps = ReadEntries(tif);
    ClearTiffError();
    return TIFFSetDirectory(tif, image) != 0;
}

bool WriteTiffExifDirectories(TIFF* tif, const ImageMetadata& meta) {
    uint64_t exifAt = 0, gpsAt = 0;
    if (!WriteDirectory(tif, TIFFCreateEXIFDirectory, meta.tiffExif, exifAt) ||
        !WriteDirectory(tif, TIFFCreateGPSDirectory, meta.tiffGps, gpsAt))
        return false;
    if (exifAt == 0 && gpsAt == 0) return true;
    // Back to an image directory (the custom ones' values are freed as they are written).
    TIFFCreateDirectory(tif);
    return (exifAt == 0 || TIFFSetField(tif, TIFFTAG_EXIFIFD, exifAt)) &&
           (gpsAt == 0 || TIFFSetField(tif, TIFFTAG_GPSIFD, gpsAt));
}
