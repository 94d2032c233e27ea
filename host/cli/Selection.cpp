// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "frame/NumberText.h"
#include "host/cli/Analysis.h"
#include "platform/Enumerations.h"
#include "platform/TimeStamp.h"
#include "platform/TimeText.h"
#include "system/system.h"

namespace orvspc::cli {

namespace {

struct Dimension {
  Option items, group;
  ItemKind kind;
  DescriptorTypes type;
};

constexpr Dimension Of(const char* name, const char* group, const char* help,
                       const char* group_help, ItemKind kind, DescriptorTypes type) {
  return {{name, "NAME", help, "", true}, {group, "NAME", group_help}, kind, type};
}

constexpr Dimension kDimensions[] = {
    Of("part", "part-group", "parts", "parts of a group", ItemKind::Part, dtPart),
    Of("process", "process-group", "processes", "processes of a group", ItemKind::Process,
       dtProcess),
    Of("test", "test-group", "tests (characteristics)", "tests of a group", ItemKind::Test, dtTest),
    Of("job", "job-group", "jobs", "jobs of a group", ItemKind::Job, dtJob),
    Of("lot", "lot-group", "lots", "lots of a group", ItemKind::Lot, dtLot),
    Of("shift", "shift-group", "shifts", "shifts of a group", ItemKind::Shift, dtShift),
    Of("employee", "employee-group", "employees", "employees of a group", ItemKind::Employee,
       dtEmployee),
    Of("defect", "defect-group", "defect codes", "defect codes of a group", ItemKind::Defect,
       dtDefect),
};

constexpr Option kSince{"since", "TIME",
                        "not before: 2024-03-01 or 2024-03-01T08:00, UTC without a zone"};
constexpr Option kUntil{"until", "TIME", "not after; a day counts to its end"};
constexpr Option kDescriptor{"descriptor", "NAME[=VALUE]", "subgroups with that descriptor", "",
                             true};
constexpr Number kLast{{"last", "N", "only N periods back from the newest subgroup"}, 1};
constexpr render::Word kPeriodWords[] = {{"minutes", drpMinute}, {"hours", drpHour},
                                         {"days", drpDay},       {"weeks", drpWeek},
                                         {"months", drpMonth},   {"years", drpYear}};
constexpr Choice<DateRangePeriods> kPeriod{
    {"period", "WORD", "of --last", "days", false, kPeriodWords}};
constexpr render::Word kStateWords[] = {{"enabled", 0}, {"disabled", 1}, {"incomplete", 2}};
constexpr Option kState{"state", "WORDS", "enabled,disabled,incomplete", "all"};
constexpr Number kPiece{{"tsno", "N", "only piece N of each subgroup"}};

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

void AddDimension(const Dimension& dimension, const Arguments& arguments,
                  const QualityDatabase& database, DataSelect& select) {
  const auto& names = arguments.Values(dimension.items);
  const auto group = arguments.Value(dimension.group);
  if (names.empty() && !group) return;
  if (!names.empty() && group)
    throw Misuse(std::string("--") + dimension.items.name + " and --" + dimension.group.name +
                 " exclude each other");
  const std::string word(WordOf(dimension.kind));
  const auto descriptor = select.Descriptors()->Add(dimension.type);
  if (group) {
    const auto id = database.FindGroup(dimension.kind, *group);
    if (!id) throw Refusal("no " + word + " group is called " + Quoted(*group));
    descriptor->FilterType(ftGroup);
    descriptor->GroupID(*id);
    return;
  }
  descriptor->FilterType(ftItemList);
  for (const auto& name : names) {
    const auto id = database.Find(dimension.kind, name);
    if (!id)
      throw Refusal("no " + word + " is called " + Quoted(name) + " (orvspc list " + word +
                    " --db " + system::ShellWord(WithoutPasswords(arguments.Required(kDatabase))) +
                    " shows the names)");
    descriptor->AddItemID(*id);
  }
}

// "NAME=VALUE" picks one descriptor, "NAME" any of its group.
void AddDescriptor(const std::string& text, const QualityDatabase& database, DataSelect& select) {
  const auto equals = text.find('=');
  const std::string group = text.substr(0, equals);
  const auto group_id = database.FindDescriptorGroup(group);
  if (!group_id) throw Refusal("no descriptor group is called " + Quoted(group));
  const auto descriptor = select.Descriptors()->Add(dtOther);
  if (equals == std::string::npos) {
    descriptor->FilterType(ftGroup);
    descriptor->GroupID(*group_id);
    return;
  }
  const std::string value = text.substr(equals + 1);
  const auto id = database.FindDescriptor(*group_id, value);
  if (!id) throw Refusal("the descriptor group " + Quoted(group) + " has no " + Quoted(value));
  descriptor->FilterType(ftItemList);
  descriptor->AddItemID(*id);
}

void AddStates(const Arguments& arguments, DataSelect& select) {
  const auto text = arguments.Value(kState);
  if (!text) return;
  bool included[std::size(kStateWords)] = {};
  for (const auto& word : Split(*text)) {
    const auto state = render::ValueOf(kStateWords, word);
    if (!state)
      throw Misuse("--state takes enabled, disabled, incomplete, separated by commas, not " +
                   Quoted(word));
    included[*state] = true;
  }
  select.IncludeEnabled(included[0]);
  select.IncludeDisabled(included[1]);
  select.IncludeIncomplete(included[2]);
}

// A time of the command line as a date in UTC; a bare day is its first second, or its last one with
// end_of_day. Misuse names the option.
double DateOption(const Option& option, const std::string& given, bool end_of_day) {
  const auto text = TrimBlanks(given);
  auto stamp = ParseTime(text, end_of_day);
  // The days at the two ends of the range lie in it with a part of theirs.
  constexpr std::int64_t kDay = 86399;
  if (stamp && text.size() == 10) {
    if (*stamp < INT32_MIN && *stamp + kDay >= INT32_MIN) stamp = INT32_MIN;
    if (*stamp > INT32_MAX && *stamp - kDay <= INT32_MAX) stamp = INT32_MAX;
  }
  if (!stamp || *stamp < INT32_MIN || *stamp > INT32_MAX)
    throw Misuse(std::string("--") + option.name + ": " + Quoted(given) + " " +
                 std::string(stamp ? platform::kTimeOutOfRange : platform::kNoTime));
  return platform::TimeStampToDate(static_cast<std::int32_t>(*stamp));
}

void AddTimes(const Arguments& arguments, DataSelect& select) {
  const auto since = arguments.Value(kSince);
  const auto until = arguments.Value(kUntil);
  const auto last = arguments.Get(kLast);
  if (last && (since || until)) throw Misuse("--last excludes --since and --until");
  if (!last && arguments.Has(kPeriod)) throw Misuse("--period needs --last");
  // A selection by number alone has no bound in time.
  select.DateRangeInterval(last.value_or(0));
  if (last) select.DateRangePeriod(arguments.Get(kPeriod));
  if (!since && !until) return;
  select.DateRangeTimeType(drttStatic);
  if (since) select.DateRangeStart(DateOption(kSince, *since, false));
  if (until) select.DateRangeEnd(DateOption(kUntil, *until, true));
  if (since && until && select.DateRangeStart() > select.DateRangeEnd())
    throw Misuse("--since lies after --until");
}

// The items that options name of a dimension; none where they name a group, or nothing.
std::vector<std::int32_t> ItemsOf(const DataSelect& select, DescriptorTypes type) {
  std::vector<std::int32_t> items;
  const auto descriptor = select.Descriptors()->GetDescriptor(type);
  for (std::int32_t i = 1; descriptor && i <= descriptor->ItemCount(); ++i)
    items.push_back(descriptor->ItemID(i));
  return items;
}

struct PhaseScope {
  DescriptorTypes type;
  std::int32_t Phase::*item;
};
constexpr PhaseScope kPhaseScopes[] = {
    {dtPart, &Phase::part}, {dtProcess, &Phase::process}, {dtTest, &Phase::test}};

// The one phase of that name among the streams that are selected.
Phase PhaseNamed(const std::string& name, const QualityDatabase& database,
                 const DataSelect& select) {
  std::vector<Phase> found;
  for (const auto& phase : database.Phases()) {
    const bool fits = std::ranges::all_of(kPhaseScopes, [&](const PhaseScope& scope) {
      const auto items = ItemsOf(select, scope.type);
      return phase.*scope.item == 0 || items.empty() ||
             std::ranges::find(items, phase.*scope.item) != items.end();
    });
    if (fits && phase.name == name) found.push_back(phase);
  }
  if (found.size() == 1) return found[0];
  throw Refusal(found.empty() ? "no phase of what is selected is called " + Quoted(name) +
                                    "; \"orvspc phase list\" shows all"
                              : std::to_string(found.size()) + " phases are called " +
                                    Quoted(name) + "; name the part, process or test");
}

// What the options select, but for times; of a phase its own part, process and test.
void AddDescriptors(const Arguments& arguments, const QualityDatabase& database, DataSelect& select,
                    const Phase& phase = {}) {
  for (const auto& dimension : kDimensions) {
    const auto* const scope = std::ranges::find(kPhaseScopes, dimension.type, &PhaseScope::type);
    const auto item = scope == std::end(kPhaseScopes) ? 0 : phase.*scope->item;
    if (item == 0) {
      AddDimension(dimension, arguments, database, select);
      continue;
    }
    // A group of items and an item of it cannot be asked for at once.
    if (arguments.Has(dimension.group))
      throw Misuse(std::string("--phase and --") + dimension.group.name + " exclude each other");
    const auto descriptor = select.Descriptors()->Add(dimension.type);
    descriptor->FilterType(ftItemList);
    descriptor->AddItemID(item);
  }
  for (const auto& text : arguments.Values(kDescriptor)) AddDescriptor(text, database, select);
}

// Only the subgroups of a phase: its streams and its time.
void NarrowToPhase(const Arguments& arguments, const QualityDatabase& database,
                   DataSelect& select) {
  const auto name = arguments.Value(kPhase);
  if (!name) return;
  if (arguments.Has(kAllPhases)) throw Misuse("--phase and --all-phases exclude each other");
  if (arguments.Get(kLast)) throw Misuse("--phase and --last exclude each other");
  const auto phase = PhaseNamed(*name, database, select);
  select.Descriptors()->Clear();
  AddDescriptors(arguments, database, select, phase);
  select.DateRangeInterval(0);
  select.DateRangeTimeType(drttStatic);
  const double start = platform::TimeStampToDate(phase.start);
  if (!arguments.Has(kSince) || select.DateRangeStart() < start) select.DateRangeStart(start);
  if (!phase.finish) return;
  const double end = platform::TimeStampToDate(*phase.finish - 1);
  if (!arguments.Has(kUntil) || select.DateRangeEnd() > end) select.DateRangeEnd(end);
}

}  // namespace

std::vector<Option> SelectionOptions() {
  std::vector<Option> options{kDatabase};
  for (const auto& dimension : kDimensions) options.push_back(dimension.items);
  for (const auto& dimension : kDimensions) options.push_back(dimension.group);
  for (const Option& option :
       {kDescriptor, kSince, kUntil, Option(kLast), Option(kPeriod), kState, Option(kPiece)})
    options.push_back(option);
  return options;
}

bool NamesStates(const Arguments& arguments) { return arguments.Has(kState); }

std::vector<Condition> ConditionsOf(const Arguments& arguments) {
  std::vector<Condition> conditions;
  auto options = SelectionOptions();
  options.push_back(kPhase);
  options.push_back(kTestType);
  for (const auto& option : options) {
    const std::string name = option.name;
    // A period is that of --last.
    if (name == kDatabase.name || name == kPeriod.name || !arguments.Has(option)) continue;
    std::string text;
    for (const auto& value : arguments.Values(option))
      text += (text.empty() ? "--" : " --") + name + " " + system::ShellWord(value);
    auto without = arguments.Without(option);
    if (name == kLast.name) without = without.Without(kPeriod);
    conditions.push_back({std::move(text), std::move(without)});
  }
  return conditions;
}

std::shared_ptr<DataSelect> MakeSelection(const Arguments& arguments, const Number& maximum,
                                          const QualityDatabase& database) {
  auto select = std::make_shared<DataSelect>();
  const auto most = arguments.Get(maximum).value_or(0);
  select->MaximumItems(most == 0 ? INT32_MAX : most);
  select->Tsno(arguments.Get(kPiece).value_or(0));
  AddTimes(arguments, *select);
  AddStates(arguments, *select);
  AddDescriptors(arguments, database, *select);
  NarrowToPhase(arguments, database, *select);
  return select;
}

}  // namespace orvspc::cli
