// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <functional>
#include <map>
#include <random>
#include <set>

#include "engine/time/calendar.h"
#include "platform/TimeText.h"
#include "tests/engine/pareto/pareto_fixture.h"

// Bins against a slow and obvious count over the same data by their names.
namespace orvspc::engine::pareto {
using namespace time;
using namespace sql;
using namespace catalogue;
using namespace store;
using namespace import;

namespace {

constexpr std::uint32_t kSeed = 20240917;
constexpr std::int32_t kOffset = 2 * 3600;
const std::int64_t kFrom = *platform::ParseIsoTime("2023-11-20");

struct ModelRow {
  double value = 0.0;
  int tsno = 0, sbno = 0;
  std::string serial, gage, defect;
};

struct ModelSubgroup {
  std::string part, process, test, label, job, lot, shift, employee;
  std::vector<std::string> colours, moulds;
  std::int64_t time = 0;
  int size = 0, flag = 0;
  std::vector<ModelRow> rows;
};

struct ModelEvent {
  int type = 1;
  std::string name, process, part, test, employee, acc, cac;
  std::int64_t time = 0;
  std::optional<std::int64_t> end, acc_time, cac_time;
};

struct ModelState {
  std::string process, state;
  std::int64_t time = 0;
};

// One thing that counts, with the names of its bins.
struct Counted {
  std::array<std::string, 3> keys, ground;  // ground: those of its subgroup, the rest empty
  double amount = 0.0, factor = 1.0;
  std::string unit;  // a named unit, once in a bin; empty: `bad` units
  double bad = 0.0;
  std::int64_t time = 0;
  std::string label;
  bool open = false;
};

struct Inspected {
  std::array<std::string, 3> ground;
  double units = 0.0;
};

struct Expected {
  double records = 0.0, factor = 0.0, value = 0.0, total = 0.0, yield = 0.0;
  std::array<double, 3> percent{};
  std::string label;
  bool open = false;
  std::optional<double> ppk;
};

std::string Iso(std::int64_t stamp) {
  const auto time = static_cast<std::time_t>(stamp);
  std::tm tm{};
  gmtime_r(&time, &tm);
  char text[40];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &tm);
  return text;
}

std::string Folded(std::string text) {
  for (auto& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Steps back second by second would be as obvious and take forever: the broken-down time does.
std::string PeriodName(std::int64_t stamp, std::int32_t period, std::int32_t interval) {
  auto time = static_cast<std::time_t>(stamp + kOffset);
  std::tm tm{};
  gmtime_r(&time, &tm);
  if (period == paMonths || period == paQuarters) {
    const int length = interval * (period == paMonths ? 1 : 3);
    const int month = (tm.tm_year + 1900) * 12 + tm.tm_mon;
    const int first = month / length * length;
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02d-01 00:00", first / 12, first % 12 + 1);
    return text;
  }
  if (period == paWeeks && interval == 1) {
    time -= (tm.tm_wday + 6) % 7 * 86400 + tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec;
  } else {
    const std::int64_t units[] = {1, 60, 3600, 86400};
    time -= time % (units[period] * interval);
  }
  gmtime_r(&time, &tm);
  char text[40];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &tm);
  return text;
}

class ParetoRandomTest : public ParetoTest {
 protected:
  void SetUp() override {
    FixCodes();
    MakeSubgroups();
    MakeEvents();
    MakeStates();
    Data().Set("time_zone", "+02:00");
  }

  int Up(int below) { return std::uniform_int_distribution(0, below - 1)(random_); }
  std::string One(const std::string& prefix, int count, int none_of_ten = 0) {
    if (Up(10) < none_of_ten) return "";
    return prefix + std::to_string(Up(count) + 1);
  }

  // Each group is made where it is first named, so the order of the lines is that of identifiers.
  void AddGroups(const std::string& kind,
                 const std::vector<std::pair<std::string, std::string>>& group_and_item) {
    std::string text = "kind,group,name\n";
    for (const auto& [group, item] : group_and_item) {
      text += kind + "," + group + "," + item + "\n";
      first_group_[kind].try_emplace(item, group);
    }
    Import(text, ImportKind::Groups);
  }

  void FixCodes() {
    Import("code,factor\nd1,2\nd2,0.25\nd3,7\nd4,1\n", ImportKind::Defects);
    Import("part,factor\nP1,3\nP2,0.375\n", ImportKind::Parts);
    Import("code,factor\nacc1,3\nacc2,0.5\n", ImportKind::AccCodes);
    Import("code,factor\ncac1,5\ncac2,0.125\n", ImportKind::CacCodes);
    Import("code,type,factor\ns1,run,1\ns2,idle,2\ns3,unscheduled-down,4\ns4,run,8\n",
           ImportKind::StateCodes);
    factor_ = {{"P1", 3},     {"P2", 0.375}, {"d1", 2},       {"d2", 0.25}, {"d3", 7}, {"acc1", 3},
               {"acc2", 0.5}, {"cac1", 5},   {"cac2", 0.125}, {"s2", 2},    {"s3", 4}, {"s4", 8}};
    state_type_ = {{"s1", "run"}, {"s2", "idle"}, {"s3", "unscheduled-down"}, {"s4", "run"}};
    Import(
        "process,company,division,site,department,area,production-unit\n"
        "R1,co1,di1,si1,de1,ar1,pu1\nR2,co1,di2,si1,,ar2,pu2\nR3,,,,,,\n",
        ImportKind::Processes);
    places_["R1"] = {"co1", "di1", "si1", "de1", "ar1", "pu1"};
    places_["R2"] = {"co1", "di2", "si1", "", "ar2", "pu2"};
    AddGroups("part", {{"pg2", "P1"}, {"pg1", "P2"}, {"pg1", "P1"}});
    AddGroups("process", {{"rg1", "R2"}, {"rg2", "R1"}, {"rg2", "R2"}});
    AddGroups("test", {{"tg1", "V1"}, {"tg2", "D1"}, {"tg2", "V1"}});
    AddGroups("defect", {{"dg1", "d1"}, {"dg1", "d3"}, {"dg2", "d3"}, {"dg2", "d2"}});
    AddGroups("job", {{"jg1", "J1"}, {"jg2", "J2"}});
    AddGroups("acc-code", {{"ag1", "acc1"}, {"ag2", "acc3"}});
    AddGroups("cac-code", {{"cg1", "cac2"}});
    Import("part,test,usl,lsl,effective\nP1,V1,11,9,\nP1,V1,10.5,,2024-01-10\nP2,V1,,9.5,\n",
           ImportKind::Limits);
  }

  // The limits above, in words: what makes a piece bad.
  static bool IsOutside(const ModelSubgroup& subgroup, double value) {
    if (subgroup.part == "P1") {
      if (subgroup.time >= *platform::ParseIsoTime("2024-01-10")) return value > 10.5;
      return value > 11 || value < 9;
    }
    return subgroup.part == "P2" && value < 9.5;
  }

  void MakeSubgroups() {
    for (int i = 0; i < 400; ++i) {
      ModelSubgroup subgroup;
      subgroup.part = One("P", 3);
      subgroup.process = One("R", 3);
      const char* const tests[] = {"V1", "D1", "F1"};
      subgroup.test = tests[Up(3)];
      subgroup.label = "L" + std::to_string(i);
      subgroup.time = kFrom + std::int64_t{Up(120 * 24)} * 3600 + Up(3600);
      subgroup.job = One("J", 3, 2);
      subgroup.lot = One("T", 4, 2);
      subgroup.shift = One("S", 3, 1);
      subgroup.employee = One("E", 4, 2);
      subgroup.flag = Up(8) == 0 ? 1 : 0;
      if (Up(3) != 0) subgroup.colours.push_back(One("c", 3));
      if (Up(3) == 0) subgroup.moulds.push_back(One("m", 2));
      const bool is_variable = subgroup.test == "V1";
      const int rows = is_variable ? 1 + Up(5) : Up(4);
      double most = 0.0;
      for (int r = 0; r < rows; ++r) {
        ModelRow row;
        row.value = is_variable ? 8.5 + Up(30) / 10.0 : 1 + Up(5);
        row.tsno = is_variable ? r + 1 : (subgroup.test == "D1" ? Up(4) : 0);
        row.sbno = 0;
        row.serial = One("n", 5, 5);
        row.gage = One("g", 2, 5);
        row.defect = is_variable ? One("d", 5, 8) : One("d", 5, 2);
        if (!is_variable && Up(4) == 0) row.sbno = 1 + Up(2);
        most += row.value;
        subgroup.rows.push_back(row);
      }
      subgroup.size = is_variable ? rows : static_cast<int>(most) + Up(100);
      subgroups_.push_back(subgroup);
    }
    for (const bool values : {true, false}) WriteSubgroups(values);
  }

  void WriteSubgroups(bool values) {
    std::string text =
        "part,process,test,subgroup,time,job,lot,shift,employee,flag,descriptor:colour,"
        "descriptor:mould,test-type,size,tsno,sbno,serial,gage,defect," +
        std::string(values ? "value\n" : "count\n");
    for (const auto& s : subgroups_) {
      if ((s.test == "V1") != values) continue;
      const auto head = s.part + "," + s.process + "," + s.test + "," + s.label + "," +
                        Iso(s.time) + "," + s.job + "," + s.lot + "," + s.shift + "," + s.employee +
                        "," + std::to_string(s.flag) + "," +
                        (s.colours.empty() ? "" : s.colours[0]) + "," +
                        (s.moulds.empty() ? "" : s.moulds[0]) + "," +
                        (values           ? "variable"
                         : s.test == "D1" ? "defects"
                                          : "defectives") +
                        "," + std::to_string(s.size) + ",";
      if (s.rows.empty()) text += head + "0,0,,,,0\n";
      for (const auto& row : s.rows) {
        char value[32];
        std::snprintf(value, sizeof value, "%.17g", row.value);
        text += head + std::to_string(row.tsno) + "," + std::to_string(row.sbno) + "," +
                row.serial + "," + row.gage + "," + row.defect + "," + value + "\n";
      }
    }
    Import(text);
  }

  void MakeEvents() {
    const char* const types[] = {"subgroup-alarm",   "general",         "sampling-violation",
                                 "subgroup-disable", "subgroup-delete", "subgroup-edit",
                                 "downtime"};
    std::string text = "type,time,name,process,part,test,employee,acc,cac,end,acc-time,cac-time\n";
    for (int i = 0; i < 300; ++i) {
      ModelEvent e;
      e.type = 1 + Up(7);
      e.time = kFrom + std::int64_t{i} * 30000 + Up(30000);
      e.name = One("ev", 4, 1);
      e.process = One("R", 3, 1);
      e.part = One("P", 3, 3);
      e.test = Up(2) == 0 ? "V1" : "";
      e.employee = One("E", 4, 3);
      e.acc = One("acc", 3, 3);
      e.cac = One("cac", 3, 5);
      if (Up(2) == 0) e.end = e.time + Up(90000);
      if (Up(2) == 0) e.acc_time = e.time + Up(5000);
      if (Up(3) == 0) e.cac_time = e.time + Up(20000);
      const auto stamp = [](const std::optional<std::int64_t>& t) { return t ? Iso(*t) : ""; };
      text += std::string(types[e.type - 1]) + "," + Iso(e.time) + "," + e.name + "," + e.process +
              "," + e.part + "," + e.test + "," + e.employee + "," + e.acc + "," + e.cac + "," +
              stamp(e.end) + "," + stamp(e.acc_time) + "," + stamp(e.cac_time) + "\n";
      event_types_[e.type] = types[e.type - 1];
      events_.push_back(e);
    }
    Import(text, ImportKind::Events);
  }

  void MakeStates() {
    std::string text = "process,time,state\n";
    for (const char* process : {"R1", "R2", "R3"}) {
      auto time = kFrom + Up(100000);
      for (int i = 0; i < 80; ++i) {
        const ModelState state{process, One("s", 4), time};
        text += state.process + "," + Iso(state.time) + "," + state.state + "\n";
        states_.push_back(state);
        time += 1 + Up(200000);
      }
    }
    Import(text, ImportKind::States);
  }

  std::string Group(const std::string& kind, const std::string& item) {
    const auto found = first_group_[kind].find(item);
    return found == first_group_[kind].end() ? "" : found->second;
  }
  std::string Place(const std::string& process, std::size_t unit) {
    const auto found = places_.find(process);
    return found == places_.end() ? "" : found->second[unit];
  }
  double Factor(const std::string& code) {
    const auto found = factor_.find(code);
    return found == factor_.end() ? 1.0 : found->second;
  }

  // Of the subgroup or of the process alone; empty optional: a row's.
  std::optional<std::string> SubgroupKey(const ModelSubgroup& s, std::int32_t type) {
    switch (type) {
      case paBinTypeSubgroup:
        return s.label;
      case paBinTypePart:
        return s.part;
      case paBinTypeProcess:
        return s.process;
      case paBinTypeTest:
        return s.test;
      case paBinTypeJob:
        return s.job;
      case paBinTypeLot:
        return s.lot;
      case paBinTypeShift:
        return s.shift;
      case paBinTypeEmployee:
        return s.employee;
      case paBinTypeSgDesc:
        return s.colours.empty() ? "" : s.colours[0];
      case paBinTypeDsgp:
        return !s.colours.empty() ? "colour" : !s.moulds.empty() ? "mould" : "";
      case paBinTypePtgp:
        return Group("part", s.part);
      case paBinTypePrgp:
        return Group("process", s.process);
      case paBinTypeTsgp:
        return Group("test", s.test);
      case paBinTypeJbgp:
        return Group("job", s.job);
      default:
        break;
    }
    if (type >= paBinTypeCo && type <= paBinTypePrut) {
      return Place(s.process, static_cast<std::size_t>(type - paBinTypeCo));
    }
    return std::nullopt;
  }

  std::string RowKeyOf(const ModelRow& row, std::int32_t type) {
    switch (type) {
      case paBinTypeTSNO:
        return row.tsno == 0 ? "" : std::to_string(row.tsno);
      case paBinTypeSBNO:
        return row.sbno == 0 ? "" : std::to_string(row.sbno);
      case paBinTypeSN:
        return row.serial;
      case paBinTypeGage:
        return row.gage;
      case paBinTypeDefect:
        return row.defect;
      case paBinTypeDfgp:
        return Group("defect", row.defect);
      default:
        ADD_FAILURE() << type;
        return "";
    }
  }

  std::string EventKey(const ModelEvent& e, std::int32_t type) {
    switch (type) {
      case paBinTypePart:
        return e.part;
      case paBinTypeProcess:
        return e.process;
      case paBinTypeTest:
        return e.test;
      case paBinTypeEmployee:
        return e.employee;
      case paBinTypeACC:
        return e.acc;
      case paBinTypeCAC:
        return e.cac;
      case paBinTypeEvent:
        return e.name;
      case paBinTypeEventType:
        return event_types_[e.type];
      case paBinTypePtgp:
        return Group("part", e.part);
      case paBinTypePrgp:
        return Group("process", e.process);
      case paBinTypeTsgp:
        return Group("test", e.test);
      case paBinTypeAcgp:
        return Group("acc-code", e.acc);
      case paBinTypeCagp:
        return Group("cac-code", e.cac);
      default:
        return Place(e.process, static_cast<std::size_t>(type - paBinTypeCo));
    }
  }

  std::string StateKey(const ModelState& s, std::int32_t type) {
    switch (type) {
      case paBinTypeProcess:
        return s.process;
      case paBinTypePrgp:
        return Group("process", s.process);
      case paBinTypeStateCode:
        return s.state;
      case paBinTypeStateType:
        return state_type_[s.state];
      default:
        return Place(s.process, static_cast<std::size_t>(type - paBinTypeCo));
    }
  }

  std::string TimeKey(const API_PAOptions& options, std::size_t level, std::int64_t time) {
    return PeriodName(time, options.BinTimePeriod[level], options.BinTimeInterval[level]);
  }

  static bool CountsTimes(const API_PAOptions& o) {
    return o.AccumulationType >= paAccumulateByEventTime || o.ProcessingType >= paProcessByMinutes;
  }

  // What a selection has, in plain words; the filters are by name.
  struct Wanted {
    std::optional<std::string> part, process, shift, defect;
    std::int64_t from = 0, to = INT32_MAX;
  };
  static bool Takes(const std::optional<std::string>& wanted, const std::string& actual) {
    return !wanted || *wanted == actual;
  }

  static bool TakesSubgroup(const Wanted& wanted, const ModelSubgroup& s) {
    return s.flag == 0 && Takes(wanted.part, s.part) && Takes(wanted.process, s.process) &&
           Takes(wanted.shift, s.shift) && s.time >= wanted.from && s.time <= wanted.to;
  }

  std::array<std::string, 3> GroundKeys(const API_PAOptions& options, const ModelSubgroup& s) {
    std::array<std::string, 3> keys;
    for (std::size_t i = 0; i < 3; ++i) {
      const auto type = options.BinType[i];
      keys[i] =
          type == paBinTypeTime ? TimeKey(options, i, s.time) : SubgroupKey(s, type).value_or("");
    }
    return keys;
  }

  std::array<std::string, 3> RowKeys(const API_PAOptions& options, const ModelSubgroup& s,
                                     const ModelRow& row) {
    auto keys = GroundKeys(options, s);
    for (std::size_t i = 0; i < 3; ++i) {
      const auto type = options.BinType[i];
      if (type != paBinTypeTime && !SubgroupKey(s, type)) keys[i] = RowKeyOf(row, type);
    }
    return keys;
  }

  // The piece values of a bin, good and bad.
  struct Pieces {
    std::set<std::string> parts;
    std::int64_t newest = INT64_MIN;
    std::vector<double> values;
  };

  Pieces PiecesOf(const API_PAOptions& options, const Wanted& wanted,
                  const std::array<std::string, 3>& keys) {
    Pieces pieces;
    for (const auto& s : subgroups_) {
      if (s.test != "V1" || !TakesSubgroup(wanted, s)) continue;
      for (const auto& row : s.rows) {
        if (RowKeys(options, s, row) != keys) continue;
        pieces.parts.insert(s.part);
        pieces.newest = std::max(pieces.newest, s.time);
        pieces.values.push_back(row.value);
      }
    }
    return pieces;
  }

  // By the limits above in force at the newest value, in words.
  static std::optional<double> PpkOf(const Pieces& pieces) {
    if (pieces.parts.size() != 1) return std::nullopt;
    constexpr double kNone = 1e9;
    double lower = -kNone, upper = kNone;
    const auto& part = *pieces.parts.begin();
    if (part == "P1") {
      const bool late = pieces.newest >= *platform::ParseIsoTime("2024-01-10");
      upper = late ? 10.5 : 11.0;
      if (!late) lower = 9.0;
    } else if (part == "P2") {
      lower = 9.5;
    } else {
      return std::nullopt;
    }
    const auto& x = pieces.values;
    const auto [least, most] = std::minmax_element(x.begin(), x.end());
    if (*least == *most) return std::nullopt;
    double mean = 0.0, squares = 0.0;
    for (const auto value : x) mean += value / static_cast<double>(x.size());
    for (const auto value : x) squares += (value - mean) * (value - mean);
    const auto sigma = std::sqrt(squares / static_cast<double>(x.size() - 1));
    return std::min(upper - mean, mean - lower) / (3.0 * sigma);
  }

  void CountSubgroups(const API_PAOptions& options, const Wanted& wanted,
                      std::vector<Counted>& counted, std::vector<Inspected>& inspected) {
    const bool hits = options.AccumulationType == paAccumulateByHits;
    for (const auto& s : subgroups_) {
      if (!TakesSubgroup(wanted, s)) continue;
      const auto ground = GroundKeys(options, s);
      const bool is_variable = s.test == "V1";
      inspected.push_back({ground, static_cast<double>(s.size)});
      for (const auto& row : s.rows) {
        const bool counts =
            is_variable ? IsOutside(s, row.value) || !row.defect.empty() : row.value > 0;
        if (!counts || !Takes(wanted.defect, row.defect)) continue;
        Counted one;
        one.ground = ground;
        one.keys = RowKeys(options, s, row);
        one.amount = is_variable || hits ? 1.0 : row.value;
        one.factor = Factor(row.defect.empty() ? s.part : row.defect);
        one.time = s.time;
        one.label = s.label;
        one.bad = is_variable ? 1.0 : row.value;
        if (!is_variable && row.tsno > 0) one.unit = s.label + "#" + std::to_string(row.tsno);
        counted.push_back(one);
      }
    }
  }

  void CountEvents(const API_PAOptions& options, const Wanted& wanted,
                   std::vector<Counted>& counted, double& selected) {
    const auto has = [&](std::int32_t a, std::int32_t b) {
      return std::any_of(options.BinType, options.BinType + 3,
                         [&](std::int32_t type) { return type == a || type == b; });
    };
    const bool cause = has(paBinTypeACC, paBinTypeAcgp);
    const bool action = !cause && has(paBinTypeCAC, paBinTypeCagp);
    selected = 0.0;
    for (const auto& e : events_) {
      if (!Takes(wanted.part, e.part) || !Takes(wanted.process, e.process) ||
          e.time < wanted.from || e.time > wanted.to) {
        continue;
      }
      ++selected;
      Counted one;
      for (std::size_t i = 0; i < 3; ++i) {
        const auto type = options.BinType[i];
        one.keys[i] = type == paBinTypeTime ? TimeKey(options, i, e.time) : EventKey(e, type);
      }
      one.amount = 1.0;
      if (options.AccumulationType == paAccumulateByAccTime) {
        one.amount = e.acc_time ? static_cast<double>(*e.acc_time - e.time) : 0.0;
      } else if (options.AccumulationType == paAccumulateByCacTime) {
        one.amount = e.cac_time ? static_cast<double>(*e.cac_time - e.time) : 0.0;
      } else if (CountsTimes(options)) {
        const auto end = e.end        ? *e.end
                         : e.cac_time ? *e.cac_time
                         : e.acc_time ? *e.acc_time
                                      : wanted.to;
        one.amount = static_cast<double>(end - e.time);
      }
      const bool by_action = action || (!cause && e.acc.empty());
      one.factor = Factor(by_action ? e.cac : e.acc);
      const bool is_change = e.type >= 4 && e.type <= 6;  // disabled, deleted, edited
      one.open = !is_change && !e.end && !e.acc_time && !e.cac_time;
      counted.push_back(one);
    }
  }

  void CountStates(const API_PAOptions& options, const Wanted& wanted,
                   std::vector<Counted>& counted) {
    for (std::size_t k = 0; k < states_.size(); ++k) {
      const auto& s = states_[k];
      const bool is_last = k + 1 == states_.size() || states_[k + 1].process != s.process;
      const auto until = is_last ? wanted.to : std::min(states_[k + 1].time, wanted.to);
      const auto begin = std::max(s.time, wanted.from);
      const bool before = !is_last && states_[k + 1].time <= wanted.from;
      if (!Takes(wanted.process, s.process) || s.time > wanted.to || before) continue;
      Counted one;
      for (std::size_t i = 0; i < 3; ++i) {
        const auto type = options.BinType[i];
        one.keys[i] = type == paBinTypeTime ? TimeKey(options, i, begin) : StateKey(s, type);
      }
      one.amount = 1.0;
      if (options.AccumulationType == paAccumulateByAccTime ||
          options.AccumulationType == paAccumulateByCacTime) {
        one.amount = 0.0;
      } else if (CountsTimes(options)) {
        one.amount = static_cast<double>(until - begin);
      }
      one.factor = Factor(s.state);
      counted.push_back(one);
    }
  }

  // Everything about one bin by going through all that was counted once more.
  Expected Figure(paResourceTypes resource, const API_PAOptions& options,
                  const std::array<std::string, 3>& keys, const std::vector<Counted>& counted,
                  const std::vector<Inspected>& inspected, double all) {
    Expected bin;
    bin.total = all;
    std::map<std::string, double> units;
    double bad = 0.0, amount = 0.0;
    std::int64_t newest = INT64_MIN;
    std::array<std::string, 3> ground;
    std::array<double, 3> prefix{};
    double whole = 0.0;
    const bool by_factor = options.ProcessingType == paProcessByFactor;
    for (const auto& one : counted) {
      const auto share = by_factor ? one.amount * one.factor : one.amount;
      whole += share;
      for (std::size_t i = 0; i < 3 && one.keys[i] == keys[i]; ++i) prefix[i] += share;
      if (one.keys != keys) continue;
      ground = one.ground;
      amount += one.amount;
      bin.factor += one.amount * one.factor;
      bin.records += resource == paSubgroups ? one.amount : 1.0;
      bin.open = bin.open || one.open;
      if (one.unit.empty()) {
        bad += one.bad;
      } else {
        units[one.unit] = 1.0;
      }
      // The label's number grows with the identifier within one import only, so times must differ.
      if (one.time > newest) {
        newest = one.time;
        bin.label = one.label;
      }
    }
    for (std::size_t i = 0; i < 3; ++i) {
      bin.percent[i] = whole > 0.0 ? 100.0 * prefix[i] / whole : 0.0;
    }
    if (resource == paSubgroups) {
      bin.total = 0.0;
      for (const auto& one : inspected) bin.total += one.ground == ground ? one.units : 0.0;
      for (const auto& [unit, one] : units) bad += one;
      if (bin.total > 0.0) bin.yield = 100.0 * (1.0 - std::min(bad, bin.total) / bin.total);
    }
    const auto rate = bin.total > 0.0 ? amount / bin.total : 0.0;
    const bool timed = resource != paSubgroups;
    switch (options.ProcessingType) {
      case paProcessByFactor:
        bin.value = bin.factor;
        break;
      case paProcessByPPM:
        bin.value = 1e6 * rate;
        break;
      case paProcessByPPT:
        bin.value = 1e3 * rate;
        break;
      case paProcessByMinutes:
        bin.value = timed ? amount / 60 : amount;
        break;
      case paProcessByHours:
        bin.value = timed ? amount / 3600 : amount;
        break;
      case paProcessByDays:
        bin.value = timed ? amount / 86400 : amount;
        break;
      default:
        bin.value = amount;
    }
    return bin;
  }

  static std::string Joined(const std::array<std::string, 3>& keys) {
    std::string name;
    for (std::size_t i = 0; i < 3; ++i) {
      name += (i == 0 ? "" : " / ") + (keys[i].empty() ? "(none)" : keys[i]);
    }
    // Padding cannot be told from blanks at the cut.
    return platform::ToUtf8(platform::TrimFixedText(platform::ToUtf16(name).substr(0, 32)));
  }

  using Bin = std::pair<std::array<std::string, 3>, Expected>;

  // By the values of the levels' items, one level after the other.
  static void Sort(const API_PAOptions& options, std::vector<Bin>& bins) {
    std::map<std::string, double> of_first, of_second;
    const auto second = [](const Bin& bin) { return bin.first[0] + "\n" + bin.first[1]; };
    for (const auto& bin : bins) {
      of_first[bin.first[0]] += bin.second.value;
      of_second[second(bin)] += bin.second.value;
    }
    const auto order = [&](std::size_t level, double a, double b, const std::string& name_a,
                           const std::string& name_b) {
      if (options.BinType[level] == paBinTypeTime) return name_a.compare(name_b);
      if (std::fabs(a - b) > 1e-10 * std::max(std::fabs(a), std::fabs(b))) return a > b ? -1 : 1;
      const auto shown = [](const std::string& name) { return name.empty() ? "(none)" : name; };
      return Folded(shown(name_a)).compare(Folded(shown(name_b)));
    };
    std::sort(bins.begin(), bins.end(), [&](const Bin& a, const Bin& b) {
      if (const auto by =
              order(0, of_first[a.first[0]], of_first[b.first[0]], a.first[0], b.first[0]);
          by != 0) {
        return by < 0;
      }
      if (const auto by =
              order(1, of_second[second(a)], of_second[second(b)], a.first[1], b.first[1]);
          by != 0) {
        return by < 0;
      }
      return order(2, a.second.value, b.second.value, a.first[2], b.first[2]) < 0;
    });
  }

  std::vector<Bin> Reference(paResourceTypes resource, const API_PAOptions& options,
                             const Wanted& wanted) {
    std::vector<Counted> counted;
    std::vector<Inspected> inspected;
    double all = 0.0;
    if (resource == paSubgroups) {
      CountSubgroups(options, wanted, counted, inspected);
    } else if (resource == paProcessEvents) {
      CountEvents(options, wanted, counted, all);
    } else {
      CountStates(options, wanted, counted);
      all = static_cast<double>(wanted.to - wanted.from);
    }
    std::set<std::array<std::string, 3>> keys;
    for (const auto& one : counted) keys.insert(one.keys);
    std::vector<Bin> bins;
    for (const auto& key : keys) {
      bins.emplace_back(key, Figure(resource, options, key, counted, inspected, all));
      if (resource == paSubgroups) bins.back().second.ppk = PpkOf(PiecesOf(options, wanted, key));
    }
    Sort(options, bins);
    return bins;
  }

  Wanted Choose(paResourceTypes resource, FlatSelection& selection) {
    Wanted wanted;
    const auto one = [&](std::optional<std::string>& name, FlatSelection::Block block,
                         ItemKind kind, const std::string& chosen) {
      if (Up(4) != 0) return;
      name = chosen;
      selection.List(block, {Id(kind, chosen)});
    };
    if (resource != paProcessState)
      one(wanted.part, FlatSelection::kPart, ItemKind::Part, One("P", 3));
    one(wanted.process, FlatSelection::kProcess, ItemKind::Process, One("R", 3));
    if (resource == paSubgroups) {
      one(wanted.shift, FlatSelection::kShift, ItemKind::Shift, One("S", 3));
      one(wanted.defect, FlatSelection::kDefect, ItemKind::Defect, One("d", 4));
    }
    wanted.from = kFrom + Up(40) * 86400;
    wanted.to = wanted.from + (1 + Up(90)) * 86400;
    selection.info.TimeType = drttStatic;
    selection.info.TimeStart = static_cast<std::int32_t>(wanted.from);
    selection.info.TimeEnd = static_cast<std::int32_t>(wanted.to);
    return wanted;
  }

  void Compare(const std::vector<API_PABin>& bins, const std::vector<Bin>& expected,
               paResourceTypes resource) {
    const auto close = [](double a, double b) {
      return std::fabs(a - b) <= 1e-10 * std::max({1.0, std::fabs(a), std::fabs(b)});
    };
    for (std::size_t i = 0; i < bins.size(); ++i) {
      const auto& bin = bins[i];
      const auto& [keys, figures] = expected[i];
      ASSERT_EQ(NameOf(bin), Joined(keys)) << "bin " << i;
      EXPECT_TRUE(close(bin.Value, figures.value)) << bin.Value << " " << figures.value;
      EXPECT_TRUE(close(bin.Factor, figures.factor)) << bin.Factor << " " << figures.factor;
      EXPECT_TRUE(close(bin.Yield, figures.yield)) << bin.Yield << " " << figures.yield;
      EXPECT_EQ(bin.BinCount, figures.records);
      EXPECT_EQ(bin.Total, figures.total);
      EXPECT_EQ((bin.Flag & kBinIsOpen) != 0, figures.open);
      EXPECT_EQ((bin.Flag & kBinHasPpk) != 0, figures.ppk.has_value());
      EXPECT_TRUE(close(bin.PPK, figures.ppk.value_or(0.0))) << bin.PPK;
      if (figures.ppk) ++ppks_;
      EXPECT_EQ(bin.Flag & kBinEmpty, 0);
      for (std::size_t level = 0; level < 3; ++level) {
        EXPECT_TRUE(close(bin.Percentage[level], figures.percent[level])) << "level " << level;
        EXPECT_EQ(keys[level].empty(), bin.ID[level] == 0) << "level " << level;
      }
      if (resource == paSubgroups) {
        EXPECT_EQ(Data().SubgroupLabel(bin.SubgroupID), figures.label);
      } else {
        EXPECT_EQ(bin.SubgroupID, 0);
      }
    }
  }

  std::mt19937 random_{kSeed};
  std::size_t ppks_ = 0;  // compared
  std::vector<ModelSubgroup> subgroups_;
  std::vector<ModelEvent> events_;
  std::vector<ModelState> states_;
  std::map<std::string, std::map<std::string, std::string>> first_group_;
  std::map<std::string, std::array<std::string, 6>> places_;
  std::map<std::string, double> factor_;
  std::map<std::string, std::string> state_type_;
  std::map<int, std::string> event_types_;
};

TEST_F(ParetoRandomTest, TwoHundredSelectionsOfThreeLevelsEqualASlowCount) {
  const std::vector<std::int32_t> accepted[] = {
      {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 17,
       18, 19, 20, 21, 22, 25, 26, 27, 28, 29, 30, 31, 34},
      {2, 3, 4, 5, 9, 14, 15, 16, 19, 20, 21, 25, 26, 27, 28, 29, 30, 32, 33, 35},
      {2, 4, 20, 23, 24, 25, 26, 27, 28, 29, 30}};
  const int rounds[] = {100, 60, 40};
  const std::int32_t measures[] = {paProcessByCount, paProcessByFactor,  paProcessByPPM,
                                   paProcessByPPT,   paProcessByMinutes, paProcessByHours,
                                   paProcessByDays};
  const auto colour = *Data().FindDescriptorGroup("colour");
  std::set<std::array<std::int32_t, 3>> seen;  // resource, type, level
  std::size_t compared = 0;
  for (const auto resource : {paSubgroups, paProcessEvents, paProcessState}) {
    const auto& types = accepted[resource];
    for (int round = 0; round < rounds[resource]; ++round) {
      auto options = ParetoOptions({}, Up(5) == 0 ? 7 : 5000);
      // In turn, each level from another place, so that every type stands on every level.
      const auto count = static_cast<int>(types.size());
      const int places[] = {round, 2 * round + 1 + round / count, round + 3};
      for (std::size_t level = 0; level < 3; ++level) {
        const auto type = types[static_cast<std::size_t>(places[level] % count)];
        options.BinType[level] = type;
        options.BinTypeID[level] = type == paBinTypeSgDesc ? colour : 0;
        options.BinTimePeriod[level] = 1 + Up(6);
        options.BinTimeInterval[level] = options.BinTimePeriod[level] == paWeeks ? 1 : 1 + Up(3);
        seen.insert({resource, type, static_cast<std::int32_t>(level)});
      }
      options.ProcessingType = measures[Up(7)];
      options.AccumulationType = Up(5);
      FlatSelection selection;
      const auto wanted = Choose(resource, selection);
      const auto expected = Reference(resource, options, wanted);
      const auto bins = Bins(resource, options, selection);
      const auto most = static_cast<std::size_t>(options.BinCount);
      SCOPED_TRACE("resource " + std::to_string(resource) + " round " + std::to_string(round));
      ASSERT_EQ(failure_, "");
      ASSERT_EQ(bins.size(), std::min(most, expected.size()));
      Compare(bins, expected, resource);
      if (HasFatalFailure() || HasNonfatalFailure()) return;
      compared += bins.size();
    }
    for (const auto type : types) {
      for (std::int32_t level = 0; level < 3; ++level) {
        EXPECT_TRUE(seen.contains({resource, type, level}))
            << resource << " " << type << " " << level;
      }
    }
  }
  EXPECT_GT(compared, 3000u);  // the selections are not empty
  EXPECT_GT(ppks_, 100u);
}

// A large selection is read and counted by two threads; where it is cut must not show.
TEST_F(ParetoRandomTest, TwoThreadsCountWhatOneCounts) {
  auto options = ParetoOptions({paBinTypePart, paBinTypeDefect, paBinTypeTime});
  options.BinTimePeriod[2] = paWeeks;
  for (const std::int32_t measure : {paProcessByCount, paProcessByFactor, paProcessByPPM}) {
    options.ProcessingType = measure;
    Opened()->Sharing().ShareFrom(1'000'000);
    const auto alone = Bins(paSubgroups, options);
    const auto before = Opened()->Sharing().count.load();
    Opened()->Sharing().ShareFrom(100);
    const auto shared = Bins(paSubgroups, options);
    EXPECT_GT(Opened()->Sharing().count.load(), before);
    ASSERT_EQ(alone.size(), shared.size());
    ASSERT_GT(alone.size(), 50u);
    for (std::size_t i = 0; i < alone.size(); ++i) {
      EXPECT_EQ(NameOf(alone[i]), NameOf(shared[i]));
      EXPECT_DOUBLE_EQ(alone[i].Value, shared[i].Value);
      EXPECT_DOUBLE_EQ(alone[i].PPK, shared[i].PPK);
      EXPECT_EQ(alone[i].Total, shared[i].Total);
      EXPECT_EQ(alone[i].Yield, shared[i].Yield);
      EXPECT_EQ(alone[i].SubgroupID, shared[i].SubgroupID);
      EXPECT_EQ(alone[i].Flag, shared[i].Flag);
    }
  }
}

// With a count the selection is held, without one it is counted while it is read.
TEST_F(ParetoRandomTest, HeldOrReadThroughTheBinsAreTheSame) {
  const auto options = ParetoOptions({paBinTypeShift, paBinTypeTest, paBinTypeDfgp});
  FlatSelection held;
  held.info.Count = 10000;
  const auto bins = Bins(paSubgroups, options, held);
  const auto others = Bins(paSubgroups, options);
  ASSERT_EQ(bins.size(), others.size());
  ASSERT_GT(bins.size(), 10u);
  for (std::size_t i = 0; i < bins.size(); ++i) {
    EXPECT_EQ(NameOf(bins[i]), NameOf(others[i]));
    EXPECT_DOUBLE_EQ(bins[i].Value, others[i].Value);
    EXPECT_DOUBLE_EQ(bins[i].PPK, others[i].PPK);
    EXPECT_EQ(bins[i].Flag, others[i].Flag);
  }
}

}  // namespace
}  // namespace orvspc::engine::pareto
