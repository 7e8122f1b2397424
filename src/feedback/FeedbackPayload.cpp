#include "feedback/FeedbackPayload.h"

#include "support/JsonWriter.h"

namespace selvar {

namespace {

using json = nlohmann::json;

void putOptional(json &object, const char *key, const std::optional<std::string> &value) {
  if (value) object[key] = *value;
}

bool readRequired(const json &object, const char *key, std::string &out) {
  auto it = object.find(key);
  if (it == object.end() || !it->is_string()) return false;
  out = it->get<std::string>();
  return true;
}

// Absent or null reads as absent; any other non-string makes the report unreadable.
bool readOptional(const json &object, const char *key, std::optional<std::string> &out) {
  auto it = object.find(key);
  if (it == object.end() || it->is_null()) return true;
  if (!it->is_string()) return false;
  out = it->get<std::string>();
  return true;
}

} // namespace

json FeedbackPayload::toJson() const {
  json o = json::object();
  o["schema"] = schema;
  o["id"] = id;
  o["created_at"] = createdAt;
  putOptional(o, "app_version", appVersion);
  putOptional(o, "build", build);
  putOptional(o, "os_version", osVersion);
  putOptional(o, "architecture", architecture);
  o["install_id"] = installID;
  o["kind"] = kind;
  o["message"] = message;
  putOptional(o, "email", email);
  putOptional(o, "logs", logs);
  putOptional(o, "transcript", transcript);
  return o;
}

std::string FeedbackPayload::encoded() const {
  return JsonWriter::prettySorted(toJson());
}

std::optional<FeedbackPayload> FeedbackPayload::decode(const std::string &text) {
  auto o = json::parse(text, nullptr, false);
  if (!o.is_object()) return std::nullopt;
  FeedbackPayload p;
  bool ok = readRequired(o, "schema", p.schema) && readRequired(o, "id", p.id) &&
            readRequired(o, "created_at", p.createdAt) &&
            readRequired(o, "install_id", p.installID) && readRequired(o, "kind", p.kind) &&
            readRequired(o, "message", p.message) && readOptional(o, "app_version", p.appVersion) &&
            readOptional(o, "build", p.build) && readOptional(o, "os_version", p.osVersion) &&
            readOptional(o, "architecture", p.architecture) && readOptional(o, "email", p.email) &&
            readOptional(o, "logs", p.logs) && readOptional(o, "transcript", p.transcript);
  if (!ok) return std::nullopt;
  return p;
}

} // namespace selvar
