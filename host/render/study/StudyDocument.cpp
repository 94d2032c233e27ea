// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/StudyDocument.h"

#include <cmath>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

std::string StudyJson(const StudyHead& head, const std::function<void(JsonWriter&)>& write) {
  return JsonDocument([&](JsonWriter& json) {
    json.Members("Study", head.word, "Version", 1);
    WriteOptions(json, head.options);
    ObjectMember(json, "Selection", head.select.get(), WriteDataSelect);
    write(json);
    WriteNotes(json, head.notes);
  });
}

void WriteFigure(JsonWriter& json, const char* key, const studies::Figure& figure) {
  json.Object(
      key,
      [&] {
        json.Members("Value", figure.value, "Estimator", figure.estimator, "Constant",
                     figure.constant, "Used", figure.used, "Left", figure.left);
      },
      true);
}

void WriteInterval(JsonWriter& json, const char* key, const studies::Interval& interval) {
  json.Object(
      key,
      [&] {
        json.Members("Value", interval.value, "Lower", interval.lower, "Upper", interval.upper,
                     "Level", interval.level, "Method", interval.method);
      },
      true);
}

void WriteTest(JsonWriter& json, const char* key, const studies::TestOfSignificance& test) {
  json.Object(
      key,
      [&] {
        json.Members("Statistic", test.statistic, "Value", test.value, "DF", test.degrees, "P",
                     test.p < studies::kLeastP ? 0.0 : test.p, "Method", test.method);
      },
      true);
}

void WriteMarks(JsonWriter& json, const std::vector<std::uint8_t>& signals) {
  json.Key("Marks");
  json.BeginArray(true);
  for (const auto signal : signals) {
    json.Value(signal != 0 ? std::vector<int>{1} : std::vector<int>{});
  }
  json.EndArray();
}

std::string ShareText(double p) {
  if (std::isnan(p)) return "";
  return p < 0.001 ? "< 0.001" : Fixed(p, 4);
}

std::string OptionsText(const StudyHead& head) {
  std::vector<std::string> pieces;
  for (const auto& option : head.options) {
    const auto key = [&] {
      // "HeadStart" as "head start", "ProcessSD" as "process SD", "ARL0" as it is.
      std::string words;
      bool was_capital = true;
      for (std::size_t i = 0; i < option.key.size(); ++i) {
        const char c = option.key[i];
        const auto is_capital = [](char letter) { return letter >= 'A' && letter <= 'Z'; };
        const bool next_is = i + 1 < option.key.size() && is_capital(option.key[i + 1]);
        if (!is_capital(c)) {
          words += c;
        } else if (next_is || (was_capital && i > 0)) {
          if (!was_capital) words += ' ';
          words += c;
        } else {
          if (!words.empty()) words += ' ';
          words += static_cast<char>(c + ('a' - 'A'));
        }
        was_capital = is_capital(c);
      }
      return words;
    }();
    if (const auto* number = std::get_if<double>(&option.value)) {
      const bool is_whole = std::floor(*number) == *number && std::abs(*number) < 1e9;
      pieces.push_back(key + " " + (is_whole ? Fixed(*number, 0) : Significant(*number, 6)));
    } else if (const auto* text = std::get_if<std::string>(&option.value)) {
      if (!text->empty()) pieces.push_back(key + " " + PlainText(*text));
    } else if (const auto* on = std::get_if<bool>(&option.value); on != nullptr && *on) {
      pieces.push_back(key);
    }
  }
  return Joined(pieces, ", ");
}

void WriteStretch(JsonWriter& json, const studies::Stretch& stretch) {
  const auto& phase = stretch.phase;
  const bool given = phase.id != 0;
  json.MemberIf(given, "ID", phase.id);
  json.MemberIf(given, "Name", phase.name);
  json.MemberIf(given, "Kind", WordOf(phase.kind));
  if (given) {
    json.Object(
        "Period",
        [&] {
          json.Member("Start", IsoTime(phase.start));
          json.MemberIf(phase.finish.has_value(), "End", IsoTime(phase.finish.value_or(0)));
        },
        true);
  } else {
    json.NullMember("Period");
  }
  std::vector<std::string> times;
  times.reserve(stretch.times.size());
  for (const auto time : stretch.times) times.push_back(IsoTime(time));
  json.Members("Times", times, "Subgroups", stretch.subgroups);
}

std::vector<StretchPlace> PlacesOf(const studies::StudyData& data, std::size_t stream) {
  std::vector<StretchPlace> places;
  double next = 1.0;
  const auto& stretches = data.streams[stream].stretches;
  for (std::size_t p = 0; p < stretches.size(); ++p) {
    places.push_back({stream, p, next});
    next += static_cast<double>(stretches[p].points.size());
  }
  return places;
}

std::vector<PlotBorder> PhaseBordersOf(const studies::Stream& stream) {
  std::vector<PlotBorder> borders;
  double next = 1.0;
  for (const auto& stretch : stream.stretches) {
    const auto name = PlainText(stretch.phase.name);
    if (next > 1.0 || !name.empty()) borders.push_back({next - 0.5, name});
    next += static_cast<double>(stretch.points.size());
  }
  return borders;
}

}  // namespace orvspc::render
