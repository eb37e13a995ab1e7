// Prints each key that the check knows: its file, group, name, kind and the types of light that use it. With
// an argument: each rule, after "rule", and each reason, after "reason".

#include <cstdio>
#include <string>

#include "beamctl/check/schema.h"

namespace {

std::string_view kind_of(check::ValueType type) {
  switch (type) {
    case check::ValueType::kInteger:
      return "integer";
    case check::ValueType::kBoolean:
      return "boolean";
    case check::ValueType::kNumber:
    case check::ValueType::kNumberText:
      return "number";
    case check::ValueType::kIntegerList:
      return "list";
    case check::ValueType::kText:
    case check::ValueType::kTypeName:
      return "text";
  }
  return "";
}

void list_names() {
  using enum check::Reason;
  for (const check::RuleName &rule : check::rule_names())
    std::puts(("rule\t" + std::string{rule.name}).c_str());
  for (const check::Reason reason :
       {kUnused, kDropped, kMisread, kUnregulated, kRefused, kDark, kUndetected, kRefusesToStart})
    std::puts(("reason\t" + std::string{check::name_of(reason)}).c_str());
}

void list_keys() {
  for (const check::KeySchema &row : check::schema()) {
    std::string line{check::file_pattern(row.file)};
    for (const std::string_view cell : {row.group, row.key, kind_of(row.type)})
      line.append("\t").append(cell);
    for (const check::LightType &type : check::light_types()) {
      if ((row.used_by & check::set_of(type)) != 0)
        line.append("\t").append(type.name);
    }
    std::puts(line.c_str());
  }
}

}  // namespace

int main(int arguments, char **) {
  if (arguments > 1)
    list_names();
  else
    list_keys();
}
