// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "engine/Embedded.h"
#include "host/cli/Command.h"
#include "host/render/core/Numbers.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/TemporaryFolder.h"

namespace orvspc::host {

using namespace cli;

using namespace render;
namespace {

namespace fs = std::filesystem;

std::vector<std::string> Words(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false, any = false;
  for (const char c : line) {
    if (c == '"') {
      quoted = !quoted;
      any = true;
    } else if (!quoted && (c == ' ' || c == '\t')) {
      if (any || !word.empty()) words.push_back(word);
      word.clear();
      any = false;
    } else {
      word += c;
    }
  }
  if (any || !word.empty()) words.push_back(word);
  return words;
}

double CorrectDigits(double value, double expected) {
  if (value == expected) return 17.0;
  const double scale = expected == 0.0 ? 1.0 : std::abs(expected);
  return -std::log10(std::abs(value - expected) / scale);
}

class Runner {
 public:
  void Run(const fs::path& file) {
    std::ifstream in(file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    ASSERT_FALSE(lines.empty()) << file;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      std::string block;
      const std::size_t start = i;
      while (i + 1 < lines.size() && !lines[i + 1].empty() && lines[i + 1][0] == ' ') {
        ++i;
        block += lines[i].substr(lines[i].find_first_not_of(' ')) + "\n";
      }
      SCOPED_TRACE(file.filename().string() + ":" + std::to_string(start + 1));
      Step(lines[start], block);
      if (testing::Test::HasFatalFailure()) return;
    }
    EXPECT_GT(checks_, 0) << "a script that expects nothing";
  }

 private:
  void Step(const std::string& line, const std::string& block) {
    auto words = Words(line);
    if (words.empty() || words[0][0] == '#') return;
    const std::string verb = words[0];
    words.erase(words.begin());
    if (verb == "data") return Data(words);
    if (verb == "csv") return Csv(words, block);
    if (verb == "csv-fails") return CsvFails(words, block);
    for (const char* command : {"chart", "capability", "events", "states", "compliance"})
      if (verb == command) return Analyse(verb, words);
    if (verb == "show-data") return Analyse("data", words);
    if (verb == "expect") return Expect(words);
    if (verb == "run") return Program(words);
    if (verb == "status") {
      ++checks_;
      EXPECT_EQ(std::to_string(status_), words.at(0)) << said_;
      // Whatever goes wrong is one line; the bare program tells its commands.
      if (status_ != 0 && !bare_) {
        EXPECT_EQ(std::count(errors_.begin(), errors_.end(), '\n'), 1) << errors_;
        EXPECT_EQ(output_, "");
      }
      return;
    }
    if (verb == "says") {
      ++checks_;
      const std::string text = line.substr(line.find("says") + 5);
      EXPECT_NE(said_.find(text), std::string::npos) << "not in: " << said_;
      return;
    }
    FAIL() << "unknown line: " << line;
  }

  void Program(std::vector<std::string> words) {
    for (auto& word : words)
      if (word.rfind("$db", 0) == 0) word.replace(0, 3, Database());
    std::ostringstream out, err;
    Console console{out, err, false, false, 120};
    status_ = RunProgram(words, console);
    output_ = out.str();
    errors_ = err.str();
    bare_ = words.empty();
    said_ = out.str() + err.str();
  }

  void MustRun(const std::vector<std::string>& words) {
    Program(words);
    ASSERT_EQ(status_, 0) << said_;
  }

  std::string Database() const { return folder_.File("q.db"); }

  std::string WriteCsv(const std::string& text) {
    std::string path = folder_.File("file" + std::to_string(++files_) + ".csv");
    std::ofstream(path) << text;
    return path;
  }

  void Data(const std::vector<std::string>& words) {
    std::string part = "P", process = "R", test = "T";
    std::string rows, subgroup;
    bool disabled = false, on = false;
    int count = 0;
    std::vector<std::string> values;
    const auto close = [&] {
      ++count;
      const std::string time = IsoTime(1709251200 + 3600 * hour_++);
      for (const auto& value : values)
        rows += part + "," + process + "," + test + "," + std::to_string(count) + "," + time + "," +
                value + "," + (disabled ? "1" : "0") + "\n";
      values.clear();
      disabled = false;
    };
    for (const auto& word : words) {
      if (word.rfind("part=", 0) == 0) {
        part = word.substr(5);
      } else if (word.rfind("process=", 0) == 0) {
        process = word.substr(8);
      } else if (word.rfind("test=", 0) == 0) {
        test = word.substr(5);
      } else if (word == "+") {
        on = true;
      } else if (word == "|") {
        close();
      } else if (word == "!") {
        disabled = true;
      } else {
        if (!on && count == 0 && values.empty()) hour_ = 0;
        values.push_back(word);
      }
    }
    close();
    MustRun({"import", WriteCsv("part,process,test,subgroup,time,value,flag\n" + rows), "--db",
             Database()});
  }

  void Csv(const std::vector<std::string>& words, const std::string& block) {
    MustRun({"import", WriteCsv(block), "--db", Database(), "--kind",
             words.empty() ? "values" : words[0]});
  }

  void CsvFails(const std::vector<std::string>& words, const std::string& block) {
    ++checks_;
    Program({"import", WriteCsv(block), "--db", Database(), "--kind",
             words.size() < 2 ? "values" : words[1]});
    EXPECT_EQ(status_, 1);
    EXPECT_NE(said_.find(words.at(0)), std::string::npos) << said_;
    EXPECT_EQ(std::count(said_.begin(), said_.end(), '\n'), 1) << said_;
  }

  void Analyse(const std::string& command, const std::vector<std::string>& words) {
    std::vector<std::string> line{command, "--db", Database(), "--format", "json"};
    for (const auto& word : words) line.push_back("--" + word);
    MustRun(line);
    if (status_ == 0) document_ = ParseJson(output_);
  }

  void Expect(std::vector<std::string> words) {
    ++checks_;
    ASSERT_GE(words.size(), 2U);
    if (words[0] == "points") return Points(words);
    double digits = 12.0;
    if (words.back().rfind("digits=", 0) == 0) {
      digits = std::stod(words.back().substr(7));
      words.pop_back();
    }
    const ParsedJson& found = document_.At(words[0]);
    if (words.size() == 2) return Compare(found, words[1], digits);
    ASSERT_EQ(found.elements.size(), words.size() - 1) << words[0];
    for (std::size_t i = 0; i < found.elements.size(); ++i) {
      SCOPED_TRACE(words[0] + "[" + std::to_string(i) + "]");
      Compare(found.elements[i], words[i + 1], digits);
    }
  }

  void Compare(const ParsedJson& found, const std::string& word, double digits) {
    using Kind = ParsedJson::Kind;
    if (found.kind == Kind::Array) {
      ASSERT_EQ(found.elements.size(), 1U);
      return Compare(found.elements[0], word, digits);
    }
    if (found.kind == Kind::Number) {
      double expected = 0.0;
      const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), expected);
      ASSERT_TRUE(error == std::errc() && end == word.data() + word.size())
          << "a number " << found.number << " instead of " << word;
      EXPECT_GE(CorrectDigits(found.number, expected), digits)
          << Shortest(found.number) << " instead of " << word;
      return;
    }
    const std::string text = found.kind == Kind::Null      ? "null"
                             : found.kind == Kind::Boolean ? (found.boolean ? "true" : "false")
                                                           : found.text;
    EXPECT_EQ(text, word);
  }

  void Points(const std::vector<std::string>& words) {
    ASSERT_EQ(words.size(), 4U);
    const ParsedJson& graph = document_.At("Graphs[0]");
    EXPECT_EQ(std::to_string(graph.At("Points").elements.size()), words[1]);
    const auto& rules = graph.At("Rules").elements;
    const auto marks = std::count_if(rules.begin(), rules.end(),
                                     [](const ParsedJson& list) { return !list.elements.empty(); });
    EXPECT_EQ(std::to_string(marks), words[3]);
  }

  TemporaryFolder folder_;
  ParsedJson document_;
  std::string output_, errors_, said_;
  bool bare_ = false;
  int status_ = -1, files_ = 0, checks_ = 0;
  std::int64_t hour_ = 0;
};

std::vector<std::string> ScriptFiles() {
  std::vector<std::string> files;
  const fs::path root = fs::path(ORVSPC_TESTS_DIR) / "script";
  for (const auto& entry : fs::recursive_directory_iterator(root))
    if (entry.path().extension() == ".spct")
      files.push_back(fs::relative(entry.path(), root).string());
  std::sort(files.begin(), files.end());
  return files;
}

class Script : public testing::TestWithParam<std::string> {};

TEST_P(Script, Holds) {
  InstallEmbedded();
  Runner().Run(fs::path(ORVSPC_TESTS_DIR) / "script" / GetParam());
}

INSTANTIATE_TEST_SUITE_P(Files, Script, testing::ValuesIn(ScriptFiles()), [](const auto& file) {
  std::string name = file.param.substr(0, file.param.rfind('.'));
  for (auto& c : name)
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  return name;
});

}  // namespace
}  // namespace orvspc::host
