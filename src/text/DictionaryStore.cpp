#include "text/DictionaryStore.h"

#include "platform/FileLocations.h"
#include "records/Log.h"
#include "support/Time.h"
#include "support/Unicode.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <mutex>
#include <sstream>

namespace selvar::DictionaryStore {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBiasPromptLimit = 201; // characters; a prompt stays below this

// The file's identity for the log: a broken file is logged once, and again after each edit.
std::string fileVersion(const fs::path &file) {
  std::error_code ec;
  auto size = fs::file_size(file, ec);
  auto modified = fs::last_write_time(file, ec).time_since_epoch().count();
  return fmt::format("{}:{}", size, modified);
}

void noteReadOutcome(const fs::path &file, const DictionaryRead &read) {
  static std::mutex mutex;
  static std::string lastLogged;
  std::lock_guard lock(mutex);
  if (read.ok() || read.status == DictionaryRead::Status::missing) {
    lastLogged.clear();
    return;
  }
  std::string line = read.status == DictionaryRead::Status::unreadable
                         ? fmt::format("dictionary unreadable, no rules in use: {}: {}",
                                       file.string(), read.detail)
                         : fmt::format("dictionary does not decode, no rules in use: {}: {}",
                                       file.string(), read.detail);
  std::string key = line + "@" + fileVersion(file);
  if (key == lastLogged) return;
  lastLogged = key;
  Log::write(line);
}

bool writeFile(const fs::path &file, const std::string &contents) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  if (out) out.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  if (out) out.flush();
  if (out) return true;
  Log::write(fmt::format("dictionary write failed: {}: {}", file.string(), std::strerror(errno)));
  return false;
}

fs::path asideName(const fs::path &file) {
  std::string stamp = formatIso8601(wallNow());
  for (char &c : stamp)
    if (c == ':') c = '-';
  fs::path dir = file.parent_path();
  fs::path candidate = dir / fmt::format("dictionary.unreadable-{}.json", stamp);
  std::error_code ec;
  for (int n = 2; fs::exists(candidate, ec); ++n)
    candidate = dir / fmt::format("dictionary.unreadable-{}-{}.json", stamp, n);
  return candidate;
}

// Copies a file that does not decode out of the way of a save; false when that failed.
bool keepUndecodable(const fs::path &file) {
  if (read(file).status != DictionaryRead::Status::undecodable) return true;
  fs::path aside = asideName(file);
  std::error_code ec;
  fs::copy_file(file, aside, ec);
  if (ec) {
    Log::write(fmt::format("dictionary save failed: could not keep the undecodable file {}: {}",
                           file.string(), ec.message()));
    return false;
  }
  Log::write(fmt::format("dictionary kept undecodable file as {}", aside.string()));
  return true;
}

} // namespace

fs::path fileURL() {
  return Paths::dictionaryFile();
}

DictionaryRead read(const fs::path &file) {
  using Status = DictionaryRead::Status;
  std::error_code ec;
  auto status = fs::status(file, ec);
  if (!fs::exists(status)) return {Status::missing, {}, "no such file"};
  if (fs::is_directory(status)) return {Status::unreadable, {}, "is a folder"};
  std::ifstream in(file, std::ios::binary);
  if (!in) return {Status::unreadable, {}, std::strerror(errno)};
  std::ostringstream contents;
  contents << in.rdbuf();
  if (in.bad()) return {Status::unreadable, {}, "read error"};
  return DictionaryCoding::decode(std::move(contents).str());
}

std::vector<DictionaryRule> rules() {
  fs::path file = fileURL();
  DictionaryRead outcome = read(file);
  noteReadOutcome(file, outcome);
  return std::move(outcome.rules);
}

bool save(const std::vector<DictionaryRule> &rules) {
  fs::path file = fileURL();
  if (!keepUndecodable(file)) return false;
  if (!writeFile(file, DictionaryCoding::encode(rules))) return false;
  Log::write(fmt::format("dictionary saved {} rules", rules.size()));
  return true;
}

std::vector<DictionaryRule> starterRules() {
  return {{"example phrase", "Example Phrase", false}};
}

bool createStarterFileIfMissing() {
  fs::path file = fileURL();
  std::error_code ec;
  if (fs::exists(file, ec)) return true;
  return writeFile(file, DictionaryCoding::encode(starterRules()));
}

std::string biasPrompt() {
  return biasPrompt(rules());
}

std::string biasPrompt(const std::vector<DictionaryRule> &rules) {
  std::string result;
  for (const auto &rule : rules) {
    if (rule.heard.empty()) continue;
    std::string candidate = result.empty() ? rule.heard : result + ", " + rule.heard;
    if (graphemeCount(candidate) >= kBiasPromptLimit) break;
    result = std::move(candidate);
  }
  return result;
}

} // namespace selvar::DictionaryStore
