#include "text/DictionaryRule.h"

#include "support/JsonWriter.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace selvar::DictionaryCoding {

namespace {

using json = nlohmann::json;

DictionaryRead undecodable(std::string detail) {
  return {DictionaryRead::Status::undecodable, {}, std::move(detail)};
}

// Names what is wrong with one rule object, or nothing when it decodes.
std::string ruleProblem(const json &item) {
  if (!item.is_object()) return "is not an object";
  for (const char *key : {"heard", "replace"}) {
    auto it = item.find(key);
    if (it == item.end()) return fmt::format("lacks \"{}\"", key);
    if (!it->is_string()) return fmt::format("has a \"{}\" that is not a string", key);
  }
  auto it = item.find("isRegex");
  if (it == item.end()) return "lacks \"isRegex\"";
  if (!it->is_boolean()) return "has an \"isRegex\" that is not true or false";
  return {};
}

} // namespace

std::string encode(const std::vector<DictionaryRule> &rules) {
  json list = json::array();
  for (const auto &r : rules)
    list.push_back({{"heard", r.heard}, {"isRegex", r.isRegex}, {"replace", r.replace}});
  return JsonWriter::prettySorted(json{{"rules", std::move(list)}});
}

DictionaryRead decode(std::string_view text) {
  json root = json::parse(text, nullptr, false);
  if (root.is_discarded()) return undecodable("not valid JSON in UTF-8");
  if (!root.is_object()) return undecodable("the top level is not an object");
  auto list = root.find("rules");
  if (list == root.end()) return undecodable("no \"rules\" key");
  if (!list->is_array()) return undecodable("\"rules\" is not a list");
  DictionaryRead read;
  for (std::size_t i = 0; i < list->size(); ++i) {
    const json &item = (*list)[i];
    if (auto problem = ruleProblem(item); !problem.empty())
      return undecodable(fmt::format("rule {} {}", i + 1, problem));
    read.rules.push_back({item["heard"].get<std::string>(), item["replace"].get<std::string>(),
                          item["isRegex"].get<bool>()});
  }
  return read;
}

} // namespace selvar::DictionaryCoding
