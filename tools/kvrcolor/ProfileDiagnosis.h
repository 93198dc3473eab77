// Why a profile file cannot be read, in words that name the field or the tag and the problem,
// for the message the tool gives when the library's reader refuses a file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct ProfileDiagnosis {
    bool isProfile = false; // a header with the profile signature: damaged rather than foreign
    std::string problem;    // empty when nothing is found
};

// The first problem found, checking in file order: the header (size, signature, announced
// length), the tag table (count, each entry's place, overlaps) and each known tag type's own
// counts and channels. Reads within `bytes` only.
ProfileDiagnosis DiagnoseProfile(const std::vector<uint8_t>& bytes);

// The one-line text for a file the reader refused: "not an ICC profile: ..." or "damaged ICC
// profile: ...", or the reader's general words when nothing particular is found.
std::string DiagnosisText(const std::vector<uint8_t>& bytes);
