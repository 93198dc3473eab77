// The profile dump: a loaded or generated profile as plain text that a person can read, with
// the header, the tag table, then each tag with its description and decoded contents.
//
// Every line ends in "\r\n". The blocks are read in host order, as the reader and the
// generator hold them; nothing in the profile is changed.
//
// Signatures are printed as their four characters, first character first, each as a signed
// 8-bit character widened to 16 bits: a byte below 0x80 is that character, a byte from 0x80 is
// 0xFF00 + byte, and a zero byte stays a zero character inside the text (the header of a
// profile without a model, for example, prints four of them).
//
// Texts of text and desc tags are 8-bit: they are shown as UTF-8 where they are valid UTF-8,
// else as Windows-1252. Numbers are formatted independently of the locale.
//
// Contents are decoded by the counts in the block. DumpTag and DumpTagData read nothing beyond
// the tag's size (and the block's bytes, where given): a tag whose counts reach beyond is shown
// as far as its data goes. The DumpTagType functions trust the block and the counts passed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "icc/IccRecords.h"

class CIccProfile;

// "---icHeader---" and one line per header field up to renderingIntent.
std::wstring DumpHeader(const icHeader& header);
std::wstring DumpHeader(const CIccProfile& profile);

// "---icTagTable---", the count, and signature, offset and size of every entry.
std::wstring DumpTagTable(const icTagTable* table);
std::wstring DumpTagTable(const CIccProfile& profile);

// The head of a tag (offset, size, signature, description where known) and its contents.
std::wstring DumpTagData(const uint32_t* block, icTag tag);
// The same, reading at most `blockBytes` bytes of the block.
std::wstring DumpTagData(const uint32_t* block, icTag tag, size_t blockBytes);

// The contents of a tag block of `size` bytes, by its type signature; an unknown type prints
// "type unsupported" and its signature.
std::wstring DumpTag(const uint32_t* block, unsigned size);
// The same, reading at most `blockBytes` bytes of the block.
std::wstring DumpTag(const uint32_t* block, unsigned size, size_t blockBytes);

// The description line of a tag signature, without line end; null for a tag without one.
const wchar_t* IccTagDescription(icTagSignature sig);

// One function per supported tag type. Each prints the "type" line and the contents; `count`
// is the number of elements (bytes, values or records) as DumpTag passes it.
std::wstring DumpTagType(const icCurveType* block);
std::wstring DumpTagType(const icDataType* block, uint32_t count);
std::wstring DumpTagType(const icDateTimeType* block);
std::wstring DumpTagType(const icLut16Type* block);
std::wstring DumpTagType(const icLut8Type* block);
std::wstring DumpTagType(const icMeasurmentType* block);
std::wstring DumpTagType(const icProfileDescriptionType* block);
std::wstring DumpTagType(const icS15Fixed16ArrayType* block, uint32_t count);
std::wstring DumpTagType(const icSignatureType* block);
std::wstring DumpTagType(const icTextType* block, uint32_t count);
std::wstring DumpTagType(const icU16Fixed16ArrayType* block, uint32_t count);
std::wstring DumpTagType(const icUInt8ArrayType* block, uint32_t count);
std::wstring DumpTagType(const icUInt16ArrayType* block, uint32_t count);
std::wstring DumpTagType(const icUInt32ArrayType* block, uint32_t count);
std::wstring DumpTagType(const icUInt64ArrayType* block, uint32_t count);
std::wstring DumpTagType(const icUcrBgType* block);
std::wstring DumpTagType(const icXYZType* block, uint32_t count);
