// SPDX-License-Identifier: Apache-2.0
#include "module/bound_values.h"

#include "error.h"
#include "module/request_rows.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace qvx {

namespace {

/// One value as its rows describe it.
struct Described {
  QualifiedName name;
  bool isInput = true;
  bool isFile = false;
  bool isXml = true;
  std::string text;  ///< value or path
};

[[noreturn]] void refuse(const std::string& why) {
  throw Error(ErrorCode::BadRequest, why);
}

QualifiedName qualifiedName(std::string_view text) {
  QualifiedName name;
  if (!text.empty() && text.front() == '{') {
    const std::size_t end = text.find('}');
    if (end != std::string_view::npos) {
      name.ns = text.substr(1, end - 1);
      name.local = text.substr(end + 1);
    }
  } else {
    name.local = text;
  }
  if (name.local.empty() || name.local.find_first_of("{}<>&\"'/:= \t\r\n") != std::string::npos) {
    refuse("'" + std::string(text) + "' is not the name of a value; use {namespace}local, or the local name alone");
  }
  return name;
}

void take(Described& value, std::string_view item, const QvwlpValue* cells) {
  const std::string_view what = text(cells[3]);
  if (item == "type") {
    if (what != "File" && what != "String") refuse("The value '" + value.name.text() + "' has the unknown type '" + std::string(what) + "'");
    value.isFile = what == "File";
  } else if (item == "Path" || item == "Value") {
    value.text = what;
  } else {
    refuse("The value '" + value.name.text() + "' has the unknown item '" + std::string(item) + "'");
  }
  if (cells[4].present != 0) value.isXml = cells[4].data.truth != 0;
}

Described described(const QvwlpValue* cells) {
  Described value;
  value.name = qualifiedName(text(cells[1]));
  const std::string_view direction = text(cells[3]);
  if (text(cells[2]) != "direction" || (direction != "Input" && direction != "Output")) {
    refuse("The value '" + value.name.text() + "' does not begin with its direction");
  }
  value.isInput = direction == "Input";
  return value;
}

void store(Described&& value, BoundValues& all) {
  if (value.isInput) {
    all.inputs.push_back({std::move(value.name), value.isFile, value.isXml, std::move(value.text)});
    return;
  }
  if (value.isFile) {
    if (value.text.empty()) refuse("The output '" + value.name.text() + "' is a file without a path");
    for (const WantedValue& other : all.outputs) {
      if (other.file == value.text) refuse("The outputs '" + other.name.text() + "' and '" + value.name.text() + "' go to one file, " + value.text);
    }
  }
  // What an output holds is the answer to an earlier call.
  all.outputs.push_back({std::move(value.name), value.isFile ? std::move(value.text) : std::string()});
}

}  // namespace

BoundValues readBoundValues(const QvwlpValue& rows) {
  std::vector<Described> values;
  forRows(rows, "\x0b\x0b\x0b\x0b\x02", [&](const QvwlpValue* cells) {
    if (cells[1].present != 0) {
      values.push_back(described(cells));
    } else if (values.empty()) {
      refuse("The first row of the values has no name");
    } else {
      take(values.back(), text(cells[2]), cells);
    }
  });
  BoundValues all;
  for (Described& value : values) store(std::move(value), all);
  return all;
}

}  // namespace qvx
