// SPDX-License-Identifier: Apache-2.0
#include "host/cli/study/Study.h"

#include <algorithm>

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
  const auto* const stored = StoredOf(option);
  const auto value = stored == nullptr ? arguments_.Get(Real{option}) : std::stod(*stored);
  if (!value) {
    Add(key, std::monostate(), "default");
    return std::nullopt;
  }
  const bool inside = (option.low_is_open ? *value > option.low : *value >= option.low) &&
                      (option.high_is_open ? *value < option.high : *value <= option.high);
  if (!inside) {
    throw Misuse("--" + std::string(option.name) + " takes a number " + BoundsText(option) +
                 ", not " + (stored == nullptr ? *arguments_.Value(option) : *stored));
  }
  Add(key, *value, FromOf(option));
  return value;
}

std::optional<std::int32_t> StudyOptions::Get(const char* key, const Number& option) {
  const auto* const stored = StoredOf(option);
  const auto value = stored == nullptr
                         ? arguments_.Get(option)
                         : std::optional(static_cast<std::int32_t>(std::stod(*stored)));
  if (value) {
    Add(key, static_cast<double>(*value), FromOf(option));
  } else {
    Add(key, std::monostate(), "default");
  }
  return value;
}

bool StudyOptions::Get(const char* key, const Option& flag) {
  const auto* const stored = StoredOf(flag);
  const bool given = stored == nullptr ? arguments_.Has(flag) : *stored == "yes";
  Add(key, given, FromOf(flag));
  return given;
}

void StudyOptions::Add(const char* key, decltype(render::ResolvedOption::value) value,
                       const char* from) {
  options_.push_back({key, std::move(value), from});
}

const std::string* StudyOptions::StoredOf(const Option& option) const {
  const auto stored = stored_.find(option.name);
  return stored == stored_.end() || arguments_.Has(option) ? nullptr : &stored->second;
}

const char* StudyOptions::FromOf(const Option& option) const {
  return arguments_.Has(option) ? "command" : StoredOf(option) != nullptr ? "database" : "default";
}

StoredOptions StoredOptionsOf(const Analysis& run, const std::vector<StreamKey>& streams,
                              const std::string& word, std::string_view aside) {
  const auto prefix = word + ".";
  const auto of_stream = [&](const StreamKey& stream) {
    StoredOptions options;
    for (const auto& option : run.database.ChartOptionsOf(stream)) {
      const auto name = option.key.substr(std::min(prefix.size(), option.key.size()));
      if (option.key.starts_with(prefix) && name != aside && !run.arguments.Has({name.c_str()})) {
        options[name] = option.value;
      }
    }
    return options;
  };
  StoredOptions all;
  for (const auto& stream : streams) {
    const auto options = of_stream(stream);
    if (&stream == &streams.front()) all = options;
    if (options == all) continue;
    const auto& more = options.size() > all.size() ? options : all;
    const auto& other = &more == &all ? options : all;
    const auto differs = std::ranges::find_if(more, [&](const auto& option) {
      const auto found = other.find(option.first);
      return found == other.end() || found->second != option.second;
    });
    throw Misuse("the streams differ in " + prefix + differs->first + "; give --" + differs->first +
                 " or select fewer");
  }
  return all;
}

StoredOptions StoredOptionsOf(const Analysis& run, const studies::StudyData& data,
                              const std::string& word) {
  std::vector<StreamKey> streams;
  for (const auto& stream : data.streams) {
    streams.push_back({stream.part, stream.process, stream.test});
  }
  return StoredOptionsOf(run, streams, word);
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
      BaselineStudyCommand(),   //
      BiasStudyCommand(),       //
      CountsStudyCommand(),     //
      CusumStudyCommand(),      //
      DesignStudyCommand(),     //
      EwmaStudyCommand(),       //
      GageStudyCommand(),       //
      GroupStudyCommand(),      //
      GStudyCommand(),          //
      LaneyStudyCommand(),      //
      LinearityStudyCommand(),  //
      MewmaStudyCommand(),      //
      PlanStudyCommand(),       //
      ShortRunStudyCommand(),   //
      StepsStudyCommand(),      //
      T2StudyCommand(),         //
      ToleranceStudyCommand(),  //
      TStudyCommand(),          //
      Type1StudyCommand(),      //
  };
}

}  // namespace orvspc::cli
