// Copying an ICC profile that a PDF file embeds as a stream out into a file of its own.
//
// The routine does not look into the PDF: the caller, which has parsed the document, says where
// the stream's bytes lie, how many there are and which filters the PDF names for them. Only an
// unfiltered stream ("None") and a stream with the single filter "FlateDecode" are copied; the
// Flate stream is inflated into a buffer of twice its stored length, and each time the output
// does not fit, the whole decompression starts again with twice the room.
//
//     CPsInfo info;
//     info.bProfilePresent = 1;
//     info.nStreamOffset = 1234;   // first byte after "stream" and its end of line
//     info.nStreamLength = 2452;   // the stream's /Length
//     info.StreamFilters = {L"FlateDecode"};
//     if (ReadPdfProfileData(L"doc.pdf", &info, L"out.icc")) { /* out.icc holds the profile */ }
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

// The filter names of a stream, in the order in which the PDF applies them to decode it.
using CPsFilterList = std::list<std::wstring>;

// What the PDF interpreter knows of a document's profile stream. Only these four fields are
// read here.
struct CPsInfo {
    int32_t bProfilePresent = 0; // non-zero if the document has a profile stream
    int64_t nStreamOffset = 0;   // file offset of the stream's first byte
    uint64_t nStreamLength = 0;  // length of the stream as stored
    CPsFilterList StreamFilters; // filter names as the PDF gives them; count and first are read
};

// The most room the Flate decompression is given. A corrupt stream never reaches its end, so
// the doubling of the output would only stop when an allocation fails, which on a machine that
// overcommits memory can mean gigabytes written first; past this size the routine raises that
// failure (std::bad_alloc) itself. 256 MiB holds any real profile: the largest, with
// 16-bit tables of many inputs in every intent, stay well below 100 MiB, and with the doubling
// every profile up to half of this (128 MiB) always fits.
inline constexpr uint64_t kPdfProfileMaxDecodedBytes = uint64_t(256) << 20;

// Writes the profile stream that `info` describes, undone of its compression, to `outPath`
// (created or overwritten). Answers 1 when `outPath` was written, 0 otherwise: no profile, the
// PDF cannot be opened, a filter chain other than "None" or "FlateDecode" alone, a stream that
// reaches past the end of the file, an output that cannot be opened. `outPath` is only created
// once the stream is complete, so a failure leaves no file. There is no test that the bytes are
// an ICC profile. A Flate stream that does not come to its end within
// kPdfProfileMaxDecodedBytes (a corrupt one, or one that inflates to more) raises
// std::bad_alloc, as the failed allocation of a larger buffer would.
int ReadPdfProfileData(const wchar_t* pdfPath, const CPsInfo* info, const wchar_t* outPath);

// What one call did, for callers that want to see it (the tests, a verbose tool): the capacity
// of each decompression attempt in order, and the length written.
struct PdfProfileTrace {
    std::vector<uint64_t> capacities; // one entry per call of inflateInit_
    uint64_t written = 0;             // bytes written to the output, when it was
};

// ReadPdfProfileData that also fills `trace` (null: the same as ReadPdfProfileData).
int ReadPdfProfileData(const wchar_t* pdfPath, const CPsInfo* info, const wchar_t* outPath,
                       PdfProfileTrace* trace);
