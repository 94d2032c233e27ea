// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <string_view>
#include <utility>

#include "engine/QualityDatabase.h"
#include "host/cli/Output.h"
#include "host/cli/SubgroupOptions.h"
#include "host/render/core/Json.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Text.h"

namespace orvspc::cli {

namespace {

constexpr Option kPart{"part", "NAME", "the part"};
constexpr Option kProcess{"process", "NAME", "the process"};
constexpr Option kTest{"test", "NAME", "the test (characteristic)"};
constexpr Option kSince{"since", "TIME", "the window begins: 2024-03-01 or 2024-03-01T08:00"};
constexpr Option kUntil{"until", "TIME", "it ends; a day counts to its end"};
constexpr Number kFirst{{"first", "N", "only the first N subgroups of it that count"}, 1};
constexpr Option kOfPhase{"phase", "NAME",
                          "the limits of that phase; without it those of the newest"};
constexpr Option kOfAllPhases{"all-phases", nullptr,
                              "of the whole window, as if there were no phases"};
constexpr Option kExclude{"exclude", "#ID=REASON", "a subgroup to leave out", "", true};
constexpr Option kIterate{"iterate", nullptr,
                          "leave out points beyond the limits that have a cause, in rounds"};
constexpr Option kAuto{"auto", nullptr, "with --iterate, those without a cause, too"};
constexpr Option kScreenMr{"screen-mr", nullptr,
                           "sigma without moving ranges above 3.267 of their mean"};
constexpr Option kForce{"force", nullptr, "also with too few subgroups, or open questions"};
constexpr Option kEffective{"effective", "TIME", "from when the limits hold", "behind their data"};
constexpr Option kNewPhase{"new-phase", "NAME", "a phase begins with them: the process changed"};
constexpr Option kEnd{"at", "TIME", "when the limits end", "now"};
constexpr Option kHistory{"history", nullptr, "also rows that hold no more, or never held"};
// Codes of graphs in a chart word.
constexpr render::Word kGraph1Codes[] = {
    {"auto", 0},  {"xbar", 0x1}, {"median", 0x2}, {"individuals", 0x3}, {"moving-average", 0x4},
    {"ppt", 0x8}, {"dpto", 0x9}, {"ppm", 0xA},    {"dpmo", 0xB},        {"np", 0xC},
    {"p", 0xD},   {"c", 0xE},    {"u", 0xF}};
constexpr render::Word kGraph2Codes[] = {
    {"none", 0}, {"range", 1}, {"sd", 2}, {"mr", 3}, {"cv", 4}};
constexpr render::Word kGraph3Codes[] = {{"none", 0}, {"range", 1}, {"sd", 2}};
constexpr Choice<std::int32_t> kGraph1{{"graph1", "WORD", "", "", false, kGraph1Codes}};
constexpr Choice<std::int32_t> kGraph2{{"graph2", "WORD", "", "", false, kGraph2Codes}};
constexpr Choice<std::int32_t> kGraph3{{"graph3", "WORD", "", "", false, kGraph3Codes}};

// What one run of the command works with.
struct Run {
  const Arguments& arguments;
  Console& console;
  QualityDatabase database;
  bool json;

  const std::string& Word(std::size_t place, const char* question) const {
    const auto& words = arguments.Positional();
    if (words.size() <= place) throw Misuse(question);
    return words[place];
  }
  std::int32_t Id(std::size_t place = 1) const {
    const auto& text = Word(place, "which row? orvspc limits list shows their numbers");
    std::int32_t id = 0;
    const auto* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, id);
    if (read.ec != std::errc() || read.ptr != end || id < 1) {
      throw Misuse("\"" + text + "\" is no number of a row");
    }
    return id;
  }
  std::string Name(ItemKind kind, std::int32_t id, const char* any = "any") const {
    return id == 0 ? any : database.Name(kind, id);
  }
  template <class Row>
  std::string StreamOf(const Row& row) const {
    return Name(ItemKind::Part, row.part, "any part") + " / " +
           Name(ItemKind::Process, row.process, "any process") + " / " +
           Name(ItemKind::Test, row.test, "any test");
  }
  void Deliver(const std::string& text) const { cli::Deliver(arguments, console, text); }
  render::TextWriter Writer() const {
    return render::TextWriter(TextOptionsOf(arguments, console));
  }
};

// The items that options name; 0 for one that is not given.
StreamKey KeyOf(const Run& run) {
  StreamKey key;
  const auto find = [&](const Option& option, ItemKind kind, std::int32_t& id) {
    const auto name = run.arguments.Value(option);
    if (!name) return;
    const auto found = run.database.Find(kind, *name);
    if (!found) {
      throw Refusal("no " + std::string(WordOf(kind)) + " is called \"" + *name + "\"");
    }
    id = *found;
  };
  find(kPart, ItemKind::Part, key.part);
  find(kProcess, ItemKind::Process, key.process);
  find(kTest, ItemKind::Test, key.test);
  return key;
}

// The one stream that fits the options.
StreamKey StreamOf(const Run& run) {
  const auto key = KeyOf(run);
  std::vector<StreamKey> fitting;
  for (const auto& stream : run.database.Streams()) {
    const auto fits = [](std::int32_t asked, std::int32_t id) { return asked == 0 || asked == id; };
    if (fits(key.part, stream.part) && fits(key.process, stream.process) &&
        fits(key.test, stream.test)) {
      fitting.push_back(stream);
    }
  }
  if (fitting.size() == 1) return fitting.front();
  if (fitting.empty()) throw Refusal("there are no values of that part, process and test");
  throw Refusal(std::to_string(fitting.size()) + " streams fit (" + run.StreamOf(fitting.front()) +
                ", ...); name one by --part, --process, --test");
}

std::int32_t Stamp(const Option& option, const std::string& text, bool end_of_day = false) {
  // A day without a time of its own counts to its end.
  const auto time = end_of_day ? ParseTime(text, true) : std::nullopt;
  return time && *time > INT32_MIN && *time <= INT32_MAX ? static_cast<std::int32_t>(*time)
                                                         : StampOf(option, text);
}

LimitExclusion ExclusionOf(const std::string& text) {
  LimitExclusion exclusion;
  const auto equals = text.find('=');
  const auto begin = text.starts_with('#') ? std::size_t{1} : 0;
  const auto* const end = text.data() + std::min(equals, text.size());
  const auto read = std::from_chars(text.data() + begin, end, exclusion.subgroup);
  if (equals != std::string::npos) exclusion.reason = text.substr(equals + 1);
  if (read.ec != std::errc() || read.ptr != end || exclusion.reason.empty()) {
    throw Misuse("--exclude takes a subgroup and the reason, as \"#57=tool broke\", not \"" + text +
                 "\"");
  }
  return exclusion;
}

// Window and chart; the stream is left to others.
LimitRequest WindowOf(const Run& run) {
  const auto& arguments = run.arguments;
  LimitRequest request;
  if (const auto since = arguments.Value(kSince)) request.since = Stamp(kSince, *since);
  if (const auto until = arguments.Value(kUntil)) request.until = Stamp(kUntil, *until, true);
  if (request.since && request.until && *request.since > *request.until) {
    throw Misuse("--since lies after --until");
  }
  request.phase = arguments.Value(kOfPhase).value_or("");
  request.all_phases = arguments.Has(kOfAllPhases);
  if (request.all_phases && !request.phase.empty()) {
    throw Misuse("--phase and --all-phases exclude each other");
  }
  request.first = arguments.Get(kFirst).value_or(0);
  request.chart_word =
      arguments.Get(kGraph1) << 8 | arguments.Get(kGraph2) << 4 | arguments.Get(kGraph3);
  for (const auto& text : arguments.Values(kExclude)) {
    request.exclusions.push_back(ExclusionOf(text));
  }
  if (arguments.Has(kAuto) && !arguments.Has(kIterate)) throw Misuse("--auto needs --iterate");
  if (arguments.Has(kIterate)) {
    request.screening = arguments.Has(kAuto) ? LimitScreening::Every : LimitScreening::WithCause;
  }
  request.screen_mr = arguments.Has(kScreenMr);
  request.force = arguments.Has(kForce);
  return request;
}

LimitRequest RequestOf(const Run& run) {
  auto request = WindowOf(run);
  const auto stream = StreamOf(run);
  request.part = stream.part;
  request.process = stream.process;
  request.test = stream.test;
  return request;
}

LimitApproval ApprovalOf(const Run& run) {
  LimitApproval approval;
  if (const auto time = run.arguments.Value(kEffective)) {
    approval.effective = Stamp(kEffective, *time);
  }
  approval.new_phase = run.arguments.Value(kNewPhase).value_or("");
  approval.force = run.arguments.Has(kForce);
  return approval;
}

std::string TimeText(std::int32_t effective) {
  return effective == kSinceEver ? "ever" : render::IsoTime(effective);
}

std::string Figure(double value) { return render::Significant(value, 9); }

std::string HexWord(std::int32_t word) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "0x";
  for (const int shift : {8, 4, 0}) text += kDigits[word >> shift & 15];
  return text;
}

void WriteStream(render::JsonWriter& json, const Run& run, std::int32_t part, std::int32_t process,
                 std::int32_t test) {
  json.Member("Part", run.database.Name(ItemKind::Part, part));
  json.MemberIf(process != 0, "Process", run.database.Name(ItemKind::Process, process));
  json.Member("Test", run.database.Name(ItemKind::Test, test));
}

void WriteExclusions(render::JsonWriter& json, const char* key,
                     const std::vector<LimitExclusion>& exclusions) {
  json.Objects(key, exclusions, [&](const LimitExclusion& each) {
    json.Members("Subgroup", each.subgroup, "Reason", each.reason);
  });
}

std::string ProposalJson(const Run& run, const LimitProposal& limits) {
  return render::JsonDocument([&](render::JsonWriter& json) {
    WriteStream(json, run, limits.part, limits.process, limits.test);
    json.MemberIf(!limits.phase.empty(), "Phase", limits.phase);
    json.Members("ChartWord", limits.chart_word, "Mean", limits.mean, "MeanName", limits.mean_name,
                 "SP", limits.sp, "SW", limits.sw, "Estimator", limits.estimator, "SWEstimator",
                 limits.within_estimator, "Constant", limits.constant, "Used", limits.used,
                 "Subgroups", limits.subgroups, "AverageSize", limits.average_size, "Start",
                 render::IsoTime(limits.start), "Finish", render::IsoTime(limits.finish), "Digest",
                 limits.digest);
    json.Objects("Graphs", limits.lines, [&](const LimitLines& each) {
      json.Members("Graph", each.graph, "Centre", each.centre, "Lower", each.lower, "Upper",
                   each.upper, "Differ", each.differ);
    });
    json.Objects("Signals", limits.signals, [&](const LimitSignal& each) {
      json.Members("Subgroup", each.subgroup, "Time", render::IsoTime(each.time), "Graph",
                   each.graph, "Rules", each.rules);
    });
    WriteExclusions(json, "Exclusions", limits.exclusions);
    json.Objects<render::Spread::Blocks>("Rounds", limits.rounds, [&](const LimitRound& each) {
      json.Members("Centre", each.centre, "Sigma", each.sigma, "Candidates", each.candidates);
      WriteExclusions(json, "LeftOut", each.left_out);
    });
    json.Members("Warnings", limits.warnings, "Missing", limits.missing);
  });
}

void WriteExclusions(render::TextWriter& text, const std::vector<LimitExclusion>& exclusions) {
  for (const auto& each : exclusions) {
    text.Line("left out: #" + std::to_string(each.subgroup) + " " + render::PlainText(each.reason));
  }
}

std::string ProposalText(const Run& run, const LimitProposal& limits) {
  auto text = run.Writer();
  text.Line(run.StreamOf(limits));
  const auto line = [&](const char* name, const std::string& value) {
    text.Line(render::Padded(name, 10) + value, 10);
  };
  line("data", std::to_string(limits.used) + " of " +
                   render::Counted(static_cast<std::size_t>(limits.subgroups), "subgroup") + ", " +
                   render::IsoTime(limits.start) + " to " + render::IsoTime(limits.finish) +
                   ", average size " + render::Significant(limits.average_size, 5));
  if (!limits.phase.empty()) line("phase", render::PlainText(limits.phase));
  line("centre", Figure(limits.mean) + ", " + limits.mean_name);
  if (!std::isnan(limits.sp)) {
    line("sigma", Figure(limits.sp) + ", " + render::EstimatorText(limits.estimator) +
                      (std::isnan(limits.constant)
                           ? std::string()
                           : ", constant " + render::Significant(limits.constant, 7)));
  }
  render::Table table{"", {"#graph", "#lower", "#centre", "#upper", ""}};
  for (const auto& each : limits.lines) {
    table.rows.push_back({std::to_string(each.graph), Figure(each.lower), Figure(each.centre),
                          Figure(each.upper), each.differ ? "newest; they differ" : ""});
  }
  text.Section(table);
  if (!limits.signals.empty() || !limits.exclusions.empty() || !limits.warnings.empty() ||
      !limits.missing.empty()) {
    text.Blank();
  }
  for (const auto& each : limits.signals) {
    std::string rules;
    for (const auto rule : each.rules) rules += " " + std::to_string(rule);
    text.Line("signal: #" + std::to_string(each.subgroup) + " " + render::IsoTime(each.time) +
              ", graph " + std::to_string(each.graph) + ", rule" + rules);
  }
  WriteExclusions(text, limits.exclusions);
  for (const auto& each : limits.warnings) text.Line("note: " + each);
  for (const auto& each : limits.missing) text.Line("not to be proposed: " + each);
  return text.Take();
}

void Compute(Run& run) {
  const auto limits = run.database.ComputeLimits(RequestOf(run));
  run.Deliver(run.json ? ProposalJson(run, limits) : ProposalText(run, limits));
}

ListedLimit RowOf(const Run& run, std::int32_t id) { return run.database.ShowLimits(id).row; }

std::string SpanText(const ListedLimit& row) {
  return "from " + TimeText(row.effective) +
         (row.until ? " to " + render::IsoTime(*row.until) : std::string());
}

// Says what became of a row; of one that was only tried, what would.
void Say(const Run& run, std::int32_t id, const std::string& text) {
  if (run.arguments.Has(kDryRun)) {
    run.Deliver("not done: limits " + std::to_string(id) + " would be " + text + "\n");
  } else {
    run.Deliver("limits " + std::to_string(id) + ": " + text + "\n");
  }
}

std::string StateText(const Run& run, std::int32_t id, const char* tried) {
  if (run.arguments.Has(kDryRun)) return tried;
  const auto row = RowOf(run, id);
  const std::string word(kLimitStates[static_cast<std::size_t>(row.state)]);
  const bool holds = row.state == LimitState::Active || row.state == LimitState::Retired;
  return holds ? word + " " + SpanText(row) : word;
}

void Propose(Run& run) {
  const auto id = run.database.ProposeLimits(RequestOf(run), ChangeOptionsOf(run.arguments));
  Say(run, id, StateText(run, id, "proposed"));
}
void Approve(Run& run) {
  const auto id = run.Id();
  run.database.ApproveLimits(id, ApprovalOf(run), ChangeOptionsOf(run.arguments));
  Say(run, id, StateText(run, id, "approved"));
}
void Reject(Run& run) {
  run.database.RejectLimits(run.Id(), ChangeOptionsOf(run.arguments));
  Say(run, run.Id(), StateText(run, run.Id(), "rejected"));
}
void Retire(Run& run) {
  const auto at = run.arguments.Value(kEnd);
  const auto time = at ? Stamp(kEnd, *at) : static_cast<std::int32_t>(CurrentTime());
  run.database.RetireLimits(run.Id(), time, ChangeOptionsOf(run.arguments));
  Say(run, run.Id(), StateText(run, run.Id(), "retired"));
}
void Void(Run& run) {
  run.database.VoidLimits(run.Id(), ChangeOptionsOf(run.arguments));
  auto text = StateText(run, run.Id(), "void");
  // A phase that began with the row says that the process changed, which may be so all the same.
  const auto row = RowOf(run, run.Id());
  for (const auto& phase : run.database.Phases()) {
    if (phase.part != row.part || phase.process != row.process || phase.test != row.test ||
        phase.start != row.effective) {
      continue;
    }
    text += "\nnote: phase \"" + render::PlainText(phase.name) + "\" begins there and stays; " +
            "\"orvspc phase remove " + std::to_string(phase.id) + "\" removes it";
  }
  Say(run, run.Id(), text);
}
void Freeze(Run& run) {
  const auto id =
      run.database.FreezeLimits(RequestOf(run), ApprovalOf(run), ChangeOptionsOf(run.arguments));
  Say(run, id, StateText(run, id, "active"));
}

void WriteRow(render::JsonWriter& json, const Run& run, const ListedLimit& row) {
  json.Member("ID", row.id);
  WriteStream(json, run, row.part, row.process, row.test);
  json.Member("Status", kLimitStates[static_cast<std::size_t>(row.state)]);
  json.Member("InForce", row.in_force);
  json.MemberIf(row.effective != kSinceEver, "Effective", render::IsoTime(row.effective));
  json.MemberIf(row.until.has_value(), "Until", render::IsoTime(row.until.value_or(0)));
  json.Member("Mean", row.mean);
  for (const auto& [key, sigma] :
       {std::pair{"SP", row.sp}, {"SPL", row.spl}, {"SW", row.sw}, {"SWL", row.swl}}) {
    json.MemberIf(sigma != 0.0, key, sigma);
  }
  json.Member("ChartWord", row.chart_word);
  json.MemberIf(row.start != 0, "Start", render::IsoTime(row.start));
  json.MemberIf(row.finish != 0, "Finish", render::IsoTime(row.finish));
  json.MemberIf(row.used != 0, "Used", row.used);
  json.MemberIf(row.average_size.has_value(), "AverageSize", row.average_size.value_or(0.0));
  json.Members("Estimator", row.estimator, "Rule", row.rule, "Reason", row.reason, "By", row.who);
  json.MemberIf(row.replaced_by != 0, "ReplacedBy", row.replaced_by);
  json.Member("Digest", row.digest);
}

void List(Run& run) {
  auto rows = run.database.ListLimits(KeyOf(run));
  const auto now = CurrentTime();
  const auto is_present = [&](const ListedLimit& row) {
    return row.state == LimitState::Proposed ||
           ((row.state == LimitState::Active || row.state == LimitState::Retired) &&
            (row.in_force || row.effective > now));
  };
  if (!run.arguments.Has(kHistory)) {
    std::erase_if(rows, [&](const ListedLimit& row) { return !is_present(row); });
  }
  if (run.json) {
    return run.Deliver(render::JsonDocument([&](render::JsonWriter& json) {
      json.Objects("control-limits", rows, [&](const ListedLimit& row) {
        WriteRow(json, run, row);
        json.Member("Version", row.version);
      });
    }));
  }
  render::Table table{"",
                      {"#id", "part", "process", "test", "status", "@from", "@to", "#centre",
                       "#sigma", "#subgroups", "by"}};
  for (const auto& row : rows) {
    table.rows.push_back({std::to_string(row.id), run.Name(ItemKind::Part, row.part),
                          run.Name(ItemKind::Process, row.process),
                          run.Name(ItemKind::Test, row.test),
                          std::string(kLimitStates[static_cast<std::size_t>(row.state)]) +
                              (row.in_force ? ", in force" : ""),
                          row.effective == kSinceEver ? "" : render::IsoTime(row.effective),
                          row.until ? render::IsoTime(*row.until) : "", Figure(row.mean),
                          row.sp == 0.0 ? "" : Figure(row.sp),
                          row.used == 0 ? "" : std::to_string(row.used), row.who});
    for (auto& cell : table.rows.back()) cell = render::PlainText(cell);
  }
  if (table.rows.empty()) {
    table.rows.emplace_back(table.headings.size());
    table.rows[0][1] = "(none)";
  }
  auto text = run.Writer();
  text.Write(table);
  run.Deliver(text.Take());
}

std::string ChangedText(const LimitDetails& details) {
  if (!details.data_changed) return "it does not say of which data";
  if (!*details.data_changed) return "unchanged since";
  return "changed since" +
         (details.changed == 0
              ? std::string()
              : ": " + render::Counted(static_cast<std::size_t>(details.changed), "subgroup"));
}

void Show(Run& run) {
  const auto details = run.database.ShowLimits(run.Id());
  const auto& row = details.row;
  constexpr std::int64_t kMillisecondsOfSecond = 1000;
  if (run.json) {
    return run.Deliver(render::JsonDocument([&](render::JsonWriter& json) {
      WriteRow(json, run, row);
      json.MemberIf(!details.mean_name.empty(), "MeanName", details.mean_name);
      json.MemberIf(!details.within_estimator.empty(), "SWEstimator", details.within_estimator);
      json.Member("Version", details.version);
      WriteExclusions(json, "Exclusions", details.exclusions);
      json.MemberIf(details.data_changed.has_value(), "DataChanged",
                    details.data_changed.value_or(false));
      json.MemberIf(details.data_changed.has_value(), "DigestNow", details.digest_now);
      json.Member("ChangedSubgroups", details.changed);
      json.Objects("Steps", details.steps, [&](const LimitStep& step) {
        json.Members("Version", step.version, "Time",
                     render::IsoTime(step.at / kMillisecondsOfSecond), "By", step.who, "Status",
                     step.what, "Reason", step.reason);
      });
    }));
  }
  auto text = run.Writer();
  const auto line = [&](const char* name, const std::string& value) {
    text.Line(render::Padded(name, 10) + render::PlainText(value), 10);
  };
  text.Line("limits " + std::to_string(row.id) + ": " + run.StreamOf(row));
  const bool holds = row.state == LimitState::Active || row.state == LimitState::Retired;
  line("status",
       std::string(kLimitStates[static_cast<std::size_t>(row.state)]) +
           (row.in_force ? ", in force" : "") + (holds ? ", " + SpanText(row) : "") +
           (row.replaced_by == 0 ? "" : ", replaced by " + std::to_string(row.replaced_by)));
  const auto made = [](const std::string& name) {
    return name.empty() ? std::string() : ", " + render::EstimatorText(name);
  };
  line("centre", Figure(row.mean) + (details.mean_name.empty() ? "" : ", " + details.mean_name));
  if (row.sp != 0.0) line("sigma", Figure(row.sp) + made(row.estimator));
  if (row.sw != 0.0 && row.sw != row.sp) {
    line("sigma w", Figure(row.sw) + made(details.within_estimator));
  }
  line("chart", HexWord(row.chart_word));
  if (row.start != 0 || row.finish != 0) {
    line("data",
         (row.used == 0 ? std::string()
                        : render::Counted(static_cast<std::size_t>(row.used), "subgroup") + ", ") +
             render::IsoTime(row.start) + " to " + render::IsoTime(row.finish) + ", " +
             ChangedText(details));
  } else {
    line("data", ChangedText(details));
  }
  if (details.data_changed.value_or(false)) {
    line("digest", row.digest);
    line("now", details.digest_now);
  }
  if (!row.rule.empty()) line("why", row.rule);
  WriteExclusions(text, details.exclusions);
  render::Table steps{"", {"#version", "@time", "status", "by", "reason"}};
  for (const auto& step : details.steps) {
    steps.rows.push_back({std::to_string(step.version),
                          render::IsoTime(step.at / kMillisecondsOfSecond), step.what,
                          render::PlainText(step.who), render::PlainText(step.reason)});
  }
  text.Section(steps);
  run.Deliver(text.Take());
}

void Compare(Run& run) {
  const auto& second = run.Word(2, "compared with which row? or \"computed\"");
  const bool is_computed = second == "computed";
  auto window = WindowOf(run);
  window.process = KeyOf(run).process;
  if (window.process != 0 && !is_computed) throw Misuse("--process goes with \"computed\"");
  const auto compared = is_computed ? run.database.CompareLimits(run.Id(), window)
                                    : run.database.CompareLimits(run.Id(), run.Id(2));
  const std::pair<const char*, const LimitDifference*> figures[] = {{"Centre", &compared.centre},
                                                                    {"Sigma", &compared.sigma}};
  if (run.json) {
    return run.Deliver(render::JsonDocument([&](render::JsonWriter& json) {
      for (const auto& [name, difference] : figures) {
        const auto& figure = *difference;
        json.Object(name, [&] {
          json.Members("First", figure.first, "Second", figure.second, "StandardErrors",
                       figure.errors);
        });
      }
    }));
  }
  render::Table table{
      "", {"", "#" + run.Word(1, ""), "#" + second, "#difference", "#in standard errors"}};
  for (const auto& [name, figure] : figures) {
    if (std::isnan(figure->first) && std::isnan(figure->second)) continue;
    table.rows.push_back({name == figures[0].first ? "centre" : "sigma", Figure(figure->first),
                          Figure(figure->second), Figure(figure->second - figure->first),
                          render::Significant(figure->errors, 3)});
  }
  auto text = run.Writer();
  text.Write(table);
  run.Deliver(text.Take());
}

void Review(Run& run) {
  const auto found = run.database.ReviewLimits(KeyOf(run), ChangeOptionsOf(run.arguments));
  if (run.json) {
    return run.Deliver(render::JsonDocument([&](render::JsonWriter& json) {
      json.Objects("Reviews", found, [&](const LimitReview& each) {
        WriteStream(json, run, each.part, each.process, each.test);
        json.Members("Code", each.code, "Text", each.text);
        json.MemberIf(each.limit != 0, "ID", each.limit);
      });
    }));
  }
  auto text = run.Writer();
  for (const auto& each : found) text.Line(each.code + ": " + render::PlainText(each.text));
  if (found.empty()) text.Line("nothing to propose");
  run.Deliver(text.Take());
}

void Policy(Run& run) {
  if (run.arguments.Positional().size() > 1) {
    const auto& word = run.Word(1, "");
    if (std::ranges::find(kBaselinePresets, word, &BaselinePreset::word) ==
        std::end(kBaselinePresets)) {
      throw Misuse("a policy is off, public-health or shewhart, not \"" + word + "\"");
    }
    const auto id =
        run.database.SetBaselinePolicy(KeyOf(run), word, ChangeOptionsOf(run.arguments));
    return run.Deliver("policy " + std::to_string(id) + ": " + word + " for " +
                       run.StreamOf(KeyOf(run)) + "\n");
  }
  const auto policies = run.database.BaselinePolicies();
  if (run.json) {
    return run.Deliver(render::JsonDocument([&](render::JsonWriter& json) {
      json.Objects("Policies", policies, [&](const BaselinePolicy& each) {
        json.Member("ID", each.id);
        const auto item = [&](const char* key, ItemKind kind, std::int32_t id) {
          json.MemberIf(id != 0, key, run.Name(kind, id));
        };
        item("Part", ItemKind::Part, each.part);
        item("Process", ItemKind::Process, each.process);
        item("Test", ItemKind::Test, each.test);
        json.Members("Policy", each.rule, "Run", each.run, "Minimum", each.minimum);
      });
    }));
  }
  render::Table table{"", {"#id", "part", "process", "test", "policy", "#run", "#minimum"}};
  for (const auto& each : policies) {
    table.rows.push_back({std::to_string(each.id),
                          render::PlainText(run.Name(ItemKind::Part, each.part)),
                          render::PlainText(run.Name(ItemKind::Process, each.process)),
                          render::PlainText(run.Name(ItemKind::Test, each.test)), each.rule,
                          std::to_string(each.run), std::to_string(each.minimum)});
  }
  if (table.rows.empty()) {
    table.rows.emplace_back(table.headings.size());
    table.rows[0][1] = "(none)";
  }
  auto text = run.Writer();
  text.Write(table);
  run.Deliver(text.Take());
}

// Options that belong together.
enum Part : unsigned {
  kOfStream = 1,
  kOfWindow = 2,
  kOfApproval = 4,
  kOfChange = 8,
  kOfRetiring = 16,
  kOfListing = 32,
  kOfVersion = 64,
  kOfForce = 128,
  kOfProcess = 256,
};
const std::vector<PartOfOptions>& AllParts() {
  static const std::vector<PartOfOptions> parts = {
      {kOfStream, {kPart}},
      {kOfStream | kOfProcess, {kProcess}},
      {kOfStream, {kTest}},
      {kOfWindow,
       {kSince, kUntil, kOfPhase, kOfAllPhases, Option(kFirst), Option(kGraph1), Option(kGraph2),
        Option(kGraph3), kExclude, kIterate, kAuto, kScreenMr}},
      {kOfForce, {kForce}},
      {kOfApproval, {kEffective, kNewPhase}},
      {kOfRetiring, {kEnd}},
      {kOfListing, {kHistory}},
      {kOfChange, {kBy, kStation, kReason, kDryRun}},
      {kOfVersion, {kExpect}}};
  return parts;
}

struct Verb {
  const char* name;
  const char* words;  // after it
  const char* summary;
  std::size_t max_words;
  unsigned parts;
  void (*run)(Run&);
};
constexpr Verb kVerbs[] = {
    {"compute", "", "the limits of a window, out of its chart; stores nothing", 0,
     kOfStream | kOfWindow | kOfForce, Compute},
    {"propose", "", "the same, stored; they hold once they are approved", 0,
     kOfStream | kOfWindow | kOfForce | kOfChange, Propose},
    {"approve", "ID", "they hold from a time on; those before end there", 1,
     kOfApproval | kOfForce | kOfChange | kOfVersion, Approve},
    {"reject", "ID", "proposed limits never hold", 1, kOfChange | kOfVersion, Reject},
    {"retire", "ID", "they end; charts of before stay as they are", 1,
     kOfRetiring | kOfChange | kOfVersion, Retire},
    {"void", "ID", "they were wrong: they hold nowhere, what they replaced does", 1,
     kOfChange | kOfVersion, Void},
    {"freeze", "", "compute, propose and approve at once", 0,
     kOfStream | kOfWindow | kOfApproval | kOfForce | kOfChange, Freeze},
    {"list", "", "rows that hold or are proposed", 0, kOfStream | kOfListing, List},
    {"show", "ID", "where a row comes from, and whether its data have changed", 1, 0, Show},
    {"compare", "ID ID|computed", "two rows, or one and a window, in standard errors", 2,
     kOfProcess | kOfWindow | kOfForce, Compare},
    {"review", "", "propose limits anew where a policy says so", 0, kOfStream | kOfChange, Review},
    {"policy", "[WORD]",
     "when that is: off, public-health (8 points on one side, limits from "
     "12), shewhart (9, 20)",
     1, kOfStream | kOfChange, Policy},
};

int RunVerb(const Arguments& arguments, Console& console) {
  std::vector<std::string> names;
  for (const auto& verb : kVerbs) names.emplace_back(verb.name);
  const auto name = VerbOf(arguments, names);
  const auto& verb =
      *std::ranges::find_if(kVerbs, [&](const Verb& each) { return name == each.name; });
  RefuseOthers(arguments, AllParts(), verb.parts, "limits " + name);
  if (arguments.Positional().size() > verb.max_words + 1) {
    throw Misuse("\"" + arguments.Positional()[verb.max_words + 1] + "\" is one word too many");
  }
  const auto format = OutputFormat(arguments, {"text", "json"});
  Run run{arguments, console, QualityDatabase::Open(arguments.Required(kDatabase)),
          format == "json"};
  verb.run(run);
  return 0;
}

// Steps that change which limits hold, so that alarms are judged anew.
bool MayJudge(const Arguments& arguments) {
  constexpr std::string_view kSteps[] = {"approve", "retire", "void", "freeze"};
  return std::ranges::find(kSteps, arguments.Positional()[0]) != std::end(kSteps);
}

}  // namespace

Command LimitsCommand() {
  std::string details = "VERB is one of";
  for (const auto& verb : kVerbs) {
    const auto words = std::string(verb.name) + (*verb.words == 0 ? "" : " ") + verb.words;
    details += "\n  " + render::Padded(words, 23) + verb.summary;
  }
  details +=
      "\nEvery change needs --reason and is an entry of the log. The words of --graph1 to --graph3 "
      "are those of \"orvspc chart\".\nFormats of what is computed, listed, shown, compared and "
      "reviewed: text, json.";
  return {"limits",
          "VERB --db FILE [OPTIONS]",
          "The life of control limits: computed, proposed, approved, retired",
          details,
          "orvspc limits freeze --db q.db --part Ring --test Diameter --first 25 --reason \"first "
          "limits\"",
          Together(std::vector<Option>{kDatabase}, OptionsOf(AllParts()), kOutputOptions),
          RunVerb,
          3,
          nullptr,
          MayJudge};
}

}  // namespace orvspc::cli
