// Gradation files: per-channel tone curves that follow the printer step of a chain, as a
// printer's calibration does.
//
// Format (text): one line per output channel, in the channel order of the destination, each of
// exactly 256 numbers 0 to 65535 separated by blanks and/or commas: entry i is the output for
// input i/255 of the full range. Blank lines and lines starting with '#' are skipped.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Entries of one curve.
inline constexpr size_t kGradationEntries = 256;

// The curves of `path` for an output of `channels` channels. Throws CliError (input) naming the
// file and line for a missing or unreadable file, a number out of range, a wrong count of
// numbers on a line, or a count of lines other than `channels`.
std::vector<std::vector<uint16_t>> ReadGradation(const std::string& path, unsigned channels);
