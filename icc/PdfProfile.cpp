#include "icc/PdfProfile.h"

#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "base/WideString.h"

namespace {

using Bytes = std::unique_ptr<uint8_t[]>;

struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

FilePtr OpenFile(const wchar_t* path, const char* mode) {
    if (!path) return nullptr;
    return FilePtr(std::fopen(WideToUtf8(path).c_str(), mode));
}

// Room for `n` bytes, not cleared: the decompression writes only what it produces, so an
// attempt touches no more memory than the stream gives.
Bytes Allocate(uint64_t n) {
    if (n > SIZE_MAX) throw std::bad_alloc();
    return std::make_unique_for_overwrite<uint8_t[]>(size_t(n ? n : 1));
}

// True when fewer than `length` bytes follow `offset` in the file, known from its size without
// reading. The read would come up short and the routine answer 0 all the same; knowing it first
// keeps a length far past the end from being allocated. A file whose size cannot be told (not
// a regular file) is left to the read.
bool EndsBefore(FILE* f, int64_t offset, uint64_t length) {
    if (std::fseek(f, 0, SEEK_END) != 0) return false;
    const long size = std::ftell(f);
    if (size < 0) return false;
    return offset < 0 || offset > size || length > uint64_t(size - offset);
}

// Seeks to the stream and reads all of it; null on a short read.
Bytes ReadStream(FILE* f, int64_t offset, uint64_t length) {
    if (EndsBefore(f, offset, length)) return nullptr;
    if (std::fseek(f, long(offset), SEEK_SET) != 0) return nullptr;
    Bytes data = Allocate(length);
    if (length > 0 && std::fread(data.get(), 1, size_t(length), f) != length) return nullptr;
    return data;
}

// Creates `outPath` and writes the bytes; false when it cannot be opened or written. A file
// that could not be written whole (a full disk) is removed again rather than left half written.
bool WriteOut(const wchar_t* outPath, const uint8_t* data, uint64_t length) {
    FilePtr out = OpenFile(outPath, "wb");
    if (!out) return false;
    const bool written = length == 0 || std::fwrite(data, 1, size_t(length), out.get()) == length;
    if (std::fclose(out.release()) == 0 && written) return true;
    std::remove(WideToUtf8(outPath).c_str());
    return false;
}

// One decompression attempt from the start of the input into `capacity` bytes of output.
// Answers the length on Z_STREAM_END, -1 for any other outcome (taken as too little room), and
// throws nothing of its own.
int64_t InflateOnce(const uint8_t* in, uint64_t inLength, uint8_t* out, uint64_t capacity,
                    bool& initFailed) {
    z_stream stream;
    std::memset(&stream, 0, sizeof stream);
    stream.next_in = const_cast<uint8_t*>(in);
    stream.avail_in = uInt(inLength); // the low 32 bits, as the routine has always passed them
    stream.next_out = out;
    stream.avail_out = uInt(capacity);
    // The version text and structure size of the zlib this was built with; window of 15 bits,
    // so the stream must begin with a zlib header.
    if (inflateInit_(&stream, ZLIB_VERSION, int(sizeof(z_stream))) != Z_OK) {
        initFailed = true;
        return -1;
    }
    const int result = inflate(&stream, Z_FINISH);
    const uint64_t produced = stream.total_out;
    inflateEnd(&stream);
    return result == Z_STREAM_END ? int64_t(produced) : -1;
}

int CopyFlate(FILE* pdf, const CPsInfo& info, const wchar_t* outPath, PdfProfileTrace* trace) {
    const Bytes input = ReadStream(pdf, info.nStreamOffset, info.nStreamLength);
    if (!input) return 0;
    uint64_t capacity = 2 * info.nStreamLength;
    for (;;) {
        // Past the ceiling the allocation is failed here instead of by the system.
        if (capacity > kPdfProfileMaxDecodedBytes) throw std::bad_alloc();
        Bytes output = Allocate(capacity);
        if (trace) trace->capacities.push_back(capacity);
        bool initFailed = false;
        const int64_t length =
            InflateOnce(input.get(), info.nStreamLength, output.get(), capacity, initFailed);
        if (initFailed) return 0;
        if (length >= 0) {
            if (!WriteOut(outPath, output.get(), uint64_t(length))) return 0;
            if (trace) trace->written = uint64_t(length);
            return 1;
        }
        // Whatever the code, the stream did not end: start again with twice the room. A
        // capacity of 0 (an empty stream) would never grow, and an empty input never ends.
        capacity = capacity ? 2 * capacity : kPdfProfileMaxDecodedBytes + 1;
    }
}

int CopyPlain(FILE* pdf, const CPsInfo& info, const wchar_t* outPath, PdfProfileTrace* trace) {
    const Bytes data = ReadStream(pdf, info.nStreamOffset, info.nStreamLength);
    if (!data) return 0;
    if (!WriteOut(outPath, data.get(), info.nStreamLength)) return 0;
    if (trace) trace->written = info.nStreamLength;
    return 1;
}

} // namespace

int ReadPdfProfileData(const wchar_t* pdfPath, const CPsInfo* info, const wchar_t* outPath,
                       PdfProfileTrace* trace) {
    if (!info || !info->bProfilePresent) return 0;
    const FilePtr pdf = OpenFile(pdfPath, "rb");
    if (!pdf) return 0;
    // No filter name, or a chain of two or more: not copied.
    if (info->StreamFilters.size() != 1) return 0;
    const std::wstring& filter = info->StreamFilters.front();
    if (filter == L"None") return CopyPlain(pdf.get(), *info, outPath, trace);
    if (filter == L"FlateDecode") return CopyFlate(pdf.get(), *info, outPath, trace);
    return 0;
}

int ReadPdfProfileData(const wchar_t* pdfPath, const CPsInfo* info, const wchar_t* outPath) {
    return ReadPdfProfileData(pdfPath, info, outPath, nullptr);
}
