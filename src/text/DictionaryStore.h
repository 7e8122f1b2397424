#pragma once
// The dictionary file on disk ("dictionary.json" in the data root). Rules are read fresh on
// every call, so a hand edit counts from the next utterance on. Reads never write.

#include "text/DictionaryRule.h"

#include <filesystem>
#include <vector>

namespace selvar::DictionaryStore {

// The file's location; computing it creates the data folder when missing.
std::filesystem::path fileURL();

// The rules of the file; empty when it is missing, unreadable or does not decode. A file that
// cannot be used is logged once, and again after each edit that leaves it unusable.
std::vector<DictionaryRule> rules();
// Reads and decodes any dictionary file, saying why when that fails.
DictionaryRead read(const std::filesystem::path &file);

// Writes the rules in place and logs "dictionary saved N rules". A file that no longer decodes
// is copied aside first ("dictionary.unreadable-<time>.json"), so no hand edit is lost.
bool save(const std::vector<DictionaryRule> &rules);

// The one-rule file a first-time user opens and edits.
std::vector<DictionaryRule> starterRules();
// Writes the starter file unless a file is already there; true when the file exists afterwards.
bool createStarterFileIfMissing();

// The rules' heard phrases, in file order, joined by ", " while the result stays under 201
// characters: the prompt that biases the server recognizer.
std::string biasPrompt();
std::string biasPrompt(const std::vector<DictionaryRule> &rules);

} // namespace selvar::DictionaryStore
