// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/Tolerance.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/study/Laws.h"
#include "host/render/study/StretchPlots.h"

namespace orvspc::render {

namespace {

std::string NumberText(double value, int digits) {
  return std::isnan(value) ? std::string() : Significant(value, digits);
}

std::string PercentText(double share) { return NumberText(100.0 * share, 6) + " %"; }

// The values in their order between the limits.
Plot ToleranceValues(const studies::Stretch& stretch, const studies::ToleranceStudy& study) {
  Plot plot;
  const auto values = studies::UsedPieces(stretch);
  std::vector<double> x(values.size());
  for (std::size_t i = 0; i < x.size(); ++i) x[i] = static_cast<double>(i + 1);
  for (const auto& [name, value] : {std::pair{"upper", study.upper}, {"lower", study.lower}}) {
    if (std::isnan(value)) continue;
    const std::vector<double> line(x.size(), value);
    plot.lines.push_back({"lim", x, line, true, Significant(value, 6)});
  }
  SymbolLook look;
  look.size = values.size() > 200 ? 2.2 : 3.0;
  plot.symbols.push_back({look, x, values, {}, {}});
  plot.x.title = "value";
  return plot;
}

}  // namespace

std::string ToleranceJson(const ToleranceDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    json.MemberIf(!document.column.empty(), "Column", document.column);
    WriteStreams(
        json, document, names,
        [&](JsonWriter& to, const studies::Stretch& stretch, const studies::ToleranceStudy& study) {
          to.Members("Points", studies::UsedPieces(stretch), "N", study.count);
          to.Members("Lower", study.lower, "Upper", study.upper);
          if (!document.options.law) {
            to.Members("LowerRank", study.lower_rank, "UpperRank", study.upper_rank, "Attained",
                       study.attained, "Least", study.least);
            return;
          }
          to.Members("Factor", study.factor, "Howe", study.approximate);
          WriteFigure(to, "Mean", study.mean);
          WriteFigure(to, "SD", study.sd);
          to.Object("Fit", [&] { WriteLawFit(to, study.law); });
        });
  });
}

StudyView MakeToleranceView(const ToleranceDocument& document, const Names& names) {
  StudyView view;
  AddHead(view, document, names, "Tolerance limits");
  if (!document.column.empty()) view.title += ": " + PlainText(document.column);
  const auto& options = document.options;
  Table table{"Limits that hold " + PercentText(options.content) + " of the pieces, with " +
                  PercentText(options.confidence) + " confidence",
              {"stream", "phase", "#values", "#lower", "#upper"},
              {}};
  const std::vector<std::string> more =
      options.law ? std::vector<std::string>{"#mean", "#sd", "#factor", "#P of the law"}
                  : std::vector<std::string>{"#from rank", "#to rank", "#attained"};
  table.headings.insert(table.headings.end(), more.begin(), more.end());
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    const auto& stream = document.data.streams[s];
    const auto name = document.column.empty()
                          ? StreamName(names, stream.part, stream.process, stream.test)
                          : PlainText(document.column);
    for (std::size_t p = 0; p < document.studies[s].size(); ++p) {
      const auto& study = document.studies[s][p];
      const auto& stretch = stream.stretches[p];
      const auto phase = PlainText(stretch.phase.name);
      std::vector<std::string> row = {name, phase, std::to_string(study.count),
                                      NumberText(study.lower, 7), NumberText(study.upper, 7)};
      const auto rank = [](std::int64_t r) { return r > 0 ? std::to_string(r) : std::string(); };
      const std::vector<std::string> how =
          options.law
              ? std::vector<std::string>{NumberText(study.mean.value, 7),
                                         NumberText(study.sd.value, 6), NumberText(study.factor, 6),
                                         std::isnan(study.law.ad) ? "" : PText(study.law)}
              : std::vector<std::string>{
                    rank(study.lower_rank), rank(study.upper_rank),
                    std::isnan(study.attained) ? "" : PercentText(study.attained)};
      row.insert(row.end(), how.begin(), how.end());
      table.rows.push_back(std::move(row));
      auto plot = ToleranceValues(stretch, study);
      plot.title = phase.empty() ? name : phase;
      plot.caption = phase.empty() ? "" : name;
      plot.height = document.studies.size() * document.studies[s].size() == 1 ? 330.0 : 230.0;
      view.plots.push_back(std::move(plot));
    }
  }
  view.tables.push_back(std::move(table));
  return view;
}

std::string CountCapabilityJson(const CountCapabilityDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    std::size_t s = 0, p = 0;
    WriteStreams(json, document, names,
                 [&](JsonWriter& to, const studies::Stretch& stretch,
                     const studies::CountCapabilityStudy& study) {
                   while (p == document.studies[s].size()) {
                     ++s;
                     p = 0;
                   }
                   const auto& kind = document.kinds[s];
                   const bool bad_units = kind.defectives;
                   to.Members("Points", stretch.points, "SGSizes", stretch.sizes, "Cumulated",
                              study.cumulated);
                   WriteMarks(to, study.signals);
                   to.Members("Count", study.bad, "Units", study.units, "Used", study.subgroups);
                   if (study.stable) {
                     to.Member("Stable", *study.stable);
                   } else {
                     to.NullMember("Stable");
                   }
                   if (!bad_units) to.Member("Opportunities", kind.opportunities[p]);
                   ++p;
                   WriteInterval(to, bad_units ? "P" : "DPU", study.rate);
                   WriteInterval(to, bad_units ? "PPM" : "DPMO", study.per_million);
                   WriteInterval(to, bad_units ? "Z" : "Yield", bad_units ? study.z : study.yield);
                 });
  });
}

StudyView MakeCountCapabilityView(const CountCapabilityDocument& document, const Names& names) {
  StudyView view;
  const auto is_of_bad_units = &CountKind::defectives;
  AddHead(view, document, names,
          std::ranges::all_of(document.kinds, is_of_bad_units)    ? "Share of bad units"
          : std::ranges::none_of(document.kinds, is_of_bad_units) ? "Defects a unit"
                                                                  : "Capability of counts");
  Table table{"Figures", {"stream", "phase", "figure", "#value", "#from", "#to"}, {}};
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    const auto& stream = document.data.streams[s];
    const bool bad_units = document.kinds[s].defectives;
    Plot plot;
    plot.title = "Cumulated";
    plot.caption = StreamName(names, stream.part, stream.process, stream.test);
    plot.x.title = "subgroup";
    plot.height = document.studies.size() == 1 ? 330.0 : 230.0;
    plot.borders = PhaseBordersOf(stream);
    for (const auto& place : PlacesOf(document.data, s)) {
      const auto& stretch = stream.stretches[place.stretch];
      const auto& study = document.studies[s][place.stretch];
      const auto name = [&](const char* bad, const char* defects) {
        return std::string(bad_units ? bad : defects);
      };
      for (const auto& [text, interval] :
           {std::pair{name("bad units a unit", "defects a unit"), study.rate},
            {name("bad units a million", "defects a million opportunities"), study.per_million},
            {name("Z", "yield, units without defect"), bad_units ? study.z : study.yield}}) {
        table.rows.push_back({plot.caption, PlainText(stretch.phase.name), text,
                              NumberText(interval.value, 6), NumberText(interval.lower, 6),
                              NumberText(interval.upper, 6)});
      }
      const auto x = Places(place, study.cumulated.size());
      plot.bands.push_back({"band", x, std::vector<double>(x.size(), study.rate.lower),
                            std::vector<double>(x.size(), study.rate.upper)});
      auto rates = stretch.points;
      for (std::size_t i = 0; i < rates.size(); ++i)
        rates[i] = stretch.sizes[i] > 0.0 ? stretch.counts[i] / stretch.sizes[i] : kNaN;
      AddPoints(plot, place, stretch, rates, study.signals);
      plot.lines.push_back({"fit", x, study.cumulated, false,
                            study.cumulated.empty() ? "" : NumberText(study.cumulated.back(), 4)});
    }
    view.plots.push_back(std::move(plot));
  }
  view.tables.push_back(std::move(table));
  return view;
}

}  // namespace orvspc::render
