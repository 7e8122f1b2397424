#pragma once
// JSON text as the platform's JSON encoders write it, so records and reports read the same on
// every platform. Objects come out with keys in ascending byte order at every level; integral
// numbers (2.0 included) without a fraction; other numbers in shortest round-trip form.

#include <nlohmann/json.hpp>
#include <string>

namespace selvar::JsonWriter {

// No white space; "/" written as "\/" (the diagnostics timeline's form).
std::string compactSorted(const nlohmann::json &value);
// Two-space indentation and " : " between key and value; "/" not escaped; no trailing newline
// (the feedback report's form).
std::string prettySorted(const nlohmann::json &value);

} // namespace selvar::JsonWriter
