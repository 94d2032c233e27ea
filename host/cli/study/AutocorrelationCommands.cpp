// SPDX-License-Identifier: Apache-2.0
#include <optional>
#include <string>
#include <vector>

#include "host/cli/study/Study.h"
#include "host/render/core/Text.h"
#include "host/render/study/Autocorrelation.h"

namespace orvspc::cli {

namespace {

constexpr Number kLags{{"lags", "N", "how many", "20, at most a quarter of the points"}, 1, 10000};
constexpr Number kTested{
    {"tested", "N", "lags of the test", "10, at most a fifth of the points"}, 1, 10000};
constexpr RealInside kAcfLevel{
    {"level", "X", "confidence of the bounds of a correlation", "0.95"}, 0.5, 0.9999};
constexpr RealInside kPhi{
    {"phi", "X", "known dependence on the point before, with --mean and --sigma", "estimated"},
    -0.999,
    0.999};
constexpr RealInside kMean{{"mean", "X", "known mean", "estimated"}, -1e300, 1e300, true, true};
constexpr RealInside kSigma{
    {"sigma", "X", "known standard deviation of the residuals", "estimated"},
    0.0,
    1e300,
    true,
    true};

// The options are resolved by the command alone before those of the database come in: where some
// are there and the command has none, the database lacks the others.
void NeedTogether(const Arguments& arguments, const std::optional<double>& phi,
                  const std::optional<double>& mean, const std::optional<double>& sigma) {
  std::vector<std::string> there, missing;
  const auto add = [&](const Option& option, bool given) {
    (given ? there : missing).push_back("ar1." + std::string(option.name));
  };
  add(kPhi, phi.has_value());
  add(kMean, mean.has_value());
  add(kSigma, sigma.has_value());
  if (there.empty() || missing.empty()) return;
  if (arguments.Has(kPhi) || arguments.Has(kMean) || arguments.Has(kSigma))
    throw Misuse("--phi, --mean and --sigma go together");
  throw Misuse("the database has " + render::Joined(there, " and ") + " without " +
               render::Joined(missing, " and "));
}

int RunAcf(const Arguments& arguments, Console& console) {
  studies::AcfOptions asked;
  // The note on correlated neighbours says what the limits of the chart are.
  studies::ReadOptions read;
  read.chart_sigma = true;
  read.limits = true;
  const auto take = [&](StudyOptions& options) {
    asked.lags = options.Get("Lags", kLags);
    asked.tested = options.Get("Tested", kTested);
    asked.level = options.Get("Level", kAcfLevel, studies::AcfOptions().level);
  };
  return RunOnStreams<render::AcfDocument>(
      arguments, console, "acf", render::AcfJson, render::MakeAcfView, take,
      [&](render::AcfDocument& filled) {
        filled.Fill([&](const auto& stretch) { return studies::StudyAcf(stretch, asked); });
      },
      read);
}

int RunAr1(const Arguments& arguments, Console& console) {
  std::optional<double> phi, mean, sigma;
  bool known = false;
  const auto take = [&](StudyOptions& options) {
    phi = options.Get("Phi", kPhi);
    mean = options.Get("Mean", kMean);
    sigma = options.Get("Sigma", kSigma);
    NeedTogether(arguments, phi, mean, sigma);
    known = phi && mean && sigma;
  };
  return RunOnStreams<render::Ar1Document>(
      arguments, console, "ar1", render::Ar1Json, render::MakeAr1View, take,
      [&](render::Ar1Document& filled) {
        for (const auto& stream : filled.data.streams) {
          auto& row = filled.studies.emplace_back();
          for (const auto& stretch : stream.stretches) {
            std::optional<studies::Ar1Parameters> holding;
            if (known) {
              holding = {*phi, *mean, *sigma};
            } else if (stretch.limits_of < row.size() && row[stretch.limits_of].sigma.value > 0.0) {
              // The phase that this one is judged by.
              holding = row[stretch.limits_of].Parameters();
            }
            row.push_back(studies::StudyAr1(stretch, holding));
          }
        }
      },
      {.bases = true});
}

}  // namespace

Command AcfStudyCommand() {
  return {"study acf",
          "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
          "Autocorrelation of points, with the test of Ljung and Box",
          "Says whether points depend on those before them, which makes limits from moving ranges "
          "wrong. Each phase is by itself.\n"
          "Formats: text, json, svg, html.",
          "orvspc study acf --db q.db --part Ring --test Diameter -o acf.svg",
          Together(SelectionOptions(),
                   std::vector<Option>{kStudyMax, kLags, kTested, kAcfLevel, kPhase, kAllPhases},
                   kPageOptions),
          RunAcf};
}

Command Ar1StudyCommand() {
  return {
      "study ar1",
      "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
      "Chart of what points add to what the point before gives",
      "For points that depend on the one before: an autoregression is fitted, and its residuals "
      "are judged.\n"
      "Formats: text, json, svg, html.",
      "orvspc study ar1 --db q.db --part Ring --test Diameter -o residuals.svg",
      Together(SelectionOptions(),
               std::vector<Option>{kStudyMax, kPhi, kMean, kSigma, kPhase, kAllPhases, kSignalExit},
               kPageOptions),
      RunAr1};
}

}  // namespace orvspc::cli
