// SPDX-License-Identifier: Apache-2.0
#include "host/cli/study/Study.h"

#include "host/render/core/Numbers.h"

namespace orvspc::cli {

namespace {

std::string BoundsText(const RealInside& option) {
  return std::string(option.low_is_open ? "above " : "from ") +
         render::Significant(option.low, 12) + (option.high_is_open ? " to below " : " to ") +
         render::Significant(option.high, 12);
}

}  // namespace

double StudyOptions::Get(const char* key, const RealInside& option, double fallback) {
  const auto given = Get(key, option);
  if (!given) options_.back().value = fallback;
  return given.value_or(fallback);
}

std::optional<double> StudyOptions::Get(const char* key, const RealInside& option) {
  const auto value = arguments_.Get(Real{option});
  if (!value) {
    Add(key, std::monostate(), false);
    return std::nullopt;
  }
  const bool inside = (option.low_is_open ? *value > option.low : *value >= option.low) &&
                      (option.high_is_open ? *value < option.high : *value <= option.high);
  if (!inside) {
    throw Misuse("--" + std::string(option.name) + " takes a number " + BoundsText(option) +
                 ", not " + *arguments_.Value(option));
  }
  Add(key, *value, true);
  return value;
}

bool StudyOptions::Get(const char* key, const Option& flag) {
  const bool given = arguments_.Has(flag);
  Add(key, given, given);
  return given;
}

void StudyOptions::Add(const char* key, decltype(render::StudyOption::value) value, bool given) {
  options_.push_back({key, std::move(value), given ? "command" : "default"});
}

studies::StudyData StreamsOf(const Analysis& run, const studies::ReadOptions& options,
                             std::vector<Note>& notes) {
  API_DSInfo info{};
  Array<std::int32_t> filter;
  run.select->API_GetData(info, filter);
  auto [data, report] = Reported(run.database, [&](const auto& open) {
    return studies::ReadStudyData(*open, info, filter.Elements(), options);
  });
  notes.insert(notes.end(), report.notes.begin(), report.notes.end());
  return data;
}

std::vector<Command> StudyCommands() {
  return {
      AcfStudyCommand(),        //
      AgreementStudyCommand(),  //
      Ar1StudyCommand(),        //
      ArlStudyCommand(),        //
      BiasStudyCommand(),       //
      CountsStudyCommand(),     //
      CusumStudyCommand(),      //
      DesignStudyCommand(),     //
      EwmaStudyCommand(),       //
      GStudyCommand(),          //
      GageStudyCommand(),       //
      LaneyStudyCommand(),      //
      LinearityStudyCommand(),  //
      PlanStudyCommand(),       //
      TStudyCommand(),          //
      ToleranceStudyCommand(),  //
      Type1StudyCommand(),      //
  };
}

}  // namespace orvspc::cli
