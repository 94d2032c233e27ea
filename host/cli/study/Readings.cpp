// SPDX-License-Identifier: Apache-2.0
#include "host/cli/study/Readings.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <map>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/QualityDatabase.h"
#include "host/cli/UsedSubgroups.h"
#include "host/render/core/Numbers.h"
#include "host/render/data/DataReading.h"
#include "system/system.h"

namespace orvspc::cli {

namespace {

struct Piece {
  std::int32_t serial = 0;
  double value = 0.0;
};

// The value of a piece is its row without a number within it, else the mean of those with one.
std::vector<Piece> PiecesOf(const render::SubgroupRow& row) {
  struct Sums {
    Piece piece;
    double sum = 0.0, count = 0.0;
    bool is_given = false;
  };
  std::map<std::int32_t, Sums> by_number;
  for (const auto& test : row.tests) {
    if (!std::isfinite(test.value)) continue;
    auto& sums = by_number[test.tsno];
    if (test.sn != 0) sums.piece.serial = test.sn;
    if (test.sbno == 0) {
      sums.is_given = true;
      sums.piece.value = test.value;
    } else {
      sums.sum += test.value;
      sums.count += 1.0;
    }
  }
  std::vector<Piece> pieces;
  for (auto& [number, sums] : by_number) {
    if (!sums.is_given) sums.piece.value = sums.sum / sums.count;
    pieces.push_back(sums.piece);
  }
  return pieces;
}

// The subgroups that charts would use; a note says how many readings the others have, and why.
std::vector<render::SubgroupRow> UsedSubgroups(const Analysis& run, SubgroupData& data,
                                               std::vector<Note>& notes) {
  auto rows = render::ReadSubgroups(data).rows;
  const auto why = WhyNotUsed(rows, ExcludedRows(run.database, rows), run.select.get());
  std::vector<render::SubgroupRow> used;
  std::map<std::string, std::size_t> left;
  std::size_t all = 0;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const auto count = PiecesOf(rows[i]).size();
    all += count;
    if (why[i] == nullptr) {
      used.push_back(std::move(rows[i]));
    } else if (count > 0) {
      left[why[i]] += count;
    }
  }
  std::vector<std::string> texts;
  std::size_t left_out = 0;
  for (const auto& [reason, count] : left) {
    texts.push_back(std::to_string(count) + " " + reason);
    left_out += count;
  }
  if (left_out > 0) {
    notes.push_back({"readings-left-out",
                     std::to_string(left_out) + " of " + std::to_string(all) +
                         " readings are left out: " + render::Joined(texts, ", "),
                     ""});
  }
  return used;
}

// A study is of one stream: its limits and its readings are those of one part, process and test.
void CheckOneStream(const std::vector<render::SubgroupRow>& rows) {
  const auto several = [&](auto member) {
    return std::ranges::any_of(
        rows, [&](const auto& row) { return row.*member != rows.front().*member; });
  };
  std::vector<std::string> items, options;
  const auto check = [&](bool is_several, const char* items_text, const char* option) {
    if (!is_several) return;
    items.emplace_back(items_text);
    options.emplace_back(option);
  };
  check(several(&render::SubgroupRow::part), "parts", "--part");
  check(several(&render::SubgroupRow::prcs), "processes", "--process");
  check(several(&render::SubgroupRow::test), "tests", "--test");
  if (items.empty()) return;
  throw Refusal("several " + render::Joined(items, " and ") + " are selected; " +
                render::Joined(options, " and ") +
                (options.size() == 1 ? " chooses one" : " choose one"));
}

}  // namespace

bool Readings::HasReferences() const {
  return std::ranges::any_of(rows, [](const Reading& row) { return !std::isnan(row.reference); });
}

void Readings::Refuse(const std::string& reason) const {
  if (file) file->Refuse(reason);
  throw Refusal(reason);
}

std::vector<Option> ReadingOptions(bool with_database) {
  std::vector<Option> options{kData};
  if (!with_database) return Together(options, kOutputOptions);
  return Together(options, SelectionOptions(), std::vector<Option>{kMostSubgroups}, kPageOptions);
}

void CheckSource(const Arguments& arguments, bool with_database) {
  const bool has_database = with_database && arguments.Has(kDatabase);
  const auto path = arguments.Value(kData);
  if (path && has_database) throw Misuse("--data and --db do not go together");
  if (!path && !has_database) {
    throw Misuse(with_database ? "--data FILE.csv or --db FILE is missing"
                               : "--data FILE.csv is missing");
  }
  if (!path) return;
  if (with_database) {
    for (const auto& condition : ConditionsOf(arguments)) {
      throw Misuse(condition.text + " goes with --db");
    }
    if (arguments.Has(kMostSubgroups)) throw Misuse("--max goes with --db");
  }
  const auto output = arguments.Value(kOutput);
  std::error_code error;
  if (output && std::filesystem::equivalent(system::PathOf(*output), system::PathOf(*path), error))
    throw Refusal(*output + ": holds the data and is not written over");
}

Readings ReadReadings(const std::string& path, const ReadingNeeds& needs) {
  Readings readings;
  readings.file.emplace(path);
  const auto& file = *readings.file;
  const auto value = file.Column({"value", "y"});
  const auto column = [&](bool needed, std::initializer_list<std::string_view> names) {
    return needed ? std::optional(file.Column(names)) : std::nullopt;
  };
  const auto part =
      needs.part || needs.piece ? std::optional(file.Column({"part"})) : file.Find({"part"});
  const auto by = column(needs.by, {"operator"});
  const auto reference =
      needs.reference ? std::optional(file.Column({"reference"})) : file.Find({"reference"});
  const auto trial = file.Find({"trial", "order"});
  std::map<std::tuple<std::string, std::string, std::string>, std::size_t> seen;
  for (std::size_t row = 0; row < file.Rows(); ++row) {
    Reading reading;
    reading.row = row;
    if (part) reading.part = needs.part ? file.Name(row, *part) : file.Text(row, *part);
    if (needs.piece && reading.part != *needs.piece) continue;
    reading.value = file.Number(row, value);
    if (by) reading.by = file.Name(row, *by);
    if (reference) {
      reading.reference =
          needs.reference ? file.Number(row, *reference) : file.NumberOrNone(row, *reference);
    }
    if (trial && part && by) {
      const auto& name = file.Text(row, *trial);
      if (!name.empty() && !seen.insert({{reading.part, reading.by, name}, row}).second) {
        file.Refuse(
            row, *trial,
            "part " + reading.part + " and operator " + reading.by + " have this trial already");
      }
    }
    readings.rows.push_back(std::move(reading));
  }
  if (readings.rows.empty()) {
    file.Refuse("there are no readings" + (needs.piece ? " of part " + *needs.piece : ""));
  }
  return readings;
}

Readings ReadReadings(Analysis& run, const ReadingNeeds& needs) {
  auto [data, report] = Reported(
      run.database, [&](const auto& open) { return run.select->Clone()->GetSubgroupData(open); });
  Readings readings;
  readings.select = run.select;
  readings.notes = std::move(report.notes);
  // Descriptors are not used.
  std::erase_if(readings.notes, [](const Note& note) { return note.code == "descriptors-cut"; });
  const auto subgroups = UsedSubgroups(run, *data, readings.notes);
  CheckOneStream(subgroups);
  if (subgroups.empty() && !readings.notes.empty() &&
      readings.notes.back().code == "readings-left-out") {
    run.why_empty = readings.notes.back().text;
  }
  for (const auto& row : subgroups) {
    const auto by = run.names(render::NameKind::Employee, row.empl);
    for (const auto& piece : PiecesOf(row)) {
      Reading reading;
      reading.value = piece.value;
      reading.part = run.names(render::NameKind::Serial, piece.serial);
      reading.by = by;
      const auto refuse = [&](const char* what) {
        throw Refusal("the subgroup of " + render::IsoTime(row.stamp) + " has " + what);
      };
      if (needs.part && reading.part.empty()) refuse("a piece without serial number");
      if (needs.by && reading.by.empty()) refuse("no employee");
      if (needs.piece && reading.part != *needs.piece) continue;
      readings.rows.push_back(std::move(reading));
    }
  }
  if (subgroups.empty()) return readings;
  if (needs.piece && readings.rows.empty()) {
    throw Refusal("no piece that is selected has the serial number " + *needs.piece);
  }
  const auto& newest = subgroups.back();
  readings.of = render::StreamName(run.names, newest.part, 0, newest.test);
  const auto limits = run.database.InForce<SpecificationLimits>(
      StreamKey{newest.part, newest.prcs, newest.test}, newest.stamp);
  if (limits) {
    readings.lower_limit = limits->lsl;
    readings.upper_limit = limits->usl;
  }
  return readings;
}

}  // namespace orvspc::cli
