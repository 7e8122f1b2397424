#include "support/JsonWriter.h"

#include <cmath>
#include <fmt/format.h>

namespace selvar::JsonWriter {

namespace {

using json = nlohmann::json;

struct Style {
  bool pretty;
  bool escapeSlashes;
};

void writeString(std::string &out, const std::string &s, const Style &style) {
  out += '"';
  for (unsigned char c : s) {
    switch (c) {
    case '"':
      out += "\\\"";
      break;
    case '\\':
      out += "\\\\";
      break;
    case '/':
      out += style.escapeSlashes ? "\\/" : "/";
      break;
    case '\n':
      out += "\\n";
      break;
    case '\r':
      out += "\\r";
      break;
    case '\t':
      out += "\\t";
      break;
    case '\b':
      out += "\\b";
      break;
    case '\f':
      out += "\\f";
      break;
    default:
      if (c < 0x20)
        out += fmt::format("\\u{:04x}", c);
      else
        out += static_cast<char>(c);
    }
  }
  out += '"';
}

void writeNumber(std::string &out, double d) {
  if (!std::isfinite(d)) {
    out += "0"; // JSON has no NaN or infinity; callers round or guard before this
    return;
  }
  if (std::trunc(d) == d && std::fabs(d) < 1e15) {
    out += fmt::format("{}", static_cast<long long>(d));
    return;
  }
  out += fmt::format("{}", d);
}

void newline(std::string &out, const Style &style, int depth) {
  if (!style.pretty) return;
  out += '\n';
  out.append(static_cast<std::size_t>(depth) * 2, ' ');
}

void write(std::string &out, const json &v, const Style &style, int depth);

void writeObject(std::string &out, const json &v, const Style &style, int depth) {
  if (v.empty()) {
    out += "{}";
    return;
  }
  out += '{';
  bool first = true;
  for (auto it = v.begin(); it != v.end(); ++it) { // std::map order: ascending bytes
    if (!first) out += ',';
    first = false;
    newline(out, style, depth + 1);
    writeString(out, it.key(), style);
    out += style.pretty ? " : " : ":";
    write(out, it.value(), style, depth + 1);
  }
  newline(out, style, depth);
  out += '}';
}

void writeArray(std::string &out, const json &v, const Style &style, int depth) {
  if (v.empty()) {
    out += "[]";
    return;
  }
  out += '[';
  bool first = true;
  for (const auto &item : v) {
    if (!first) out += ',';
    first = false;
    newline(out, style, depth + 1);
    write(out, item, style, depth + 1);
  }
  newline(out, style, depth);
  out += ']';
}

void write(std::string &out, const json &v, const Style &style, int depth) {
  switch (v.type()) {
  case json::value_t::object:
    writeObject(out, v, style, depth);
    break;
  case json::value_t::array:
    writeArray(out, v, style, depth);
    break;
  case json::value_t::string:
    writeString(out, v.get_ref<const std::string &>(), style);
    break;
  case json::value_t::boolean:
    out += v.get<bool>() ? "true" : "false";
    break;
  case json::value_t::number_integer:
    out += fmt::format("{}", v.get<std::int64_t>());
    break;
  case json::value_t::number_unsigned:
    out += fmt::format("{}", v.get<std::uint64_t>());
    break;
  case json::value_t::number_float:
    writeNumber(out, v.get<double>());
    break;
  default:
    out += "null";
    break;
  }
}

} // namespace

std::string compactSorted(const nlohmann::json &value) {
  std::string out;
  write(out, value, {false, true}, 0);
  return out;
}

std::string prettySorted(const nlohmann::json &value) {
  std::string out;
  write(out, value, {true, false}, 0);
  return out;
}

} // namespace selvar::JsonWriter
