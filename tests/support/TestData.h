// Where the tests find their data: the profile corpus committed under tests/data/profiles, and
// checks that fail a test, saying what is missing and how to get it, when a file is absent.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace kvrtest {

// tests/data of the source tree.
std::filesystem::path TestDataDir();
// tests/data/profiles: the committed profiles and their golden dumps.
std::filesystem::path CorpusDir();
// A profile of the corpus by file name (its presence is not checked).
std::filesystem::path CorpusProfile(const std::string& name);
// Every *.icc and *.icm of the corpus, sorted.
std::vector<std::filesystem::path> CorpusProfiles();
// Every *.icc and *.icm below `root` (the system's profiles, say), sorted; empty if none.
std::vector<std::filesystem::path> InstalledProfiles(const std::filesystem::path& root);
// The profiles installed under /usr/share/color, if any, followed by those of the corpus: the
// corpus makes sure a test always has real profiles, the installed ones widen what it sees.
// The installed ones come first so that a test which numbers its profiles (to seed random
// samples, say) numbers them as it did when it read only those.
std::vector<std::filesystem::path> RealProfiles();

// Success when `path` is a file; otherwise a failure naming it and `howToGet`.
::testing::AssertionResult HaveFile(const std::filesystem::path& path, const std::string& howToGet);
// The same for a profile of the corpus.
::testing::AssertionResult HaveCorpusProfile(const std::string& name);

} // namespace kvrtest
