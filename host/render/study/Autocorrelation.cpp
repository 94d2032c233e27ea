// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/Autocorrelation.h"

#include <algorithm>
#include <cmath>

#include "host/render/core/Numbers.h"
#include "host/render/study/StretchPlots.h"

namespace orvspc::render {

namespace {

std::string DegreesText(const studies::TestOfSignificance& test) {
  return test.degrees.empty() ? std::string() : Significant(test.degrees[0], 6);
}

Plot PlotOf(const studies::AcfStudy& study) {
  Plot plot;
  plot.title = "Autocorrelation";
  plot.x.title = "lag";
  const auto lags = static_cast<double>(study.acf.size());
  plot.x.range = Range{0.0, lags + 1.0};
  const std::vector<double> x = {0.0, lags + 1.0};
  plot.lines.push_back(
      {"lim", x, {study.bound, study.bound}, false, LimitLabel("", {study.bound})});
  plot.lines.push_back({"cl", x, {0.0, 0.0}, false, ""});
  plot.lines.push_back(
      {"lim", x, {-study.bound, -study.bound}, false, LimitLabel("", {-study.bound})});
  for (std::size_t k = 0; k < study.acf.size(); ++k) {
    const double at = static_cast<double>(k + 1), r = study.acf[k];
    plot.bars.push_back({at - 0.3, at + 0.3, std::min(r, 0.0), std::max(r, 0.0), "bar",
                         "lag " + std::to_string(k + 1) + ": " + Significant(r, 5)});
  }
  return plot;
}

}  // namespace

std::string AcfJson(const AcfDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    WriteStreams(json, document, names,
                 [](JsonWriter& to, const studies::Stretch&, const studies::AcfStudy& study) {
                   to.Members("ACF", study.acf, "Bound", study.bound);
                   WriteTest(to, "LjungBox", study.ljung_box);
                   WriteTest(to, "LjungBoxFirst", study.first);
                   to.Member("Factor", study.factor);
                   WriteFigure(to, "Mean", study.mean);
                 });
  });
}

StudyView MakeAcfView(const AcfDocument& document, const Names& names) {
  StudyView view;
  AddHead(view, document, names, "Autocorrelation");
  Table tests{
      "Ljung-Box",
      {"stream", "phase", "#points", "#r1", "#Q", "#degrees", "#P", "#P of lag 1", "#factor"},
      {}};
  Table lags{"Correlations", {"stream", "phase", "#lag", "#r", "outside"}, {}};
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    const auto& stream = document.data.streams[s];
    const auto name = StreamName(names, stream.part, stream.process, stream.test);
    for (std::size_t p = 0; p < document.studies[s].size(); ++p) {
      const auto& study = document.studies[s][p];
      const auto& phase = stream.stretches[p].phase.name;
      if (study.acf.empty()) continue;
      auto plot = PlotOf(study);
      plot.caption = phase.empty() ? name : name + ", " + phase;
      view.plots.push_back(std::move(plot));
      tests.rows.push_back({name, phase, std::to_string(study.mean.used),
                            Significant(study.acf[0], 5), Significant(study.ljung_box.value, 5),
                            DegreesText(study.ljung_box), ShareText(study.ljung_box.p),
                            ShareText(study.first.p), Significant(study.factor, 4)});
      for (std::size_t k = 0; k < study.acf.size(); ++k) {
        lags.rows.push_back({name, phase, std::to_string(k + 1), Significant(study.acf[k], 5),
                             std::abs(study.acf[k]) > study.bound ? "yes" : ""});
      }
    }
  }
  if (view.plots.size() == 1) view.plots[0].height = 330.0;
  view.tables.push_back(std::move(tests));
  view.tables.push_back(std::move(lags));
  return view;
}

std::string Ar1Json(const Ar1Document& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    WriteStreams(
        json, document, names,
        [](JsonWriter& to, const studies::Stretch& stretch, const studies::Ar1Study& study) {
          const auto count = stretch.points.size();
          const double centre = std::isnan(study.upper) ? kNaN : 0.0;
          to.Members("Values", stretch.points, "Points", study.residuals, "Residuals",
                     study.residuals, "Fitted", study.fitted, "CL",
                     std::vector<double>(count, centre), "UCL",
                     std::vector<double>(count, study.upper), "LCL",
                     std::vector<double>(count, study.lower), "SGSizes", stretch.sizes);
          WriteMarks(to, study.signals);
          WriteFigure(to, "Phi", study.phi);
          WriteFigure(to, "Mean", study.mean);
          WriteFigure(to, "Sigma", study.sigma);
          to.Members("Spread", study.spread, "LogLik", study.log_likelihood);
          WriteTest(to, "LjungBox", study.ljung_box);
        });
  });
}

StudyView MakeAr1View(const Ar1Document& document, const Names& names) {
  StudyView view;
  AddHead(view, document, names, "Autoregression");
  AddPlots(view, document, names, "Residuals",
           [](Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
              const studies::Ar1Study& study) {
             const auto count = stretch.points.size();
             const auto x = Places(place, count);
             const std::vector<double> upper(count, study.upper), lower(count, study.lower);
             plot.lines.push_back({"lim", x, upper, true, LimitLabel("UCL", upper)});
             plot.lines.push_back({"cl", x, std::vector<double>(count, 0.0), true, ""});
             plot.lines.push_back({"lim", x, lower, true, LimitLabel("LCL", lower)});
             plot.lines.push_back({"d", x, study.residuals, false, ""});
             AddPoints(plot, place, stretch, study.residuals, study.signals);
           });
  AddPlots(view, document, names, "Points and fitted level",
           [](Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
              const studies::Ar1Study& study) {
             const auto count = stretch.points.size();
             const auto x = Places(place, count);
             const std::vector<double> mean(count, study.mean.value);
             plot.lines.push_back(
                 {"cl", x, mean, true, LimitLabel("mean", mean, SpreadOf(study.fitted))});
             plot.lines.push_back({"d", x, study.fitted, false, ""});
             AddFaint(plot, place, stretch);
           });
  view.tables.push_back(
      StretchTable(document, names, {"#phi", "#mean", "sigma", "#P Ljung-Box"},
                   [](const studies::Ar1Study& study) -> std::vector<std::string> {
                     return {Significant(study.phi.value, 4), Significant(study.mean.value, 7),
                             FigureText(study.sigma), ShareText(study.ljung_box.p)};
                   }));
  return view;
}

}  // namespace orvspc::render
