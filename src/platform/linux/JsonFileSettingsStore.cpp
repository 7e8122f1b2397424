#include "platform/linux/JsonFileSettingsStore.h"

#include "records/Log.h"
#include "support/Time.h"

#include <atomic>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <glib.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace selvar {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr const char *kBytesKey = "$bytes";

std::string errnoText(int error) {
  return std::strerror(error);
}

bool isBase64(std::string_view text) {
  if (text.size() % 4 != 0) return false;
  std::size_t padding = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '=') {
      ++padding;
    } else if (padding > 0 ||
               !(std::isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '/')) {
      return false;
    }
  }
  return padding <= 2;
}

json encodeBytes(const SettingBytes &bytes) {
  gchar *text = g_base64_encode(bytes.data(), bytes.size());
  json out = {{kBytesKey, std::string(text ? text : "")}};
  g_free(text);
  return out;
}

std::optional<SettingBytes> decodeBytes(const json &object) {
  if (object.size() != 1) return std::nullopt;
  auto it = object.find(kBytesKey);
  if (it == object.end() || !it->is_string()) return std::nullopt;
  const auto &text = it->get_ref<const std::string &>();
  if (!isBase64(text)) return std::nullopt;
  if (text.empty()) return SettingBytes{};
  gsize length = 0;
  guchar *data = g_base64_decode(text.c_str(), &length);
  SettingBytes out(data, data + length);
  g_free(data);
  return out;
}

std::optional<SettingValue> decode(const json &v) {
  switch (v.type()) {
  case json::value_t::boolean:
    return SettingValue(v.get<bool>());
  case json::value_t::number_integer:
    return SettingValue(v.get<std::int64_t>());
  case json::value_t::number_unsigned: {
    auto u = v.get<std::uint64_t>();
    if (u <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
      return SettingValue(static_cast<std::int64_t>(u));
    return SettingValue(static_cast<double>(u));
  }
  case json::value_t::number_float:
    return SettingValue(v.get<double>());
  case json::value_t::string:
    return SettingValue(v.get<std::string>());
  case json::value_t::object:
    if (auto bytes = decodeBytes(v)) return SettingValue(std::move(*bytes));
    return std::nullopt;
  default:
    return std::nullopt;
  }
}

json encode(const SettingValue &value) {
  return std::visit(
      [](const auto &v) -> json {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, SettingBytes>)
          return encodeBytes(v);
        else
          return json(v);
      },
      value);
}

// "20250301T140709Z": the wall time without separators, for file names.
std::string compactTimestamp() {
  std::string out;
  for (char c : formatIso8601(wallNow()))
    if (c != '-' && c != ':') out += c;
  return out;
}

fs::path asideName(const fs::path &file) {
  auto base = file.string() + ".corrupt-" + compactTimestamp();
  fs::path candidate = base;
  // Only a name that is certainly taken is skipped; any other answer lets rename decide.
  auto taken = [](const fs::path &p) {
    struct stat st {};
    return ::lstat(p.c_str(), &st) == 0;
  };
  for (int n = 2; taken(candidate); ++n)
    candidate = base + "-" + std::to_string(n);
  return candidate;
}

std::optional<std::string> readAll(int fd, std::string &error) {
  std::string text;
  char buffer[16384];
  for (;;) {
    ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n == 0) return text;
    if (n < 0) {
      if (errno == EINTR) continue;
      error = errnoText(errno);
      return std::nullopt;
    }
    text.append(buffer, static_cast<std::size_t>(n));
  }
}

bool writeAll(int fd, const std::string &text) {
  std::size_t done = 0;
  while (done < text.size()) {
    ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

void syncDirectory(const fs::path &dir) {
  int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

bool isBlank(const std::string &text) {
  return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

// nlohmann's messages start with "[json.exception.parse_error.101] "; the rest reads well.
std::string parseErrorText(const std::exception &e) {
  std::string what = e.what();
  if (auto end = what.find("] "); what.rfind("[json.", 0) == 0 && end != std::string::npos)
    return what.substr(end + 2);
  return what;
}

} // namespace

JsonFileSettingsStore::JsonFileSettingsStore(fs::path file) : file_(std::move(file)) {}

JsonFileSettingsStore::~JsonFileSettingsStore() {
  if (heldFd_ >= 0) ::close(heldFd_);
}

JsonFileSettingsStore::Stamp JsonFileSettingsStore::stampOf(const struct ::stat &st) {
  return {true, st.st_dev, st.st_ino, st.st_size,
          static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec};
}

void JsonFileSettingsStore::holdLocked(int fd) const {
  if (heldFd_ >= 0) ::close(heldFd_);
  heldFd_ = fd;
}

void JsonFileSettingsStore::refreshLocked() const {
  struct stat st {};
  if (::stat(file_.c_str(), &st) != 0) {
    if (errno != ENOENT || !stamp_.exists) return;
    // Removed by someone else: the settings are back to their defaults.
    values_ = json::object();
    stamp_ = {};
    savingBlocked_ = false;
    holdLocked(-1);
    return;
  }
  if (stampOf(st) != stamp_) loadLocked();
}

void JsonFileSettingsStore::loadLocked() const {
  // Without O_NONBLOCK a FIFO in the file's place would hang the app in open() until someone
  // writes to it; the type check below then moves it aside like any other unreadable file.
  int fd = ::open(file_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    if (errno == ENOENT) {
      values_ = json::object();
      stamp_ = {};
      holdLocked(-1);
    } else {
      keepAsideLocked("cannot open it: " + errnoText(errno));
    }
    return;
  }
  struct stat st {};
  std::string error;
  std::optional<std::string> text;
  if (::fstat(fd, &st) != 0)
    error = errnoText(errno);
  else if (!S_ISREG(st.st_mode))
    error = "not a regular file";
  else
    text = readAll(fd, error);
  if (!text) {
    ::close(fd);
    keepAsideLocked(error);
    return;
  }
  json parsed = json::object();
  if (!isBlank(*text)) {
    try {
      parsed = json::parse(*text);
    } catch (const json::exception &e) {
      ::close(fd);
      keepAsideLocked(parseErrorText(e));
      return;
    }
  }
  if (!parsed.is_object()) {
    ::close(fd);
    keepAsideLocked("not a JSON object");
    return;
  }
  values_ = std::move(parsed);
  stamp_ = stampOf(st);
  holdLocked(fd);
}

void JsonFileSettingsStore::keepAsideLocked(const std::string &reason) const {
  values_ = json::object();
  holdLocked(-1);
  auto aside = asideName(file_);
  if (::rename(file_.c_str(), aside.c_str()) == 0) {
    stamp_ = {};
    savingBlocked_ = false;
    Log::write("settings file unreadable (" + reason + "): kept it as " +
               aside.filename().string() + " and using defaults");
    return;
  }
  if (errno == ENOENT) { // replaced or removed meanwhile: nothing left to protect
    stamp_ = {};
    return;
  }
  std::string renameError = errnoText(errno);
  // Remember the file as it is so the next read does not report it again.
  struct stat st {};
  stamp_ = ::stat(file_.c_str(), &st) == 0 ? stampOf(st) : Stamp{};
  savingBlocked_ = true;
  Log::write("settings file unreadable (" + reason + ") and could not be moved aside (" +
             renameError + "): using defaults and saving no changes");
}

void JsonFileSettingsStore::saveLocked() {
  if (savingBlocked_) return;
  auto dir = file_.parent_path();
  std::error_code ec;
  if (!dir.empty()) fs::create_directories(dir, ec);
  static std::atomic<unsigned> counter{0};
  fs::path temp =
      file_.string() + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
  std::string text = values_.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
  int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) {
    Log::write("settings not saved: cannot create " + temp.filename().string() + ": " +
               errnoText(errno));
    return;
  }
  if (!writeAll(fd, text) || ::fsync(fd) != 0 || ::rename(temp.c_str(), file_.c_str()) != 0) {
    std::string error = errnoText(errno);
    ::close(fd);
    ::unlink(temp.c_str());
    Log::write("settings not saved: writing " + file_.filename().string() + " failed: " + error);
    return;
  }
  if (!dir.empty()) syncDirectory(dir);
  struct stat st {};
  stamp_ = ::fstat(fd, &st) == 0 ? stampOf(st) : Stamp{};
  holdLocked(fd);
}

std::optional<SettingValue> JsonFileSettingsStore::value(std::string_view key) const {
  std::lock_guard lock(mutex_);
  refreshLocked();
  auto it = values_.find(key);
  if (it == values_.end()) return std::nullopt;
  return decode(*it);
}

void JsonFileSettingsStore::setValue(std::string_view key, const SettingValue &value) {
  if (auto *d = std::get_if<double>(&value); d && !std::isfinite(*d)) {
    Log::write("settings: not storing a non-finite number under " + std::string(key));
    return;
  }
  std::lock_guard lock(mutex_);
  refreshLocked();
  json encoded = encode(value);
  auto it = values_.find(key);
  if (it != values_.end() && *it == encoded && it->type() == encoded.type()) return;
  values_[std::string(key)] = std::move(encoded);
  saveLocked();
}

void JsonFileSettingsStore::remove(std::string_view key) {
  std::lock_guard lock(mutex_);
  refreshLocked();
  auto it = values_.find(key);
  if (it == values_.end()) return;
  values_.erase(it);
  saveLocked();
}

} // namespace selvar
