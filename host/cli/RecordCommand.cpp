// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iostream>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "engine/QualityDatabase.h"
#include "host/cli/AlarmOutput.h"
#include "host/cli/Hooks.h"
#include "host/cli/Output.h"
#include "host/render/core/PlainText.h"
#include "platform/Enumerations.h"
#include "platform/TimeText.h"
#include "system/system.h"

namespace orvspc::cli {

namespace {

constexpr Option kPart{"part", "NAME", "the part"};
constexpr Option kProcess{"process", "NAME", "the process"};
constexpr Option kTest{"test", "NAME", "the test"};
constexpr Option kMeasuredAt{"at", "TIME", "when it was measured, such as 2024-02-29T12:30", "now"};
constexpr Option kLabel{"label", "TEXT", "what the subgroup is called",
                        "the next number of part and process"};
constexpr Option kContext[] = {
    {"job", "NAME", "the job"},       {"lot", "NAME", "the lot"},
    {"shift", "NAME", "the shift"},   {"revision", "NAME", "the revision of the part"},
    {"workstation", "NAME", "where"}, {"employee", "NAME", "who measured"}};
constexpr Option kGage{"gage", "NAME", "the gage of all values"};
constexpr Option kDescriptor{"descriptor", "GROUP=NAME", "a descriptor of the subgroup", "", true};
constexpr Real kSize{{"size", "N", "units inspected, of a test that counts"}};
constexpr Option kDefect{"defect", "CODE=N", "so many of a defect", "", true};
constexpr render::Word kFlagWords[] = {
    {"enabled", sfEnabled}, {"disabled", sfDisabled}, {"incomplete", sfIncomplete}};
constexpr Choice<std::int32_t> kFlag{
    {"flag", "WORD", "what becomes of the record", "enabled", false, kFlagWords}};
constexpr Option kComment{"comment", "TEXT", "a comment", "", true};
constexpr Option kKey{"key", "TEXT", "a record that is sent again under its key is stored once"};
constexpr Option kCreate{"create", nullptr,
                         "make the part, process or test, and the database, where it is not there"};
constexpr Option kForce{"force", nullptr, "store values beyond the reasonable limits, too"};
constexpr Option kJsonl{"jsonl", "FILE", "records as lines of JSON; - is standard input"};
constexpr Number kBatch{
    {"batch", "N", "of --jsonl: so many lines in one transaction", "1"}, 1, 1'000'000};

// What is said of one record, which a line of JSON says itself.
std::vector<Option> OptionsOfOne() {
  return Together(std::vector<Option>{kPart, kProcess, kTest, kMeasuredAt, kLabel}, kContext,
                  std::vector<Option>{kGage, kDescriptor, kSize, kDefect, kFlag, kComment, kKey});
}

double NumberOf(const std::string& field, std::string_view text) {
  double number = 0.0;
  const auto digits = text.substr(text.starts_with('+') ? 1 : 0);
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  const bool is_read = error == std::errc() && end == digits.data() + digits.size();
  if (is_read && std::isfinite(number)) return number;
  throw Refusal(field + ": " + std::string(text) + " is no number" +
                (text.find(',') == std::string_view::npos ? "" : "; the decimal sign is a point"));
}

// The two sides of "CODE=3".
std::pair<std::string, std::string> Pair(const Option& option, const std::string& text) {
  const auto sign = text.rfind('=');
  if (sign == std::string::npos || sign == 0 || sign + 1 == text.size()) {
    throw Misuse("--" + std::string(option.name) + " takes " + option.value + ", not \"" + text +
                 "\"");
  }
  return {text.substr(0, sign), text.substr(sign + 1)};
}

NewRecord RecordOf(const Arguments& arguments) {
  NewRecord record;
  record.part = arguments.Required(kPart);
  record.process = arguments.Required(kProcess);
  record.test = arguments.Required(kTest);
  record.label = arguments.Value(kLabel).value_or("");
  if (const auto at = arguments.Value(kMeasuredAt)) {
    const auto time = ParseTime(*at);
    if (!time) throw Misuse("--at: \"" + *at + "\" " + std::string(platform::kNoTime));
    if (*time == 0) throw Refusal("time: " + std::string(kNoTimeOfRecord));
    record.time = *time;
  }
  const auto gage = arguments.Value(kGage).value_or("");
  for (const auto& word : arguments.Positional()) {
    record.pieces.push_back({NumberOf("value", word), 0, 0, "", gage, ""});
  }
  for (const auto& defect : arguments.Values(kDefect)) {
    const auto [code, count] = Pair(kDefect, defect);
    record.pieces.push_back({NumberOf("defect", count), 0, 0, "", gage, code});
  }
  if (record.pieces.empty()) throw Misuse("which values?");
  record.size = arguments.Get(kSize).value_or(0.0);
  record.flag = arguments.Get(kFlag);
  for (const auto& option : kContext) {
    if (const auto name = arguments.Value(option)) record.context[option.name] = *name;
  }
  for (const auto& descriptor : arguments.Values(kDescriptor)) {
    const auto [group, name] = Pair(kDescriptor, descriptor);
    record.context["descriptor:" + group] = name;
  }
  record.comments = arguments.Values(kComment);
  record.key = arguments.Value(kKey).value_or("");
  record.force = arguments.Has(kForce);
  return record;
}

// "#4711 Ring / Press A / Diameter 2026-03-11T06:00:00, 3 values"
std::string AnswerText(const NewRecord& record, const Recorded& recorded) {
  return "#" + std::to_string(recorded.subgroup) + " " + record.part + " / " + record.process +
         " / " + record.test + " " + platform::IsoText(recorded.time) + ", " +
         render::Counted(record.pieces.size(), record.size > 0 ? "count" : "value") +
         (recorded.repeated ? ", stored before" : "");
}

// The database that records go into. With --create it is made with the first one that is stored, so
// that refused ones leave no new file.
class Target {
 public:
  explicit Target(const Arguments& arguments) : path_(arguments.Required(kDatabase)) {
    const bool may_be_new = arguments.Has(kCreate);
    if (may_be_new && !system::StateOf(path_)) return;
    database_.emplace(OpenDatabase(path_, may_be_new));
  }

  // Once something was stored.
  QualityDatabase& Database() { return *database_; }
  Recorded Record(const NewRecord& record, const Actor& actor, NewNames names) {
    if (database_) return database_->Record(record, actor, names);
    auto recorded = QualityDatabase::RecordInto(path_, {&record, 1}, actor, names);
    database_.emplace(QualityDatabase::Open(path_));
    return std::move(recorded.front());
  }
  BatchRecorded Record(std::vector<NewRecord> records, const Actor& actor,
                       const BatchOptions& options) {
    if (!database_) {
      auto recorded = QualityDatabase::RecordBatchInto(path_, records, actor, options);
      if (recorded.refused.size() < records.size()) {
        database_.emplace(QualityDatabase::Open(path_));
      }
      return recorded;
    }
    auto batch = database_->Begin(actor, options);
    for (auto& record : records) batch.Add(std::move(record));
    return batch.Commit();
  }

 private:
  std::string path_;
  std::optional<QualityDatabase> database_;
};

int RecordOne(Target& target, const Arguments& arguments, Console& console) {
  const auto record = RecordOf(arguments);
  const auto names = arguments.Has(kCreate) ? NewNames::Create : NewNames::Refuse;
  const auto recorded = target.Record(record, ActorOf(arguments), names);
  for (const auto& note : recorded.notes) {
    console.err << render::PlainText("note: " + note.Sentence()) << "\n";
  }
  console.out << render::PlainText(AnswerText(record, recorded)) << "\n";
  ShowAlarms(target.Database(), recorded.alarms, recorded.alarms.size(), console);
  return StatusOf(arguments, recorded.alarms.size());
}

// Lines of JSON: one by one, or so many in one transaction. Each has one answer, in its order.
class Lines {
 public:
  Lines(Target& target, const Arguments& arguments, Console& console)
      : target_(target),
        console_(console),
        arguments_(arguments),
        actor_(ActorOf(arguments)),
        teller_(arguments, console) {
    size_ = static_cast<std::size_t>(*arguments.Get(kBatch));
    names_ = arguments.Has(kCreate) ? NewNames::Create : NewNames::Refuse;
    force_ = arguments.Has(kForce);
  }

  int Run(std::istream& lines) {
    for (std::string line; ReadLine(lines, line);) {
      if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
      Take(line);
      if (waiting_.size() >= size_) Store();
    }
    Store();
    return any_refused_ ? 1 : StatusOf(arguments_, alarms_);
  }

 private:
  struct Waiting {
    std::string key;
    std::optional<NewRecord> record;
    std::string answer;  // of a line that could not be read
  };

  // The next line. Of one that is too long enough is kept that it is refused.
  static bool ReadLine(std::istream& lines, std::string& line) {
    line.clear();
    auto& buffer = *lines.rdbuf();
    for (auto letter = buffer.sbumpc();; letter = buffer.sbumpc()) {
      if (letter == std::istream::traits_type::eof()) return !line.empty();
      if (letter == '\n') return true;
      if (line.size() <= kMaxLineOfRecord) line += static_cast<char>(letter);
    }
  }

  void Take(const std::string& line) {
    Waiting waiting;
    try {
      waiting.record = RecordFromJson(line, &waiting.key);
      waiting.record->force = force_;
    } catch (const Refused& refused) {
      waiting.answer = Answer(waiting.key, refused);
    }
    waiting_.push_back(std::move(waiting));
  }

  std::string Answer(const std::string& key, const Refused& refused) {
    any_refused_ = true;
    return JsonOf(key, refused);
  }

  std::string Answer(const std::string& key, const Recorded& recorded) {
    alarms_ += recorded.alarms.size();
    return JsonOf(key, recorded);
  }

  void Store() {
    size_ == 1 ? StoreOne() : StoreBatch();
    for (const auto& each : waiting_) console_.out << each.answer << "\n";
    console_.out.flush();
    waiting_.clear();
    // A stream may go on for days.
    if (std::exchange(told_, alarms_) != alarms_) teller_.Tell(target_.Database());
  }

  void StoreOne() {
    for (auto& each : waiting_) {
      if (!each.record) continue;
      try {
        each.answer = Answer(each.key, target_.Record(*each.record, actor_, names_));
      } catch (const Refused& refused) {
        each.answer = Answer(each.key, refused);
      }
    }
  }

  void StoreBatch() {
    BatchOptions options;
    options.names = names_;
    options.skip_refused = true;
    std::vector<Waiting*> sent;
    std::vector<NewRecord> records;
    for (auto& each : waiting_) {
      if (!each.record) continue;
      sent.push_back(&each);
      records.push_back(std::move(*each.record));
    }
    if (sent.empty()) return;
    BatchRecorded stored;
    try {
      stored = target_.Record(std::move(records), actor_, options);
    } catch (const Refused& refused) {
      // Of who records, which all of them share.
      for (auto* const each : sent) each->answer = Answer(each->key, refused);
      return;
    }
    for (std::size_t i = 0; i < sent.size(); ++i) {
      const auto refused = stored.refused.find(i);
      sent[i]->answer = refused == stored.refused.end() ? Answer(sent[i]->key, stored.records[i])
                                                        : Answer(sent[i]->key, refused->second);
    }
  }

  Target& target_;
  Console& console_;
  const Arguments& arguments_;
  Actor actor_;
  Teller teller_;
  std::size_t size_ = 1, alarms_ = 0;
  std::size_t told_ = 0;  // alarms that hooks were told of
  NewNames names_ = NewNames::Refuse;
  bool force_ = false, any_refused_ = false;
  std::vector<Waiting> waiting_;
};

int RunRecordCommand(const Arguments& arguments, Console& console) {
  arguments.Required(kDatabase);
  const auto file = arguments.Value(kJsonl);
  const auto of_one = arguments.FirstOf(OptionsOfOne());
  if (file && (!of_one.empty() || !arguments.Positional().empty())) {
    throw Misuse("--jsonl has the records on its lines; " + (of_one.empty() ? "--part" : of_one) +
                 " and values are of one record");
  }
  if (!file && arguments.Has(kBatch)) throw Misuse("--batch is for --jsonl");
  if (!file) RecordOf(arguments);  // so that a slip makes no new database
  if (file && *file != "-") CheckReadable(*file);
  Target target(arguments);
  if (!file) return RecordOne(target, arguments, console);
  Lines lines(target, arguments, console);
  if (*file == "-") return lines.Run(std::cin);
  std::ifstream from(system::PathOf(*file), std::ios::binary);
  return lines.Run(from);
}

}  // namespace

Command RecordCommand() {
  return {"record",
          "--db FILE --part NAME --process NAME --test NAME VALUE... | --db FILE --jsonl FILE",
          "Stores the values of one subgroup, or a stream of them",
          "A part, process or test that is new is refused without --create. The answer is the "
          "number of the subgroup.\n"
          "With --jsonl each line is a record, each gets a line of JSON as its answer, and one "
          "that is refused does not end the stream. See also docs/how-to/record.md.",
          "orvspc record --db q.db --part Ring --process \"Press A\" --test Diameter 74.03 74.002",
          Together(std::vector{kDatabase}, OptionsOfOne(),
                   std::vector<Option>{kCreate, kForce, kJsonl, kBatch, kExitCode, kBy, kStation}),
          RunRecordCommand,
          1'000'000,
          nullptr,
          Always};
}

}  // namespace orvspc::cli
