// SPDX-License-Identifier: Apache-2.0
#include "host/cli/Selection.h"

#include <charconv>
#include <chrono>
#include <optional>
#include <set>

#include "engine/store/Catalogue.h"
#include "platform/Enumerations.h"
#include "platform/TimeStamp.h"

namespace orvspc::host {

namespace {

using engine::catalogue::ItemKind;

struct Dimension {
  const char* option;
  const char* group_option;
  ItemKind kind;
  DescriptorTypes type;
};

constexpr Dimension kDimensions[] = {
    {"part", "part-group", ItemKind::Part, dtPart},
    {"process", "process-group", ItemKind::Process, dtProcess},
    {"test", "test-group", ItemKind::Test, dtTest},
    {"job", "job-group", ItemKind::Job, dtJob},
    {"lot", "lot-group", ItemKind::Lot, dtLot},
    {"shift", "shift-group", ItemKind::Shift, dtShift},
    {"employee", "employee-group", ItemKind::Employee, dtEmployee},
    {"defect", "defect-group", ItemKind::Defect, dtDefect},
};

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

void AddDimension(const Dimension& dimension, const Arguments& arguments,
                  EmbeddedDatabase& database, DataSelect& select) {
  const auto& names = arguments.Values(dimension.option);
  const auto group = arguments.Value(dimension.group_option);
  if (names.empty() && !group) return;
  if (!names.empty() && group)
    throw Misuse(std::string("--") + dimension.option + " and --" + dimension.group_option +
                 " exclude each other");
  const std::string word(engine::catalogue::WordOf(dimension.kind));
  const auto descriptor = select.Descriptors()->Add(dimension.type);
  if (group) {
    const auto id = engine::store::FindGroup(database, dimension.kind, *group);
    if (!id) throw Refusal("no " + word + " group is called " + Quoted(*group));
    descriptor->FilterType(ftGroup);
    descriptor->GroupID(*id);
    return;
  }
  descriptor->FilterType(ftItemList);
  for (const auto& name : names) {
    const auto id = engine::store::FindItem(database, dimension.kind, name);
    if (!id)
      throw Refusal("no " + word + " is called " + Quoted(name) + " (orvspc list " + word +
                    " --db " + ShellWord(arguments.Required("db")) + " shows the names)");
    descriptor->AddItemID(*id);
  }
}

// "NAME=VALUE" picks one descriptor, "NAME" any of its group.
void AddDescriptor(const std::string& text, EmbeddedDatabase& database, DataSelect& select) {
  const auto equals = text.find('=');
  const std::string group = text.substr(0, equals);
  const auto group_id = engine::store::FindDescriptorGroup(database, group);
  if (!group_id) throw Refusal("no descriptor group is called " + Quoted(group));
  if (equals == std::string::npos) {
    const auto descriptor = select.Descriptors()->Add(dtOther);
    descriptor->FilterType(ftGroup);
    descriptor->GroupID(*group_id);
    return;
  }
  const std::string value = text.substr(equals + 1);
  for (const auto& candidate : engine::store::ListDescriptors(database)) {
    if (candidate.group != *group_id || candidate.name != value) continue;
    const auto descriptor = select.Descriptors()->Add(dtOther);
    descriptor->FilterType(ftItemList);
    descriptor->AddItemID(candidate.id);
    return;
  }
  throw Refusal("the descriptor group " + Quoted(group) + " has no " + Quoted(value));
}

void AddStates(const Arguments& arguments, DataSelect& select) {
  const auto text = arguments.Value("state");
  if (!text) return;
  select.IncludeEnabled(false);
  select.IncludeDisabled(false);
  select.IncludeIncomplete(false);
  for (std::size_t start = 0; start <= text->size();) {
    const std::size_t end = std::min(text->find(',', start), text->size());
    const std::string word = text->substr(start, end - start);
    if (word == "enabled") {
      select.IncludeEnabled(true);
    } else if (word == "disabled") {
      select.IncludeDisabled(true);
    } else if (word == "incomplete") {
      select.IncludeIncomplete(true);
    } else {
      throw Misuse("--state takes enabled, disabled, incomplete, separated by commas, not " +
                   Quoted(word));
    }
    start = end + 1;
  }
}

struct Period {
  const char* word;
  DateRangePeriods value;
};
constexpr Period kPeriods[] = {{"minutes", drpMinute}, {"hours", drpHour},   {"days", drpDay},
                               {"weeks", drpWeek},     {"months", drpMonth}, {"years", drpYear}};

void AddTimes(const Arguments& arguments, DataSelect& select) {
  const auto since = arguments.Value("since");
  const auto until = arguments.Value("until");
  const auto last = arguments.Number("last", 1);
  if (last && (since || until)) throw Misuse("--last excludes --since and --until");
  if (!last && arguments.Has("period")) throw Misuse("--period needs --last");
  // A selection by number alone has no bound in time.
  select.DateRangeInterval(0);
  if (since || until) {
    select.DateRangeTimeType(drttStatic);
    if (since) select.DateRangeStart(DateOption("since", *since, false));
    if (until) select.DateRangeEnd(DateOption("until", *until, true));
    if (since && until && select.DateRangeStart() > select.DateRangeEnd())
      throw Misuse("--since lies after --until");
  }
  if (last) {
    std::vector<std::string> words;
    for (const auto& period : kPeriods) words.emplace_back(period.word);
    const std::string word = arguments.Choice("period", words, "days");
    for (const auto& period : kPeriods)
      if (word == period.word) select.DateRangePeriod(period.value);
    select.DateRangeInterval(*last);
  }
}

// Two, or four, digits at the start of text, taken away; -1 when there are none.
int Digits(std::string_view& text, std::size_t count) {
  int value = -1;
  if (text.size() < count) return -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + count, value);
  if (error != std::errc() || end != text.data() + count || value < 0) return -1;
  text.remove_prefix(count);
  return value;
}

bool Take(std::string_view& text, char c) {
  if (text.empty() || text.front() != c) return false;
  text.remove_prefix(1);
  return true;
}

// Seconds since 1970 UTC; empty when the text is no such time.
std::optional<std::int64_t> ParseTime(std::string_view text, bool end_of_day) {
  const int year = Digits(text, 4);
  if (year < 0 || !Take(text, '-')) return std::nullopt;
  const int month = Digits(text, 2);
  if (month < 0 || !Take(text, '-')) return std::nullopt;
  const int day = Digits(text, 2);
  if (day < 0) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) return std::nullopt;
  const std::int64_t midnight =
      std::chrono::sys_days(date).time_since_epoch().count() * std::int64_t{86400};
  if (text.empty()) return midnight + (end_of_day ? 86399 : 0);
  if (!Take(text, 'T') && !Take(text, ' ')) return std::nullopt;
  const int hour = Digits(text, 2);
  if (hour < 0 || hour > 23 || !Take(text, ':')) return std::nullopt;
  const int minute = Digits(text, 2);
  if (minute < 0 || minute > 59) return std::nullopt;
  int second = 0;
  if (Take(text, ':')) {
    second = Digits(text, 2);
    if (second < 0 || second > 59) return std::nullopt;
  }
  std::int64_t offset = 0;
  if (!Take(text, 'Z') && !text.empty()) {
    const int sign = Take(text, '+') ? 1 : Take(text, '-') ? -1 : 0;
    const int hours = sign == 0 ? -1 : Digits(text, 2);
    Take(text, ':');
    const int minutes = hours < 0 ? -1 : text.empty() ? 0 : Digits(text, 2);
    if (hours < 0 || hours > 23 || minutes < 0 || minutes > 59) return std::nullopt;
    offset = sign * (hours * 3600 + minutes * 60);
  }
  if (!text.empty()) return std::nullopt;
  return midnight + hour * 3600 + minute * 60 + second - offset;
}

}  // namespace

std::vector<Option> SelectionOptions(const char* maximum) {
  return {
      {"db", "FILE", "the quality database"},
      {"part", "NAME", "parts", true},
      {"process", "NAME", "processes", true},
      {"test", "NAME", "tests (characteristics)", true},
      {"job", "NAME", "jobs", true},
      {"lot", "NAME", "lots", true},
      {"shift", "NAME", "shifts", true},
      {"employee", "NAME", "employees", true},
      {"defect", "NAME", "defect codes", true},
      {"part-group", "NAME", "parts of a group"},
      {"process-group", "NAME", "processes of a group"},
      {"test-group", "NAME", "tests of a group"},
      {"job-group", "NAME", "jobs of a group"},
      {"lot-group", "NAME", "lots of a group"},
      {"shift-group", "NAME", "shifts of a group"},
      {"employee-group", "NAME", "employees of a group"},
      {"defect-group", "NAME", "defect codes of a group"},
      {"descriptor", "NAME[=VALUE]", "subgroups with that descriptor", true},
      {"max", "N", maximum},
      {"since", "TIME", "not before: 2024-03-01 or 2024-03-01T08:00, UTC without a zone"},
      {"until", "TIME", "not after; a day counts to its end"},
      {"last", "N", "only N periods back from the newest subgroup"},
      {"period", "WORD", "of --last: minutes hours days weeks months years (default days)"},
      {"state", "WORDS", "enabled,disabled,incomplete (default all)"},
      {"tsno", "N", "only piece N of each subgroup"},
  };
}

double DateOption(const std::string& option, const std::string& text, bool end_of_day) {
  auto stamp = ParseTime(text, end_of_day);
  // The days at the two ends of the range lie in it with a part of theirs.
  if (stamp && text.size() == 10) {
    if (*stamp < INT32_MIN && *stamp + 86399 >= INT32_MIN) stamp = INT32_MIN;
    if (*stamp > INT32_MAX && *stamp - 86399 <= INT32_MAX) stamp = INT32_MAX;
  }
  if (!stamp || *stamp < INT32_MIN || *stamp > INT32_MAX)
    throw Misuse("--" + option + ": " + Quoted(text) +
                 " is no time such as 2024-03-01 or 2024-03-01T08:00:00, 1901 to 2038");
  return platform::TimeStampToDate(static_cast<std::int32_t>(*stamp));
}

std::shared_ptr<DataSelect> MakeSelection(const Arguments& arguments, EmbeddedDatabase& database,
                                          std::int32_t default_maximum) {
  auto select = std::make_shared<DataSelect>();
  select->MaximumItems(arguments.Number("max", 1).value_or(default_maximum));
  select->Tsno(arguments.Number("tsno", 0).value_or(0));
  AddTimes(arguments, *select);
  AddStates(arguments, *select);
  for (const auto& dimension : kDimensions) AddDimension(dimension, arguments, database, *select);
  for (const auto& text : arguments.Values("descriptor")) AddDescriptor(text, database, *select);
  return select;
}

}  // namespace orvspc::host
