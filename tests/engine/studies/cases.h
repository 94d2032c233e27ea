// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstddef>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

// Published and recomputed figures, a file each in tests/engine/studies/cases: parameters, data (a
// CSV file, or among the parameters), and what is expected with its tolerance and its source.
namespace orvspc::studies {

inline std::string CasesFolder() { return ORVSPC_TESTS_DIR "/engine/studies/cases/"; }

class Case {
 public:
  explicit Case(const std::string& id) {
    std::ifstream file(CasesFolder() + id + ".json");
    if (!file) throw std::runtime_error("there is no case " + id);
    document_ = nlohmann::json::parse(file);
  }

  const nlohmann::json& Params() const { return document_.at("params"); }
  double Param(const char* name) const { return Params().at(name).get<double>(); }
  const nlohmann::json& Expected() const { return document_.at("expected"); }

  // A column of the data by its heading, or by its place where the file has none.
  std::vector<double> Column(const std::string& name) const {
    std::vector<double> values;
    for (const auto& cell : Cells(name)) values.push_back(std::stod(cell));
    return values;
  }
  std::vector<std::string> Cells(const std::string& name) const {
    std::ifstream file(CasesFolder() + document_.at("data").get<std::string>());
    std::string line;
    std::vector<std::string> found;
    std::size_t at = 0;
    for (bool first = true; std::getline(file, line); first = false) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      std::vector<std::string> cells;
      std::istringstream text(line);
      for (std::string cell; std::getline(text, cell, ',');) cells.push_back(cell);
      if (first) {
        while (at < cells.size() && cells[at] != name) ++at;
        if (at == cells.size()) throw std::runtime_error("no column " + name + " in " + line);
        continue;
      }
      if (at < cells.size()) found.push_back(cells[at]);
    }
    return found;
  }

  // Compares with what is expected under the name, at its own tolerance.
  void Check(const std::string& name, double actual) const {
    const auto& expected = Expected().at(name);
    ExpectNear(name, expected, expected.at("value").get<double>(), actual);
  }
  void Check(const std::string& name, const std::vector<double>& actual) const {
    const auto& expected = Expected().at(name);
    const auto& values = expected.at("value");
    ASSERT_EQ(values.size(), actual.size()) << name;
    for (std::size_t i = 0; i < actual.size(); ++i) {
      const auto at = name + "[" + std::to_string(i) + "]";
      if (values[i].is_null()) {
        EXPECT_TRUE(std::isnan(actual[i])) << at;
      } else {
        ExpectNear(at, expected, values[i].get<double>(), actual[i]);
      }
    }
  }
  // The same of rows.
  void Check(const std::string& name, const std::vector<std::vector<double>>& actual) const {
    const auto& expected = Expected().at(name);
    const auto& rows = expected.at("value");
    ASSERT_EQ(rows.size(), actual.size()) << name;
    for (std::size_t i = 0; i < actual.size(); ++i) {
      ASSERT_EQ(rows[i].size(), actual[i].size()) << name;
      for (std::size_t j = 0; j < actual[i].size(); ++j) {
        ExpectNear(name + "[" + std::to_string(i) + "][" + std::to_string(j) + "]", expected,
                   rows[i][j].get<double>(), actual[i][j]);
      }
    }
  }

 private:
  static void ExpectNear(const std::string& name, const nlohmann::json& expected, double value,
                         double actual) {
    const double tolerance = expected.at("tol").get<double>();
    const bool is_relative = expected.at("tol_kind") == "rel";
    // An exact figure has been through a division or two.
    const double most = std::max(tolerance * (is_relative ? std::abs(value) : 1.0),
                                 4e-15 * std::max(1.0, std::abs(value)));
    // Figures are printed with 12 digits, and some are to be met closer than that: ours as printed.
    std::ostringstream printed;
    printed << std::setprecision(12) << actual;
    const double rounded = std::stod(printed.str());
    const bool nearer = std::abs(rounded - value) < std::abs(actual - value);
    EXPECT_NEAR(value, nearer ? rounded : actual, most) << name;
  }

  nlohmann::json document_;
};

}  // namespace orvspc::studies
