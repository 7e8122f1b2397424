#pragma once
// The settings database on Linux: one JSON object in "settings.json". Booleans, integers,
// floating-point numbers and strings are stored as the JSON values themselves (a double always
// keeps a fraction or exponent, so 2.0 stays a double); bytes as {"$bytes": "<base64>"}.
// Every change rewrites the file atomically; changes made by another process are picked up on
// the next access. A file that cannot be read is moved aside, never overwritten.

#include "platform/SettingsStore.h"

#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

namespace selvar {

class JsonFileSettingsStore : public SettingsStore {
public:
  static constexpr const char *kFileName = "settings.json";

  explicit JsonFileSettingsStore(std::filesystem::path file);
  ~JsonFileSettingsStore() override;
  JsonFileSettingsStore(const JsonFileSettingsStore &) = delete;
  JsonFileSettingsStore &operator=(const JsonFileSettingsStore &) = delete;

  std::optional<SettingValue> value(std::string_view key) const override;
  void setValue(std::string_view key, const SettingValue &value) override;
  void remove(std::string_view key) override;

  const std::filesystem::path &file() const { return file_; }

private:
  // What the file on disk looked like when last read or written.
  struct Stamp {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t mtimeNanos = 0;
    friend bool operator==(const Stamp &, const Stamp &) = default;
  };

  void refreshLocked() const;
  void loadLocked() const;
  void keepAsideLocked(const std::string &reason) const;
  void saveLocked();
  void holdLocked(int fd) const;
  static Stamp stampOf(const struct ::stat &st);

  std::filesystem::path file_;
  mutable std::mutex mutex_;
  mutable nlohmann::json values_ = nlohmann::json::object();
  mutable Stamp stamp_;
  // The file last read or written stays open: while its inode is in use, a replacement file
  // cannot reuse the inode number, so a changed inode reliably means another writer.
  mutable int heldFd_ = -1;
  // Set when an unreadable file could not be moved aside: saving would destroy it.
  mutable bool savingBlocked_ = false;
};

} // namespace selvar
