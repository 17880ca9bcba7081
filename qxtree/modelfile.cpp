// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxtree/modelfile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <iomanip>
#include <limits>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "qxtree/process.h"

#define JSON_DIAGNOSTICS 1  // errors name the place
#include <nlohmann/json.hpp>

namespace qxtree {
namespace {

using nlohmann::json;
using Out = nlohmann::ordered_json;

constexpr int kVersion = 1;
constexpr double kLowest = std::numeric_limits<double>::lowest();

Out ToJson(const Split& split, Kind kind) {
  Out out{{"column", split.column}};
  if (split.form == Split::Form::Present) out["present"] = true;
  if (split.form == Split::Form::Categories) out["categories"] = split.categories;
  if (split.form == Split::Form::Cut) out["cut"] = split.cut;
  if (split.form == Split::Form::Cut && kind == Kind::Date)
    out["text"] = ValueText(kind, split.cut);
  out["missing"] = split.missingLeft ? "left" : "right";
  return out;
}

Out ToJson(const Node& node, const Model& model) {
  Out out;
  if (model.isRegression)
    out = {{"cases", node.cases}, {"mean", node.mean}, {"deviation", node.deviation}};
  else
    out["cases"] = node.classes;
  if (node.left == 0) return out;
  out["left"] = node.left;
  out["right"] = node.left + 1;
  out["gain"] = node.split.gain;
  out["split"] = ToJson(node.split, model.columns[node.split.column].kind);
  return out;
}

Out ToJson(const Model& model) {
  Out out{{"format", "qxtree"},
          {"version", kVersion},
          {"task", model.isRegression ? "regression" : "classification"},
          {"target", model.target}};
  if (!model.isRegression) out["classes"] = model.classes;
  out["missing"] = model.missing;
  out["columns"] = Out::array();
  for (const ModelColumn& column : model.columns) {
    out["columns"].push_back(
        {{"name", column.name}, {"kind", kKindNames[static_cast<int>(column.kind)]}});
    if (column.kind == Kind::Text) out["columns"].back()["categories"] = column.categories;
  }
  out["nodes"] = Out::array();
  for (const Node& node : model.nodes) out["nodes"].push_back(ToJson(node, model));
  return out;
}

// Without the name that the library gives to the error.
std::string Plain(const std::exception& error) {
  const std::string text = error.what();
  return text.rfind("[json.", 0) == 0 ? text.substr(text.find("] ") + 2) : text;
}

// The message begins with the place of `value` in the file.
void Require(bool condition, const json& value, const std::string& what) {
  if (!condition) throw json::other_error::create(0, what, &value);
}

const json& Array(const json& value) {
  Require(value.is_array(), value, "is not an array");
  return value;
}

void RequireDistinct(std::vector<std::string> texts, const json& value, const char* otherwise) {
  std::sort(texts.begin(), texts.end());
  Require(std::adjacent_find(texts.begin(), texts.end()) == texts.end(), value, otherwise);
}

std::vector<std::string> Texts(const json& value) {
  auto texts = value.get<std::vector<std::string>>();
  RequireDistinct(texts, value, "repeats a text");
  return texts;
}

// The place of a text in the list.
std::size_t OneOf(const std::vector<std::string>& texts, const json& value) {
  const auto text = value.get<std::string>();
  const auto found = std::find(texts.begin(), texts.end(), text);
  Require(found != texts.end(), value, fmt::format("'{}' is not known here", text));
  return static_cast<std::size_t>(found - texts.begin());
}

double Number(const json& value, double least) {
  const auto number = value.get<double>();
  Require(std::isfinite(number) && number >= least, value, "is out of range");
  return number;
}

// From `least` on, below `end`.
std::size_t Index(const json& value, std::size_t least, std::size_t end) {
  Require(value.is_number_unsigned(), value, "is not a whole number from 0 on");
  const auto index = value.get<std::size_t>();
  Require(index >= least && index < end, value, "is out of range");
  return index;
}

std::vector<ModelColumn> ReadColumns(const json& value, const std::string& target) {
  std::vector<ModelColumn> columns;
  std::vector<std::string> names{target};
  for (const json& item : Array(value)) {
    ModelColumn column{item.at("name").get<std::string>(), Kind::Number, {}};
    column.kind =
        static_cast<Kind>(OneOf({std::begin(kKindNames), std::end(kKindNames)}, item.at("kind")));
    if (column.kind == Kind::Text) column.categories = Texts(item.at("categories"));
    Require(std::is_sorted(column.categories.begin(), column.categories.end()), item,
            "has categories that are not sorted");
    names.push_back(column.name);
    columns.push_back(std::move(column));
  }
  RequireDistinct(std::move(names), value, "repeats a name, or that of the target");
  return columns;
}

Split ReadSplit(const json& value, const Model& model) {
  Split split;
  split.column = Index(value.at("column"), 0, model.columns.size());
  split.missingLeft = OneOf({"left", "right"}, value.at("missing")) == 0;
  const ModelColumn& column = model.columns[split.column];
  const bool isCut = value.contains("cut"), isCategories = value.contains("categories");
  const bool isPresent = value.value("present", false);
  Require(isCut + isCategories + isPresent == 1, value,
          "is not by one of cut, categories and present");
  Require(!(column.kind == Kind::Text ? isCut : isCategories), value,
          "does not fit the kind of its column");
  if (isPresent) split.form = Split::Form::Present;
  if (isCut) split.cut = Number(value["cut"], kLowest);
  if (!isCategories) return split;
  split.form = Split::Form::Categories;
  std::size_t least = 0;
  for (const json& item : Array(value["categories"])) {
    const std::size_t category = Index(item, least, column.categories.size());
    split.categories.push_back(static_cast<std::uint32_t>(category));
    least = category + 1;
  }
  return split;
}

// `index` is that of the node, of `count`.
Node ReadNode(const json& value, std::size_t index, std::size_t count, const Model& model) {
  Node node;
  const json& cases = value.at("cases");
  if (model.isRegression) {
    node.cases = Number(cases, 0);
    node.mean = Number(value.at("mean"), kLowest);
    node.deviation = Number(value.at("deviation"), 0);
  } else {
    for (const json& item : Array(cases)) node.classes.push_back(Number(item, 0));
    Require(node.classes.size() == model.classes.size(), cases, "does not fit the classes");
    node.cases = std::accumulate(node.classes.begin(), node.classes.end(), 0.0);
  }
  Require(node.cases > 0 && std::isfinite(node.cases), cases, "is out of range");
  if (!value.contains("left") && !value.contains("split")) return node;
  node.left = Index(value.at("left"), index + 1, count - 1);
  Index(value.at("right"), node.left + 1, node.left + 2);
  node.split = ReadSplit(value.at("split"), model);
  node.split.gain = Number(value.at("gain"), 0);
  return node;
}

Model ToModel(const json& file) {
  OneOf({"qxtree"}, file.at("format"));
  Index(file.at("version"), kVersion, kVersion + 1);
  Model model;
  model.isRegression = OneOf({"classification", "regression"}, file.at("task")) == 1;
  model.target = file.at("target").get<std::string>();
  if (!model.isRegression) {
    model.classes = Texts(file.at("classes"));
    Require(!model.classes.empty(), file.at("classes"), "is empty");
  }
  model.missing = Texts(file.at("missing"));
  model.columns = ReadColumns(file.at("columns"), model.target);
  const json& nodes = Array(file.at("nodes"));
  Require(!nodes.empty(), nodes, "is empty");
  std::vector<bool> isChild(nodes.size());
  for (const json& value : nodes) {
    model.nodes.push_back(ReadNode(value, model.nodes.size(), nodes.size(), model));
    const std::size_t left = model.nodes.back().left;
    if (left == 0) continue;
    Require(!isChild[left] && !isChild[left + 1], value, "has children of another node");
    isChild[left] = isChild[left + 1] = true;
  }
  return model;
}

}  // namespace

void WriteModel(const Model& model, const std::string& path) try {
  // Texts may grow sixfold in JSON, so it never stands in memory as a whole.
  const Out out = ToJson(model);
  WriteFile(path, [&](std::ostream& file) { file << std::setw(1) << out << '\n'; });
} catch (const json::exception& error) {
  throw std::runtime_error(fmt::format("cannot write the model: {}", Plain(error)));
}

Model ReadModel(const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "re"),
                                                             std::fclose);
  Poll();  // a signal ends the wait for the writer of a pipe
  if (!file) throw fmt::system_error(errno, "cannot open '{}'", path);
  try {
    return ToModel(json::parse(file.get()));
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    Poll();  // as above
    if (std::ferror(file.get()) != 0) throw fmt::system_error(errno, "cannot read '{}'", path);
    throw std::runtime_error(
        fmt::format("'{}' is no model of qxtree: {}", path, ToLocale(Plain(error))));
  }
}

}  // namespace qxtree
