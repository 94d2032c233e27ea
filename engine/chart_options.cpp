// SPDX-License-Identifier: Apache-2.0
// Rule sets, and the options of charts and studies that a database may store for its streams.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iomanip>
#include <sstream>

#include "engine/QualityDatabase.h"
#include "engine/change_once.h"
#include "engine/store/SqlStore.h"
#include "engine/store/alarm_rules.h"
#include "engine/write/change/version.h"
#include "engine/write/settings.h"

namespace orvspc {

using namespace engine;

namespace {

ChartOptionKind OfSeveral(ChartOptionKind kind) {
  kind.of_several = true;
  return kind;
}

}  // namespace

const std::vector<ChartOptionKind>& ChartOptionKinds() {
  static const std::vector<ChartOptionKind> kinds = {
      {store::kLimitsOption, "limits of charts of counts", {"sigma", "probability"}},
      {store::kAlphaOption, "risk of a false signal of probability limits", {}, 0.0001, 0.1},
      {store::kSigmaOption, "sigma of charts with moving ranges", {"usual", "ar1"}},
      {"chart.steps", "whether notes say where the mean may have changed", {"no", "yes"}},
      {"ewma.weight", "weight of the newest point", {}, 0.0, 1.0, true},
      {"ewma.width", "half width of the limits in sigmas", {}, 0.0, 6.0, true},
      {"ewma.sided", "which signals count", {"two", "upper", "lower"}},
      {"ewma.limits", "limits of each point, or as after many", {"exact", "asymptotic"}},
      {"ewma.fir", "share of their width at which limits begin", {}, 0.0, 0.99, true},
      {"ewma.target", "what points are compared with", {}, -1e300, 1e300, true},
      {"ewma.sigma", "standard deviation of one piece", {}, 0.0, 1e300, true},
      {"ewma.reset", "whether it begins anew after a signal", {"no", "yes"}},
      {"ewma.points", "what is made of the pieces of a subgroup", {"mean", "median"}},
      {"cusum.points", "what is made of the pieces of a subgroup", {"mean", "median"}},
      {"cusum.k", "reference value in sigmas", {}, 0.0, 3.0},
      {"cusum.sided", "which signals count", {"two", "upper", "lower"}},
      {"cusum.h", "decision interval in sigmas", {}, 0.0, 50.0, true},
      {"cusum.head-start", "of both arms, in sigmas; below cusum.h", {}, 0.0, 50.0},
      {"cusum.target", "what points are compared with", {}, -1e300, 1e300, true},
      {"cusum.sigma", "standard deviation of one piece", {}, 0.0, 1e300, true},
      {"cusum.reset", "whether it begins anew after a signal", {"no", "yes"}},
      {"g.alpha", "risk of a false signal of both sides together", {}, 0.0001, 0.1},
      {"g.run", "points in a row on one side that are a signal", {"9", "8", "7", "none"}},
      {"g.limits", "quantiles, or three sigmas about the mean", {"probability", "sigma"}},
      {"g.estimator", "of the chance of an event", {"unbiased", "ml"}},
      {"t.alpha", "risk of a false signal of both sides together", {}, 0.0001, 0.1},
      {"t.run", "points in a row on one side that are a signal", {"9", "8", "7", "none"}},
      {"t.law", "distribution of the times", {"weibull", "exponential", "power"}},
      {"t.running", "whether only time counts in which the process ran", {"no", "yes"}},
      {"laney.chart", "what is plotted", {"auto", "p", "c", "u"}},
      {"laney.floor", "whether a sigma z below 1 is 1", {"no", "yes"}},
      {"steps.penalty", "what a step must gain, times ln N", {}, 1.0, 20.0},
      {"steps.least", "points between two steps", {}, 2.0, 1000.0, false, true},
      {"short-run.kind", "deviations, or these in sigmas of the part", {"deviation", "z"}},
      {"short-run.sigma", "of z", {"by-part", "constant", "relative", "stored"}},
      {"short-run.nominal", "what parts are compared with", {"target", "mean"}},
      {"short-run.spread", "graph 2 of subgroups", {"auto", "range", "deviation"}},
      {"group.group-threshold", "longest time inside a group", {}, 0.0, INT32_MAX, false, true},
      {"group.spread", "graph 2 of subgroups", {"auto", "range", "deviation"}},
      OfSeveral({"t2.alpha", "risk of a false signal", {}, 1e-6, 0.5}),
      OfSeveral({"t2.per-variable", "whether alpha is that of one variable", {"no", "yes"}}),
      OfSeveral({"t2.covariance", "of single vectors", {"sample", "successive"}}),
      OfSeveral({"mewma.weight", "weight of the newest point", {}, 0.01, 1.0}),
      OfSeveral({"mewma.arl0", "mean points to a false signal", {}, 2.0, 1e6}),
      OfSeveral(
          {"mewma.limits", "covariance as after many points, or of each", {"asymptotic", "exact"}}),
      OfSeveral({"mewma.covariance", "of single vectors", {"sample", "successive"}}),
      {"acf.lags", "how many lags", {}, 1.0, 10000.0, false, true},
      {"acf.tested", "lags of the test", {}, 1.0, 10000.0, false, true},
      {"acf.level", "confidence of the bounds of a correlation", {}, 0.5, 0.9999},
      {"capability.law",
       "that capability fits",
       {"normal", "lognormal", "lognormal-3", "weibull", "weibull-3", "gamma", "gamma-3",
        "exponential", "exponential-2", "logistic", "loglogistic", "loglogistic-3",
        "largest-extreme", "smallest-extreme", "box-cox", "johnson", "best", "all"}},
      {"capability.level", "confidence of intervals and bands", {}, 0.0001, 0.9999},
      {"counts.level", "confidence of the intervals", {}, 0.0001, 0.9999},
      {"tolerance.content", "share of the pieces between the limits", {}, 0.0001, 0.999999},
      {"tolerance.confidence", "that the limits hold so many", {}, 0.0001, 0.999999},
      {"tolerance.sides", "two limits, or one alone", {"both", "lower", "upper"}},
      {"tolerance.law",
       "that the values follow",
       {"normal", "lognormal", "box-cox", "johnson", "none"}},
      {"ar1.phi", "known dependence on the point before", {}, -0.999, 0.999},
      {"ar1.mean", "known mean", {}, -1e300, 1e300, true},
      {"ar1.sigma", "known standard deviation of the residuals", {}, 0.0, 1e300, true},
  };
  return kinds;
}

const ChartOptionKind* FindChartOptionKind(std::string_view key) {
  const auto& kinds = ChartOptionKinds();
  const auto found = std::ranges::find(kinds, key, &ChartOptionKind::key);
  return found == kinds.end() ? nullptr : &*found;
}

std::string ChartOptionKind::Refusal(std::string_view value) const {
  if (value == store::kDefaultOption) return {};
  std::string takes;
  for (const auto& word : words) {
    if (word == value) return {};
    takes.append(takes.empty() ? "" : ", ").append(word);
  }
  if (words.empty()) {
    double given = 0.0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), given);
    const bool is_number = error == std::errc() && end == value.data() + value.size();
    const bool fits = !is_whole || given == std::trunc(given);
    if (is_number && fits && given <= high && (low_is_open ? given > low : given >= low)) return {};
    std::ostringstream bounds;
    bounds << std::setprecision(10) << (is_whole ? "a whole number " : "a number ")
           << (low_is_open ? "above " : "from ") << low << " to " << high;
    takes = bounds.str();
  }
  return std::string(key) + " takes " + takes + " or default, not \"" + std::string(value) + "\"";
}

std::string ChartOptionKind::RefusalOfGraph(std::int32_t graph) const {
  if (graph == 1 || key.starts_with("chart.")) return {};
  return std::string(key) + " is no option of charts: it goes without a graph, not with graph " +
         std::to_string(graph);
}

std::string ChartOptionKind::RefusalOfTest() const {
  if (!of_several) return {};
  return std::string(key) +
         " is of several tests together: it goes with a part and process, not with a test";
}

std::vector<RuleSet> QualityDatabase::RuleSets() const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection&) {
    std::vector<RuleSet> sets;
    for (const auto& [name, numbers] : store.Cache().rule_sets) sets.push_back({name, numbers});
    return sets;
  });
}

void QualityDatabase::UseRuleSet(std::string_view name) {
  const auto store = store::SqlStoreOf(*database_);
  if (name.empty()) return store->UseRuleNumbers(std::nullopt);
  const auto sets = RuleSets();
  const auto found = std::ranges::find(sets, name, &RuleSet::name);
  if (found == sets.end())
    store::Refuse(*store, "the database has no rule set \"" + std::string(name) + "\"");
  store->UseRuleNumbers(found->numbers);
}

void QualityDatabase::UseChartOptions(std::map<std::string, std::string, std::less<>> options) {
  store::SqlStoreOf(*database_)->UseChartOptions(std::move(options));
}

std::vector<ChartOption> QualityDatabase::ChartOptionsOf(const StreamKey& stream) const {
  const auto store = store::SqlStoreOf(*database_);
  std::vector<ChartOption> options;
  for (const auto& kind : ChartOptionKinds()) {
    const auto found = store->ChartOption(stream.part, stream.process, stream.test, 1, kind.key);
    if (found) options.push_back({std::string(kind.key), found->value, found->of_database});
  }
  return options;
}

std::vector<ListedChartOption> QualityDatabase::ChartOptions() const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection& db) {
    std::vector<ListedChartOption> listed;
    for (const auto& row : store.Cache().chart_options) {
      if (write::ChartOptionBefore(db, row) != row.id) continue;
      auto& each = listed.emplace_back();
      static_cast<StreamKey&>(each) = {row.part, row.process, row.test};
      each.id = row.id;
      each.graph = row.graph;
      each.key = row.key;
      each.value = row.value;
      each.version = change::VersionOf(db, "chart-option " + std::to_string(row.id));
    }
    return listed;
  });
}

std::int32_t QualityDatabase::ChangeChartOption(const StreamKey& of, std::int32_t graph,
                                                const std::string& key, const std::string& value,
                                                const ChangeOptions& options) {
  const auto* const kind = FindChartOptionKind(key);
  auto refusal = kind == nullptr          ? "there is no option of charts \"" + key + "\""
                 : graph < 1 || graph > 3 ? "a chart has graphs 1 to 3"
                                          : kind->Refusal(value);
  if (refusal.empty()) refusal = kind->RefusalOfGraph(graph);
  if (refusal.empty() && of.test != 0) refusal = kind->RefusalOfTest();
  if (!refusal.empty()) store::Refuse(*store::SqlStoreOf(*database_), refusal);
  std::int32_t id = 0;
  Change(*database_, options, [&](log::Writing& writing) {
    const store::OptionRow row{0, of.part, of.process, of.test, graph, key, value};
    const auto before = write::ChartOptionBefore(writing.Db(), row);
    change::CheckVersion(writing.Db(), "chart-option " + std::to_string(before), key,
                         options.expected);
    id = write::StoreChartOption(writing, row);
  });
  return id;
}

}  // namespace orvspc
