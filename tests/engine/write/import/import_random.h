// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/engine/store/store_fixture.h"
#include "tests/engine/write/import/plain_reader.h"

namespace orvspc::engine::import {
using namespace sql;
using namespace catalogue;
using namespace store;

// Files of values of many shapes, and what becomes of them.
class RandomFile {
 public:
  // The scale is how much longer it is than a common one.
  explicit RandomFile(std::uint64_t seed, std::size_t scale = 1) : random_(seed), scale_(scale) {}

  std::size_t Below(std::size_t end) { return random_() % end; }
  bool Once(std::size_t in) { return Below(in) == 0; }
  std::string OneOf(const std::vector<std::string>& words) { return words[Below(words.size())]; }

  std::string Text() {
    separator_ = OneOf({",", ",", ";", "\t"});
    quoted_ = Once(4) ? 1 + Below(10) : 0;
    padded_ = Once(5) ? 1 + Below(10) : 0;
    is_attribute_ = Once(3);
    columns_ = {"part", "process", "test", "subgroup", "time", is_attribute_ ? "count" : "value"};
    for (const char* column :
         {"tsno", "sbno", "size", "flag", "job", "lot", "shift", "employee", "workstation",
          "revision", "gage", "serial", "defect", "comment", "test-type", "descriptor:Mould"}) {
      if (Once(7)) columns_.emplace_back(column);
    }
    if (Once(3)) std::ranges::shuffle(columns_, random_);
    std::vector<std::string> lines;
    WriteLines(lines);
    if (Once(6)) std::ranges::shuffle(lines, random_);
    lines.insert(lines.begin(), Joined(columns_));
    if (Once(10)) lines.insert(lines.begin() + static_cast<int>(1 + Below(lines.size())), "");
    const std::string line_end = Once(3) ? "\r\n" : "\n";
    std::string text = Once(20) ? "\xef\xbb\xbf" : "";
    for (const auto& line : lines) text += line + line_end;
    if (Once(10)) text.resize(text.size() - line_end.size());
    return text;
  }

  void Damage(std::string& text) {
    static constexpr char kBytes[] = "\",;\t\n\r\0 05.9-+eE\xff\xc3xT:";
    for (auto times = Once(3) ? 3 : 1; times > 0 && text.size() > 1; --times) {
      const auto header = Once(20) ? 0 : std::min(text.find('\n') + 1, text.size() - 1);
      const auto at = header + Below(text.size() - header);
      const char byte = kBytes[Below(sizeof kBytes - 1)];
      switch (Below(6)) {
        case 0:
          text[at] = byte;
          break;
        case 1:
          text.insert(at, 1, byte);
          break;
        case 2:
          text.erase(at, 1 + Below(8));
          break;
        default:
          MoveLine(text);
      }
    }
  }

 private:
  void WriteLines(std::vector<std::string>& lines) {
    const std::size_t subgroups[] = {1, 3, 12, 30}, pieces[] = {1, 2, 5, 5};
    const auto subgroup_count = subgroups[Below(4)] * scale_, piece_count = pieces[Below(4)];
    const auto parts = 1 + Below(3), tests = 1 + (Once(2) ? Below(4) : 0);
    const bool same_time = Once(5), backwards = Once(10), counted = Once(2);
    for (std::size_t i = 0; i < subgroup_count; ++i) {
      const auto number = backwards ? subgroup_count - i : i;
      const auto time = platform::IsoText(1'600'000'000 + (same_time ? 0 : std::int64_t(number)));
      for (std::size_t test = 0; test < tests; ++test) {
        std::map<std::string, std::string> cells{{"part", "P" + std::to_string(number % parts)},
                                                 {"process", "R"},
                                                 {"test", "T" + std::to_string(test)},
                                                 {"subgroup", std::to_string(number + 1)},
                                                 {"time", Once(5) ? time + "Z" : time}};
        cells["size"] = is_attribute_ ? OneOf({"", "50", "7", "2.5"}) : OneOf({"", "5", "5"});
        cells["flag"] = OneOf({"", "0", "enabled", "disabled", "2"});
        cells["test-type"] =
            is_attribute_ ? OneOf({"", "", "defects", "defectives"}) : OneOf({"", "variable"});
        for (const char* who : {"job", "lot", "shift", "employee", "workstation", "revision"}) {
          cells[who] = OneOf({"", "A", "B", "\xc3\x9c"});
        }
        for (std::size_t piece = 0; piece < piece_count; ++piece) {
          cells["value"] = Number();
          cells["count"] = Once(60) ? "" : OneOf({"0", "1", "2", "3", "1"});
          const auto given = Once(7) ? OneOf({"", "2"}) : std::to_string(piece + 1);
          cells["tsno"] = counted ? "" : given;
          cells["sbno"] = OneOf({"", "", "", "0", "1", "2"});
          for (const char* name : {"gage", "serial", "defect"}) cells[name] = OneOf({"", "X", "Y"});
          cells["comment"] = OneOf({"", "", "", "late", "a \"b\""});
          cells["descriptor:Mould"] = OneOf({"", "M1", "M2"});
          std::vector<std::string> row;
          for (const auto& column : columns_) row.push_back(cells[column]);
          lines.push_back(Joined(row));
        }
      }
    }
  }

  std::string Number() {
    if (Once(8)) {
      return OneOf({"5", "+6e0", "-0", "0", "1e-5", "12345678901234567890", ".5", "5.", "1E3",
                    "0.1000000000000000055511151231257827"});
    }
    return std::to_string(24 + Below(3)) + "." + std::to_string(Below(10000));
  }

  std::string Joined(const std::vector<std::string>& cells) {
    std::string line;
    for (auto cell : cells) {
      const bool must = cell.find_first_of("\"" + separator_) != std::string::npos;
      if (must || (quoted_ > 0 && Once(quoted_))) {
        for (std::size_t at = 0; (at = cell.find('"', at)) != std::string::npos; at += 2) {
          cell.insert(at, 1, '"');
        }
        cell = "\"" + cell + "\"";
      } else if (padded_ > 0 && Once(padded_)) {
        cell = " " + cell + " ";
      }
      line += separator_ + cell;
    }
    return line.substr(1);
  }

  // Repeats, drops or exchanges lines.
  void MoveLine(std::string& text) {
    std::vector<std::string> lines(1);
    for (const char c : text) {
      if (c == '\n') {
        lines.emplace_back();
      } else {
        lines.back() += c;
      }
    }
    auto& one = lines[Below(lines.size())];
    auto& other = lines[Below(lines.size())];
    if (Once(3)) {
      std::swap(one, other);
    } else {
      one = Once(2) ? other + "\n" + one : "";
    }
    text.clear();
    for (const auto& line : lines) text += (&line == &lines.front() ? "" : "\n") + line;
  }

  std::mt19937_64 random_;
  std::size_t scale_;
  std::string separator_;
  std::size_t quoted_ = 0, padded_ = 0;
  bool is_attribute_ = false;
  std::vector<std::string> columns_;
};

class ImportRandomTest : public StoreTest {
 protected:
  // Imports files and compares what they lead to. Where few records are held at a time, a file that
  // is refused may be refused for another of its lines.
  void Compare(std::uint64_t seed, std::uint64_t files, bool damaged, std::size_t scale = 1) {
    int stored = 0, refused = 0;
    for (std::uint64_t i = 0; i < files; ++i) {
      RandomFile file(seed * 1'000'003 + i, scale);
      auto text = file.Text();
      if (damaged) file.Damage(text);
      const std::size_t held = std::vector<std::size_t>{1, 3, 32768, 32768}[file.Below(4)] * scale;
      const auto expected = plain::Reader(text).Outcome();
      const auto outcome = Outcome(text, held);
      const bool is_refused = expected.starts_with("line ");
      ++(is_refused ? refused : stored);
      if (is_refused && held < 32768) {
        EXPECT_EQ(outcome.substr(0, 5), "line ") << text;
      } else {
        ASSERT_EQ(outcome, expected) << "file " << i << "\n" << text.substr(0, 10000);
      }
    }
    EXPECT_GT(stored, 0);
    EXPECT_GT(refused, 0);
  }

 private:
  using Subgroups = std::map<std::int32_t, std::array<std::string, 2>>;  // of what, which

  // A copy of an empty one, which is quicker than making one.
  void UseNewDatabase() {
    if (tests::OnServer()) {
      db_.reset();
      return folder_.RemoveStore("q.db");
    }
    const auto empty = folder_.File("empty.db");
    if (!std::filesystem::exists(empty)) {
      Db();
      db_.reset();
      std::filesystem::rename(Path(), empty);
    }
    db_.reset();
    for (const char* end : {"-wal", "-shm"}) std::filesystem::remove(Path() + end);
    std::filesystem::copy_file(empty, Path(), std::filesystem::copy_options::overwrite_existing);
  }

  // As plain::Reader says it.
  std::string Outcome(const std::string& text, std::size_t held) {
    UseNewDatabase();
    ImportOptions options;
    options.most_held = held;
    ImportReport report;
    const auto failure = FailureOf([&] { report = Import(text, ImportKind::Values, options); });
    if (!failure.empty()) return failure.substr(folder_.File("in.csv: ").size());
    names_.clear();
    std::vector<std::string> lines;
    FlatSelection all;
    const auto data = Select(all.info, all.Filter());
    Subgroups subgroups;
    for (std::size_t i = 0; i < data.subgroups.size(); ++i) {
      const auto& head = data.subgroups[i];
      const auto source =
          Name(ItemKind::Part, head.Part) + "/" + Name(ItemKind::Process, head.Prcs);
      const auto label = " " + std::to_string(head.Sgtm) + " " + Data().SubgroupLabel(head.Sgrp);
      subgroups[head.Sgrp] = {source, label};
      auto line = source + "/" + Name(ItemKind::Test, head.Test) + label + " size " +
                  std::to_string(data.SizeOf(i)) + " flag " + std::to_string(head.Flag);
      line += " " + Name(ItemKind::Workstation, head.Wkst) + " " + Name(ItemKind::Job, head.Job);
      line += " " + Name(ItemKind::Lot, head.Lot) + " " + Name(ItemKind::Shift, head.Shft);
      line += " " + Name(ItemKind::Revision, head.Ptrv);
      line += " " + Name(ItemKind::Employee, head.Empl);
      for (auto at = head.Test_Start; at <= head.Test_End; ++at) {
        const auto row = data.Row(i, static_cast<std::size_t>(at - head.Test_Start));
        line += plain::Reader::RowText({row.Val, row.Tsno, row.Sbno, Name(ItemKind::Serial, row.Sn),
                                        Name(ItemKind::Defect, row.Def),
                                        Name(ItemKind::Gage, row.Gage), 0});
      }
      lines.push_back(line);
    }
    std::ranges::sort(lines);
    return std::to_string(report.lines) + " lines, " + std::to_string(report.subgroups) +
           " subgroups, " + std::to_string(report.rows) + " rows, " +
           std::to_string(report.new_names) + " names\n" + Joined(lines) + Rest(subgroups);
  }

  // Types of tests, comments and descriptors.
  std::string Rest(const Subgroups& subgroups) {
    std::string text;
    const auto connection = OpenAnother(Path());
    const std::map<std::int32_t, std::string> types{
        {ttVariable, "variable"}, {ttDefects, "defects"}, {ttDefectives, "defectives"}};
    for (Query tests(*connection, "SELECT name, type FROM test ORDER BY id"); tests.Step();) {
      text += "test " + std::string(tests.Text(0)) + " " + types.at(tests.Int(1)) + "\n";
    }
    std::vector<std::string> lines;
    Query comments(*connection, "SELECT subgroup, test, tsno, employee, note FROM comment");
    while (comments.Step()) {
      const auto& [source, label] = subgroups.at(comments.Int(0));
      const auto line = "comment " + source + "/" + Name(ItemKind::Test, comments.Int(1)) + label;
      lines.push_back(line + " " + std::to_string(comments.Int(2)) + " " +
                      Name(ItemKind::Employee, comments.Int(3)) + ": " +
                      std::string(comments.Text(4)));
    }
    Query descriptors(*connection,
                      "SELECT s.subgroup, s.tsno, g.name || '=' || d.name FROM "
                      "subgroup_descriptor s JOIN descriptor d ON d.id = s.descriptor "
                      "JOIN descriptor_group g ON g.id = d.descriptor_group");
    while (descriptors.Step()) {
      const auto& [source, label] = subgroups.at(descriptors.Int(0));
      lines.push_back("descriptor " + source + label + " " + std::to_string(descriptors.Int(1)) +
                      " " + std::string(descriptors.Text(2)));
    }
    std::ranges::sort(lines);
    return text + Joined(lines);
  }

  static std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines) text += line + "\n";
    return text;
  }

  const std::string& Name(ItemKind kind, std::int32_t id) {
    const auto [found, is_new] = names_.try_emplace({kind, id});
    if (is_new && id != 0) found->second = Data().Name(kind, id);
    return found->second;
  }

  std::map<std::pair<ItemKind, std::int32_t>, std::string> names_;
};

}  // namespace orvspc::engine::import
